#include "nuv_selectset.h"

#include <gtest/gtest.h>
#include <string.h>

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "doubles/child_process.h"
#include "doubles/contract_recorder.h"
#include "doubles/fault_loop.h"
#include "nuv_sysloglevel.h"

namespace {

using support::ChildProcess;
using support::ContractRecorder;
using support::each_fault;
using support::Fault;


constexpr uint8_t kStays = 0;
constexpr uint8_t kOneCycle = 1;
constexpr uint8_t kPurged = 2;  // in m_bDeleted
constexpr uint32_t kUnlimited = 0xFFFFFFFF;

// Descriptors without a bit in an fd_set.
constexpr int32_t kStrangers[] = {-1, -2, -1024, INT32_MIN, 1024, 1025, 65536, INT32_MAX};

// More than any list or dispatch here has; keeps an endless one from filling the memory.
constexpr size_t kEndless = 10000;

using Fds = std::vector<int32_t>;

fd_set fd_set_of(const Fds& fds) {
  fd_set set;
  FD_ZERO(&set);
  for (const int32_t fd : fds) {
    FD_SET(fd, &set);
  }
  return set;
}

bool same(const fd_set& a, const fd_set& b) {
  return memcmp(&a, &b, sizeof a) == 0;
}

// An fd_set between guard bytes.
struct GuardedFdSet {
  uint8_t before[256];
  fd_set set;
  uint8_t after[256];
};

// A set whose callbacks record their descriptor and then run the test's planned action for it.
class SelectSetTest : public ::testing::Test {
 protected:
  SelectSetTest() { NUV_SelectSet_construct(&set_); }
  ~SelectSetTest() override { NUV_SelectSet_destruct(&set_); }

  void start_again() {
    NUV_SelectSet_destruct(&set_);
    NUV_SelectSet_construct(&set_);
  }

  NUV_SelectRecv* add(int32_t fd, uint8_t temp = kStays) {
    return NUV_SelectSet_setReceiver(&set_, fd, this, 0, temp, note);
  }

  void add_all(const Fds& fds) {
    for (const int32_t fd : fds) {
      add(fd);
    }
  }

  void remove(int32_t fd) { NUV_SelectSet_removeReceiver(&set_, fd); }

  void purge() {
    const fd_set unused = fd_set_of({});
    NUV_SelectSet_internalRemoveDeleted(&set_, &unused);
  }

  // Returns the descriptors that were called, in order.
  Fds process(const Fds& ready, uint32_t budget = kUnlimited) {
    const fd_set ready_set = fd_set_of(ready);
    const uint32_t fired = NUV_SelectSet_process(&set_, budget, &ready_set);
    EXPECT_EQ(fired, fired_.size());
    return std::exchange(fired_, {});
  }

  // Returns the descriptors of the list, in order, and checks the count. Without records that are kept for a dispatch.
  Fds list() const {
    Fds fds;
    for (const NUV_SelectRecv* receiver = set_.m_pFirst; receiver != nullptr; receiver = receiver->m_pNext) {
      if (receiver->m_bDeleted == kPurged) {
        continue;
      }
      fds.push_back(receiver->m_iFd);
      if (fds.size() > kEndless) {
        std::abort();
      }
    }
    EXPECT_EQ(set_.m_uCount, fds.size());
    return fds;
  }

  static int32_t note(void* arg1, int32_t fd, uint32_t /*arg2*/) {
    auto& test = *static_cast<SelectSetTest*>(arg1);
    test.fired_.push_back(fd);
    if (test.fired_.size() > kEndless) {
      std::abort();
    }
    const std::function<void()> action = test.actions_[fd];
    if (action) {
      action();
    }
    return 0;
  }

  SelectSet set_ = {};
  std::map<int32_t, std::function<void()>> actions_;
  Fds fired_;
  ContractRecorder contracts_;
};

TEST_F(SelectSetTest, ConstructEmptiesTheRecord) {
  SelectSet set;
  memset(&set, 0xA5, sizeof set);
  ASSERT_EQ(NUV_SelectSet_construct(&set), 1);
  EXPECT_EQ(set.m_pFirst, nullptr);
  EXPECT_EQ(set.m_uCount, 0U);
  EXPECT_EQ(set.m_bProcessing, 0);
  EXPECT_EQ(NUV_SelectSet_available(&set), 1);
  NUV_SelectSet_destruct(&set);
}

// LeakSanitizer reports records that are not freed.
TEST_F(SelectSetTest, DestructLeavesTheFieldsUnchanged) {
  SelectSet set;
  NUV_SelectSet_construct(&set);
  NUV_SelectSet_setReceiver(&set, 3, this, 0, kStays, note);
  NUV_SelectSet_setReceiver(&set, 4, this, 0, kStays, note);
  set.m_bProcessing = 1;
  const SelectSet before = set;
  NUV_SelectSet_destruct(&set);
  EXPECT_EQ(set.m_pFirst, before.m_pFirst);
  EXPECT_EQ(set.m_uCount, 2U);
  EXPECT_EQ(set.m_bProcessing, 1);
}

TEST_F(SelectSetTest, PutsANewReceiverInFront) {
  int context = 0;
  NUV_SelectRecv* first = NUV_SelectSet_setReceiver(&set_, 7, &context, 0xFEDCBA98, kStays, note);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(set_.m_pFirst, first);
  EXPECT_EQ(set_.m_uCount, 1U);
  EXPECT_EQ(first->m_iFd, 7);
  EXPECT_EQ(first->m_pArg1, &context);
  EXPECT_EQ(first->m_uArg2, 0xFEDCBA98);
  EXPECT_EQ(first->m_bTemp, 0);
  EXPECT_EQ(first->m_bDeleted, 0);
  EXPECT_EQ(first->m_pRecvFunc, &note);
  EXPECT_EQ(first->m_pNext, nullptr);

  NUV_SelectRecv* second = NUV_SelectSet_setReceiver(&set_, 3, nullptr, 0, kOneCycle, note);
  EXPECT_EQ(set_.m_pFirst, second);
  EXPECT_EQ(set_.m_uCount, 2U);
  EXPECT_EQ(second->m_iFd, 3);
  EXPECT_EQ(second->m_pArg1, nullptr);
  EXPECT_EQ(second->m_uArg2, 0U);
  EXPECT_EQ(second->m_bTemp, 1);
  EXPECT_EQ(second->m_pNext, first);
}

TEST_F(SelectSetTest, ReplacesTheReceiverOfAKnownDescriptor) {
  const auto other = [](void*, int32_t, uint32_t) -> int32_t { return 0; };
  int context = 0;
  add(1);
  NUV_SelectRecv* receiver = add(2, kOneCycle);
  add(3);
  EXPECT_EQ(NUV_SelectSet_setReceiver(&set_, 2, &context, 9, kStays, other), receiver);
  EXPECT_EQ(list(), (Fds{3, 2, 1})) << "at the same position";
  EXPECT_EQ(receiver->m_pArg1, &context);
  EXPECT_EQ(receiver->m_uArg2, 9U);
  EXPECT_EQ(receiver->m_bTemp, 0);
  EXPECT_EQ(receiver->m_pRecvFunc, static_cast<NUV_SelectRecvFunc>(other));
  add(2, kOneCycle);
  EXPECT_EQ(receiver->m_bTemp, 1);
  EXPECT_EQ(set_.m_uCount, 3U);
}

TEST_F(SelectSetTest, PassesArgumentsAndDescriptorToTheCallback) {
  struct Call {
    int32_t fd = 0;
    uint32_t arg2 = 0;
  } call;
  const auto keep_call = [](void* arg1, int32_t fd, uint32_t arg2) -> int32_t {
    *static_cast<Call*>(arg1) = {fd, arg2};
    return 0;
  };
  NUV_SelectSet_setReceiver(&set_, 1023, &call, 0xFEDCBA98, kStays, keep_call);
  const fd_set ready = fd_set_of({1023});
  EXPECT_EQ(NUV_SelectSet_process(&set_, 1, &ready), 1U);
  EXPECT_EQ(call.fd, 1023);
  EXPECT_EQ(call.arg2, 0xFEDCBA98);
}

TEST_F(SelectSetTest, IgnoresTheResultsOfCallbacks) {
  for (const int32_t result : {0, 1, -1}) {
    SCOPED_TRACE(result);
    int32_t returned = result;
    NUV_SelectSet_setReceiver(&set_, 5, &returned, 0, kStays,
                              [](void* arg1, int32_t, uint32_t) { return *static_cast<int32_t*>(arg1); });
    const fd_set ready = fd_set_of({5});
    EXPECT_EQ(NUV_SelectSet_process(&set_, kUnlimited, &ready), 1U);
    purge();
    EXPECT_EQ(list(), Fds{5});
    EXPECT_EQ(set_.m_pFirst->m_bDeleted, 0);
  }
}

TEST_F(SelectSetTest, CallsTheNewestFirst) {
  add_all({4, 9, 2});
  EXPECT_EQ(process({2, 4, 9}), (Fds{2, 9, 4}));
  EXPECT_EQ(process({2, 4, 9}), (Fds{2, 9, 4})) << "called again in a second dispatch";
}

// Uses bits at both ends of the words of an fd_set.
TEST_F(SelectSetTest, CallsOnlyReadyReceivers) {
  const Fds edges = {0, 1, 7, 8, 31, 32, 33, 63, 64, 65, 1022, 1023};
  add_all(edges);
  for (const int32_t fd : edges) {
    EXPECT_EQ(process({fd}), Fds{fd});
  }
  EXPECT_EQ(process({}), Fds{});
  EXPECT_EQ(process({2, 30, 34, 62, 66, 500}), Fds{}) << "bits without a receiver";
}

TEST_F(SelectSetTest, BudgetIsOnlyTestedForZero) {
  add_all({1, 2, 3});
  EXPECT_EQ(process({1, 2, 3}, 0), Fds{});
  for (const uint32_t budget : {1U, 2U, 3U, 4U, kUnlimited - 1, kUnlimited}) {
    EXPECT_EQ(process({1, 2, 3}, budget), (Fds{3, 2, 1})) << budget;
  }
}

TEST_F(SelectSetTest, KnowsThatItIsDispatching) {
  actions_[1] = [this] { EXPECT_EQ(set_.m_bProcessing, 1); };
  add(1);
  EXPECT_EQ(process({1}), Fds{1});
  EXPECT_EQ(set_.m_bProcessing, 0);
  EXPECT_EQ(process({}), Fds{});
  EXPECT_EQ(set_.m_bProcessing, 0);
}

TEST_F(SelectSetTest, AddsItsDescriptorsToAnFdSet) {
  const Fds edges = {0, 1, 7, 8, 31, 32, 33, 63, 64, 65, 1022, 1023};
  add_all(edges);
  fd_set set = fd_set_of({});
  NUV_SelectSet_setFdSet(&set_, &set);
  EXPECT_TRUE(same(set, fd_set_of(edges)));

  start_again();
  add(5);
  set = fd_set_of({3, 5, 1000});
  NUV_SelectSet_setFdSet(&set_, &set);
  EXPECT_TRUE(same(set, fd_set_of({3, 5, 1000}))) << "adds bits and clears none";
  start_again();
  NUV_SelectSet_setFdSet(&set_, &set);
  EXPECT_TRUE(same(set, fd_set_of({3, 5, 1000}))) << "an empty set adds no bits";
}

TEST_F(SelectSetTest, AlsoAddsTheDescriptorsOfMarkedReceivers) {
  actions_[1] = [this] { remove(2); };
  add_all({1, 2});
  process({1});
  fd_set set = fd_set_of({});
  NUV_SelectSet_setFdSet(&set_, &set);
  EXPECT_TRUE(same(set, fd_set_of({1, 2})));
}

TEST_F(SelectSetTest, DescriptorsOutsideOfAnFdSetNeitherSetABitNorFire) {
  for (const int32_t fd : kStrangers) {
    SCOPED_TRACE(fd);
    const NUV_SelectRecv* receiver = add(fd);
    ASSERT_NE(receiver, nullptr);
    EXPECT_EQ(receiver->m_iFd, fd);
    EXPECT_EQ(list(), Fds{fd});

    GuardedFdSet guarded;
    memset(&guarded, 0, sizeof guarded);
    NUV_SelectSet_setFdSet(&set_, &guarded.set);
    const GuardedFdSet untouched = {};
    EXPECT_EQ(memcmp(&guarded, &untouched, sizeof guarded), 0);

    // Any bit that a wrong access would read is set.
    memset(&guarded, 0xFF, sizeof guarded);
    EXPECT_EQ(NUV_SelectSet_process(&set_, kUnlimited, &guarded.set), 0U);
    EXPECT_EQ(fired_, Fds{});
    remove(fd);
    EXPECT_EQ(list(), Fds{});
  }
}

TEST_F(SelectSetTest, DescriptorsAtTheLimitsStayWithinAnFdSet) {
  for (const int32_t fd : {0, 1023}) {
    SCOPED_TRACE(fd);
    start_again();
    add(fd);
    GuardedFdSet guarded;
    memset(&guarded, 0, sizeof guarded);
    NUV_SelectSet_setFdSet(&set_, &guarded.set);
    GuardedFdSet expected = {};
    expected.set = fd_set_of({fd});
    EXPECT_EQ(memcmp(&guarded, &expected, sizeof guarded), 0);
  }
}

TEST_F(SelectSetTest, RemovalOutsideADispatchIsImmediate) {
  const struct {
    const char* name;
    int32_t fd;
    Fds left;
  } kCases[] = {{"newest", 4, {3, 2, 1}}, {"second", 3, {4, 2, 1}}, {"third", 2, {4, 3, 1}}, {"oldest", 1, {4, 3, 2}}};
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    start_again();
    add_all({1, 2, 3, 4});
    remove(row.fd);
    EXPECT_EQ(list(), row.left);
    EXPECT_EQ(process({1, 2, 3, 4}), row.left);
  }
}

TEST_F(SelectSetTest, RemovingTheOnlyReceiverLeavesAnEmptySet) {
  add(5);
  remove(5);
  EXPECT_EQ(set_.m_pFirst, nullptr);
  EXPECT_EQ(set_.m_uCount, 0U);
  add(5);
  EXPECT_EQ(process({5}), Fds{5});
}

TEST_F(SelectSetTest, RemovalByACallbackOnlyMarks) {
  const struct {
    const char* name;
    int32_t removed;
    Fds fired;
    Fds left;
  } kCases[] = {
      {"one whose turn comes", 1, {3, 2}, {3, 2}},
      {"one that was called already", 3, {3, 2, 1}, {2, 1}},
      {"itself", 2, {3, 2, 1}, {3, 1}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    start_again();
    add_all({1, 2, 3});
    actions_[2] = [&] { remove(row.removed); };
    EXPECT_EQ(process({1, 2, 3}), row.fired);
    EXPECT_EQ(list(), (Fds{3, 2, 1}));
    for (const NUV_SelectRecv* receiver = set_.m_pFirst; receiver != nullptr; receiver = receiver->m_pNext) {
      EXPECT_EQ(receiver->m_bDeleted, receiver->m_iFd == row.removed ? 1 : 0) << receiver->m_iFd;
    }
    actions_.clear();
    EXPECT_EQ(process({1, 2, 3}), row.left) << "marked receivers are not called in later dispatches either";
    purge();
    EXPECT_EQ(list(), row.left);
  }
}

TEST_F(SelectSetTest, RemovingTwiceInOneDispatchIsAllowed) {
  add_all({1, 2});
  actions_[2] = [this] { remove(1), remove(1); };
  EXPECT_EQ(process({1, 2}), Fds{2});
  purge();
  EXPECT_EQ(list(), Fds{2});
}

TEST_F(SelectSetTest, SettingAMarkedReceiverRevivesIt) {
  for (const uint8_t temp : {kStays, kOneCycle}) {
    SCOPED_TRACE(int{temp});
    start_again();
    NUV_SelectRecv* receiver = add(1);
    actions_[1] = [&] {
      remove(1);
      EXPECT_EQ(add(1, temp), receiver);
      EXPECT_EQ(receiver->m_bDeleted, 0);
    };
    EXPECT_EQ(process({1}), Fds{1});
    EXPECT_EQ(list(), Fds{1});
    purge();
    EXPECT_EQ(list(), temp == kStays ? Fds{1} : Fds{});
  }
}

TEST_F(SelectSetTest, ReceiverRevivedBeforeItsTurnIsCalled) {
  add_all({1, 2});
  actions_[2] = [this] { remove(1), add(1); };
  EXPECT_EQ(process({1, 2}), (Fds{2, 1}));
}

// A new receiver is added at the front of the list, which the running dispatch has already passed.
TEST_F(SelectSetTest, ReceiverAddedByACallbackIsCalledInTheNextDispatch) {
  add(1);
  actions_[1] = [this] { add(2); };
  EXPECT_EQ(process({1, 2}), Fds{1});
  EXPECT_EQ(list(), (Fds{2, 1}));
  EXPECT_EQ(process({1, 2}), (Fds{2, 1}));
}

TEST_F(SelectSetTest, PurgeRemovesMarkedAndOneCycleReceivers) {
  const struct {
    const char* name;
    Fds one_cycle;
    Fds removed;
    Fds left;
  } kCases[] = {
      {"none", {}, {}, {5, 4, 3, 2, 1}},
      {"the newest", {5}, {}, {4, 3, 2, 1}},
      {"the oldest", {}, {1}, {5, 4, 3, 2}},
      {"neighbours", {4}, {3}, {5, 2, 1}},
      {"the two newest", {4, 5}, {}, {3, 2, 1}},
      {"the two oldest", {}, {1, 2}, {5, 4, 3}},
      {"every other", {1, 5}, {3}, {4, 2}},
      {"one for both reasons", {2}, {2}, {5, 4, 3, 1}},
      {"all", {1, 3, 5}, {2, 4}, {}},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.name);
    start_again();
    actions_[0] = [&] {
      for (const int32_t fd : row.removed) {
        remove(fd);
      }
    };
    add_all({0, 1, 2, 3, 4, 5});
    for (const int32_t fd : row.one_cycle) {
      add(fd, kOneCycle);
    }
    EXPECT_EQ(process({0}), Fds{0});
    remove(0);
    purge();
    EXPECT_EQ(list(), row.left);
    purge();
    EXPECT_EQ(list(), row.left);
  }
}

TEST_F(SelectSetTest, OneCycleReceiverIsRemovedEvenIfItWasNotCalled) {
  add(1, kOneCycle);
  add(2, kOneCycle);
  EXPECT_EQ(process({1}), Fds{1});
  EXPECT_EQ(process({1}), Fds{1}) << "it stays until the purge";
  EXPECT_EQ(set_.m_uCount, 2U);
  purge();
  EXPECT_EQ(list(), Fds{});
}

TEST_F(SelectSetTest, PurgeDoesNotReadTheFdSet) {
  for (const int byte : {0x00, 0xFF}) {
    add(1, kOneCycle);
    add(2);
    fd_set set;
    memset(&set, byte, sizeof set);
    const fd_set before = set;
    NUV_SelectSet_internalRemoveDeleted(&set_, &set);
    EXPECT_EQ(list(), Fds{2});
    EXPECT_TRUE(same(set, before));
  }
}

TEST_F(SelectSetTest, HasRoomFor1024Receivers) {
  for (int32_t fd = 0; fd < 1024; ++fd) {
    EXPECT_EQ(NUV_SelectSet_available(&set_), 1) << fd;
    ASSERT_NE(add(fd), nullptr);
  }
  EXPECT_EQ(NUV_SelectSet_available(&set_), 0);
  EXPECT_EQ(set_.m_uCount, 1024U);

  fd_set all;
  memset(&all, 0xFF, sizeof all);
  fd_set set = fd_set_of({});
  NUV_SelectSet_setFdSet(&set_, &set);
  EXPECT_TRUE(same(set, all));
  EXPECT_EQ(NUV_SelectSet_process(&set_, kUnlimited, &all), 1024U);
  EXPECT_EQ(fired_.front(), 1023);
  EXPECT_EQ(fired_.back(), 0);
}

TEST_F(SelectSetTest, WithoutMemoryRegistersNothing) {
  add_all({1, 2});
  const int blocks = each_fault("malloc", {ENOMEM}, [this](Fault& fault) {
    const NUV_SelectRecv* replaced = fault.during([this] { return add(2); });
    EXPECT_NE(replaced, nullptr) << "a replacement needs no memory";
    const NUV_SelectRecv* added = fault.during([this] { return add(3); });
    EXPECT_EQ(added == nullptr, fault.has_struck());
    EXPECT_EQ(list(), fault.has_struck() ? (Fds{2, 1}) : (Fds{3, 2, 1}));
    add(3);
    EXPECT_EQ(process({1, 2, 3}), (Fds{3, 2, 1}));
    remove(3);
  });
  EXPECT_EQ(blocks, 1);
}

TEST_F(SelectSetTest, RemovingAnUnknownDescriptorEndsTheProcess) {
  add(1);
  const ChildProcess child([this] {
    NUV_Sysloglevel_set(0);  // log to standard output
    NUV_Assert_setErrorHandler(nullptr);
    remove(3);
  });
  EXPECT_TRUE(child.has_exited(255)) << child.outcome();
  EXPECT_NE(child.out().find(":check failed:((void *)0) != pTmpRecv\n"), std::string::npos) << child.out();
  EXPECT_EQ(child.err(), "");
}

// What is purged leaves the set at once; the records that the outer dispatch walks over stay until the next purge.
TEST_F(SelectSetTest, SurvivesADispatchAndAPurgeInsideACallback) {
  add_all({1, 2, 3, 4});
  actions_[3] = [this] {
    actions_[3] = {};
    const fd_set ready = fd_set_of({1, 4});
    remove(2);
    remove(3);
    EXPECT_EQ(NUV_SelectSet_process(&set_, kUnlimited, &ready), 2U);
    EXPECT_EQ(set_.m_bProcessing, 1) << "the outer dispatch is still running";
    EXPECT_EQ(list(), (Fds{4, 3, 2, 1}));
    purge();
    EXPECT_EQ(list(), (Fds{4, 1}));
    remove(4);
    purge();
    purge();
    EXPECT_EQ(list(), Fds{1});
    add(2);
    EXPECT_EQ(list(), (Fds{2, 1}));
    fd_set asked = fd_set_of({});
    NUV_SelectSet_setFdSet(&set_, &asked);
    EXPECT_TRUE(same(asked, fd_set_of({1, 2})));
  };
  const fd_set ready = fd_set_of({1, 2, 3, 4});
  EXPECT_EQ(NUV_SelectSet_process(&set_, kUnlimited, &ready), 3U);
  EXPECT_EQ(fired_, (Fds{4, 3, 4, 1, 1}));
  EXPECT_EQ(set_.m_bProcessing, 0);
  purge();
  EXPECT_EQ(list(), (Fds{2, 1}));
  EXPECT_EQ(set_.m_pFirst->m_pNext->m_pNext, nullptr);
}

TEST_F(SelectSetTest, OneCycleReceiverEndsWithThePurgeInsideACallback) {
  add(1, kOneCycle);
  add(2);
  actions_[2] = [this] {
    purge();
    EXPECT_EQ(list(), Fds{2});
  };
  EXPECT_EQ(process({1, 2}), Fds{2}) << "it has been purged before its turn";
  EXPECT_EQ(list(), Fds{2});
}

TEST_F(SelectSetTest, PurgeFreesWhatADispatchThatNeverEndedHasKept) {
  add(1);
  add(2);
  set_.m_bProcessing = 1;
  remove(1);
  purge();
  EXPECT_EQ(list(), Fds{2});
  set_.m_bProcessing = 0;
  purge();
  EXPECT_EQ(list(), Fds{2});
  EXPECT_EQ(set_.m_pFirst->m_pNext, nullptr);
}

// Callbacks that change their set at random. The seed is fixed, so every run is the same.
class Chaos {
 public:
  explicit Chaos(SelectSet& set) : set_(set) {}

  uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random_()) % limit; }
  int32_t some_fd() { return static_cast<int32_t>(below(40)) - 1; }

  void add() { NUV_SelectSet_setReceiver(&set_, some_fd(), this, 0, static_cast<uint8_t>(below(2)), call); }

  // Removes only a known descriptor, because others are reported.
  void remove() {
    const int32_t fd = some_fd();
    for (const NUV_SelectRecv* receiver = set_.m_pFirst; receiver != nullptr; receiver = receiver->m_pNext) {
      if (receiver->m_iFd == fd) {
        NUV_SelectSet_removeReceiver(&set_, fd);
        return;
      }
    }
  }

  uint32_t dispatch() {
    fd_set ready;
    memset(&ready, static_cast<int>(below(256)), sizeof ready);
    return NUV_SelectSet_process(&set_, below(3), &ready);
  }

  void purge() {
    const fd_set unused = fd_set_of({});
    NUV_SelectSet_internalRemoveDeleted(&set_, &unused);
  }

 private:
  static int32_t call(void* arg1, int32_t /*fd*/, uint32_t /*arg2*/) {
    static_cast<Chaos*>(arg1)->act();
    return 0;
  }

  void act() {
    switch (below(6)) {
      case 0:
        add();
        break;
      case 1:
      case 2:
        remove();
        break;
      case 3:
        purge();
        break;
      case 4:
        if (depth_ < 2) {
          ++depth_;
          dispatch();
          --depth_;
        }
        break;
      default:
        break;
    }
  }

  SelectSet& set_;
  std::minstd_rand random_;
  int depth_ = 0;
};

TEST_F(SelectSetTest, StaysConsistentWithRandomCallbacks) {
  Chaos chaos(set_);
  uint32_t fired = 0;
  for (int round = 0; round < 500; ++round) {
    SCOPED_TRACE(round);
    for (uint32_t more = chaos.below(10); more > 0; --more) {
      chaos.add();
    }
    chaos.remove();
    fired += chaos.dispatch();
    chaos.purge();
    const Fds fds = list();
    EXPECT_EQ(std::set<int32_t>(fds.begin(), fds.end()).size(), fds.size()) << "two receivers of one descriptor";
  }
  EXPECT_GT(fired, 500U);
}

}  // namespace

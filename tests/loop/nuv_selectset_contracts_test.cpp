// Violates every contract of the select set; the error handler returns.
#include <gtest/gtest.h>
#include <signal.h>
#include <string.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "doubles/child_process.h"
#include "doubles/contract_recorder.h"
#include "doubles/violation.h"
#include "nuv_selectset.h"

namespace {

using support::check_report;
using support::ChildProcess;
using support::ContractRecorder;
using support::Report;
using support::Reports;
using support::require_report;

constexpr char kFile[] = "nuv_selectset";
constexpr char kIsKnown[] = "((void *)0) != pTmpRecv";
constexpr char kHasRoom[] = "NUV_SelectSet_available( a_this) == 1";
constexpr char kHasRoomAfterwards[] = "1 == NUV_SelectSet_available( a_this)";
constexpr char kHasFdSet[] = "((void *)0) != a_fdset";
constexpr char kHasCallback[] = "((void *)0) != a_recvfunc";

constexpr uint32_t kUnlimited = 0xFFFFFFFF;

int32_t ignore(void* /*arg1*/, int32_t /*fd*/, uint32_t /*arg2*/) {
  return 0;
}

int32_t fail(void* /*arg1*/, int32_t /*fd*/, uint32_t /*arg2*/) {
  ADD_FAILURE() << "called";
  return 0;
}

NUV_SelectRecv* add(SelectSet& set, int32_t fd, uint8_t temp = 0, NUV_SelectRecvFunc function = ignore) {
  return NUV_SelectSet_setReceiver(&set, fd, &set, 0, temp, function);
}

void fill(SelectSet& set) {
  for (int32_t fd = 0; fd < NUV_SELECTSET_SIZE; ++fd) {
    add(set, fd);
  }
}

fd_set everybody() {
  fd_set all;
  memset(&all, 0xFF, sizeof all);
  return all;
}

// Calls all receivers whose descriptors fit into an fd_set.
uint32_t process(SelectSet& set) {
  const fd_set ready = everybody();
  return NUV_SelectSet_process(&set, kUnlimited, &ready);
}

void purge(SelectSet& set) {
  const fd_set unused = everybody();
  NUV_SelectSet_internalRemoveDeleted(&set, &unused);
}

uint32_t length(const SelectSet& set) {
  uint32_t count = 0;
  for (const NUV_SelectRecv* receiver = set.m_pFirst; receiver != nullptr; receiver = receiver->m_pNext) {
    ++count;
    if (count > 2 * NUV_SELECTSET_SIZE) {
      std::abort();
    }
  }
  return count;
}

using Row = support::Violation<SelectSet>;

// The set has the descriptors 5 and 3.
class SelectSetContracts : public ::testing::TestWithParam<Row> {
 protected:
  SelectSetContracts() {
    NUV_SelectSet_construct(&set_);
    add(set_, 3);
    add(set_, 5);
  }
  ~SelectSetContracts() override { NUV_SelectSet_destruct(&set_); }

  ContractRecorder contracts_;
  SelectSet set_ = {};
};

TEST_P(SelectSetContracts, AreReportedAndLeaveAWorkingSet) {
  GetParam().violate(set_);
  EXPECT_EQ(contracts_.take(), GetParam().reports);

  EXPECT_EQ(set_.m_bProcessing, 0);
  purge(set_);
  EXPECT_EQ(length(set_), set_.m_uCount);
  while (set_.m_uCount > 0) {
    const uint32_t before = set_.m_uCount;
    NUV_SelectSet_removeReceiver(&set_, set_.m_pFirst->m_iFd);
    EXPECT_EQ(set_.m_uCount, before - 1);
  }
  EXPECT_EQ(set_.m_pFirst, nullptr);
  ASSERT_NE(add(set_, 5), nullptr);
  EXPECT_EQ(process(set_), 1U);
}

const Row kRows[] = {
    // It counts as called, so that a reactor does not wait for it.
    {"setReceiverWithoutACallback",
     [](SelectSet& set) {
       EXPECT_NE(add(set, 7, /*temp=*/0, nullptr), nullptr);
       EXPECT_EQ(process(set), 3U);
     },
     {require_report(kFile, kHasCallback)}},
    // Room is required even if it is not needed.
    {"setReceiverOfAKnownDescriptorInAFullSet",
     [](SelectSet& set) {
       fill(set);
       NUV_SelectRecv* first = set.m_pFirst;
       EXPECT_EQ(NUV_SelectSet_setReceiver(&set, first->m_iFd, nullptr, 77, 0, ignore), first);
       EXPECT_EQ(first->m_uArg2, 77U);
       EXPECT_EQ(set.m_uCount, 1024U);
     },
     {require_report(kFile, kHasRoom)}},
    // The set then has one receiver too many.
    {"setReceiverInAFullSet",
     [](SelectSet& set) {
       fill(set);
       ASSERT_NE(add(set, -1), nullptr);
       EXPECT_EQ(length(set), 1025U);
       EXPECT_EQ(NUV_SelectSet_available(&set), 0);
       NUV_SelectSet_removeReceiver(&set, 500);
       EXPECT_EQ(length(set), 1024U);
       NUV_SelectSet_removeReceiver(&set, 501);
       EXPECT_EQ(NUV_SelectSet_available(&set), 1);
     },
     {require_report(kFile, kHasRoom), require_report(kFile, kHasRoomAfterwards)}},
    {"setReceiverWithoutACallbackInAFullSet",
     [](SelectSet& set) {
       fill(set);
       ASSERT_NE(add(set, -1, /*temp=*/1, nullptr), nullptr);
     },
     {require_report(kFile, kHasCallback), require_report(kFile, kHasRoom)}},
    // An immediate removal makes room before the check, a deferred one does not.
    {"removeReceiverFromAFullSetInADispatch",
     [](SelectSet& set) {
       fill(set);
       set.m_pFirst->m_pRecvFunc = [](void* arg1, int32_t, uint32_t) -> int32_t {
         NUV_SelectSet_removeReceiver(static_cast<SelectSet*>(arg1), 3);
         return 0;
       };
       EXPECT_EQ(process(set), 1023U);
       EXPECT_EQ(set.m_uCount, 1024U);
       set.m_pFirst->m_pRecvFunc = ignore;
     },
     {require_report(kFile, kHasRoomAfterwards)}},
    // During a dispatch nothing is unlinked, so nothing aborts.
    {"removeAnUnknownDescriptorInADispatch",
     [](SelectSet& set) {
       set.m_pFirst->m_pRecvFunc = [](void* arg1, int32_t, uint32_t) -> int32_t {
         NUV_SelectSet_removeReceiver(static_cast<SelectSet*>(arg1), 4);
         return 0;
       };
       EXPECT_EQ(process(set), 2U);
       EXPECT_EQ(set.m_uCount, 2U);
     },
     {check_report(kFile, kIsKnown)}},
    {"setFdSetWithoutAnFdSet",
     [](SelectSet& set) { NUV_SelectSet_setFdSet(&set, nullptr); },
     {require_report(kFile, kHasFdSet)}},
    {"processWithoutAnFdSet",
     [](SelectSet& set) {
       add(set, 3, /*temp=*/0, fail);
       EXPECT_EQ(NUV_SelectSet_process(&set, kUnlimited, nullptr), 0U);
     },
     {require_report(kFile, kHasFdSet)}},
    // The purge does not use the fd_set.
    {"purgeWithoutAnFdSet",
     [](SelectSet& set) {
       add(set, 7, /*temp=*/1);
       NUV_SelectSet_internalRemoveDeleted(&set, nullptr);
       EXPECT_EQ(set.m_uCount, 2U);
     },
     {require_report(kFile, kHasFdSet)}},
};

INSTANTIATE_TEST_SUITE_P(All, SelectSetContracts, ::testing::ValuesIn(kRows), support::kNameOfRow);

// After a handler that returns, the C library's assertion aborts, with or without other receivers in the set.
TEST(SelectSetContractsOfMembership, RemovingAnUnknownDescriptorAborts) {
  constexpr char kExpression[] =
      R"(*_p_!=((void *)0) && "element is not member of the container, use DELETE_IF_MEMBER instead"!=((void *)0))";
  constexpr char kPlace[] = "platform/iad/user/userlib/source/nuv_selectset";
  constexpr char kFunction[] = "NUV_SelectSet_internalRemove";
  for (const int32_t others : {0, 2}) {
    SCOPED_TRACE(others);
    const ChildProcess child([others] {
      static ContractRecorder contracts;
      SelectSet set;
      NUV_SelectSet_construct(&set);
      for (int32_t fd = 0; fd < others; ++fd) {
        add(set, fd);
      }
      // Prints the reports to standard output before the process ends.
      signal(SIGABRT, [](int) {
        for (const Report& report : contracts.take()) {
          std::printf("%u|%s|%s\n", report.type, report.file->c_str(), report.text->c_str());
        }
        std::fflush(stdout);
      });
      NUV_SelectSet_removeReceiver(&set, 7);
    });
    EXPECT_TRUE(child.was_killed_by(SIGABRT)) << child.outcome();
    EXPECT_EQ(child.out(),
              "3|nuv_selectset|((void *)0) != pTmpRecv\n"
              "1|nuv_selectset|((void *)0) != a_selectrecv\n");
#ifdef __GLIBC__
    EXPECT_EQ(child.err(), std::string(program_invocation_short_name) + ": " + kPlace + ":58: " + kFunction +
                               ": Assertion `" + kExpression + "' failed.\n");
#else
    // Other C libraries word the line differently.
    for (const char* part : {kExpression, kPlace, kFunction, "58"}) {
      EXPECT_NE(child.err().find(part), std::string::npos) << part;
    }
#endif
  }
}

TEST(SelectSetContractsNull, EveryOperationReportsANullSet) {
  support::expect_null_reports(
      kFile, "((void *)0) != a_this",
      {{"construct", [] { NUV_SelectSet_construct(nullptr); }},
       {"destruct", [] { NUV_SelectSet_destruct(nullptr); }},
       {"available", [] { NUV_SelectSet_available(nullptr); }},
       {"setReceiver", [] { NUV_SelectSet_setReceiver(nullptr, 0, nullptr, 0, 0, nullptr); }},
       {"removeReceiver", [] { NUV_SelectSet_removeReceiver(nullptr, 0); }},
       {"setFdSet", [] { NUV_SelectSet_setFdSet(nullptr, nullptr); }},
       {"process", [] { NUV_SelectSet_process(nullptr, 1, nullptr); }},
       {"internalRemoveDeleted", [] { NUV_SelectSet_internalRemoveDeleted(nullptr, nullptr); }}});
}

}  // namespace

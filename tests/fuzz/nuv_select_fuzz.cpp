// A reactor, compared with a simple model of its cycle. The input is a sequence of operations and of results of
// select(); callbacks add and remove receivers and timers, and let time pass. Callbacks that would make the passes over
// the sets endless are skipped: the model detects them first.
#include <algorithm>
#include <array>
#include <cerrno>
#include <deque>
#include <optional>
#include <utility>
#include <vector>

#include "doubles.h"
#include "fuzz_check.h"
#include "fuzz_input.h"
#include "models/timer_model.h"
#include "nuv_select.h"
#include "nuv_sysloglevel.h"

namespace {

using fuzz::microseconds;
using fuzz::Script;
using fuzz::TimerModel;
using fuzz::to_timeval;

constexpr uint32_t kUnlimited = TimerModel::kUnlimited;
constexpr uint32_t kNoId = TimerModel::kCapacity + 1;
constexpr size_t kKinds = 3;  // read, write, except
constexpr size_t kTypes = 2;  // internal, external

// The sets of one cycle: descriptors by kind, in ascending order.
using Descriptors = std::array<std::vector<int32_t>, kKinds>;

struct Answer {
  Descriptors asked;
  std::optional<int64_t> wait;
  Descriptors ready;
  int result = 0;
  int64_t takes = 0;
};

struct Firing {
  int32_t fd;  // -1: a timer
  int64_t left;
  uint32_t script;
  int64_t time;

  bool operator==(const Firing&) const = default;
};

// ---- common to library and model ----

class Side {
 public:
  virtual ~Side() = default;

  virtual void set(size_t kind, size_t type, bool one_cycle, int32_t fd, uint32_t script) = 0;
  virtual void remove(size_t kind, size_t type, int32_t fd) = 0;
  virtual uint32_t add_timer(int64_t time, uint32_t script, bool fires_once) = 0;
  virtual void update_timer(uint32_t id, int64_t time) = 0;
  virtual void remove_timer(uint32_t id) = 0;

  // The callback of a receiver or timer.
  int32_t fire(int32_t fd, int64_t left, uint32_t bits) {
    firings.push_back({fd, left, bits, now});
    const Script script(bits);
    if (fuel_ > 0) {
      --fuel_;
      perform(script);
    }
    return script.result();
  }

  void start() {
    firings.clear();
    fuel_ = kFuel;
  }

  static int32_t descriptor(uint8_t number) {
    constexpr std::array<int32_t, 8> kDescriptors = {0, 1, 2, 3, 4, 1023, 1024, -1};
    return kDescriptors[number % kDescriptors.size()];
  }

  int64_t now = 1000000000;
  std::vector<Firing> firings;

 private:
  static constexpr int kFuel = 60;

  void perform(const Script& script) {
    const size_t kind = script.first() % kKinds;
    const size_t type = script.first() / 4 % kTypes;
    const int32_t fd = descriptor(script.second());
    const uint32_t id = script.second() % kNoId;
    switch (script.action()) {
      case 4:
        set(kind, type, script.first() >= 0x80, fd, script.child());
        break;
      case 5:
        remove(kind, type, fd);
        break;
      case 6:
        remove(kind, type, fd);
        set(kind, type, script.first() >= 0x80, fd, script.child());
        break;
      case 7:
        add_timer(script.time(), script.child(), script.first() >= 0x80);
        break;
      case 8:
        update_timer(id, script.time());
        break;
      case 9:
        remove_timer(id);
        break;
      case 10:
        now += int64_t{script.third()} * 10000;
        break;
      default:
        break;
    }
  }

  int fuel_ = 0;
};

// ---- the model ----

struct Receiver {
  int32_t fd;
  uint32_t script;
  bool one_cycle;
  bool is_removed;
};

struct ReceiverSet {
  std::vector<Receiver> receivers;  // the oldest first
  bool is_processing = false;

  Receiver* find(int32_t fd) {
    const auto found =
        std::find_if(receivers.begin(), receivers.end(), [fd](const Receiver& receiver) { return receiver.fd == fd; });
    return found != receivers.end() ? &*found : nullptr;
  }
};

class ModelSide : public Side {
 public:
  void set(size_t kind, size_t type, bool one_cycle, int32_t fd, uint32_t script) override {
    ReceiverSet& set = sets[kind][type];
    if (Receiver* receiver = set.find(fd)) {
      *receiver = {fd, script, one_cycle, false};
    } else {
      set.receivers.push_back({fd, script, one_cycle, false});
    }
  }

  // Outside of a dispatch, removing an unknown descriptor would abort, so it is skipped.
  void remove(size_t kind, size_t type, int32_t fd) override {
    ReceiverSet& set = sets[kind][type];
    Receiver* const receiver = set.find(fd);
    if (set.is_processing) {
      timers.refusals += receiver == nullptr ? 1 : 0;
      if (receiver != nullptr) {
        receiver->is_removed = true;
      }
    } else if (receiver != nullptr) {
      set.receivers.erase(set.receivers.begin() + (receiver - set.receivers.data()));
    }
  }

  uint32_t add_timer(int64_t time, uint32_t script, bool fires_once) override {
    return timers.add(time, script, fires_once, true);
  }

  void update_timer(uint32_t id, int64_t time) override {
    timers.refusals += timers.count == TimerModel::kCapacity ? 1 : 0;
    timers.update(id, time);
  }

  void remove_timer(uint32_t id) override { timers.remove(id); }

  // One call of process. Returns nothing if it would never end.
  std::optional<int> process(std::optional<int64_t> wait, fuzz::FuzzInput& input) {
    answers.clear();
    is_endless_ = false;
    const size_t internal = count_receivers(0);
    if (!wait && timers.count == 0 && count_receivers(1) == 0) {
      return internal == 0 ? 0 : run_cycle(0, std::nullopt, false, kUnlimited, input);
    }
    if (internal > 0) {
      const auto served = run_cycle(0, 0, false, kUnlimited, input);
      if (!served || *served > 0) {
        return served;
      }
    }
    const auto served = run_cycle(1, wait, true, internal > 0 ? 1 : kUnlimited, input);
    last_time = now;
    return served;
  }

  std::array<std::array<ReceiverSet, kTypes>, kKinds> sets;
  TimerModel timers;
  int64_t last_time = now;
  std::deque<Answer> answers;  // of this call

 private:
  size_t count_receivers(size_t type) const {
    return sets[0][type].receivers.size() + sets[1][type].receivers.size() + sets[2][type].receivers.size();
  }

  std::optional<int> run_cycle(size_t type, std::optional<int64_t> wait, bool with_timers, uint32_t budget,
                               fuzz::FuzzInput& input) {
    int64_t bound = wait.value_or(int64_t{999999} * 1000000 + 999999);
    if (with_timers && timers.nearest(bound)) {
      wait = bound;
    }
    const Answer answer = select(type, wait, input);
    budget = dispatch(type, answer, budget);
    if (is_endless_) {
      return std::nullopt;
    }
    if (with_timers) {
      constexpr int64_t kWrap = int64_t{0x7FFFFFFF} * 1000000 + 999999;
      const int64_t elapsed = now > last_time ? now - last_time : now + (kWrap - last_time);
      timers.process(budget, elapsed, [this](int64_t& left, uint32_t script) {
        const int64_t before = left;
        if (Script(script).arms_again()) {
          left = Script(script).time();
        }
        return fire(-1, before, script);
      });
    }
    for (auto& kind : sets) {
      std::erase_if(kind[type].receivers,
                    [](const Receiver& receiver) { return receiver.is_removed || receiver.one_cycle; });
    }
    timers.purge();
    return answer.result;
  }

  // Invents an answer and keeps it for the library.
  Answer select(size_t type, std::optional<int64_t> wait, fuzz::FuzzInput& input) {
    Answer answer;
    answer.wait = wait;
    const uint8_t choice = input.byte();
    for (size_t kind = 0; kind < kKinds; ++kind) {
      for (const Receiver& receiver : sets[kind][type].receivers) {
        if (receiver.fd >= 0 && receiver.fd < FD_SETSIZE) {
          answer.asked[kind].push_back(receiver.fd);
        }
      }
      std::sort(answer.asked[kind].begin(), answer.asked[kind].end());
    }
    if (choice >= 0xF0 || (wait && *wait < 0)) {
      answer.result = -1;
    } else {
      const uint8_t ready = choice % 2 != 0 ? input.byte() : 0;
      uint32_t bits = ready * 0x01010101U;
      for (size_t kind = 0; kind < kKinds; ++kind) {
        for (const int32_t fd : answer.asked[kind]) {
          if ((bits & 1) != 0) {
            answer.ready[kind].push_back(fd);
            ++answer.result;
          }
          bits = bits >> 1 | bits << 31;
        }
      }
      answer.takes = answer.result == 0 && wait ? *wait : int64_t{choice / 2} * 1000;
    }
    now += answer.takes;
    answers.push_back(answer);
    return answer;
  }

  uint32_t dispatch(size_t type, const Answer& answer, uint32_t budget) {
    int64_t remaining = answer.result;
    while (remaining > 0) {
      uint32_t fired_in_pass = 0;
      for (size_t kind = 0; kind < kKinds; ++kind) {
        const uint32_t fired = dispatch_set(sets[kind][type], answer.ready[kind], budget);
        fired_in_pass += fired;
        remaining -= fired;
        if (budget != kUnlimited) {
          budget -= fired;
          if (budget == 0) {
            return 0;
          }
        }
      }
      if (fired_in_pass == 0 && remaining > 0) {
        is_endless_ = true;
        return budget;
      }
    }
    return budget;
  }

  uint32_t dispatch_set(ReceiverSet& set, const std::vector<int32_t>& ready, uint32_t budget) {
    uint32_t fired = 0;
    set.is_processing = true;
    for (size_t i = set.receivers.size(); i-- > 0;) {
      const Receiver receiver = set.receivers[i];
      const bool is_ready = std::find(ready.begin(), ready.end(), receiver.fd) != ready.end();
      if (!receiver.is_removed && budget != 0 && is_ready) {
        fire(receiver.fd, 0, receiver.script);
        ++fired;
      }
    }
    set.is_processing = false;
    return fired;
  }

  bool is_endless_ = false;
};

// ---- the library ----

class LibrarySide : public Side, public fuzz::Machine {
 public:
  LibrarySide() { FUZZ_CHECK(NUV_Select_construct(&reactor) == 1); }
  ~LibrarySide() override { NUV_Select_destruct(&reactor); }

  void set(size_t kind, size_t type, bool one_cycle, int32_t fd, uint32_t script) override {
    using Set = NUV_SelectRecv* (*)(Select*, int32_t, void*, uint32_t, NUV_SelectRecvFunc);
    constexpr Set kSet[kKinds][kTypes][2] = {
        {{NUV_Select_setRead, NUV_Select_setTempRead}, {NUV_Select_setReadExternal, NUV_Select_setTempReadExternal}},
        {{NUV_Select_setWrite, NUV_Select_setTempWrite},
         {NUV_Select_setWriteExternal, NUV_Select_setTempWriteExternal}},
        {{NUV_Select_setExcept, NUV_Select_setTempExcept},
         {NUV_Select_setExceptExternal, NUV_Select_setTempExceptExternal}}};
    const NUV_SelectRecv* receiver = kSet[kind][type][one_cycle ? 1 : 0](&reactor, fd, this, script, call);
    FUZZ_CHECK(receiver != nullptr && receiver->m_iFd == fd);
  }

  void remove(size_t kind, size_t type, int32_t fd) override {
    using Remove = void (*)(Select*, int32_t);
    constexpr Remove kRemove[kKinds][kTypes] = {{NUV_Select_removeRead, NUV_Select_removeReadExternal},
                                                {NUV_Select_removeWrite, NUV_Select_removeWriteExternal},
                                                {NUV_Select_removeExcept, NUV_Select_removeExceptExternal}};
    const SelectSet& set = set_of(kind, type);
    if (set.m_bProcessing != 0 || holds(set, fd)) {
      kRemove[kind][type](&reactor, fd);
    }
  }

  uint32_t add_timer(int64_t time, uint32_t script, bool fires_once) override {
    const auto add = fires_once ? NUV_Select_setTempTimeout : NUV_Select_setTimeout;
    return add(&reactor, to_timeval(time), this, script, call_timer);
  }

  void update_timer(uint32_t id, int64_t time) override { NUV_Select_updateTimeout(&reactor, id, to_timeval(time)); }
  void remove_timer(uint32_t id) override { NUV_Select_removeTimeout(&reactor, id); }

  int process(std::optional<int64_t> wait) {
    timeval time = to_timeval(wait.value_or(0));
    return NUV_Select_process(&reactor, wait ? &time : nullptr);
  }

  const SelectSet& set_of(size_t kind, size_t type) const {
    return kind == 0 ? reactor.m_oRead[type] : (kind == 1 ? reactor.m_oWrite[type] : reactor.m_oExcept[type]);
  }

  timeval monotonic() override { return to_timeval(now); }

  // Gives the model's answers.
  int select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* wait) override {
    FUZZ_CHECK(count == FD_SETSIZE);
    FUZZ_CHECK(!answers.empty());
    const Answer answer = answers.front();
    const std::array<fd_set*, kKinds> fd_sets = {read, write, except};
    for (size_t kind = 0; kind < kKinds; ++kind) {
      FUZZ_CHECK(members(*fd_sets[kind]) == answer.asked[kind]);
    }
    if (is_poll(wait, answer)) {
      FUZZ_CHECK(!has_polled_);  // polls only once
      has_polled_ = true;
      if (answer.result == 0) {
        for (fd_set* each : fd_sets) {
          FD_ZERO(each);
        }
        return 0;
      }
    } else {
      FUZZ_CHECK((wait != nullptr) == answer.wait.has_value());
      FUZZ_CHECK(wait == nullptr || microseconds(*wait) == *answer.wait);
    }
    has_polled_ = false;
    answers.pop_front();
    now += answer.takes;
    if (answer.result < 0) {
      errno = EINTR;
      return -1;
    }
    for (size_t kind = 0; kind < kKinds; ++kind) {
      FD_ZERO(fd_sets[kind]);
      for (const int32_t fd : answer.ready[kind]) {
        FD_SET(fd, fd_sets[kind]);
      }
    }
    return answer.result;
  }

  Select reactor;
  std::deque<Answer> answers;

 private:
  // The reactor may poll before a wait.
  static bool is_poll(const timeval* wait, const Answer& answer) {
    return wait != nullptr && microseconds(*wait) == 0 && (!answer.wait || *answer.wait > 0);
  }

  bool has_polled_ = false;

  static bool holds(const SelectSet& set, int32_t fd) {
    const NUV_SelectRecv* receiver = set.m_pFirst;
    while (receiver != nullptr && receiver->m_iFd != fd) {
      receiver = receiver->m_pNext;
    }
    return receiver != nullptr;
  }

  static std::vector<int32_t> members(const fd_set& set) {
    std::vector<int32_t> fds;
    for (int32_t fd = 0; fd < FD_SETSIZE; ++fd) {
      if (FD_ISSET(fd, &set)) {
        fds.push_back(fd);
      }
    }
    return fds;
  }

  static int32_t call(void* side, int32_t fd, uint32_t script) {
    return static_cast<LibrarySide*>(side)->fire(fd, 0, script);
  }

  static int32_t call_timer(void* side, timeval* left, uint32_t script) {
    const int64_t before = microseconds(*left);
    if (Script(script).arms_again()) {
      *left = to_timeval(Script(script).time());
    }
    return static_cast<LibrarySide*>(side)->fire(-1, before, script);
  }
};

// ---- the comparison ----

class Twins {
 public:
  // Runs the operation on both sides.
  template <typename Operation>
  void both(Operation operation) {
    library_.start();
    model_.start();
    operation(static_cast<Side&>(library_));
    operation(static_cast<Side&>(model_));
  }

  uint32_t add_timer(int64_t time, uint32_t script, bool fires_once) {
    const uint32_t id = library_.add_timer(time, script, fires_once);
    FUZZ_CHECK(id == model_.add_timer(time, script, fires_once));
    return id;
  }

  // An unknown event type has no receivers.
  void set_nowhere(uint32_t type) {
    if (type >= kTypes) {
      FUZZ_CHECK(NUV_Select_internalSetTempRead(&library_.reactor, type, 0, nullptr, 0, nothing) == nullptr);
      FUZZ_CHECK(NUV_Select_internalSetWrite(&library_.reactor, type, 0, nullptr, 0, nothing) == nullptr);
      NUV_Select_internalRemoveExcept(&library_.reactor, type, 0);
    }
  }

  void process(std::optional<int64_t> wait, fuzz::FuzzInput& input) {
    ModelSide before = model_;
    model_.start();
    const auto expected = model_.process(wait, input);
    if (!expected) {
      model_ = before;
      return;
    }
    library_.start();
    library_.answers = model_.answers;
    FUZZ_CHECK(library_.process(wait) == *expected);
    FUZZ_CHECK(library_.answers.empty());
    FUZZ_CHECK(library_.firings == model_.firings);
  }

  void pass(int64_t time) {
    library_.now += time;
    model_.now += time;
  }

  void compare() {
    contracts_.expect_refusal(std::exchange(model_.timers.refusals, 0) > 0);
    FUZZ_CHECK(library_.now == model_.now);
    FUZZ_CHECK(microseconds(library_.reactor.m_oLastTime) == model_.last_time);
    for (size_t kind = 0; kind < kKinds; ++kind) {
      for (size_t type = 0; type < kTypes; ++type) {
        compare_receivers(library_.set_of(kind, type), model_.sets[kind][type]);
      }
    }
    const TimeoutSet& timers = library_.reactor.m_oTimeout;
    FUZZ_CHECK(timers.m_uCount == model_.timers.count);
    for (uint32_t i = 0; i < timers.m_uCount; ++i) {
      FUZZ_CHECK(timers.m_rgRecv[i].m_uId == model_.timers.slots[i].id);
      FUZZ_CHECK(timers.m_rgRecv[i].m_uArg2 == model_.timers.slots[i].script);
      FUZZ_CHECK(microseconds(timers.m_rgRecv[i].m_oTime) == model_.timers.slots[i].left);
    }
  }

 private:
  static int32_t nothing(void* /*context*/, int32_t /*fd*/, uint32_t /*number*/) { return 0; }

  static void compare_receivers(const SelectSet& set, const ReceiverSet& expected) {
    FUZZ_CHECK(set.m_uCount == expected.receivers.size());
    FUZZ_CHECK(set.m_bProcessing == 0);
    const NUV_SelectRecv* receiver = set.m_pFirst;
    for (size_t i = expected.receivers.size(); i-- > 0; receiver = receiver->m_pNext) {
      FUZZ_CHECK(receiver != nullptr);
      FUZZ_CHECK(receiver->m_iFd == expected.receivers[i].fd);
      FUZZ_CHECK(receiver->m_uArg2 == expected.receivers[i].script);
      FUZZ_CHECK((receiver->m_bTemp != 0) == expected.receivers[i].one_cycle);
      FUZZ_CHECK((receiver->m_bDeleted != 0) == expected.receivers[i].is_removed);
    }
    FUZZ_CHECK(receiver == nullptr);
  }

  fuzz::Contracts contracts_;
  LibrarySide library_;
  ModelSide model_;
};

void run_operation(Twins& twins, fuzz::FuzzInput& input) {
  const uint8_t operation = input.byte();
  const uint8_t place = input.byte();
  const size_t kind = place % kKinds;
  const size_t type = place / 4 % kTypes;
  const int32_t fd = Side::descriptor(place / 8);
  switch (operation % 12) {
    case 0:
    case 1:
    case 2: {
      const uint32_t script = input.up_to(UINT32_MAX);
      twins.both([&](Side& side) { side.set(kind, type, operation >= 0x80, fd, script); });
      break;
    }
    case 3:
      twins.both([&](Side& side) { side.remove(kind, type, fd); });
      break;
    case 4:
    case 5:
      twins.add_timer(int64_t{place} * 10000, input.up_to(UINT32_MAX), operation >= 0x80);
      break;
    case 6:
      twins.both([&](Side& side) { side.remove_timer(place % kNoId); });
      break;
    case 7: {
      const int64_t time = int64_t{input.byte()} * 10000 - (operation < 0x80 ? 0 : 1000000);
      twins.both([&](Side& side) { side.update_timer(place % kNoId, time); });
      break;
    }
    case 8:
      operation < 0xC0 ? twins.pass(int64_t{place} * 1000) : twins.set_nowhere(place);
      break;
    default:
      twins.process(place < 0x80 ? std::nullopt : std::optional(int64_t{place - 0x80} * 5000), input);
      break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (!fuzz::kTimesAreComparable) {
    return 0;
  }
  fuzz::FuzzInput input(data, size);
  NUV_Sysloglevel_set(1);
  Twins twins;
  while (!input.empty()) {
    run_operation(twins, input);
    twins.compare();
  }
  return 0;
}

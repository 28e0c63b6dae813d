// A timeout set, compared with a simple model. The input is a sequence of operations, including contract violations;
// the callbacks also add, update, remove and purge timers.
#include <utility>
#include <vector>

#include "doubles.h"
#include "fuzz_check.h"
#include "fuzz_input.h"
#include "models/timer_model.h"
#include "nuv_sysloglevel.h"
#include "nuv_timeoutset.h"

namespace {

using fuzz::microseconds;
using fuzz::Script;
using fuzz::TimerModel;
using fuzz::to_timeval;

struct Firing {
  int64_t left;
  uint32_t script;

  bool operator==(const Firing&) const = default;
};

// Library or model: the timers, and what their callbacks did.
class Side {
 public:
  virtual ~Side() = default;

  virtual uint32_t add(int64_t time, uint32_t script, bool fires_once, bool has_callback) = 0;
  virtual void update(uint32_t id, int64_t time) = 0;
  virtual void remove(uint32_t id) = 0;
  virtual void purge() = 0;

  int32_t fire(int64_t left, uint32_t bits) {
    firings.push_back({left, bits});
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

  std::vector<Firing> firings;

 private:
  static constexpr int kFuel = 100;  // bounds callbacks that add timers

  void perform(const Script& script) {
    switch (script.action()) {
      case 6:
      case 7:
        add(script.time(), script.child(), script.first() % 2 != 0, true);
        break;
      case 8:
      case 9:
        remove(script.first() % (TimerModel::kCapacity + 1));
        break;
      case 10:
        update(script.first() % (TimerModel::kCapacity + 1), script.time());
        break;
      case 11:
        purge();
        break;
      case 12:
        remove(script.first() % (TimerModel::kCapacity + 1));
        purge();
        break;
      default:
        break;
    }
  }

  int fuel_ = 0;
};

class ModelSide : public Side {
 public:
  uint32_t add(int64_t time, uint32_t script, bool fires_once, bool has_callback) override {
    return timers.add(time, script, fires_once, has_callback);
  }
  void update(uint32_t id, int64_t time) override { timers.update(id, time); }
  void remove(uint32_t id) override { timers.remove(id); }
  void purge() override { timers.purge(); }

  uint32_t process(uint32_t budget, int64_t elapsed) {
    return timers.process(budget, elapsed, [this](int64_t& left, uint32_t script) {
      const int64_t before = left;
      if (Script(script).arms_again()) {
        left = Script(script).time();
      }
      return fire(before, script);
    });
  }

  TimerModel timers;
};

class LibrarySide : public Side {
 public:
  LibrarySide() { FUZZ_CHECK(NUV_TimeoutSet_construct(&set) == 1); }
  ~LibrarySide() override { NUV_TimeoutSet_destruct(&set); }

  uint32_t add(int64_t time, uint32_t script, bool fires_once, bool has_callback) override {
    return NUV_TimeoutSet_setReceiver(&set, to_timeval(time), this, script, fires_once ? 1 : 0,
                                      has_callback ? call : nullptr);
  }
  void update(uint32_t id, int64_t time) override { NUV_TimeoutSet_updateReceiver(&set, id, to_timeval(time)); }
  void remove(uint32_t id) override { NUV_TimeoutSet_removeReceiver(&set, id); }
  void purge() override { NUV_TimeoutSet_internalRemoveDeleted(&set); }

  TimeoutSet set;

 private:
  static int32_t call(void* side, timeval* left, uint32_t script) {
    const int64_t before = microseconds(*left);
    if (Script(script).arms_again()) {
      *left = to_timeval(Script(script).time());
    }
    return static_cast<LibrarySide*>(side)->fire(before, script);
  }
};

class Twins {
 public:
  void add(int64_t time, uint32_t script, bool fires_once, bool has_callback) {
    FUZZ_CHECK(library_.add(time, script, fires_once, has_callback) ==
               model_.add(time, script, fires_once, has_callback));
  }

  void update(uint32_t id, int64_t time) {
    library_.update(id, time);
    model_.update(id, time);
  }

  void remove(uint32_t id) {
    library_.remove(id);
    model_.remove(id);
  }

  void purge() {
    library_.purge();
    model_.purge();
  }

  void process(uint32_t budget, int64_t elapsed) {
    library_.start();
    model_.start();
    const timeval time = to_timeval(elapsed);
    FUZZ_CHECK(NUV_TimeoutSet_process(&library_.set, budget, &time) == model_.process(budget, elapsed));
    FUZZ_CHECK(library_.firings == model_.firings);
  }

  void process_nothing() {
    FUZZ_CHECK(NUV_TimeoutSet_process(&library_.set, 1, nullptr) == 0);
    ++model_.timers.refusals;
    NUV_TimeoutSet_setTimeout(&library_.set, nullptr);
    ++model_.timers.refusals;
  }

  void compare() {
    contracts_.expect_refusal(std::exchange(model_.timers.refusals, 0) > 0);
    const TimeoutSet& set = library_.set;
    FUZZ_CHECK(set.m_bProcessing == 0);
    FUZZ_CHECK(set.m_uCount == model_.timers.count);
    for (uint32_t i = 0; i < set.m_uCount; ++i) {
      const NUV_TimeoutRecv& timer = set.m_rgRecv[i];
      const TimerModel::Timer& expected = model_.timers.slots[i];
      FUZZ_CHECK(timer.m_uId == expected.id);
      FUZZ_CHECK(microseconds(timer.m_oTime) == expected.left);
      FUZZ_CHECK(timer.m_uArg2 == expected.script);
      FUZZ_CHECK((timer.m_bTemp != 0) == expected.fires_once);
      FUZZ_CHECK((timer.m_bDeleted != 0) == expected.is_removed);
      FUZZ_CHECK(NUV_IndexPool_occupied(&set.m_oIdPool, timer.m_uId) == 1);
    }
    FUZZ_CHECK(NUV_IndexPool_busy(&set.m_oIdPool) == set.m_uCount);
    FUZZ_CHECK(NUV_TimeoutSet_available(&set) == (set.m_uCount < TimerModel::kCapacity ? 1 : 0));
    int64_t bound = 1000000;
    timeval wait = to_timeval(bound);
    FUZZ_CHECK(NUV_TimeoutSet_setTimeout(&set, &wait) == (model_.timers.nearest(bound) ? 1 : 0));
    FUZZ_CHECK(microseconds(wait) == bound);
  }

 private:
  fuzz::Contracts contracts_;
  LibrarySide library_;
  ModelSide model_;
};

int64_t read_time(fuzz::FuzzInput& input) {
  const int64_t steps = input.number();
  return steps < 0x100 ? steps * 10000 : steps * 1000000 + 999999;
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
    const uint8_t operation = input.byte();
    switch (operation % 10) {
      case 0:
      case 1:
      case 2: {
        const int64_t time = read_time(input);
        twins.add(time, input.up_to(UINT32_MAX), operation >= 0x80, operation != 0xFA);
        break;
      }
      case 3:
        for (int i = input.byte() % 90; i > 0; --i) {
          twins.add(i * 1000, input.byte(), operation >= 0x80, true);
        }
        break;
      case 4: {
        const uint32_t id = input.byte() % (TimerModel::kCapacity + 2);
        const int64_t time = read_time(input);
        twins.update(id, operation < 0x80 ? time : -time);
        break;
      }
      case 5:
        twins.remove(input.byte() % (TimerModel::kCapacity + 2));
        break;
      case 6:
        operation < 0xC0 ? twins.purge() : twins.process_nothing();
        break;
      default: {
        const uint32_t budget = operation < 0x80 ? TimerModel::kUnlimited : input.byte() % 4;
        twins.process(budget, read_time(input));
        break;
      }
    }
    twins.compare();
  }
  return 0;
}

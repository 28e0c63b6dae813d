#include "nuv_timeoutset.h"

#include <algorithm>
#include <span>

#include "core/contract.h"
#include "core/timeval_arithmetic.h"

namespace {

constexpr char kFamily[] = "nuv_timeoutset";

constexpr uint32_t kCapacity = NUV_TIMEOUTSET_SIZE;
// Bounds a pass: callbacks that set timers which are due at once would otherwise keep it busy for ever, while descriptors
// wait.
constexpr uint32_t kMostCallbacks = 1024;
static_assert(sizeof(TimeoutSet::m_rgRecv) == kCapacity * sizeof(NUV_TimeoutRecv));

template <typename Set>
auto timers(Set& set) {
  return std::span(set.m_rgRecv, set.m_uCount);
}

bool has_room(const TimeoutSet& set) {
  return set.m_uCount < kCapacity;
}

NUV_TimeoutRecv* find(TimeoutSet& set, uint32_t id) {
  // A timer stands in the slot of its id until one before it goes.
  if (id < set.m_uCount && set.m_rgRecv[id].m_uId == id) {
    return &set.m_rgRecv[id];
  }
  // The algorithm of the C++ library unrolls the loop: a removal takes 5 % fewer instructions, for 160 bytes on mips.
  const auto all = timers(set);
  const auto found = std::find_if(all.begin(), all.end(), [id](const auto& timer) { return timer.m_uId == id; });
  return found != all.end() ? &*found : nullptr;
}

// The pool reports an id that it has not given. The last timer moves into the slot, unless it is the one that goes.
void remove(TimeoutSet& set, NUV_TimeoutRecv& timer) {
  NUV_IndexPool_release(&set.m_oIdPool, timer.m_uId);
  --set.m_uCount;
  timer = set.m_rgRecv[set.m_uCount];
}

bool is_due(const timeval& time) {
  return time.tv_sec < 0 || (time.tv_sec == 0 && time.tv_usec <= 0);
}

// Marks the timer whose callback runs. A timer that takes over its slot and id meanwhile does not have the mark.
constexpr uint8_t kFiring = NUV_TIMEOUTSET_FIRING;

bool is_removed(const NUV_TimeoutRecv& timer) {
  return timer.m_bDeleted != 0 && timer.m_bDeleted != kFiring;
}

// 0 (remove) without a callback, which only a returning error handler lets in.
int32_t call(NUV_TimeoutRecv& timer) {
  return timer.m_pRecvFunc != nullptr ? timer.m_pRecvFunc(timer.m_pArg1, &timer.m_oTime, timer.m_uArg2) : 0;
}

// After a callback that has purged: its timer may be in an earlier slot now, or gone, with another timer in its slot.
[[gnu::cold, gnu::noinline]] bool decide_moved(TimeoutSet& set, uint32_t id, uint8_t outer, bool stays) {
  NUV_TimeoutRecv* const timer = find(set, id);
  if (timer == nullptr || timer->m_bDeleted == 0) {
    return stays;
  }
  stays = stays && timer->m_bTemp == 0;
  if (!stays) {
    remove(set, *timer);
  } else if (timer->m_bDeleted == kFiring) {
    timer->m_bDeleted = outer;
  }
  return stays;
}

// Calls the timer in the slot. Returns true when the slot is done with; otherwise it holds another timer, if any.
bool fire(TimeoutSet& set, uint32_t slot, NUV_TimeoutRecv& timer) {
  const uint32_t id = timer.m_uId;
  const uint8_t outer = timer.m_bDeleted;  // kFiring in a dispatch inside its own callback
  timer.m_bDeleted = kFiring;
  const bool stays = call(timer) != 0;
  if (slot >= set.m_uCount || timer.m_uId != id || timer.m_bDeleted != kFiring) {
    return decide_moved(set, id, outer, stays);
  }
  if (stays && timer.m_bTemp == 0) {
    timer.m_bDeleted = outer;
    return true;
  }
  remove(set, timer);
  return false;
}

}  // namespace

int32_t NUV_TimeoutSet_construct(TimeoutSet* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  *a_this = {};
  NUV_IndexPool_construct(&a_this->m_oIdPool, kCapacity);
  return 1;
}

void NUV_TimeoutSet_destruct(TimeoutSet* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_IndexPool_destruct(&a_this->m_oIdPool);
}

int32_t NUV_TimeoutSet_available(const TimeoutSet* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return has_room(*a_this) ? 1 : 0;
}

uint32_t NUV_TimeoutSet_setReceiver(TimeoutSet* a_this, struct timeval a_time, void* a_arg1, uint32_t a_arg2,
                                    uint8_t a_temp, NUV_TimeoutRecvFunc a_recvfunc) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_recvfunc != nullptr, "((void *)0) != a_recvfunc");
  const uint32_t id = NUV_IndexPool_occupy(&a_this->m_oIdPool);
  if (a_this->m_uCount < kCapacity) {
    NUV_TimeoutRecv& timer = a_this->m_rgRecv[a_this->m_uCount];
    timer.m_oTime = a_time;
    timer.m_pArg1 = a_arg1;
    timer.m_uArg2 = a_arg2;
    timer.m_bTemp = a_temp;
    timer.m_pRecvFunc = a_recvfunc;
    timer.m_uId = id;
    timer.m_bDeleted = 0;
    ++a_this->m_uCount;
  }
  return id;
}

void NUV_TimeoutSet_updateReceiver(TimeoutSet* a_this, uint32_t a_id, struct timeval a_time) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  if (NUV_TimeoutRecv* timer = find(*a_this, a_id)) {
    timer->m_oTime = a_time;
  }
}

void NUV_TimeoutSet_removeReceiver(TimeoutSet* a_this, uint32_t a_id) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(has_room(*a_this), "1 == NUV_TimeoutSet_available( a_this)");
  NUV_TimeoutRecv* timer = find(*a_this, a_id);
  if (timer == nullptr) {
    return;
  }
  if (a_this->m_bProcessing != 0) {
    timer->m_bDeleted = 1;
    return;
  }
  remove(*a_this, *timer);
}

int32_t NUV_TimeoutSet_setTimeout(const TimeoutSet* a_this, struct timeval* a_currtimeout) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(((void *)0) != a_currtimeout);
  if (a_currtimeout != nullptr) {
    for (const NUV_TimeoutRecv& timer : timers(*a_this)) {
      if (nuv::is_less(timer.m_oTime, *a_currtimeout)) {
        *a_currtimeout = timer.m_oTime;
      }
    }
  }
  return a_this->m_uCount > 0 ? 1 : 0;
}

uint32_t NUV_TimeoutSet_process(TimeoutSet* a_this, uint32_t a_budget, const struct timeval* a_currtimeout) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(((void *)0) != a_currtimeout);
  if (a_currtimeout == nullptr) {
    return 0;
  }
  const timeval elapsed = *a_currtimeout;
  const uint32_t budget = std::min(a_budget, kMostCallbacks);
  a_this->m_bProcessing = 1;
  uint32_t fired = 0;
  // The count is read anew for every slot: callbacks add timers, which are handled in the same pass.
  NUV_TimeoutRecv* timer = a_this->m_rgRecv;
  for (uint32_t slot = 0; slot < a_this->m_uCount;) {
    nuv::subtract(timer->m_oTime, elapsed);
    if (is_due(timer->m_oTime) && !is_removed(*timer) && fired != budget) {
      ++fired;
      if (!fire(*a_this, slot, *timer)) {
        continue;
      }
    }
    ++slot;
    ++timer;
  }
  a_this->m_bProcessing = 0;
  return fired;
}

void NUV_TimeoutSet_internalRemoveDeleted(TimeoutSet* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  for (uint32_t slot = 0; slot < a_this->m_uCount;) {
    if (is_removed(a_this->m_rgRecv[slot])) {
      remove(*a_this, a_this->m_rgRecv[slot]);
    } else {
      ++slot;
    }
  }
}

#include "nuv_select.h"

#include <stddef.h>
#include <string.h>

#include "core/contract.h"
#include "loop/nuv_selectset_internal.h"
#include "loop/poll_first.h"
#include "nuv_time.h"

namespace {

constexpr char kFamily[] = "nuv_select";

constexpr uint32_t kUnlimited = NUV_TIMEOUT_UNLIMITED;
constexpr uint32_t kEventTypes = 2;

// The kinds of events, in the order in which a cycle serves them: read, write, except.
constexpr size_t kKinds = 3;

// The sets of one event type.
struct CycleSets {
  CycleSets(Select& reactor, uint32_t event_type)
      : of_kind{&reactor.m_oRead[event_type], &reactor.m_oWrite[event_type], &reactor.m_oExcept[event_type]} {}

  SelectSet* of_kind[kKinds];
};

uint32_t receiver_count(const Select& reactor, uint32_t event_type) {
  return reactor.m_oRead[event_type].m_uCount + reactor.m_oWrite[event_type].m_uCount +
         reactor.m_oExcept[event_type].m_uCount;
}

// What select() is asked for and what it answers.
struct ReadySets {
  fd_set of_kind[kKinds];
};

void fill(const CycleSets& sets, ReadySets& asked) {
  memset(&asked, 0, sizeof asked);
  for (size_t kind = 0; kind < kKinds; ++kind) {
    nuv::fill_fd_set(*sets.of_kind[kind], asked.of_kind[kind]);
  }
}

int32_t ask(ReadySets& sets, timeval* wait) {
  // A signal ends the wait like anything else: the caller's loop comes back here, after the timers have been served.
  return select(FD_SETSIZE, &sets.of_kind[0], &sets.of_kind[1], &sets.of_kind[2], wait);
}

bool is_ahead(const timeval& time) {
  return time.tv_sec >= 0 && time.tv_usec >= 0 && (time.tv_sec != 0 || time.tv_usec != 0);
}

// Dispatches one set and keeps the two accounts. Tells whether the budget still allows to go on. The budget may wrap
// past zero, because a set fires all of its ready receivers or none; it is unlimited if it lands on that value.
bool dispatch(SelectSet& set, const fd_set& ready, int64_t& remaining, uint32_t& budget) {
  const uint32_t fired = nuv::dispatch_fd_set(set, budget, ready);
  remaining -= fired;
  if (budget == kUnlimited) {
    return true;
  }
  budget -= fired;
  return budget != 0;
}

// Passes over the sets until as many callbacks were made as descriptors were ready. Returns the budget that is left.
uint32_t dispatch_all(const CycleSets& sets, const ReadySets& ready, int32_t ready_count, uint32_t budget) {
  int64_t remaining = ready_count;
  while (remaining > 0) {
    for (size_t kind = 0; kind < kKinds; ++kind) {
      if (!dispatch(*sets.of_kind[kind], ready.of_kind[kind], remaining, budget)) {
        return budget;
      }
    }
  }
  return budget;
}

// The time from the last mark to now. A clock that does not lie behind the mark counts as wrapped, one that stands
// exactly on it too.
timeval elapsed_between(const timeval& mark, const timeval& now) {
  timeval elapsed = now;
  if (NUV_timeval_cmp(&elapsed, &mark) > 0) {
    NUV_timeval_dec(&elapsed, &mark);
    return elapsed;
  }
  timeval until_wrap = {0x7FFFFFFF, 999999};
  NUV_timeval_dec(&until_wrap, &mark);
  NUV_timeval_inc(&elapsed, &until_wrap);
  return elapsed;
}

// How often a clock that stands on the mark is read before it counts as wrapped. One that counts microseconds moves
// within a hundred of the cheapest readings; one that ticks a hundred times a second takes a system call to read and
// moves within ten thousand.
constexpr uint32_t kMostReadings = 10000;

bool is_at(const timeval& now, const timeval& mark) {
  return now.tv_usec == mark.tv_usec && now.tv_sec == mark.tv_sec;
}

// Two cycles may end within the same microsecond, which must not fire timers: if there are any, the clock is read until it
// has moved.
bool read_clock(const Select& reactor, timeval& now) {
  uint32_t readings = reactor.m_oTimeout.m_uCount != 0 ? kMostReadings : 1;
  do {
    if (nuv_gettimeofday_absolute(&now) != 0) {
      return false;
    }
  } while (is_at(now, reactor.m_oLastTime) && --readings != 0);
  return true;
}

// Ages the timers, calls those that are due, and moves the mark. If the clock cannot be read, the mark stays, and the next
// reading makes up for the time.
void serve_timers(Select& reactor, uint32_t budget) {
  timeval now;
  const bool is_known = read_clock(reactor, now);
  const timeval elapsed = is_known ? elapsed_between(reactor.m_oLastTime, now) : timeval{0, 0};
  NUV_TimeoutSet_process(&reactor.m_oTimeout, budget, &elapsed);
  if (is_known) {
    reactor.m_oLastTime = now;
    nuv_gettimeofday_absolute(&reactor.m_oLastTime);  // time spent in timer callbacks ages no timer
  }
}

void purge(const CycleSets& sets, const ReadySets& ready) {
  for (size_t kind = 0; kind < kKinds; ++kind) {
    NUV_SelectSet_internalRemoveDeleted(sets.of_kind[kind], &ready.of_kind[kind]);
  }
}

// Returns false if nothing is ready and no error occurred, so that the cycle has to wait. After a signal it must not.
bool poll(const CycleSets& sets, ReadySets& ready, int32_t& ready_count) {
  timeval no_wait = {0, 0};
  ready_count = ask(ready, &no_wait);
  if (ready_count >= 0) {
    nuv::g_poll_first.note_poll(/*is_empty=*/ready_count == 0);
  }
  if (ready_count != 0) {
    return true;
  }
  fill(sets, ready);  // the answer has emptied them
  return false;
}

int32_t wait_for_events(const Select& reactor, const CycleSets& sets, ReadySets& ready, timeval* wait) {
  int32_t ready_count = 0;
  if (!nuv::g_poll_first.polls_first(reactor) || !poll(sets, ready, ready_count)) {
    ready_count = ask(ready, wait);
  }
  nuv::g_poll_first.note_cycle(reactor, ready_count > 0);
  return ready_count;
}

// One select(), or two, and what follows.
int32_t run_cycle(Select& reactor, uint32_t event_type, timeval* wait, bool with_timers, uint32_t budget) {
  const CycleSets sets(reactor, event_type);
  ReadySets ready;
  fill(sets, ready);

  timeval bound = wait != nullptr ? *wait : timeval{999999, 999999};
  if (with_timers && NUV_TimeoutSet_setTimeout(&reactor.m_oTimeout, &bound) == 1) {
    wait = &bound;
  }
  // The caller's own timeval always goes to select(), which may write the remaining time into it. Without a wait, polling
  // first saves nothing.
  const bool may_poll = wait == nullptr || (wait == &bound && is_ahead(bound));
  const int32_t ready_count = may_poll ? wait_for_events(reactor, sets, ready, wait) : ask(ready, wait);

  budget = dispatch_all(sets, ready, ready_count, budget);
  if (with_timers) {
    serve_timers(reactor, budget);
  }
  purge(sets, ready);
  NUV_TimeoutSet_internalRemoveDeleted(&reactor.m_oTimeout);
  return ready_count;
}

}  // namespace

int32_t NUV_Select_construct(Select* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
  if (nuv::g_poll_first.belongs_to(*a_this)) {
    nuv::g_poll_first.reset(nullptr);
  }
  for (uint32_t event_type = 0; event_type < kEventTypes; ++event_type) {
    NUV_SelectSet_construct(&a_this->m_oRead[event_type]);
    NUV_SelectSet_construct(&a_this->m_oWrite[event_type]);
    NUV_SelectSet_construct(&a_this->m_oExcept[event_type]);
  }
  NUV_TimeoutSet_construct(&a_this->m_oTimeout);
  a_this->m_oLastTime = {0, 0};
  nuv_gettimeofday_absolute(&a_this->m_oLastTime);
  return 1;
}

void NUV_Select_destruct(Select* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_TimeoutSet_destruct(&a_this->m_oTimeout);
  for (uint32_t event_type = 0; event_type < kEventTypes; ++event_type) {
    NUV_SelectSet_destruct(&a_this->m_oRead[event_type]);
    NUV_SelectSet_destruct(&a_this->m_oWrite[event_type]);
    NUV_SelectSet_destruct(&a_this->m_oExcept[event_type]);
  }
}

int32_t NUV_Select_process(Select* a_this, struct timeval* a_timeout) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  const uint32_t internal = receiver_count(*a_this, NUV_SELECT_INTERNAL);
  const uint32_t external = receiver_count(*a_this, NUV_SELECT_EXTERNAL);
  if (a_timeout == nullptr && external == 0 && a_this->m_oTimeout.m_uCount == 0) {
    // Nothing can end this turn but an internal descriptor, so there is no need to poll.
    return internal == 0 ? 0 : run_cycle(*a_this, NUV_SELECT_INTERNAL, nullptr, /*with_timers=*/false, kUnlimited);
  }
  uint32_t budget = kUnlimited;
  if (internal > 0) {
    timeval no_wait = {0, 0};
    const int32_t served = run_cycle(*a_this, NUV_SELECT_INTERNAL, &no_wait, /*with_timers=*/false, kUnlimited);
    if (served > 0) {
      return served;
    }
    budget = 1;
  }
  return run_cycle(*a_this, NUV_SELECT_EXTERNAL, a_timeout, /*with_timers=*/true, budget);
}

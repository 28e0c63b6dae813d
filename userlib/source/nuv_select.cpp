#include "nuv_select.h"

#include "contract.h"
#include "nuv_time.h"

namespace {

constexpr char kFamily[] = "nuv_select";

constexpr uint32_t kUnlimited = NUV_TIMEOUT_UNLIMITED;
constexpr uint32_t kEventTypes = 2;

// A kind of event: where its sets are, and what a set without room is reported as.
struct Kind {
  SelectSet (Select::*sets)[kEventTypes];
  const char* room_text;
};

constexpr Kind kRead = {&Select::m_oRead, "1 == NUV_SelectSet_available( &a_this->m_oRead[a_event_type])"};
constexpr Kind kWrite = {&Select::m_oWrite, "1 == NUV_SelectSet_available( &a_this->m_oWrite[a_event_type])"};
constexpr Kind kExcept = {&Select::m_oExcept, "1 == NUV_SelectSet_available( &a_this->m_oExcept[a_event_type])"};

constexpr uint8_t kStays = 0;
constexpr uint8_t kOneCycle = 1;

// What the daemon registers: the callback and its arguments.
struct Receiver {
  int32_t fd;
  void* arg1;
  uint32_t arg2;
  NUV_SelectRecvFunc function;
};

NUV_SelectRecv* set_receiver(Select* a_this, const Kind& kind, uint32_t event_type, uint8_t temp,
                             const Receiver& receiver) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(receiver.function != nullptr, "((void *)0) != a_recvfunc");
  if (event_type >= kEventTypes) {
    return nullptr;
  }
  SelectSet* set = &(a_this->*kind.sets)[event_type];
  NUV_REQUIRE_TEXT(1 == NUV_SelectSet_available(set), kind.room_text);
  return NUV_SelectSet_setReceiver(set, receiver.fd, receiver.arg1, receiver.arg2, temp, receiver.function);
}

void remove_receiver(Select* a_this, const Kind& kind, uint32_t event_type, int32_t fd) {
  NUV_REQUIRE(((void *)0) != a_this);
  if (event_type >= kEventTypes) {
    return;
  }
  SelectSet* set = &(a_this->*kind.sets)[event_type];
  NUV_REQUIRE_TEXT(1 == NUV_SelectSet_available(set), kind.room_text);
  NUV_SelectSet_removeReceiver(set, fd);
}

uint32_t set_timer(Select* a_this, const timeval& time, void* arg1, uint32_t arg2, uint8_t temp,
                   NUV_TimeoutRecvFunc a_recvfunc) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(1 == NUV_TimeoutSet_available( &a_this->m_oTimeout));
  NUV_REQUIRE_TEXT(a_recvfunc != nullptr, "((void *)0) != a_recvfunc");
  return NUV_TimeoutSet_setReceiver(&a_this->m_oTimeout, time, arg1, arg2, temp, a_recvfunc);
}

// The three sets of one event type, in the order in which a cycle serves them.
struct CycleSets {
  CycleSets(Select& reactor, uint32_t event_type)
      : read(reactor.m_oRead[event_type]), write(reactor.m_oWrite[event_type]), except(reactor.m_oExcept[event_type]) {}

  SelectSet& read;
  SelectSet& write;
  SelectSet& except;

  uint32_t receivers() const { return read.m_uCount + write.m_uCount + except.m_uCount; }
};

// What select() is asked for and what it answers.
struct ReadySets {
  ReadySets() {
    FD_ZERO(&read);
    FD_ZERO(&write);
    FD_ZERO(&except);
  }

  fd_set read;
  fd_set write;
  fd_set except;
};

// Dispatches one set and keeps the two accounts. Tells whether the budget still allows to go on. The budget may wrap
// past zero, because a set fires all of its ready receivers or none; it is unlimited if it lands on that value.
bool dispatch(SelectSet& set, const fd_set& ready, int64_t& remaining, uint32_t& budget) {
  const uint32_t fired = NUV_SelectSet_process(&set, budget, &ready);
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
    if (!dispatch(sets.read, ready.read, remaining, budget) || !dispatch(sets.write, ready.write, remaining, budget) ||
        !dispatch(sets.except, ready.except, remaining, budget)) {
      break;
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

// Lets the timers age, calls those that are due, and moves the mark. A clock that cannot be read has not moved, and
// neither does the mark then: the time is made up for when the clock can be read again.
void serve_timers(Select& reactor, uint32_t budget) {
  timeval now;
  const bool is_known = nuv_gettimeofday_absolute(&now) == 0;
  const timeval elapsed = is_known ? elapsed_between(reactor.m_oLastTime, now) : timeval{0, 0};
  NUV_TimeoutSet_process(&reactor.m_oTimeout, budget, &elapsed);
  if (is_known) {
    reactor.m_oLastTime = now;
    nuv_gettimeofday_absolute(&reactor.m_oLastTime);  // the time that the timers took is nobody's
  }
}

void purge(const CycleSets& sets, TimeoutSet& timers, const ReadySets& ready) {
  NUV_SelectSet_internalRemoveDeleted(&sets.read, &ready.read);
  NUV_SelectSet_internalRemoveDeleted(&sets.write, &ready.write);
  NUV_SelectSet_internalRemoveDeleted(&sets.except, &ready.except);
  NUV_TimeoutSet_internalRemoveDeleted(&timers);
}

// One select() and what follows from it.
int32_t run_cycle(Select& reactor, uint32_t event_type, timeval* wait, bool with_timers, uint32_t budget) {
  const CycleSets sets(reactor, event_type);
  ReadySets ready;
  NUV_SelectSet_setFdSet(&sets.read, &ready.read);
  NUV_SelectSet_setFdSet(&sets.write, &ready.write);
  NUV_SelectSet_setFdSet(&sets.except, &ready.except);

  timeval bound = wait != nullptr ? *wait : timeval{999999, 999999};
  if (with_timers && NUV_TimeoutSet_setTimeout(&reactor.m_oTimeout, &bound) == 1) {
    wait = &bound;
  }
  // A signal ends the wait like anything else: the caller's loop comes back here, after the timers have been served.
  const int32_t ready_count = select(FD_SETSIZE, &ready.read, &ready.write, &ready.except, wait);

  budget = dispatch_all(sets, ready, ready_count, budget);
  if (with_timers) {
    serve_timers(reactor, budget);
  }
  purge(sets, reactor.m_oTimeout, ready);
  return ready_count;
}

}  // namespace

int32_t NUV_Select_construct(Select* a_this) {
  NUV_REQUIRE(((void *)0) != a_this);
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
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_TimeoutSet_destruct(&a_this->m_oTimeout);
  for (uint32_t event_type = 0; event_type < kEventTypes; ++event_type) {
    NUV_SelectSet_destruct(&a_this->m_oRead[event_type]);
    NUV_SelectSet_destruct(&a_this->m_oWrite[event_type]);
    NUV_SelectSet_destruct(&a_this->m_oExcept[event_type]);
  }
}

NUV_SelectRecv* NUV_Select_setRead(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                   NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, kRead, NUV_SELECT_INTERNAL, kStays, {a_fd, a_arg1, a_arg2, a_recvfunc});
}

NUV_SelectRecv* NUV_Select_setReadExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                           NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, kRead, NUV_SELECT_EXTERNAL, kStays, {a_fd, a_arg1, a_arg2, a_recvfunc});
}

NUV_SelectRecv* NUV_Select_setTempRead(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                       NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, kRead, NUV_SELECT_INTERNAL, kOneCycle, {a_fd, a_arg1, a_arg2, a_recvfunc});
}

NUV_SelectRecv* NUV_Select_setTempReadExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                               NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, kRead, NUV_SELECT_EXTERNAL, kOneCycle, {a_fd, a_arg1, a_arg2, a_recvfunc});
}

NUV_SelectRecv* NUV_Select_internalSetTempRead(Select* a_this, uint32_t a_event_type, int32_t a_fd, void* a_arg1,
                                               uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, kRead, a_event_type, kOneCycle, {a_fd, a_arg1, a_arg2, a_recvfunc});
}

void NUV_Select_removeRead(Select* a_this, int32_t a_fd) {
  remove_receiver(a_this, kRead, NUV_SELECT_INTERNAL, a_fd);
}

void NUV_Select_removeReadExternal(Select* a_this, int32_t a_fd) {
  remove_receiver(a_this, kRead, NUV_SELECT_EXTERNAL, a_fd);
}

void NUV_Select_internalRemoveRead(Select* a_this, uint32_t a_event_type, int32_t a_fd) {
  remove_receiver(a_this, kRead, a_event_type, a_fd);
}

NUV_SelectRecv* NUV_Select_setWrite(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                    NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, kWrite, NUV_SELECT_INTERNAL, kStays, {a_fd, a_arg1, a_arg2, a_recvfunc});
}

NUV_SelectRecv* NUV_Select_setWriteExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                            NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, kWrite, NUV_SELECT_EXTERNAL, kStays, {a_fd, a_arg1, a_arg2, a_recvfunc});
}

NUV_SelectRecv* NUV_Select_internalSetWrite(Select* a_this, uint32_t a_event_type, int32_t a_fd, void* a_arg1,
                                            uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, kWrite, a_event_type, kStays, {a_fd, a_arg1, a_arg2, a_recvfunc});
}

NUV_SelectRecv* NUV_Select_setTempWrite(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                        NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, kWrite, NUV_SELECT_INTERNAL, kOneCycle, {a_fd, a_arg1, a_arg2, a_recvfunc});
}

NUV_SelectRecv* NUV_Select_setTempWriteExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, kWrite, NUV_SELECT_EXTERNAL, kOneCycle, {a_fd, a_arg1, a_arg2, a_recvfunc});
}

NUV_SelectRecv* NUV_Select_internalSetTempWrite(Select* a_this, uint32_t a_event_type, int32_t a_fd, void* a_arg1,
                                                uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, kWrite, a_event_type, kOneCycle, {a_fd, a_arg1, a_arg2, a_recvfunc});
}

void NUV_Select_removeWrite(Select* a_this, int32_t a_fd) {
  remove_receiver(a_this, kWrite, NUV_SELECT_INTERNAL, a_fd);
}

void NUV_Select_removeWriteExternal(Select* a_this, int32_t a_fd) {
  remove_receiver(a_this, kWrite, NUV_SELECT_EXTERNAL, a_fd);
}

void NUV_Select_internalRemoveWrite(Select* a_this, uint32_t a_event_type, int32_t a_fd) {
  remove_receiver(a_this, kWrite, a_event_type, a_fd);
}

NUV_SelectRecv* NUV_Select_setExcept(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                     NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, kExcept, NUV_SELECT_INTERNAL, kStays, {a_fd, a_arg1, a_arg2, a_recvfunc});
}

NUV_SelectRecv* NUV_Select_setExceptExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                             NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, kExcept, NUV_SELECT_EXTERNAL, kStays, {a_fd, a_arg1, a_arg2, a_recvfunc});
}

NUV_SelectRecv* NUV_Select_internalSetExcept(Select* a_this, uint32_t a_event_type, int32_t a_fd, void* a_arg1,
                                             uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, kExcept, a_event_type, kStays, {a_fd, a_arg1, a_arg2, a_recvfunc});
}

NUV_SelectRecv* NUV_Select_setTempExcept(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                         NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, kExcept, NUV_SELECT_INTERNAL, kOneCycle, {a_fd, a_arg1, a_arg2, a_recvfunc});
}

NUV_SelectRecv* NUV_Select_setTempExceptExternal(Select* a_this, int32_t a_fd, void* a_arg1, uint32_t a_arg2,
                                                 NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, kExcept, NUV_SELECT_EXTERNAL, kOneCycle, {a_fd, a_arg1, a_arg2, a_recvfunc});
}

NUV_SelectRecv* NUV_Select_internalSetTempExcept(Select* a_this, uint32_t a_event_type, int32_t a_fd, void* a_arg1,
                                                 uint32_t a_arg2, NUV_SelectRecvFunc a_recvfunc) {
  return set_receiver(a_this, kExcept, a_event_type, kOneCycle, {a_fd, a_arg1, a_arg2, a_recvfunc});
}

void NUV_Select_removeExcept(Select* a_this, int32_t a_fd) {
  remove_receiver(a_this, kExcept, NUV_SELECT_INTERNAL, a_fd);
}

void NUV_Select_removeExceptExternal(Select* a_this, int32_t a_fd) {
  remove_receiver(a_this, kExcept, NUV_SELECT_EXTERNAL, a_fd);
}

void NUV_Select_internalRemoveExcept(Select* a_this, uint32_t a_event_type, int32_t a_fd) {
  remove_receiver(a_this, kExcept, a_event_type, a_fd);
}

uint32_t NUV_Select_setTimeout(Select* a_this, struct timeval a_time, void* a_arg1, uint32_t a_arg2,
                               NUV_TimeoutRecvFunc a_recvfunc) {
  return set_timer(a_this, a_time, a_arg1, a_arg2, kStays, a_recvfunc);
}

uint32_t NUV_Select_setTempTimeout(Select* a_this, struct timeval a_time, void* a_arg1, uint32_t a_arg2,
                                   NUV_TimeoutRecvFunc a_recvfunc) {
  return set_timer(a_this, a_time, a_arg1, a_arg2, kOneCycle, a_recvfunc);
}

void NUV_Select_removeTimeout(Select* a_this, uint32_t a_id) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(1 == NUV_TimeoutSet_available( &a_this->m_oTimeout));
  NUV_TimeoutSet_removeReceiver(&a_this->m_oTimeout, a_id);
}

void NUV_Select_updateTimeout(Select* a_this, uint32_t a_id, struct timeval a_time) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(1 == NUV_TimeoutSet_available( &a_this->m_oTimeout));
  NUV_TimeoutSet_updateReceiver(&a_this->m_oTimeout, a_id, a_time);
}

int32_t NUV_Select_process(Select* a_this, struct timeval* a_timeout) {
  NUV_REQUIRE(((void *)0) != a_this);
  const uint32_t internal = CycleSets(*a_this, NUV_SELECT_INTERNAL).receivers();
  const uint32_t external = CycleSets(*a_this, NUV_SELECT_EXTERNAL).receivers();
  if (a_timeout == nullptr && external == 0 && a_this->m_oTimeout.m_uCount == 0) {
    // Nothing can end this turn but an internal descriptor, so there is no need to poll.
    return internal == 0 ? 0 : run_cycle(*a_this, NUV_SELECT_INTERNAL, nullptr, /*with_timers=*/false, kUnlimited);
  }
  uint32_t budget = kUnlimited;
  if (internal > 0) {
    timeval poll = {0, 0};
    const int32_t served = run_cycle(*a_this, NUV_SELECT_INTERNAL, &poll, /*with_timers=*/false, kUnlimited);
    if (served > 0) {
      return served;
    }
    budget = 1;
  }
  return run_cycle(*a_this, NUV_SELECT_EXTERNAL, a_timeout, /*with_timers=*/true, budget);
}

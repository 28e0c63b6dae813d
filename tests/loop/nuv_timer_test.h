/* Pointers to the functions of nuv_timer.h, which C and C++ compile separately. */
#ifndef TESTS_LOOP_NUV_TIMER_TEST_H
#define TESTS_LOOP_NUV_TIMER_TEST_H

#include "nuv_timer.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct TimerFunctions {
  const char* language;
  uint32_t (*set)(Select*, struct timeval, void*, uint32_t, NUV_TimeoutRecvFunc);
  uint32_t (*set_temp)(Select*, struct timeval, void*, uint32_t, NUV_TimeoutRecvFunc);
  void (*update)(Select*, uint32_t, struct timeval);
  int32_t (*again)(struct timeval*, struct timeval);
  int32_t (*again_in_phase)(struct timeval*, struct timeval*, struct timeval);
} TimerFunctions;

extern const TimerFunctions kTimerFunctionsOfC;

#ifdef __cplusplus
}
#endif

#endif

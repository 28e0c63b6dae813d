/* The functions of nuv_timer.h, compiled as C. */
#include "nuv_timer_test.h"

const TimerFunctions kTimerFunctionsOfC = {
    "C", NUV_Timer_set, NUV_Timer_setTemp, NUV_Timer_update, NUV_Timer_again, NUV_Timer_againInPhase};

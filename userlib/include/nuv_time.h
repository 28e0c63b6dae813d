/** @file
 * userlib: clocks, and arithmetic on struct timeval.
 *
 * Measure intervals with the monotonic clock, which does not jump when somebody sets the time: all timers of the
 * reactor do.
 *
 *     nuv_gettimeofday_absolute(&now);
 *     NUV_timeval_dec(&now, &before);
 *     NUV_timeval_dec(&remaining, &now);
 *
 * The family checks no contracts: pointers must not be null but where it is said. All may be called from callbacks.
 */
#ifndef NUV_TIME_H
#define NUV_TIME_H

#include <stdint.h>
#include <sys/time.h>
#include <time.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** NUV_GetTickCount returns the milliseconds of the monotonic clock, modulo 2^32 (49.7 days): compare two by their
 * unsigned difference. */
NUV_API uint32_t NUV_GetTickCount(void);

/** nuv_gettimeofday_absolute sets *r_time to the monotonic clock and returns 0; or an errno value, with *r_time left
 * alone. */
NUV_API int32_t nuv_gettimeofday_absolute(struct timeval* r_time);

/** NUV_Time_getTime returns the microseconds of the wall clock, modulo 2^32 (71.6 minutes). They jump with the clock.
 */
NUV_API uint32_t NUV_Time_getTime(void);

/** NUV_getGMTime returns the present time in UTC, NUV_getLocalTime that of Central Europe, in the C library's static
 * record. The latter sets the variable TZ of the whole process. */
NUV_API struct tm* NUV_getGMTime(void);
NUV_API struct tm* NUV_getLocalTime(void);

/** NUV_localTime sets TZ as NUV_getLocalTime() does and returns time(r_time), which is UTC; r_time may be null. */
NUV_API time_t NUV_localTime(time_t* r_time);

/** NUV_timeval_inc adds *a_b to *a_a, NUV_timeval_dec takes it off. Microseconds of exactly 1000000 stay as they are;
 * a negative interval has negative seconds only. */
NUV_API void NUV_timeval_inc(struct timeval* a_a, const struct timeval* a_b);
NUV_API void NUV_timeval_dec(struct timeval* a_a, const struct timeval* a_b);

/** NUV_timeval_cmp returns 1 if *a_a is greater than *a_b, -1 if it is smaller, 0 if both fields are equal, without
 * normalising. */
NUV_API int32_t NUV_timeval_cmp(const struct timeval* a_a, const struct timeval* a_b);

#ifdef __cplusplus
}
#endif

#endif

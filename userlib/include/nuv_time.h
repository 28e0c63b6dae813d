/** @file
 * userlib: clocks, and arithmetic on struct timeval.
 *
 * Intervals are measured with the monotonic clock, which never jumps when somebody sets the time: NUV_GetTickCount() in
 * milliseconds, nuv_gettimeofday_absolute() in microseconds. All timers of the reactor live by it.
 *
 * The three timeval operations normalise as little as the timers need: a microsecond part of exactly 1000000 stays as
 * it is, and an interval below zero has a negative second part. One turn of a loop, measured and taken off a remaining
 * time:
 *
 *     struct timeval before, now;
 *     nuv_gettimeofday_absolute(&before);
 *     work();
 *     nuv_gettimeofday_absolute(&now);
 *     NUV_timeval_dec(&now, &before);
 *     NUV_timeval_dec(&remaining, &now);
 *
 * No function of this family checks contracts: none tests its pointers for null. All may be called from callbacks. The
 * arithmetic is defined for every value: what leaves the range of the fields wraps.
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

/**
 * NUV_GetTickCount returns the milliseconds of the monotonic clock in 32 bits. The count wraps to 0 after 2^32 ms (49.7
 * days), so compare two of them by their unsigned difference. When the clock cannot be read the result is the errno
 * value, which looks like any other count.
 */
NUV_API uint32_t NUV_GetTickCount(void);

/**
 * nuv_gettimeofday_absolute sets *r_time to the monotonic clock (not the time of day: "absolute" says that no change of
 * the wall clock moves it) and returns 0. On failure it leaves *r_time alone and returns the errno value.
 */
NUV_API int32_t nuv_gettimeofday_absolute(struct timeval* r_time);

/**
 * NUV_Time_getTime returns the microseconds of the wall clock in 32 bits. They wrap every 71.6 minutes and jump with
 * the clock: good for a stamp or a short difference only.
 */
NUV_API uint32_t NUV_Time_getTime(void);

/** NUV_getGMTime returns the present time in UTC, broken down in the C library's own static record. Not reentrant. */
NUV_API struct tm* NUV_getGMTime(void);

/**
 * NUV_getLocalTime returns the present Central European time, broken down in the C library's own static record. It sets
 * the environment variable TZ of the whole process to "MEZ-1MESZ,M3.5.0,M10.5.0/3". Not reentrant.
 */
NUV_API struct tm* NUV_getLocalTime(void);

/**
 * NUV_localTime sets TZ as NUV_getLocalTime() does and returns time(r_time): the seconds since 1970 in UTC, stored in
 * *r_time too unless r_time is null. It converts nothing; the conversion that the caller does next follows the rule.
 */
NUV_API time_t NUV_localTime(time_t* r_time);

/**
 * NUV_timeval_inc adds *a_b to *a_a. A sum of microseconds above 1000000 is carried into the seconds; a sum of exactly
 * 1000000 stays.
 */
NUV_API void NUV_timeval_inc(struct timeval* a_a, const struct timeval* a_b);

/**
 * NUV_timeval_dec takes *a_b, which is not changed, off *a_a. The microseconds of the result lie between 0 and 1000000,
 * both included; a negative interval shows as negative seconds.
 */
NUV_API void NUV_timeval_dec(struct timeval* a_a, const struct timeval* a_b);

/**
 * NUV_timeval_cmp returns 1 if *a_a is greater than *a_b, -1 if it is smaller, 0 if both fields are equal. Seconds
 * decide before microseconds, and nothing is normalised: {1, 0} is greater than {0, 1000000}.
 */
NUV_API int32_t NUV_timeval_cmp(const struct timeval* a_a, const struct timeval* a_b);

#ifdef __cplusplus
}
#endif

#endif

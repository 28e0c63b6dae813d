/** @file
 * userlib: what every public header shares.
 */
#ifndef NUV_API_H
#define NUV_API_H

/**
 * NUV_API marks what the shared object exports. Everything else is compiled with hidden visibility, and the list of
 * exported names in userlib/userlib.map is compared with the marked declarations by a test.
 */
#define NUV_API __attribute__((visibility("default")))

/** NUV_INLINE marks what is compiled into the daemon: a function whose body stands in the header. */
#define NUV_INLINE static inline

/** NUV_CAST(type, value) converts as a cast does, in the way of the language that includes the header. */
#ifdef __cplusplus
#define NUV_CAST(a_type, a_value) static_cast<a_type>(a_value)
#else
#define NUV_CAST(a_type, a_value) ((a_type)(a_value))
#endif

/** NUV_PRINTF(format, first) lets the compiler check a format string against its arguments, counted from 1. */
#define NUV_PRINTF(a_format, a_first) __attribute__((format(printf, a_format, a_first)))
/** NUV_SCANF(format, first) does the same for formats of scanf(). */
#define NUV_SCANF(a_format, a_first) __attribute__((format(scanf, a_format, a_first)))

/** NUV_COLD tells the compiler that the way to a function is never the one to make fast. */
#define NUV_COLD __attribute__((cold))

#endif

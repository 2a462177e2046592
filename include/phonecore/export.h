/* phonecore: the one export macro of the library.
 *
 * The library is built with hidden visibility; only declarations marked
 * PHONECORE_API are part of the interface, and the linker version script
 * (abi/phonecore.exports) lists them once more so that nothing leaks. */
#ifndef PHONECORE_EXPORT_H
#define PHONECORE_EXPORT_H

#if defined(PHONECORE_BUILDING)
#define PHONECORE_API __attribute__((visibility("default")))
#else
#define PHONECORE_API
#endif

/* No exported function lets an exception out: C callers could not stop
 * one, and C++ callers may rely on it. */
#ifdef __cplusplus
#define PHONECORE_NOEXCEPT noexcept
#else
#define PHONECORE_NOEXCEPT
#endif

#ifdef __cplusplus
#define PHONECORE_BEGIN_DECLS extern "C" {
#define PHONECORE_END_DECLS }
#else
#define PHONECORE_BEGIN_DECLS
#define PHONECORE_END_DECLS
#endif

#endif

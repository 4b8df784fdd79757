#ifndef ZORBEC_H
#define ZORBEC_H

/* Checks a modular router's forwarding hardware against its interface truth databases, from the
 * active route processor. Findings go to standard output, errors to standard error, everything else
 * to logs under /tmp.
 *
 * The process has one checker. Calls from several threads are taken one after the other. */

#include <stdint.h> /* NOLINT(modernize-deprecated-headers): C reads this */

#if defined(__GNUC__)
#define ZORBEC_API __attribute__((visibility("default")))
#else
#define ZORBEC_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Brings the checker up, with empty tables, and returns its handle, which stays the checker's. If
 * that fails, the process is aborted. A call while it is up says so on standard error, changes
 * nothing and returns the same handle. */
ZORBEC_API void* zorbec_init(void);

/* Runs one check: the interface check for mode 0, the multicast check for any other mode. Blocks
 * until it is done. Tables that an earlier run filled are kept and added to.
 *
 * Returns 0 when the run completed, whatever it found and even if nodes could not be checked (see
 * standard output, standard error and the logs); 4294967294 when the run failed or the checker is
 * not up, after a line on standard error that says why. */
ZORBEC_API uint32_t zorbec_run(uint32_t mode);

/* Ends the checker and everything it holds. May be followed by zorbec_init. Without a checker that
 * is up it only says so on standard error. */
ZORBEC_API void zorbec_finalize(void);

#ifdef __cplusplus
}
#endif

#endif

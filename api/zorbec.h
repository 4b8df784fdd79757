#ifndef ZORBEC_H
#define ZORBEC_H

/* Checks the forwarding hardware of a modular router against its interface truth databases. Runs on
 * the active route processor. Findings go to standard output, errors to standard error, and
 * everything else to logs under /tmp.
 *
 * A process has one checker. The functions may be called from any thread; a call waits until the
 * call of another thread has ended. They must not be called from a signal handler. No C++ exception
 * leaves them. */

#include <stdint.h> /* NOLINT(modernize-deprecated-headers): C reads this */

#if defined(__GNUC__)
#define ZORBEC_API __attribute__((visibility("default")))
#else
#define ZORBEC_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Creates the checker, with empty tables, and returns its handle. The checker owns the handle: do
 * not free it. It is valid until zorbec_finalize. If the checker cannot be created, the process is
 * aborted. If it exists already, the call writes a line to standard error, changes nothing and
 * returns the same handle. */
ZORBEC_API void* zorbec_init(void);

/* Runs one check: the interface check for mode 0, the multicast check for any other mode. Blocks
 * until the check is done, without time limit. The tables of earlier runs are kept, and this run
 * adds to them.
 *
 * Returns 0 if the run was completed, whatever it found, and even if some nodes could not be
 * checked (see standard output, standard error and the logs). Returns 4294967294 if the run failed
 * or there is no checker; a line on standard error gives the reason. */
ZORBEC_API uint32_t zorbec_run(uint32_t mode);

/* Destroys the checker and its tables. zorbec_init may be called again. If there is no checker, the
 * call only writes a line to standard error. */
ZORBEC_API void zorbec_finalize(void);

#ifdef __cplusplus
}
#endif

#endif

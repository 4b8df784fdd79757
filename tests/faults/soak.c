/* Runs the checker many times in one process and watches what that costs.
 *
 *     soak runs COUNT      COUNT runs, both checks in turn, between one init and one finalize
 *     soak cycles COUNT    COUNT times init, a run and finalize
 *
 * Descriptors and threads must be the same after each run. Memory must have reached its level after
 * a tenth of the runs and stay there. To be run on a simulated router without multicast routes:
 * tunnel RIFs add up from run to run, as they are meant to.
 */

#define _GNU_SOURCE
#include <malloc.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "api/zorbec.h"
#include "tests/support/own_process.h"

/* What the level may rise between a tenth of the runs and the last. Both were measured, from 20 to
 * 1,000 runs: at most 22 KiB in use, as heaps count small pieces that they keep for a thread, and
 * at most 100 KiB resident. A leak of a hundred bytes a run would be 88 KiB in 1,000 runs. */
enum { kMostInUse = 64 * 1024, kMostResident = 1024 * 1024 };

struct Usage {
  size_t descriptors;
  size_t threads;
  size_t in_use;   /* bytes that were allocated and not freed */
  size_t resident; /* bytes */
};

static void stop(const char* what, unsigned long run) {
  fprintf(stderr, "soak: run %lu: %s\n", run, what);
  exit(1);
}

static size_t resident(void) {
  unsigned long pages = 0;
  FILE* statm = fopen("/proc/self/statm", "re");
  if (statm == NULL || fscanf(statm, "%*u %lu", &pages) != 1) {
    stop("/proc/self/statm", 0);
  }
  fclose(statm);
  return pages * (size_t)sysconf(_SC_PAGESIZE);
}

static struct Usage usage(void) {
  const struct mallinfo2 heap = mallinfo2();
  const struct Usage now = {entries_of("/proc/self/fd"), threads_down_to(1),
                            heap.uordblks + heap.hblkhd, resident()};
  return now;
}

static void run(uint32_t mode, unsigned long number) {
  if (zorbec_run(mode) != 0) {
    stop("failed", number);
  }
}

int main(int argc, char** argv) {
  const unsigned long count = argc == 3 ? strtoul(argv[2], NULL, 10) : 0;
  const int are_cycles = argc == 3 && strcmp(argv[1], "cycles") == 0;
  if (count < 20 || (!are_cycles && strcmp(argv[1], "runs") != 0)) {
    fprintf(stderr, "usage: soak runs|cycles COUNT, at least 20\n");
    return 2;
  }
  struct Usage level = {0, 0, 0, 0};
  struct Usage highest = {0, 0, 0, 0};
  const struct Usage before = usage();
  if (!are_cycles) {
    zorbec_init();
  }
  for (unsigned long i = 1; i <= count; ++i) {
    if (are_cycles) {
      zorbec_init();
    }
    run(i % 2 == 0, i);
    if (are_cycles) {
      zorbec_finalize();
    }
    const struct Usage now = usage();
    if (now.descriptors != before.descriptors || now.threads != before.threads) {
      stop("a descriptor or a thread is left", i);
    }
    if (i <= count / 10) {
      level.in_use = now.in_use > level.in_use ? now.in_use : level.in_use;
      level.resident = now.resident > level.resident ? now.resident : level.resident;
    }
    highest.in_use = now.in_use > highest.in_use ? now.in_use : highest.in_use;
    highest.resident = now.resident > highest.resident ? now.resident : highest.resident;
  }
  if (!are_cycles) {
    zorbec_finalize();
  }
  const size_t in_use = highest.in_use - level.in_use;
  const size_t grown = highest.resident - level.resident;
  fprintf(stderr,
          "%lu %s: in use %zu KiB, then %zu bytes more; resident %zu KiB, then %zu KiB more\n",
          count, argv[1], level.in_use / 1024, in_use, level.resident / 1024, grown / 1024);
  if (in_use > kMostInUse || grown > kMostResident) {
    stop("memory grows", count);
  }
  return 0;
}

/* What /proc tells of this process, for tests in C and C++. */

#ifndef ZORBEC_TESTS_SUPPORT_OWN_PROCESS_H
#define ZORBEC_TESTS_SUPPORT_OWN_PROCESS_H

#include <dirent.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

/* The number of entries of /proc/self/fd or /proc/self/task. Without /proc the test ends. */
static inline size_t entries_of(const char* folder) {
  DIR* stream = opendir(folder);
  if (stream == NULL) {
    perror(folder);
    exit(1);
  }
  size_t count = 0;
  for (const struct dirent* entry = readdir(stream); entry != NULL; entry = readdir(stream)) {
    count += entry->d_name[0] != '.';
  }
  closedir(stream);
  return count;
}

/* The number of threads, once it is `most` or less or a second has passed: one that was waited for
 * may still be listed for a moment. */
static inline size_t threads_down_to(size_t most) {
  size_t threads = entries_of("/proc/self/task");
  for (int i = 0; i < 1000 && threads > most; ++i) {
    usleep(1000);
    threads = entries_of("/proc/self/task");
  }
  return threads;
}

#endif

/* Drives the checker from C, one step after the other.
 *
 *     zorbec_host STATUS_FILE STEP...
 *
 *     init        zorbec_init()
 *     run:MODE    zorbec_run(MODE)
 *     both:MODE   zorbec_run(MODE) from two threads at once
 *     finalize    zorbec_finalize()
 *     sh:COMMAND  a shell command, which must succeed
 *
 * The statuses go to STATUS_FILE, one a line, as unsigned decimal numbers: standard output and
 * standard error belong to the checker. Exits with 2 if a step cannot be carried out.
 */

#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <inttypes.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "api/zorbec.h"

struct Run {
  uint32_t mode;
  uint32_t status;
};

static void stop(const char* what, const char* why) {
  fprintf(stderr, "zorbec_host: %s: %s\n", what, why);
  exit(2);
}

/* The text behind "name:", or NULL if the step has another name. */
static const char* argument_of(const char* step, const char* name) {
  const size_t length = strlen(name);
  return strncmp(step, name, length) == 0 && step[length] == ':' ? step + length + 1 : NULL;
}

static uint32_t mode_of(const char* text) {
  char* end = NULL;
  errno = 0;
  const uintmax_t mode = strtoumax(text, &end, 10);
  if (end == text || *end != '\0' || errno != 0 || mode > UINT32_MAX) {
    stop(text, "no mode word");
  }
  return (uint32_t)mode;
}

static void* run_in_thread(void* argument) {
  struct Run* run = argument;
  run->status = zorbec_run(run->mode);
  return NULL;
}

static void run_twice_at_once(uint32_t mode, FILE* statuses) {
  struct Run runs[2] = {{mode, 0}, {mode, 0}};
  pthread_t threads[2];
  for (int i = 0; i < 2; ++i) {
    const int error = pthread_create(&threads[i], NULL, run_in_thread, &runs[i]);
    if (error != 0) {
      stop("pthread_create", strerror(error));
    }
  }
  for (int i = 0; i < 2; ++i) {
    pthread_join(threads[i], NULL);
    fprintf(statuses, "%" PRIu32 "\n", runs[i].status);
  }
}

static void carry_out(const char* step, FILE* statuses) {
  const char* argument = NULL;
  if (strcmp(step, "init") == 0) {
    if (zorbec_init() == NULL) {
      stop(step, "no handle");
    }
  } else if (strcmp(step, "finalize") == 0) {
    zorbec_finalize();
  } else if ((argument = argument_of(step, "run")) != NULL) {
    fprintf(statuses, "%" PRIu32 "\n", zorbec_run(mode_of(argument)));
  } else if ((argument = argument_of(step, "both")) != NULL) {
    run_twice_at_once(mode_of(argument), statuses);
  } else if ((argument = argument_of(step, "sh")) != NULL) {
    if (system(argument) != 0) {
      stop(argument, "failed");
    }
  } else {
    stop(step, "no such step");
  }
}

/* Not under the number of a standard stream that is closed: that is the checker's to find closed.
 */
static FILE* open_statuses(const char* path) {
  FILE* lowest = fopen(path, "we");
  const int fd = lowest == NULL ? -1 : fcntl(fileno(lowest), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  FILE* statuses = fd < 0 ? NULL : fdopen(fd, "w");
  if (statuses == NULL) {
    stop(path, strerror(errno));
  }
  fclose(lowest);
  return statuses;
}

int main(int argc, char** argv) {
  if (argc < 3) {
    stop("usage", "zorbec_host STATUS_FILE STEP...");
  }
  FILE* statuses = open_statuses(argv[1]);
  for (int i = 2; i < argc; ++i) {
    carry_out(argv[i], statuses);
    fflush(statuses);
  }
  if (fclose(statuses) != 0) {
    stop(argv[1], strerror(errno));
  }
  return 0;
}

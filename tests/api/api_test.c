/* Uses the checker as a host does. Run inside the lab with the name of a test. */

#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "api/zorbec.h"
#include "tests/support/own_process.h"

#define FAILED 4294967294U

#define NODE_LOG "/tmp/debug_logs_3.txt"
#define STANDARD_OUTPUT "/tmp/standard_output"
#define STANDARD_ERROR "/tmp/standard_error"

/* What the router's one line card is found to lack. */
#define FINDING "\nMissing PMDB Key 0x5 for ifh 0x3000148 in node 3\n"
#define FINDING_IN_LOG "\nMISSING PMDB Key 0x5 for ifh 0x3000148 in node 3"

static int report = -1; /* our own standard error, out of the checker's reach */

static void stop(int line, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  dprintf(report, "api_test.c:%d: ", line);
  vdprintf(report, format, arguments);
  dprintf(report, "\n");
  va_end(arguments);
  _exit(1);
}

#define CHECK(condition)                        \
  do {                                          \
    if (!(condition)) {                         \
      stop(__LINE__, "not so: %s", #condition); \
    }                                           \
  } while (0)

/* The whole file, "" if there is none. Lives until the next call. */
static const char* text_of(const char* path) {
  static char text[65536];
  const int fd = open(path, O_RDONLY | O_CLOEXEC);
  size_t size = 0;
  if (fd >= 0) {
    ssize_t got = 0;
    while (size < sizeof text - 1 && (got = read(fd, text + size, sizeof text - 1 - size)) > 0) {
      size += (size_t)got;
    }
    close(fd);
  }
  text[size] = '\0';
  return text;
}

static void check_text(int line, const char* path, const char* expected) {
  const char* text = text_of(path);
  if (strcmp(text, expected) != 0) {
    stop(line, "%s holds \"%s\", not \"%s\"", path, text, expected);
  }
}
#define CHECK_TEXT(path, expected) check_text(__LINE__, path, expected)

static void check_part(int line, const char* path, const char* part, int wanted) {
  const char* text = text_of(path);
  if ((strstr(text, part) != NULL) != wanted) {
    stop(line, "%s %s \"%s\": \"%s\"", path, wanted ? "lacks" : "holds", part, text);
  }
}
#define CHECK_HOLDS(path, part) check_part(__LINE__, path, part, 1)
#define CHECK_LACKS(path, part) check_part(__LINE__, path, part, 0)

static void redirect(int fd, const char* path) {
  const int file = open(path, O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  CHECK(file >= 0 && dup2(file, fd) == fd);
  CHECK(file == fd || close(file) == 0);
}

static int is_open(int fd) {
  return fcntl(fd, F_GETFD) >= 0;
}

static int exists(const char* path) {
  struct stat status;
  return lstat(path, &status) == 0;
}

/* Puts a script in place of one of the platform's tools. */
static void install_tool(const char* path, const char* script) {
  CHECK(unlink(path) == 0);
  const int file = open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0755);
  CHECK(file >= 0 && dprintf(file, "%s", script) > 0 && close(file) == 0);
}

/* From now on every copy of a dump arrives empty, which is nothing to load. */
static void empty_all_copies(void) {
  install_tool("/pkg/bin/scp", "#!/bin/sh\n: >\"$2\"\n");
}

/* ---- Order of calls ---- */

static void run_before_init(void) {
  CHECK(zorbec_run(0) == FAILED);
  CHECK(zorbec_run(1) == FAILED);
  CHECK_TEXT(STANDARD_ERROR,
             "zorbec: zorbec_run: the checker is not up, call zorbec_init first\n"
             "zorbec: zorbec_run: the checker is not up, call zorbec_init first\n");
  CHECK(!exists("/tmp/output_file.txt"));

  CHECK(zorbec_init() != NULL);
  CHECK(zorbec_run(0) == 0);
  zorbec_finalize();
  CHECK(zorbec_run(0) == FAILED);
}

static void double_init(void) {
  void* const handle = zorbec_init();
  CHECK(handle != NULL);
  CHECK(zorbec_run(0) == 0);
  CHECK_TEXT(STANDARD_ERROR, "");
  CHECK(zorbec_init() == handle);
  CHECK_TEXT(STANDARD_ERROR, "zorbec: zorbec_init: the checker is up already\n");

  /* The second call changed nothing: what was loaded before it is still there. */
  empty_all_copies();
  CHECK(zorbec_run(0) == 0);
  CHECK_TEXT(STANDARD_OUTPUT, FINDING FINDING);
  zorbec_finalize();
}

static void finalize_without_init(void) {
  zorbec_finalize();
  CHECK_TEXT(STANDARD_ERROR, "zorbec: zorbec_finalize: the checker is not up\n");
  CHECK(zorbec_init() != NULL);
  CHECK(zorbec_run(0) == 0);
  zorbec_finalize();
  zorbec_finalize();
  CHECK_TEXT(STANDARD_ERROR,
             "zorbec: zorbec_finalize: the checker is not up\n"
             "zorbec: zorbec_finalize: the checker is not up\n");
}

/* ---- What a run finds of earlier ones ---- */

static void state_is_kept_between_runs(void) {
  zorbec_init();
  CHECK(zorbec_run(0) == 0);
  CHECK_LACKS(NODE_LOG, "\"visited\": 1");
  empty_all_copies();
  CHECK(zorbec_run(0) == 0);
  CHECK_HOLDS(NODE_LOG, "\"visited\": 1");
  CHECK_HOLDS(NODE_LOG, "\nOverall Result is : -1");
  zorbec_finalize();
}

static void state_is_fresh_after_finalize(void) {
  zorbec_init();
  CHECK(zorbec_run(0) == 0);
  CHECK_HOLDS(NODE_LOG, "\nOverall Result is : -1");
  zorbec_finalize();

  empty_all_copies();
  CHECK(zorbec_init() != NULL);
  CHECK(zorbec_run(0) == 0);
  CHECK_HOLDS(NODE_LOG, "\nERROR: PMDB Dictionary is empty for 3");
  CHECK_LACKS(NODE_LOG, "Result is");
  CHECK_TEXT(STANDARD_OUTPUT, FINDING);
  CHECK_TEXT(STANDARD_ERROR, "");
  zorbec_finalize();
}

static void thread_numbers_count_for_the_life_of_the_process(void) {
  zorbec_init();
  CHECK(zorbec_run(0) == 0);
  CHECK_HOLDS(NODE_LOG, "\nVerify Thread : <Thread(Thread-2, initial)> on node: 3");
  CHECK(zorbec_run(0) == 0);
  CHECK_HOLDS(NODE_LOG, "\nVerify Thread : <Thread(Thread-4, initial)> on node: 3");
  zorbec_finalize();
  zorbec_init();
  CHECK(zorbec_run(0) == 0);
  CHECK_HOLDS(NODE_LOG, "\nVerify Thread : <Thread(Thread-6, initial)> on node: 3");
  zorbec_finalize();
}

/* ---- Modes and statuses ---- */

static void mode_words(void) {
  static const uint32_t others[] = {1, 2, 256, 65536, 2147483648U, 4294967295U};
  zorbec_init();
  for (size_t i = 0; i < sizeof others / sizeof *others; ++i) {
    CHECK(zorbec_run(others[i]) == 0);
    CHECK(!exists(NODE_LOG));
    CHECK(unlink("/tmp/mcast_debug_logs_3.txt") == 0);
    CHECK(unlink("/tmp/mcast_verify_debug_logs.txt") == 0);
  }
  CHECK_TEXT(STANDARD_OUTPUT, "");
  CHECK(zorbec_run(0) == 0);
  CHECK_HOLDS(NODE_LOG, "\nOverall Result is : -1");
  CHECK_TEXT(STANDARD_OUTPUT, FINDING);
  CHECK(!exists("/tmp/mcast_debug_logs_3.txt"));
  zorbec_finalize();
}

static void failed_run_says_why_and_can_be_repeated(void) {
  zorbec_init();
  CHECK(mkdir("/tmp/output_file.txt", 0755) == 0);
  CHECK(zorbec_run(0) == FAILED);
  CHECK_HOLDS(STANDARD_ERROR, "zorbec: run failed: ");
  CHECK_HOLDS(STANDARD_ERROR, "/tmp/output_file.txt");
  CHECK(!exists(NODE_LOG));

  CHECK(rmdir("/tmp/output_file.txt") == 0);
  redirect(STDERR_FILENO, "/tmp/standard_error_of_the_second");
  CHECK(zorbec_run(0) == 0);
  CHECK_TEXT("/tmp/standard_error_of_the_second", "");
  CHECK_TEXT(STANDARD_OUTPUT, FINDING);
  zorbec_finalize();
}

static void* run_in_thread(void* status) {
  *(uint32_t*)status = zorbec_run(0);
  return NULL;
}

static void two_threads_at_once(void) {
  zorbec_init();
  uint32_t statuses[2] = {1, 1};
  pthread_t threads[2];
  for (int i = 0; i < 2; ++i) {
    CHECK(pthread_create(&threads[i], NULL, run_in_thread, &statuses[i]) == 0);
  }
  for (int i = 0; i < 2; ++i) {
    CHECK(pthread_join(threads[i], NULL) == 0);
    CHECK(statuses[i] == 0);
  }
  CHECK_TEXT(STANDARD_OUTPUT, FINDING FINDING);
  CHECK_TEXT(STANDARD_ERROR, "");
  /* One after the other: the second run's threads are numbered behind all of the first's. */
  CHECK_HOLDS(NODE_LOG, "\nVerify Thread : <Thread(Thread-4, initial)> on node: 3");
  CHECK_HOLDS(NODE_LOG, "\nOverall Result is : -1");
  zorbec_finalize();
}

/* ---- Hosts with closed streams ---- */

static void run_without(const int* closed, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    CHECK(close(closed[i]) == 0);
  }
  CHECK(zorbec_init() != NULL);
  CHECK(zorbec_run(0) == 0);
  zorbec_finalize();
  for (size_t i = 0; i < count; ++i) {
    CHECK(!is_open(closed[i]));
  }
  /* Nobody's text went into a file that took the place of a stream. */
  CHECK_TEXT("/tmp/output_file.txt", "");
  CHECK_HOLDS(NODE_LOG, FINDING_IN_LOG);
}

static void standard_input_closed(void) {
  const int closed[] = {STDIN_FILENO};
  run_without(closed, 1);
  CHECK_TEXT(STANDARD_OUTPUT, FINDING);
  CHECK_TEXT(STANDARD_ERROR, "");
  CHECK_HOLDS(NODE_LOG, "\nOverall Result is : -1");
}

static void standard_output_closed(void) {
  const int closed[] = {STDOUT_FILENO};
  run_without(closed, 1);
  CHECK_TEXT(STANDARD_OUTPUT, "");
  CHECK_HOLDS(STANDARD_ERROR, "zorbec: node 3: verify: ");
  CHECK_HOLDS(STANDARD_ERROR, "standard output");
  CHECK_LACKS(NODE_LOG, "Result is");
}

static void standard_error_closed(void) {
  const int closed[] = {STDERR_FILENO};
  run_without(closed, 1);
  CHECK_TEXT(STANDARD_OUTPUT, FINDING);
  CHECK_HOLDS(NODE_LOG, "\nOverall Result is : -1");
}

static void all_standard_streams_closed(void) {
  const int closed[] = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
  run_without(closed, 3);
  CHECK_LACKS(NODE_LOG, "Result is");
}

static void reader_of_standard_output_gone(void) {
  int ends[2];
  CHECK(pipe2(ends, O_CLOEXEC) == 0);
  CHECK(dup2(ends[1], STDOUT_FILENO) == STDOUT_FILENO);
  CHECK(close(ends[0]) == 0 && close(ends[1]) == 0);
  zorbec_init();
  CHECK(zorbec_run(0) == 0);
  CHECK_HOLDS(NODE_LOG, FINDING_IN_LOG);
  CHECK_HOLDS(STANDARD_ERROR, "zorbec: node 3: verify: ");
  zorbec_finalize();
}

/* ---- Hosts and their signals ---- */

static void host_ignores_sigchld(void) {
  CHECK(signal(SIGCHLD, SIG_IGN) != SIG_ERR);
  zorbec_init();
  CHECK(zorbec_run(0) == 0);
  CHECK_TEXT(STANDARD_OUTPUT, FINDING);
  CHECK_TEXT(STANDARD_ERROR, "");
  CHECK_HOLDS(NODE_LOG, "\nOverall Result is : -1");
  zorbec_finalize();
}

static void host_blocks_all_signals(void) {
  sigset_t all;
  sigfillset(&all);
  CHECK(pthread_sigmask(SIG_SETMASK, &all, NULL) == 0);
  /* A tool that answers only if a signal reaches it. */
  install_tool("/pkg/bin/nodemap_query",
               "#!/bin/bash\n"
               "trap 'echo \"0/3/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.6\"' TERM\n"
               "kill -TERM $$\n");
  zorbec_init();
  CHECK(zorbec_run(0) == 0);
  CHECK_TEXT(STANDARD_OUTPUT, FINDING);
  zorbec_finalize();
}

static void count_child(int number) {
  (void)number;
}

static void signals_of_the_host_stay_as_they_are(void) {
  struct sigaction action = {.sa_handler = count_child, .sa_flags = 0};
  sigemptyset(&action.sa_mask);
  CHECK(sigaction(SIGCHLD, &action, NULL) == 0); /* without SA_RESTART: calls are interrupted */
  sigset_t mask;
  sigemptyset(&mask);
  sigaddset(&mask, SIGUSR1);
  CHECK(pthread_sigmask(SIG_SETMASK, &mask, NULL) == 0);

  zorbec_init();
  CHECK(zorbec_run(0) == 0);
  CHECK_TEXT(STANDARD_OUTPUT, FINDING);
  zorbec_finalize();

  CHECK(sigaction(SIGCHLD, NULL, &action) == 0 && action.sa_handler == count_child);
  CHECK(sigaction(SIGPIPE, NULL, &action) == 0 && action.sa_handler == SIG_DFL);
  CHECK(pthread_sigmask(SIG_SETMASK, NULL, &mask) == 0);
  CHECK(sigismember(&mask, SIGUSR1) == 1);
  CHECK(sigismember(&mask, SIGPIPE) == 0 && sigismember(&mask, SIGCHLD) == 0);
}

/* ---- What a run leaves behind ---- */

static void nothing_is_left_open(void) {
  const size_t descriptors = entries_of("/proc/self/fd");
  zorbec_init();
  CHECK(zorbec_run(0) == 0);
  CHECK(entries_of("/proc/self/fd") == descriptors);
  const size_t threads = threads_down_to(1);
  CHECK(zorbec_run(0) == 0);
  CHECK(zorbec_run(0) == 0);
  CHECK(entries_of("/proc/self/fd") == descriptors);
  CHECK(threads_down_to(threads) == threads);

  /* A worker that fails, and a run that does. */
  CHECK(close(STDOUT_FILENO) == 0);
  CHECK(zorbec_run(0) == 0);
  redirect(STDOUT_FILENO, STANDARD_OUTPUT);
  CHECK(unlink(NODE_LOG) == 0 && mkdir(NODE_LOG, 0755) == 0);
  CHECK(zorbec_run(0) == FAILED);
  CHECK(entries_of("/proc/self/fd") == descriptors);
  CHECK(threads_down_to(threads) == threads);

  zorbec_finalize();
  CHECK(entries_of("/proc/self/fd") == descriptors);
  CHECK(waitpid(-1, NULL, WNOHANG) < 0 && errno == ECHILD);
}

#define TEST(name) \
  { #name, name }
static const struct {
  const char* name;
  void (*run)(void);
} tests[] = {
    TEST(run_before_init),
    TEST(double_init),
    TEST(finalize_without_init),
    TEST(state_is_kept_between_runs),
    TEST(state_is_fresh_after_finalize),
    TEST(thread_numbers_count_for_the_life_of_the_process),
    TEST(mode_words),
    TEST(failed_run_says_why_and_can_be_repeated),
    TEST(two_threads_at_once),
    TEST(standard_input_closed),
    TEST(standard_output_closed),
    TEST(standard_error_closed),
    TEST(all_standard_streams_closed),
    TEST(reader_of_standard_output_gone),
    TEST(host_ignores_sigchld),
    TEST(host_blocks_all_signals),
    TEST(signals_of_the_host_stay_as_they_are),
    TEST(nothing_is_left_open),
};

int main(int argc, char** argv) {
  report = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 100);
  redirect(STDOUT_FILENO, STANDARD_OUTPUT);
  redirect(STDERR_FILENO, STANDARD_ERROR);
  for (size_t i = 0; argc == 2 && i < sizeof tests / sizeof *tests; ++i) {
    if (strcmp(argv[1], tests[i].name) == 0) {
      tests[i].run();
      /* For what a sanitizer has to say at the end. */
      CHECK(dup2(report, STDERR_FILENO) == STDERR_FILENO);
      return 0;
    }
  }
  stop(__LINE__, "no such test");
}

/* A simulator in miniature: loads a module, polls it on a thread of its own, closes and unloads it
 * while that thread lives on, and sees that it has gone.
 *
 *   loader MODULE LAYOUT      runs until it is terminated; ends with 0 if the module has gone then
 */
#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

typedef int (*opener)(const char*);
typedef int (*poller)(void);
typedef void (*closer)(void);

static poller poll_module;
static atomic_int is_polling = 1;
static atomic_int has_stopped;
static atomic_int is_over;

static void sleep_briefly(void) {
  const struct timespec pause = {0, 10 * 1000 * 1000};
  nanosleep(&pause, NULL);
}

/* Stays alive after its last poll, so that any data of the module for this thread stays too, which
 * would keep the module from being unloaded. */
static void* run(void* unused) {
  while (is_polling && poll_module()) sleep_briefly();
  has_stopped = 1;
  while (!is_over) sleep_briefly();
  return unused;
}

static int is_mapped(const char* file) {
  char line[4096];
  int found = 0;
  FILE* maps = fopen("/proc/self/maps", "r");
  while (maps != NULL && fgets(line, sizeof line, maps) != NULL)
    found |= strstr(line, file) != NULL;
  if (maps != NULL) fclose(maps);
  return found;
}

int main(int argc, char* argv[]) {
  if (argc != 3) return 2;
  void* module = dlopen(argv[1], RTLD_NOW);
  if (module == NULL) {
    fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  opener open_module;
  closer close_module;
  *(void**)&open_module = dlsym(module, "panel_open");
  *(void**)&poll_module = dlsym(module, "panel_poll");
  *(void**)&close_module = dlsym(module, "panel_close");
  if (!open_module || !poll_module || !close_module || !open_module(argv[2])) return 1;

  sigset_t terminated; /* by no thread but this one */
  sigemptyset(&terminated);
  sigaddset(&terminated, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &terminated, NULL);
  pthread_t thread;
  if (pthread_create(&thread, NULL, run, NULL) != 0) return 1;
  int signal;
  sigwait(&terminated, &signal);

  is_polling = 0;
  while (!has_stopped) sleep_briefly();
  close_module();
  dlclose(module);
  const int has_gone = !is_mapped(strrchr(argv[1], '/') != NULL ? strrchr(argv[1], '/') : argv[1]);
  is_over = 1;
  pthread_join(thread, NULL);
  puts(has_gone ? "unloaded" : "still loaded");
  return has_gone ? 0 : 1;
}

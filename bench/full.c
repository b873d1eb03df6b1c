/*
 * Takes a running core to its limits and prints the memory that it then has of its own: 64
 * processes, each a module with handlers, and 512 lines in all, 384 of which carry a request that
 * no module answers, so that some queues are full and so are the buffers.
 *
 *     full SOCKET PID [HANDLERS]
 *
 * PID is the core's, which has its default limits and no other peers. HANDLERS is how many each
 * module has, 16 if not given. All of it has to be done within the core's answer time.
 */

#include <errno.h>
#include <linux/sockios.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <vesk/vesk.h>

enum {
  MODULES = 64,
  LINES = 512 / MODULES - 2, /* of each module, besides the main and the serving line */
  AT_ONE = 65,               /* requests to one module: one that it has, and a full queue */
  TEXT = (16 << 20) / (MODULES * LINES)
};

/* What the processes tell each other. */
static struct {
  volatile int ready;
  volatile int full;
  volatile int refused;
} * shared;

static struct sockaddr_un address = {.sun_family = AF_UNIX};

static void must(bool good, const char* what) {
  if (good) return;
  fprintf(stderr, "full: %s: %s\n", what, strerror(errno));
  exit(1);
}

static void wait_a_little(void) {
  const struct timespec pause = {.tv_nsec = 10 * 1000 * 1000};
  nanosleep(&pause, NULL);
}

static int line(void) {
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  must(fd >= 0 && connect(fd, (struct sockaddr*)&address, sizeof address) == 0, "connect");
  return fd;
}

static void ask(int fd, const char* path, vk_value* tree) {
  const vk_ipc_request request = {.path = (char*)path, .value = tree};
  must(vk_ipc_write_request(fd, &request) == VK_EOK, path);
}

static vk_value* object(void) {
  vk_value* tree = vk_object_new_with_policy(vk_default_allocator(), VK_POLICY_ORDERED);
  must(tree != NULL, "memory");
  return tree;
}

/* Asks, and takes the answer. */
static void call(int fd, const char* path, vk_value* tree) {
  ask(fd, path, tree);
  vk_ipc_response response = {.value = tree};
  must(vk_ipc_read_response(fd, &response) == VK_EOK && response.status == VK_EOK, path);
  vk_value_delete(tree);
}

static vk_value* named(const char* name) {
  vk_value* tree = object();
  must(vk_object_set_string(tree, "Name", name) == VK_EOK &&
           vk_object_set_string(tree, "Version", "1") == VK_EOK,
       name);
  return tree;
}

static void add_handlers(int fd, int module, int handlers) {
  for (int i = 0; i != handlers; ++i) {
    char path[64];
    snprintf(path, sizeof path, "full.module%d.handler%d", module, i);
    vk_value* tree = object();
    must(vk_object_set_string(tree, "Path", path) == VK_EOK &&
             vk_object_set_uint(tree, "Handler", (uint32_t)i + 1) == VK_EOK,
         path);
    call(fd, "sys.handler.add", tree);
  }
}

static void attach(int module, int handlers) {
  char name[32];
  snprintf(name, sizeof name, "full%d", module);
  call(line(), "sys.module.attach", named(name));
  call(line(), "sys.module.serve", named(name));
  const int calling = line();
  call(calling, "sys.module.attach", named(name));
  add_handlers(calling, module, handlers);
  close(calling);
}

/* Whether the core has read all that was sent. */
static bool is_taken(int fd) {
  int left = 0;
  return ioctl(fd, SIOCOUTQ, &left) == 0 && left == 0;
}

static void fill(int module) {
  static char text[TEXT];
  memset(text, 'x', sizeof text - 1);
  vk_value* tree = object();
  must(vk_object_set_string(tree, "Text", text) == VK_EOK, "memory");
  int lines[LINES];
  for (int i = 0; i != LINES; ++i) {
    char path[64];
    snprintf(path, sizeof path, "full.module%d.handler0", (module * LINES + i) / AT_ONE);
    lines[i] = line();
    ask(lines[i], path, tree);
  }
  for (int i = 0; i != LINES; ++i) {
    while (!is_taken(lines[i])) wait_a_little();
  }
  __atomic_add_fetch(&shared->full, 1, __ATOMIC_SEQ_CST);
  while (shared->full != MODULES + 1) wait_a_little();
  for (int i = 0; i != LINES; ++i) {
    struct pollfd answered = {.fd = lines[i], .events = POLLIN};
    if (poll(&answered, 1, 0) == 1) __atomic_add_fetch(&shared->refused, 1, __ATOMIC_SEQ_CST);
  }
}

static void be_module(int module, int handlers) {
  attach(module, handlers);
  __atomic_add_fetch(&shared->ready, 1, __ATOMIC_SEQ_CST);
  while (shared->ready != MODULES) wait_a_little();
  fill(module);
  exit(0);
}

/* The sum of all figures in KiB whose names begin so. */
static long memory_of(const char* core, const char* name) {
  char file[64];
  snprintf(file, sizeof file, "/proc/%s/smaps_rollup", core);
  FILE* rollup = fopen(file, "r");
  must(rollup != NULL, file);
  long sum = 0;
  for (char row[256]; fgets(row, sizeof row, rollup) != NULL;) {
    if (strncmp(row, name, strlen(name)) == 0) sum += strtol(strchr(row, ':') + 1, NULL, 10);
  }
  fclose(rollup);
  return sum;
}

static void print_memory(const char* when, const char* core) {
  printf("%s: %ld KiB private, %ld KiB of them the process's own\n", when,
         memory_of(core, "Private_"), memory_of(core, "Anonymous"));
}

int main(int argc, char** argv) {
  if (argc < 3 || strlen(argv[1]) >= sizeof address.sun_path) return 2;
  strcpy(address.sun_path, argv[1]);
  const int handlers = argc > 3 ? atoi(argv[3]) : 16;
  shared = mmap(NULL, sizeof *shared, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  must(shared != MAP_FAILED, "memory");
  print_memory("before", argv[2]);
  fflush(stdout);
  for (int module = 0; module != MODULES; ++module) {
    const pid_t child = fork();
    must(child >= 0, "fork");
    if (child == 0) be_module(module, handlers);
  }
  while (shared->full != MODULES && waitpid(-1, NULL, WNOHANG) == 0) wait_a_little();
  must(shared->full == MODULES, "a module has ended early");
  print_memory("full", argv[2]);
  ++shared->full;
  while (wait(NULL) > 0) continue;
  printf("%d of %d requests refused\n", shared->refused, MODULES * LINES);
  sleep(1);
  print_memory("afterwards", argv[2]);
  return 0;
}

/*
 * sleeper NAME [OPTION]...: serves "test.NAME" by doing nothing for ever, and "test.NAME.ready" at
 * once.
 */

#include <stdio.h>
#include <unistd.h>
#include <vesk/runtime.h>
#include <vesk/vesk.h>

static char path[64];

static uint32_t serve(void* data, vk_frame* frame, void* argument) {
  (void)data, (void)argument;
  while (vk_frame_get_extra_path(frame) == NULL) pause();
  return VK_EOK;
}

static vk_error start(void** argument) {
  (void)argument;
  return vk_frame_handler_register(path, serve, NULL);
}

int main(int argc, char** argv) {
  if (argc < 2) return 64;
  snprintf(path, sizeof path, "test.%s", argv[1]);
  const vk_module_descriptor sleeper = {argv[1], "1.0", start, NULL};
  return vk_module_main(argc - 1, argv + 1, &sleeper);
}

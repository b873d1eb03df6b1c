/*
 * Measures how many calls a second a running core routes: asks one path for a second, over and
 * over.
 *
 *     calls SOCKET PATH
 */

#include <stdio.h>
#include <time.h>
#include <vesk/runtime.h>
#include <vesk/vesk.h>

static double seconds(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
}

static bool ask(vk_client* client, const char* path, uint32_t* leaves) {
  vk_value* request = vk_object_new_with_policy(vk_default_allocator(), VK_POLICY_ORDERED);
  const uint32_t status =
      request == NULL ? VK_ENOMEM : vk_client_call(client, path, VK_DM_GET, request, -1);
  if (status == VK_EOK) *leaves = vk_value_get_leaf_number(request, 0);
  vk_value_delete(request);
  return status == VK_EOK;
}

int main(int argc, char** argv) {
  vk_client* client = NULL;
  if (argc != 3 || vk_client_open(argv[1], 0, &client) != VK_EOK) return 2;
  uint32_t calls = 0;
  uint32_t leaves = 0;
  const double begin = seconds();
  while (seconds() - begin < 1 && ask(client, argv[2], &leaves)) ++calls;
  const double took = seconds() - begin;
  vk_client_close(client);
  printf("%s: %u calls, %.0f a second, %u leaves in an answer\n", argv[2], calls, calls / took,
         leaves);
  return calls == 0;
}

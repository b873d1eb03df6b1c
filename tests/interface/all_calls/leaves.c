/*
 * <vesk/binary.h>, <vesk/datetime.h>
 */

#include <time.h>

#include "all_calls.h"

static void call_binary(void) {
  vk_binary a;
  vk_binary b;
  CHECK(vk_binary_from_base16(&a, "0a1", vk_default_allocator()) == VK_EINVAL);
  VK_ASSERT(vk_binary_from_base16(&a, "0a1B", vk_default_allocator()) == VK_EOK);
  VK_ASSERT(vk_binary_from_base64(&b, "Chs=", vk_default_allocator()) == VK_EOK);
  CHECK(vk_binary_len(&a) == 2 && vk_binary_data(&a)[0] == 0x0A && vk_binary_data(&a)[1] == 0x1B);
  CHECK(vk_binary_eq(&a, &b));
  vk_binary_data(&b)[1] = 0x1C;
  CHECK(!vk_binary_eq(&a, &b));
  vk_binary_destroy(&a);
  vk_binary_destroy(&b);
  vk_binary_init(&a, NULL, 0);
  CHECK(vk_binary_len(&a) == 0 && a.magic == VK_MAGIC_BINARY);
  vk_binary_destroy(&a);
  CHECK(a.magic == VK_MAGIC_DEAD);
}

static void call_binary_texts(void) {
  struct buffer_stream buffer;
  vk_binary binary;
  char text[5];
  buffer_init(&buffer);
  VK_ASSERT(vk_binary_from_base16(&binary, "0A1B", vk_default_allocator()) == VK_EOK);
  CHECK(vk_base16_string(text, sizeof text, vk_binary_data(&binary), 2) == VK_EOK);
  CHECK(same(text, "0A1B"));
  CHECK(vk_base16_string(text, 4, vk_binary_data(&binary), 2) == VK_EINVAL);
  vk_binary_write_base16(&buffer.stream, &binary);
  vk_binary_write_base64(&buffer.stream, &binary);
  CHECK(same(buffer.text, "0A1BChs="));
  vk_binary_destroy(&binary);
}

static void call_datetime(void) {
  struct buffer_stream buffer;
  vk_datetime a;
  vk_datetime b;
  int32_t seconds = 0;
  buffer_init(&buffer);
  CHECK(vk_datetime_from_string(&a, "2024-03-01T12:00:00Z") == VK_EOK);
  CHECK(a.kind == VK_DATETIME_ABSOLUTE && a.time == 1709294400);
  CHECK(vk_datetime_from_string(&b, "2024-03-01T12:01:00Z") == VK_EOK);
  CHECK(vk_datetime_diff(&a, &b, &seconds) == VK_EOK && seconds == 60);
  CHECK(vk_datetime_write(&buffer.stream, &a) == VK_EOK);
  CHECK(same(buffer.text, "2024-03-01T12:00:00Z"));
  vk_datetime_set_unknown(&b);
  CHECK(b.kind == VK_DATETIME_UNKNOWN && b.time == 0);
  CHECK(vk_datetime_diff(&a, &b, &seconds) == VK_EINVAL && seconds == 60);
}

static void call_clocks(void) {
  vk_datetime now;
  const uint32_t uptime = vk_datetime_get_monotonic();
  CHECK(uptime != UINT32_MAX && vk_datetime_get_monotonic() >= uptime);
  CHECK(vk_datetime_set_current(&now) == 1 && now.usec == 0);
  const bool absolute = now.kind == VK_DATETIME_ABSOLUTE;
  const int64_t behind = (absolute ? (int64_t)time(NULL) : vk_datetime_get_monotonic()) - now.time;
  CHECK(absolute || now.kind == VK_DATETIME_RELATIVE);
  CHECK(behind >= 0 && behind <= 60);
}

void call_leaves(void) {
  call_binary();
  call_binary_texts();
  call_datetime();
  call_clocks();
}

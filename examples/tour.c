/*
 * A tour of libvesk: uses what there is and prints what it does.
 */

#include <stdio.h>
#include <vesk/vesk.h>

/* A stream that writes to standard output: the vk_stream first, then whatever the writer needs. */
struct file_stream {
  vk_stream stream;
  FILE *file;
};

static vk_error file_write(vk_stream *stream, const void *bytes, uint32_t count) {
  struct file_stream *self = (struct file_stream *)stream;
  return fwrite(bytes, 1, count, self->file) == count ? VK_EOK : VK_EIO;
}

static struct file_stream out;

static void headline(const char *text) { vk_stream_printf(&out.stream, "\n%s\n", text); }

static void show_errors(void) {
  headline("Result codes have names");
  for (vk_error code = VK_EOK; code <= VK_EINVAL; ++code) {
    vk_stream_printf(&out.stream, "  %u is %s\n", code, vk_strerror(code));
  }
}

static void show_heaps(void) {
  headline("Blocks come from named heaps and know their owner");
  vk_allocator *heap = vk_mm_heap_new("tour");
  char *copy = heap == NULL ? NULL : vk_strdup(heap, "gateway");
  vk_stream_printf(&out.stream, "  heap '%s' holds \"%s\"\n", heap == NULL ? "" : heap->name,
                   copy == NULL ? "" : copy);
  vk_free(copy); /* no heap named: the block knows */
  vk_allocator_delete(heap);

  const char *key = vk_mm_stack_printf(vk_gta(), "wan/%d/%s", 2, "dns");
  vk_stream_printf(&out.stream, "  a temporary on \"gta\": %s\n", key == NULL ? "" : key);
  vk_mm_stack_clear(vk_gta());
}

static void show_strings(void) {
  headline("Strings grow");
  vk_string text;
  vk_string_init(&text, vk_default_allocator());
  for (int i = 0; i < 8 && vk_string_add(&text, "growing ", 8) == VK_EOK; ++i) {
    vk_stream_printf(&out.stream, "  %2u of %2u bytes\n", text.length, text.capacity);
  }
  vk_string_destroy(&text);
}

static void show_paths(void) {
  const char *path = "Device.Hosts.Host.2.";
  headline("Paths are walked component by component");
  vk_path_roam roam;
  for (vk_path_roam_init(&roam, path); !vk_path_roam_end(&roam); vk_path_roam_next(&roam)) {
    const char *component = vk_path_roam_current_node(&roam);
    if (roam.index != 0) {
      vk_stream_printf(&out.stream, "  %s, instance %u\n", component, roam.index);
    } else {
      vk_stream_printf(&out.stream, "  %s\n", component);
    }
  }
  vk_stream_printf(&out.stream, "  %s is %s\n", path,
                   vk_path_is_partial(path) ? "partial" : "a parameter");
}

static void show_binaries(void) {
  headline("Bytes have two text forms");
  vk_binary binary;
  if (vk_binary_from_base64(&binary, "bGlidmVzaw==", vk_default_allocator()) != VK_EOK) return;
  vk_stream_printf(&out.stream, "  base64 ");
  vk_binary_write_base64(&out.stream, &binary);
  vk_stream_printf(&out.stream, " is base16 ");
  vk_binary_write_base16(&out.stream, &binary);
  vk_stream_printf(&out.stream, ", %u bytes\n", vk_binary_len(&binary));
  vk_binary_destroy(&binary);
}

static void show_datetimes(void) {
  static const char *const kinds[] = {"absolute", "relative", "unknown"};
  static const char *const texts[] = {"2024-03-01T12:00:00.5Z", "0001-01-01T00:01:40",
                                      "0001-01-01T00:00:00Z", "yesterday"};
  headline("Times are absolute, counted from boot, or unknown");
  for (size_t i = 0; i < sizeof texts / sizeof texts[0]; ++i) {
    vk_datetime datetime;
    const vk_error error = vk_datetime_from_string(&datetime, texts[i]);
    vk_stream_printf(&out.stream, "  %-24s", texts[i]);
    if (error == VK_EOK) {
      vk_stream_printf(&out.stream, "%s, %d s, written ", kinds[datetime.kind], datetime.time);
      vk_datetime_write(&out.stream, &datetime);
      vk_stream_printf(&out.stream, "\n");
    } else {
      vk_stream_printf(&out.stream, "refused: %s\n", vk_strerror(error));
    }
  }
}

static int32_t show_leaf(vk_value *value, void *context) {
  (void)context;
  if (value->type != VK_TYPE_OBJECT) {
    vk_stream_printf(&out.stream, "  %-12s %-12s ", value->id, vk_type_to_string(value->type));
    vk_value_write(&out.stream, value);
    vk_stream_printf(&out.stream, "\n");
  }
  return 0;
}

static void show_path(const char *path, vk_path_tree *node, void *context) {
  (void)context;
  if (node->first_child == NULL) vk_stream_printf(&out.stream, "  %s\n", path);
}

/* A host of the gateway's table, as a management server would see it. */
static vk_value *new_host(const char *address, const char *lease) {
  vk_value *host = vk_object_new_with_policy(vk_default_allocator(), VK_POLICY_ORDERED);
  if (host == NULL || vk_object_set_string(host, "IPAddress", address) != VK_EOK ||
      vk_object_set_bool(host, "Active", 1) != VK_EOK) {
    vk_value_delete(host);
    return NULL;
  }
  vk_value *remaining = vk_object_init_item(host, "LeaseTime");
  if (remaining != NULL) vk_value_set_from_string(remaining, VK_TYPE_INT, lease);
  return host;
}

static void show_values(void) {
  headline("Values are typed trees");
  vk_value *before = new_host("192.168.1.7", "3600");
  vk_value *now = new_host("192.168.1.7", "1800");
  if (before != NULL && now != NULL) {
    vk_value_enumerate(now, show_leaf, NULL);
    headline("What differs between two of them is a set of paths");
    vk_path_tree *differing = NULL;
    vk_path_tree_by_diff_value(vk_default_allocator(), &differing, before, now);
    if (differing != NULL) {
      vk_path_tree_enumerate(differing, "Device.Hosts.Host.2", show_path, NULL);
    }
    vk_path_tree_free(differing);
  }
  vk_value_delete(before);
  vk_value_delete(now);
}

static void show_log(void) {
  headline("Messages go to syslog");
  VK_LOG(0, VK_LOG_INFO, "the tour is nearly over");
  vk_stream_printf(&out.stream, "  sent \"NONE: the tour is nearly over\" as \"vesk\"\n");
}

int main(void) {
  vk_stream_init(&out.stream, file_write, NULL);
  out.file = stdout;
  if (vk_gta_init() != VK_EOK) return 1;

  show_errors();
  show_heaps();
  show_strings();
  show_paths();
  show_binaries();
  show_datetimes();
  show_values();
  show_log();

  vk_gta_destroy();
  return out.stream.error == VK_EOK && fflush(stdout) == 0 ? 0 : 1;
}

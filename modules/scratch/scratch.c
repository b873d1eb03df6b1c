/*
 * Device.X_VESK_Scratch, the module to copy for a new one: a text "Note", and a table "Entry" of
 * "Name" and "Text" with its "EntryNumberOfEntries". All can be written but that number.
 *
 * What is served lies in one frame, as storage loads and saves it: "Data" is the subtree, "Last"
 * the number of the newest entry. Numbers only grow, so that none is used twice and the table is in
 * order without being an indexed object, which storage would forget.
 */

#include <stdio.h>
#include <vesk/runtime.h>
#include <vesk/vesk.h>

static vk_frame* served;
static vk_frame* draft; /* a copy with what was changed; null if nothing was */

static vk_value* addressed(const vk_value* data, const vk_frame* request) {
  return vk_value_find_by_path_node(data, vk_frame_get_extra_path(request));
}

static uint32_t rollback(vk_frame* frame, void* data) {
  (void)frame, (void)data;
  if (draft != NULL) vk_frame_delete(draft);
  draft = NULL;
  return VK_EOK;
}

static vk_frame* open_draft(void) {
  if (draft != NULL) return draft;
  draft = vk_frame_new(NULL);
  if (draft == NULL) return NULL;
  if (vk_value_copy(vk_frame2value(draft), vk_frame2value(served)) != VK_EOK) rollback(NULL, NULL);
  return draft;
}

static uint32_t commit(vk_frame* frame, void* data) {
  (void)frame, (void)data;
  vk_frame* saving = draft;
  if (saving == NULL) return VK_EOK;
  draft = NULL; /* what is asked for while the call waits begins another */
  const vk_error error = vk_storage_save("scratch", saving);
  vk_frame_delete(error == VK_EOK ? served : saving);
  if (error == VK_EOK) served = saving;
  return error;
}

static uint32_t info(vk_frame* frame, void* data) {
  const vk_value* node = addressed(data, frame);
  if (node == NULL) return VK_ENOANSWER;
  return dm_frame_set_parameter_info(frame, node != data && node->type != VK_TYPE_UNSIGNEDINT, 0);
}

static uint32_t set(vk_frame* frame, void* data) {
  const vk_value* value = vk_object_find_item(vk_frame2value(frame), "Value");
  vk_value* node = addressed(data, frame);
  if (node == NULL || node->type == VK_TYPE_OBJECT) return VK_ENOENT;
  if (node->type != VK_TYPE_STRING) return VK_ERO;
  if (value == NULL || value->type != VK_TYPE_STRING) return VK_ETYPE;
  return vk_value_copy(node, value);
}

static uint32_t add(vk_frame* frame, void* data) {
  vk_value* table = vk_object_find_item(data, "Entry");
  if (addressed(data, frame) != table) return VK_ENOENT;
  vk_value* last = vk_object_find_item(vk_frame2value(draft), "Last");
  const uint32_t number = last->payload.u32 + 1;
  char name[11];
  snprintf(name, sizeof name, "%u", number);
  vk_value* entry = vk_object_init_object_with_policy(table, name, VK_POLICY_ORDERED);
  if (entry == NULL || vk_object_set_string(entry, "Name", "") != VK_EOK ||
      vk_object_set_string(entry, "Text", "") != VK_EOK ||
      dm_frame_set_instance_number(frame, number) != VK_EOK) {
    vk_object_delete_item(table, name);
    return VK_ENOMEM;
  }
  vk_value_set_uint(last, number);
  return vk_object_set_uint(data, "EntryNumberOfEntries", vk_object_get_size(table));
}

static uint32_t del(vk_frame* frame, void* data) {
  vk_value* table = vk_object_find_item(data, "Entry");
  const vk_value* entry = addressed(data, frame);
  if (entry == NULL || vk_object_find_item(table, entry->id) != entry) return VK_ENOENT;
  vk_object_delete_item(table, entry->id);
  return vk_object_set_uint(data, "EntryNumberOfEntries", vk_object_get_size(table));
}

/* Those who read see what is served, those who write the draft. */
static uint32_t serve(void* unused, vk_frame* frame, void* argument) {
  static dm_handlers handlers = {
      .get = dm_provider_default_get,
      .set = set,
      .info = info,
      .add = add,
      .del = del,
      .commit = commit,
      .rollback = rollback,
      .level = dm_provider_default_level,
      .provide = dm_provider_default_provide,
  };
  (void)unused, (void)argument;
  const uint32_t action = vk_frame_get_action(frame);
  const int writes = action == VK_DM_SET || action == VK_DM_ADD || action == VK_DM_DEL;
  const vk_frame* tree = writes ? open_draft() : served;
  if (tree == NULL) return VK_ENOMEM;
  return dmmgr_handler_funcs(&handlers, frame, vk_object_find_item(vk_frame2value(tree), "Data"));
}

static int has(const vk_value* tree, const char* path, vk_type type) {
  const vk_value* node = vk_value_find_by_path(tree, path);
  return node != NULL && node->type == type;
}

static vk_error make_empty(vk_value* tree) {
  vk_frame_clear(served);
  vk_value* data = vk_object_init_object_with_policy(tree, "Data", VK_POLICY_ORDERED);
  const int made = data != NULL && vk_object_set_string(data, "Note", "") == VK_EOK &&
                   vk_object_set_uint(data, "EntryNumberOfEntries", 0) == VK_EOK &&
                   vk_object_init_object_with_policy(data, "Entry", VK_POLICY_ORDERED) != NULL &&
                   vk_object_set_uint(tree, "Last", 0) == VK_EOK;
  return made ? VK_EOK : VK_ENOMEM;
}

static void stop(void* argument) {
  rollback(NULL, argument);
  vk_frame_delete(served);
}

static vk_error start(void** argument) {
  (void)argument;
  served = vk_frame_new(NULL);
  if (served == NULL) return VK_ENOMEM;
  vk_value* tree = vk_frame2value(served);
  vk_error error = vk_frame_call("sys.persistent.load.scratch", served);
  const int usable = has(tree, "Data.Note", VK_TYPE_STRING) &&
                     has(tree, "Last", VK_TYPE_UNSIGNEDINT) &&
                     has(tree, "Data.Entry", VK_TYPE_OBJECT);
  if (error == VK_EOK && !usable) error = VK_EVALUE; /* another version saved it */
  if (error == VK_EVALUE) VK_LOG(1, VK_LOG_ERROR, "What was saved is of no use: beginning anew");
  if (error == VK_ENOENT || error == VK_EVALUE) error = make_empty(tree); /* otherwise end */
  if (error == VK_EOK) error = vk_frame_handler_register("dm.Device.X_VESK_Scratch", serve, NULL);
  if (error != VK_EOK) vk_frame_delete(served);
  return error;
}

int main(int argc, char** argv) {
  static const vk_module_descriptor scratch = {"scratch", "1.0", start, stop};
  return vk_module_main(argc, argv, &scratch);
}

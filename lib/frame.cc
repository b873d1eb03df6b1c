#include "lib/frame.h"

#include "lib/log.h"
#include "lib/path_tree.h"
#include "lib/value/node.h"
#include "vesk/mm/gta.h"
#include "vesk/module.h"
#include "vesk/value/object.h"

namespace vesk {
namespace {

uint32_t answer_nothing(const vk_path_node*, uint32_t, vk_value*) { return VK_ENOANSWER; }

vk_error refuse_handler(const char*, vk_frame_handler, void*) { return VK_ENOSYS; }

using OwnedHeap = Owned<vk_allocator, vk_allocator_delete>;

// A frame on a heap that it does not own.
vk_frame* new_on(vk_allocator* heap) {
  Owned<vk_frame, vk_free> frame(static_cast<vk_frame*>(vk_alloc(heap, sizeof(vk_frame))));
  OwnedValue value(vk_object_new_with_policy(heap, VK_POLICY_ORDERED));
  if (frame == nullptr || value == nullptr) return nullptr;
  frame->heap = heap;
  frame->magic = VK_MAGIC_FRAME;
  frame->value = value.release();
  return frame.release();
}

vk_frame* new_with_heap() {
  OwnedHeap heap(vk_mm_heap_new("frame"));
  vk_frame* const frame = heap == nullptr ? nullptr : new_on(heap.get());
  if (frame == nullptr) return nullptr;
  frame->owns_heap = 1;
  static_cast<void>(heap.release());  // goes with the frame
  return frame;
}

void unregister_before(const vk_frame_handler_entry* entries, const vk_frame_handler_entry* end,
                       void* data) {
  for (; entries != end; ++entries) {
    vk_frame_handler_unregister(entries->path, entries->handler, data);
  }
}

}  // namespace

constexpr vk_frame_handler_ops kNoFrameHooks = {answer_nothing, refuse_handler, refuse_handler};
constinit vk_frame_handler_ops frame_hooks = kNoFrameHooks;

}  // namespace vesk

vk_frame* vk_frame_new(const vk_frame* parent) {
  return parent == nullptr ? vesk::new_with_heap() : vesk::new_on(parent->heap);
}

void vk_frame_clear(vk_frame* frame) {
  vk_value_clear(frame->value);
  vk_object_init_with_policy(frame->value, VK_POLICY_ORDERED);
}

void vk_frame_delete(vk_frame* frame) {
  vk_value_delete(frame->value);
  frame->magic = VK_MAGIC_DEAD;
  const vesk::OwnedHeap heap(frame->owns_heap != 0 ? frame->heap : nullptr);
  vk_free(frame);
}

vk_path_node* vk_frame_get_extra_path(const vk_frame* frame) { return frame->extra_path; }

vk_path_node* vk_frame_get_rq_path(const vk_frame* frame) { return frame->rq_path; }

vk_value* vk_frame2value(const vk_frame* frame) { return frame->value; }

int32_t vk_frame_get_status(const vk_frame* frame) { return frame->status; }

void vk_frame_set_status(vk_frame* frame, int32_t status) { frame->status = status; }

uint32_t vk_frame_get_action(const vk_frame* frame) { return frame->action; }

void vk_frame_set_action(vk_frame* frame, uint32_t action) { frame->action = action; }

vk_error vk_frame_handler_setup(const vk_frame_handler_ops* ops) {
  if (vk_module_ctx != nullptr) {
    vk_log(vesk::kLogLibrary, VK_LOG_ERROR, "lib/frame", __LINE__, __func__,
           "Frame handlers should be setup from core");
    return VK_EFAULT;
  }
  vesk::frame_hooks = *ops;
  return VK_EOK;
}

vk_error vk_frame_handler_register(const char* path, vk_frame_handler handler, void* data) {
  return vesk::frame_hooks.register_handler(path, handler, data);
}

vk_error vk_frame_handler_unregister(const char* path, vk_frame_handler handler, void* data) {
  return vesk::frame_hooks.unregister_handler(path, handler, data);
}

vk_error vk_frame_handler_list_register(const vk_frame_handler_entry* entries, void* data) {
  for (const vk_frame_handler_entry* entry = entries; entry->path != nullptr; ++entry) {
    const vk_error error = vk_frame_handler_register(entry->path, entry->handler, data);
    if (error == VK_EOK) continue;
    vesk::unregister_before(entries, entry, data);
    return error;
  }
  return VK_EOK;
}

uint32_t vk_frame_call_path2(const vk_path_node* path, uint32_t action, vk_value* value) {
  return vesk::frame_hooks.call_path(path, action, value);
}

uint32_t vk_frame_call2(const char* path, uint32_t action, vk_value* value) {
  const vesk::OwnedPathTree tree(vk_path_tree_new(vk_gta()));
  vk_path_tree* const leaf = tree == nullptr ? nullptr : vk_path_tree_add_path(tree.get(), path);
  if (leaf == nullptr) return VK_ENOMEM;
  return vk_frame_call_path2(vk_path_set_current(leaf)->path_node.next, action, value);
}

uint32_t vk_frame_call(const char* path, vk_frame* frame) {
  const uint32_t result = vk_frame_call2(path, frame->action, frame->value);
  frame->status = static_cast<int32_t>(result);
  return result;
}

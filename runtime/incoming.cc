#include "runtime/incoming.h"

namespace vesk::rt {

bool Incoming::set_paths(const char* path, uint32_t components_of_pattern) {
  path_.reset(vk_path_tree_new(frame_->heap));
  vk_path_tree* const last = path_ == nullptr ? nullptr : vk_path_tree_add_path(path_.get(), path);
  if (last == nullptr) return false;
  frame_->rq_path = vk_path_set_current(last)->path_node.next;
  vk_path_node* below = frame_->rq_path;
  for (; below != nullptr && components_of_pattern != 0; --components_of_pattern) {
    below = below->next;
  }
  frame_->extra_path = below;
  frame_->status = static_cast<int32_t>(VK_ENOANSWER);
  return true;
}

}  // namespace vesk::rt

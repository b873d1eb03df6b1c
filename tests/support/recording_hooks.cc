#include "tests/support/recording_hooks.h"

#include "lib/frame.h"
#include "tests/support/allocation_fault.h"

namespace vesk::test {
namespace {

RecordingHooks* recording = nullptr;

uint32_t record_call(const vk_path_node* path, uint32_t action, vk_value* value) {
  {
    const Unwatched unwatched;
    recording->calls.push_back({text_of(path), action, value, path});
  }
  return recording->answer(recording->calls.back());
}

vk_error record(const char* verb, const char* path, vk_frame_handler handler, void* data) {
  const Unwatched unwatched;
  recording->registrations.push_back({std::string(verb) + ' ' + path, handler, data});
  if (recording->results.empty()) return VK_EOK;
  const vk_error result = recording->results.front();
  recording->results.pop_front();
  return result;
}

vk_error record_add(const char* path, vk_frame_handler handler, void* data) {
  return record("add", path, handler, data);
}

vk_error record_del(const char* path, vk_frame_handler handler, void* data) {
  return record("del", path, handler, data);
}

}  // namespace

std::string text_of(const vk_path_node* path) {
  std::string text;
  for (const vk_path_node* node = path; node != nullptr; node = node->next) {
    if (node != path) text += '.';
    text += node->name;
    if (node->index != 0) text += '#' + std::to_string(node->index);
  }
  return text;
}

RecordingHooks::RecordingHooks() {
  recording = this;
  frame_hooks = {record_call, record_add, record_del};
}

RecordingHooks::~RecordingHooks() {
  frame_hooks = kNoFrameHooks;
  recording = nullptr;
}

}  // namespace vesk::test

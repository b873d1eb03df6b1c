#pragma once

// Frame hooks that record what goes through them and answer as told.

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "vesk/frame.h"

namespace vesk::test {

/// A path's components with "#" and the number behind instances.
std::string text_of(const vk_path_node* path);

/// Takes the place of the installed hooks while it lives. One at a time.
class RecordingHooks {
 public:
  RecordingHooks();
  ~RecordingHooks();
  RecordingHooks(const RecordingHooks&) = delete;
  RecordingHooks& operator=(const RecordingHooks&) = delete;

  /// A call: the path's components with "#" and the number behind instances, and what else came.
  struct Call {
    std::string path;
    uint32_t action;
    vk_value* value;
    const vk_path_node* first;  ///< the path itself, valid during the call only
  };

  std::deque<Call> calls;  // an answer may make further calls, and keeps its own
  /// Registrations and their undoing, as "add PATH" and "del PATH", with handler and data.
  struct Registration {
    std::string what;
    vk_frame_handler handler;
    void* data;

    bool operator==(const Registration&) const = default;
  };
  std::vector<Registration> registrations;

  /// What calls answer; it may write into the value.
  std::function<uint32_t(const Call&)> answer = [](const Call&) { return VK_EOK; };
  /// What the next registrations give; `VK_EOK` when none are left.
  std::deque<vk_error> results;
};

}  // namespace vesk::test

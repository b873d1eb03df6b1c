#pragma once

// Frame hooks that record what goes through them and answer as told.

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "vesk/frame.h"

namespace vesk::test {

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
  };

  std::vector<Call> calls;
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

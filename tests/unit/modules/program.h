#pragma once

// A module's program without a runtime and a core: the test starts it, asks its handlers, and
// answers its calls.

#include <cstdint>
#include <functional>
#include <map>
#include <ostream>
#include <string>

#include "lib/frame.h"
#include "lib/path_tree.h"
#include "tests/support/recording_hooks.h"
#include "tests/support/trees.h"
#include "tests/unit/modules/environment.h"
#include "vesk/dmmgr/frame.h"
#include "vesk/runtime.h"

int deviceinfo_main(int argc, char** argv);
int network_main(int argc, char** argv);
extern "C" int scratch_main(int argc, char** argv);

namespace vesk::test {

/// What a handler answered.
struct Answer {
  uint32_t result;
  Tree value;  ///< the frame's, attributes included

  bool operator==(const Answer&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Answer& answer);

class Program;

/// A frame that is made, and may be sent when no memory is left.
class Request {
 public:
  Request(Program& program, uint32_t action, const std::string& path, const Tree& value);

  /// Calls the handler whose pattern the path begins with, as the runtime would.
  uint32_t send();
  Tree value() const;

 private:
  Program& program_;
  const RecordingHooks::Registration* handler_;
  OwnedPathTree path_;
  OwnedFrame frame_;
};

/// One at a time.
class Program {
 public:
  explicit Program(int (*main)(int argc, char** argv));
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  const vk_module_descriptor& descriptor() const { return *descriptor_; }

  /// Runs the module's `start`; the end of this runs its `stop` if it was well.
  vk_error start();

  /// Makes a request and sends it.
  Answer ask(uint32_t action, const std::string& path, const Tree& value = object({}));

  // What is asked for most.
  Answer get(const std::string& path) { return ask(VK_DM_GET, path); }
  uint32_t set(const std::string& path, const Tree& value) {
    return ask(VK_DM_SET, path, object({{"Value", value}})).result;
  }
  uint32_t commit(const std::string& pattern) { return ask(VK_DM_COMMIT, pattern).result; }
  uint32_t rollback(const std::string& pattern) { return ask(VK_DM_ROLLBACK, pattern).result; }

  /// The value at a path; any if it is not answered.
  Tree value_at(const std::string& path);

  Environment environment;
  RecordingHooks hooks;

  // The core's storage.
  std::map<std::string, Tree> stored;
  uint32_t load_result = VK_EOK;  ///< instead of what is stored, unless `VK_EOK`
  uint32_t save_result = VK_EOK;
  /// Runs while a save waits for its answer.
  std::function<void()> while_saving = [] {};

  /// What any other call answers.
  std::function<uint32_t(const RecordingHooks::Call&)> answer_call =
      [](const RecordingHooks::Call&) { return VK_EOK; };

 private:
  uint32_t answer(const RecordingHooks::Call& call);
  uint32_t load(const std::string& key, vk_value* value) const;
  uint32_t save(const std::string& key, const vk_value& value);

  friend class Request;

  const vk_module_descriptor* descriptor_;
  void* argument_ = nullptr;
  bool started_ = false;
};

}  // namespace vesk::test

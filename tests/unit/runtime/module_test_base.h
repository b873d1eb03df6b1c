#pragma once

// A module in the test's own process.

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "lib/support/owned.h"
#include "tests/support/log_spy.h"
#include "tests/unit/runtime/fake_core.h"
#include "vesk/frame.h"
#include "vesk/runtime.h"

namespace vesk::test {

using Handler = std::function<uint32_t(vk_frame& frame, void* argument)>;

class ModuleTest : public testing::Test {
 protected:
  ModuleTest();
  ~ModuleTest() override;

  /// Begins the module "demo", version "1.2", and expects what that gives.
  void begin(vk_error expected = VK_EOK);

  /// Dispatches until the condition holds, or fails.
  void run_until(const std::function<bool()>& condition);

  void end();

  std::function<vk_error(void** argument)> start = [](void**) { return VK_EOK; };
  std::function<void(void* argument)> stop = [](void*) {};

  LogSpy log;
  std::optional<FakeCore> core;  ///< its script may wait for the module's end
  vk_module_runtime* runtime = nullptr;
};

/// The descriptor of "demo", whose functions are those of the test.
extern const vk_module_descriptor kDemo;

/// Registers a function, which must stay as long as it is registered.
vk_error registered(const char* pattern, Handler& handler);
vk_error unregistered(const char* pattern, Handler& handler);

/// A call, with a tree that takes the answer, or without one.
uint32_t called(const char* path, const Value& value = nullptr, uint32_t action = 0);

/// The core's side of a module that has attached.
struct Attached {
  const FakeCore::Listener& listener;
  const Peer& main;
  const Peer& serving;

  Peer calling_line() const { return listener.calling_line(); }
};

/// The script of a core to which the module attaches, and from which it goes in the end.
FakeCore::Script attached(const std::function<void(const Attached& module)>& script =
                              [](const Attached&) {});

/// What the core is told of a handler.
Tree handler_at(const std::string& pattern, uint32_t number);

/// Answers one request on a line, and gives it.
Asked acknowledged(const Peer& line, uint32_t status = VK_EOK, const Tree& value = any());

/// Expects a request of that path and arguments, and answers it.
void expect_told(const Peer& line, const std::string& path, const Tree& arguments,
                 uint32_t status = VK_EOK);

/// A path as texts.
std::vector<std::string> components(const vk_path_node* path);

/// A signal from one process to another, given and awaited once each.
class Gate {
 public:
  Gate();
  void open() const;
  void pass() const;
  bool is_open() const;

 private:
  rt::Fd read_;
  rt::Fd write_;
};

}  // namespace vesk::test

#pragma once

// A core in the test's own process, and peers that speak to it over real sockets. The loop runs
// only while a test waits for something, so every wait has a condition and a deadline.

#include <gtest/gtest.h>

#include <asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/dispatcher.h"
#include "core/server.h"
#include "core/settings.h"
#include "core/socket_file.h"
#include "core/sys_service.h"
#include "tests/support/allocation_fault.h"
#include "tests/support/values.h"

namespace vesk::test {

using namespace std::chrono_literals;  // NOLINT(google-build-using-namespace)

/// A folder that goes with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string path(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

/// A request as a peer sees it.
struct Asked {
  uint32_t tag;
  std::string path;
  uint32_t action;
  Value value;
};

/// What a call gave.
struct Given {
  uint32_t status;
  Value value;
};

class TestCore;

/// One end of a connection to the core under test.
class TestLine {
 public:
  explicit TestLine(TestCore& core);

  /// Sends a request, and nothing more.
  void send(const std::string& path, const Value& value = nullptr, uint32_t action = 0);
  void send_bytes(const std::vector<std::byte>& bytes);
  void reply(uint32_t status, const Value& value = nullptr);

  /// What comes next; nothing if the line ends or the deadline passes first.
  std::optional<Given> answer();
  std::optional<Asked> request();
  /// Whether a message or the end of the line is there to be read.
  bool has_something() const;
  /// Whether nothing comes while the loop has anything to do.
  bool is_quiet();
  /// Whether the core ends the line, whatever it sends before.
  bool is_dropped();

  /// Sends a request and gives the status of its answer; -1 without one.
  int call(const std::string& path, const Value& value = nullptr, uint32_t action = 0);

  void hang_up() { connection_ = core::Descriptor(); }
  int descriptor() const { return connection_.get(); }

 private:
  TestCore& core_;
  core::Descriptor connection_;
};

/// The server and the dispatcher with their services, on a socket in a folder of their own.
class TestCore {
 public:
  explicit TestCore(const core::Settings& settings = {}, const core::Access& access = {});
  ~TestCore();

  /// Runs the loop until something holds; false if it does not within the deadline.
  bool until(const std::function<bool()>& holds);
  /// Runs the loop for a while, and on until it has nothing more to do at once.
  void run_for(std::chrono::milliseconds time);

  const std::string& socket() const { return socket_; }

 private:
  TemporaryFolder folder_;
  const std::string socket_;

 public:
  core::Settings settings;
  asio::io_context loop;
  core::Dispatcher dispatcher;
  core::LogBudget budget;
  core::Complain complain;  ///< what the dispatcher tells of modules that fail
  core::Server server;
  core::SocketFile file;
  AllocationFault* fault = nullptr;  ///< what strikes while the loop runs for `until`
};

/// A module in the words of the tests: a main line, and serving lines.
class TestModule {
 public:
  TestModule(TestCore& core, const std::string& name);

  TestLine& main() { return main_; }
  /// A further calling line of the module.
  std::unique_ptr<TestLine> calling();
  std::unique_ptr<TestLine> serving();
  /// Registers a handler; gives the answer's status.
  int add(const std::string& path, uint32_t number);
  int remove(const std::string& path, uint32_t number);

 private:
  TestCore& core_;
  const std::string name_;
  TestLine main_;
};

/// A module with one handler, at "a", and a client that has asked it and has no answer yet.
struct AskedModule {
  explicit AskedModule(TestCore& core)
      : module(core, "demo"), serving(module.serving()), client(core) {
    EXPECT_EQ(module.add("a", 1), int{VK_EOK});
    client.send("a");
    EXPECT_TRUE(serving->request().has_value());
  }

  TestModule module;
  std::unique_ptr<TestLine> serving;
  TestLine client;
};

/// The status that another process gets for a request; 255 without an answer. It must be small.
int call_from_elsewhere(TestCore& core, const std::string& path, const Value& value = nullptr);

/// An object with one string.
Value named(const std::string& name, const std::string& text);

/// The arguments of "sys.handler.add" and "sys.handler.del".
Value handler(const std::string& path, uint32_t number);

}  // namespace vesk::test

#pragma once

// An agent of real processes: a core and modules, with a folder, a socket and a store of its own.

#include <list>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "tests/e2e/agent/process.h"
#include "tests/support/trees.h"
#include "vesk/ipc.h"
#include "vesk/runtime.h"

namespace vesk::test {

using Words = std::vector<std::string>;

/// What a call gave. An answer of type any leaves the tree that was sent.
struct Answer {
  uint32_t status;
  Tree value = {};
  bool operator==(const Answer&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Answer& answer);

/// The client of the runtime.
class Client {
 public:
  /// Waits for the core.
  explicit Client(const std::string& socket);
  ~Client() { vk_client_close(client_); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  Answer call(const std::string& path, const Tree& value = any(), uint32_t action = 0);
  uint32_t status(const std::string& path, const Tree& value = any()) {
    return call(path, value).status;
  }

 private:
  vk_client* client_ = nullptr;
};

/// A core and its modules. At the end all that still run are asked to end, which they must do with
/// the status 0, so that sanitizers too have their say.
class Agent {
 public:
  using Prepare = std::function<void()>;

  /// Starts a core with further options and waits until it answers.
  explicit Agent(
      Words options = {}, Prepare prepare = [] {});
  ~Agent();
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  const Folder& folder() const { return folder_; }
  std::string socket() const { return folder_ / "s"; }
  std::string store() const { return folder_ / "store.db"; }
  /// What the core has logged so far.
  std::string log() const { return content_of(log_of("veskd")); }

  Process& core() { return *core_; }
  /// Starts a core where one has ended, or been killed.
  void start_core();
  void wait_for_core() const { const Client client(socket()); }

  /// When this returns, all that was sent to the core before has come to it.
  void settle() const;

  /// Starts a module's program, and waits until a path is served by it.
  Process& start(const std::string& program, const Words& arguments, const std::string& path);
  /// A module that serves "test.NAME" and relays to "test.NEXT".
  Process& start_relay(const std::string& name, const std::string& next);
  /// A module that serves "test.NAME" by doing nothing for ever.
  Process& start_sleeper(const std::string& name = "sleeper");
  Process& module(const std::string& name) { return *modules_.at(name); }

  /// How many descriptors the core has open.
  std::size_t core_descriptors() const;

 private:
  std::string log_of(const std::string& name) const { return logs_ / name; }
  Process& begin(const std::string& name, Words command, const std::string& path);

  const Folder folder_;
  const Folder logs_;
  const Words options_;
  const Prepare prepare_;
  std::unique_ptr<Process> core_;
  std::map<std::string, std::unique_ptr<Process>> modules_;
};

/// The program of the core, and the folders of the modules' programs.
inline constexpr const char kCore[] = VESK_CORE_PROGRAM;
inline constexpr const char kModules[] = VESK_MODULES_FOLDER;
inline constexpr const char kTestModules[] = VESK_TEST_MODULES_FOLDER;

/// What a relay is asked: to pass the request on so many times in all.
Tree relayed(uint32_t left);
/// What became of it: the names of the relays, the last one first.
std::string trail_of(const Answer& answer);

}  // namespace vesk::test

#pragma once

// What a module and the core say to each other, byte by byte, so that it can be said again.

#include <string>
#include <vector>

#include "tests/e2e/agent/line.h"

namespace vesk::test {

/// What happens next in a conversation.
struct Event {
  enum class What { kModuleSays, kCoreSays, kClientAsks } what;
  std::size_t line = 0;  ///< of the module's lines, in the order in which they were opened
  ByteString bytes = {};
};
using Recording = std::vector<Event>;

/// Stands between a module and the core.
class Recorder {
 public:
  /// Listens for the module at a path.
  Recorder(const std::string& path, const std::string& core);
  ~Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  /// Passes everything on until something holds; false if it does not in time.
  bool pass_on_until(const std::function<bool()>& holds);
  /// What is recorded of a client who asks the core itself.
  void client_asks() { recording_.push_back({Event::What::kClientAsks}); }

  /// How often this has happened so far.
  std::size_t count(Event::What what) const;
  const Recording& recording() const { return recording_; }

 private:
  struct Pair {
    Line module, core;
  };

  void accept();
  void pass_on(std::size_t line, Event::What what, const Line& from, const Line& to);

  const std::string core_;
  const int listener_;
  std::vector<Pair> lines_;
  Recording recording_;
};

}  // namespace vesk::test

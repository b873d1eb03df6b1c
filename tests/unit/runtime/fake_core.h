#pragma once

// A core that follows a script, in a process of its own, and moves its messages as the library
// does: one field by one system call.

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>

#include "runtime/fd.h"
#include "tests/support/trees.h"
#include "tests/unit/runtime/bytes.h"

namespace vesk::test {

/// What comes with a request.
struct Asked {
  uint32_t tag = 0;
  std::string path;
  uint32_t action = 0;
  Tree value;
};

/// What comes with a response.
struct Answered {
  uint32_t status = 0;
  Tree value;

  bool operator==(const Answered&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Answered& answered);

/// The core's side of a line. What fails, fails the test.
class Peer {
 public:
  explicit Peer(int fd) : fd_(fd) {}

  Asked read_request() const;
  void answer(uint32_t status, const Tree& value = any()) const;

  void ask(uint32_t tag, const std::string& path, uint32_t action, const Tree& value = any()) const;
  Answered read_response() const;
  Answered asked(uint32_t tag, const std::string& path, uint32_t action,
                 const Tree& value = any()) const {
    ask(tag, path, action, value);
    return read_response();
  }

  void send(const ByteString& bytes) const;

  /// Waits for the other side to close.
  void expect_end() const;
  /// Whether nothing has come so far.
  bool is_quiet() const;
  void close() { fd_.reset(); }
  int fd() const { return fd_.get(); }

 private:
  rt::Fd fd_;
};

class FakeCore {
 public:
  /// What the script has: the socket's other end.
  class Listener {
   public:
    explicit Listener(int fd) : fd_(fd) {}
    Peer accept() const;
    /// Whether nobody waits to be accepted.
    bool is_quiet() const;

    /// Leaves no room for those who want to be accepted, until it drops them.
    void fill() const;
    void drain() const;

    // A module's lines, with what has to be said at their beginning.
    Peer main_line(const Tree& answer = object({{"Version", text("1")}})) const;
    Peer calling_line() const { return main_line(); }
    Peer serving_line() const;

   private:
    int fd_;
  };
  using Script = std::function<void(const Listener&)>;

  /// Listens, in a folder of its own, and begins the script in a new process. Scripts may fail
  /// expectations.
  explicit FakeCore(const Script& script);

  /// Waits for the script to end.
  ~FakeCore();
  FakeCore(const FakeCore&) = delete;
  FakeCore& operator=(const FakeCore&) = delete;

  /// Waits for the script to end and begins another one, as a core does that was started anew.
  void restart(const Script& script);

  const char* path() const { return path_.c_str(); }

 private:
  void begin(const Script& script);
  void finish();

  std::string folder_;
  std::string path_;
  pid_t child_ = -1;
};

/// A folder that is new, and gone with what it holds at the end.
class Folder {
 public:
  Folder();
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

/// A socket that listens at a path.
rt::Fd listening_at(const std::string& path);

}  // namespace vesk::test

#pragma once

// A connection whose every byte is the test's own.

#include <optional>
#include <span>
#include <string>
#include <utility>

#include "tests/e2e/agent/agent.h"
#include "tests/unit/runtime/bytes.h"

namespace vesk::test {

/// A request as it is read on a serving line.
struct Asked {
  uint32_t tag;
  std::string path;
};

class Line {
 public:
  /// Connects, or is not there.
  explicit Line(const std::string& socket);
  explicit Line(int descriptor) : descriptor_(descriptor) {}
  ~Line() { close(); }
  Line(Line&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Line& operator=(Line&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }

  bool is_there() const { return descriptor_ >= 0; }

  /// Sends bytes, waiting for the other side to take them; false if it has gone.
  bool send(std::span<const std::byte> bytes) const;
  /// Sends what the other side takes without waiting: how much that is.
  std::size_t push(std::span<const std::byte> bytes) const;

  /// Whether something has come, or the end.
  bool is_readable() const;
  /// Waits for an answer, or for the line's end.
  std::optional<Answer> answer() const;
  /// Waits for a request, or for the line's end.
  std::optional<Asked> request() const;
  std::optional<Answer> call(const std::string& path, const Tree& value = any()) const;

  /// Waits for so many bytes, or for the line's end.
  ByteString read(std::size_t size) const;
  /// Takes what there is, up to so many bytes.
  ByteString take(std::size_t size = 65'536) const;

  /// Waits for the line's end, whatever comes before it; false if it does not end in time.
  bool ends() const;
  /// Says that nothing more will be sent.
  void finish() const;
  void close();

 private:
  int descriptor_;
};

/// A request as bytes.
ByteString request(const std::string& path, const Tree& value = any(), uint32_t tag = 0);
/// A response as bytes.
ByteString response(uint32_t status, const Tree& value = any());

/// A new socket that listens at a path, as no core does.
int listening_at(const std::string& path, int backlog = 5);

/// What a module says at the beginning of its lines, and for its handlers.
Tree named(const std::string& name);
Tree handler(const std::string& path, uint32_t number);

}  // namespace vesk::test

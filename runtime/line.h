#pragma once

// One connection to the core. It carries at most one message at a time in each direction; the
// messages come and go whole, in whatever pieces the socket moves them.

#include <cstdint>
#include <span>

#include "lib/support/byte_buffer.h"
#include "runtime/deadline.h"
#include "runtime/fd.h"
#include "runtime/poller.h"
#include "runtime/scan.h"
#include "vesk/error.h"

namespace vesk::rt {

class Line {
 public:
  enum class Reading { kComplete, kIncomplete, kLost };

  /// Takes a connected descriptor over.
  explicit Line(Fd fd) : fd_(std::move(fd)) {}
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;
  ~Line() { close(); }

  int fd() const { return fd_.get(); }
  bool is_open() const { return fd_.valid(); }

  /// Has a poller, which is borrowed, wait for it as long as it is open.
  /// @return 0 or the `errno`
  [[nodiscard]] int wait_in(Poller& poller, uint64_t identity);

  /// Says what comes next. Forgets the message before; bytes that came behind it are kept.
  void expect(Message message);

  /// Reads what has come, without waiting. At the end of the connection, after a failure, and for
  /// bytes that are no message, the line is lost. A message that is there whole stays so, even when
  /// the line is closed.
  Reading receive();

  /// Whether a message is there whole.
  bool is_complete() const { return scanner_.state() == Scanner::State::kComplete; }
  /// That message, until the next `expect`.
  std::span<const std::byte> message() const;
  std::size_t value_at() const { return scanner_.value_at(); }

  /// Whether it is still to come.
  bool is_pending() const { return is_open() && !is_complete(); }

  /// Whether bytes have come that no message took.
  bool has_rest() const;

  /// Whether nothing has come, not even the end. Of a line that is not waited on.
  bool is_quiet() const;

  /// Sends a message, by one system call unless the socket is full, and waits for room until the
  /// deadline.
  /// @return `VK_EOK`; `VK_ETIMEDOUT`; `VK_EIO`
  [[nodiscard]] vk_error send(std::span<const std::byte> bytes, const Deadline& deadline) const;

  /// Sends a request and waits for its answer, and for nothing else. A server that refuses a
  /// request before it has all of it is heard too.
  /// @return as for `send`
  [[nodiscard]] vk_error exchange(std::span<const std::byte> request, const Deadline& deadline);

  void close();

 private:
  Fd fd_;
  Poller* poller_ = nullptr;
  ByteBuffer bytes_;
  Scanner scanner_{Message::kResponse, Limits::widest()};
};

/// Waits for events of `poll` on a descriptor. False when the deadline has passed.
[[nodiscard]] bool wait_for(int fd, short events, const Deadline& deadline);

}  // namespace vesk::rt

#pragma once

// Where lines and their use meet: the server knows sockets and not what is said on them, the
// dispatcher knows what is said and no sockets.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/call.h"

namespace vesk::core {

/// A request in the words of the wire.
struct Message {
  uint32_t tag = 0;
  std::string path = {};
  uint32_t action = 0;
  std::shared_ptr<const Bytes> value = {};  ///< null stands for any
};

/// A connection. At first its opener asks; once turned, the core does. At most one request on it is
/// unanswered. Functions that are handed in are called once, from the loop.
class Line {
 public:
  Line() = default;
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;
  virtual ~Line() = default;

  /// Its number, never used twice and never 0.
  virtual uint64_t id() const = 0;
  virtual const Peer& peer() const = 0;

  /// The line belongs to a module from now on, which may take its time with its answers.
  virtual void give_time() = 0;

  /// Turns the line round behind the answer that is due.
  virtual void turn() = 0;

  /// Asks on a line that was turned and has nothing under way; nothing has happened if it throws.
  /// `VK_EIO` if the line ends first, and `VK_EINVAL` if what comes breaks the format or a limit:
  /// the line is then no longer open. These are `unheard`.
  virtual void ask(Message message, std::function<void(Answer)> done) = 0;

  /// Gives back what was asked if the line has ended and the other end took none of it, so that it
  /// can be asked elsewhere. From `done`, once.
  virtual std::optional<Message> take_unsent() = 0;

  virtual bool is_open() const = 0;
  /// Whether the other end has gone, though the line may not have heard of it yet.
  virtual bool hung_up() const = 0;

  virtual void close() = 0;
};
using LinePtr = std::shared_ptr<Line>;

/// Who uses the lines.
class Exchange {
 public:
  Exchange() = default;
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;
  virtual ~Exchange() = default;

  /// A request has come. The answer is written when `reply` is called, which is once, if the line
  /// is still there. What is told of lines has no errors: want of memory is an answer, too.
  virtual void asked(const LinePtr& line, Message message,
                     std::function<void(Answer)> reply) noexcept = 0;

  /// The answer to the line's request has been taken off the core's hands.
  virtual void taken(Line& line) noexcept = 0;

  /// The line is no more.
  virtual void ended(Line& line) noexcept = 0;

  /// The module that a line belongs to; empty for a plain client.
  virtual std::string module_of(const Line& line) const = 0;
};

}  // namespace vesk::core

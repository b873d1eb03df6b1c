#pragma once

// One connection: messages come in whole, answers and requests go out, in turn. Nothing is decoded
// here; a message is only held against the limits.

#include <asio/awaitable.hpp>
#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "core/alarm.h"
#include "core/exchange.h"
#include "core/line_bytes.h"
#include "core/log.h"
#include "core/settings.h"
#include "runtime/scan.h"

namespace vesk::core {

/// What the lines of a server share.
struct LineContext {
  const Settings& settings;
  Exchange& exchange;
  LogBudget& budget;
  std::function<void(const Line&)> ended;
};

class SocketLine final : public Line, public std::enable_shared_from_this<SocketLine> {
 public:
  using Socket = asio::local::stream_protocol::socket;

  SocketLine(Socket socket, const Peer& peer, uint64_t id, LineContext& context);

  /// Runs until the line ends. The loop keeps the line alive meanwhile.
  void start();

  uint64_t id() const override { return id_; }
  const Peer& peer() const override { return peer_; }
  void give_time() override { has_time_ = true; }
  void turn() override { turned_ = true; }
  bool is_answering() const { return answer_.has_value(); }
  void ask(Message message, std::function<void(Answer)> done) override;
  std::optional<Message> take_unsent() override { return std::exchange(unsent_, std::nullopt); }
  bool is_open() const override { return !closed_; }
  bool hung_up() const override;
  void close() override;

 private:
  struct Question {
    Message message;
    std::function<void(Answer)> done;
  };
  enum class Waiting { kNothing, kBytes, kEnd };
  struct Limit {
    Milliseconds time;
    const char* what;
  };

  static asio::awaitable<void> run(std::shared_ptr<SocketLine> self);
  asio::awaitable<void> answer_one();
  asio::awaitable<void> ask_one();
  template <typename Event>
  asio::awaitable<bool> until(Event happened);
  asio::awaitable<bool> receive(rt::Message kind);
  asio::awaitable<bool> receive_more(std::size_t& filled);
  asio::awaitable<bool> find_room(std::size_t filled);
  asio::awaitable<bool> until_readable();
  /// Without bytes the tree is any.
  asio::awaitable<bool> send(std::span<const std::byte> head, std::span<const std::byte> tree);
  asio::awaitable<void> send_rest(Parts parts);

  void end() noexcept;
  bool accept(rt::Scanner::State state, std::size_t filled);
  bool make_room(std::size_t filled);
  void watch();
  void mind_unasked();
  Waiting waiting() const;
  Bytes take_tree();
  Message take_request();
  Answer take_answer();
  void limit(Milliseconds time, const char* what);
  void refuse_overdue();
  void refuse_unasked();
  void refuse(uint32_t status) noexcept;
  void complain(const char* format, ...) const noexcept VK_PRINTF(2, 3);

  Socket socket_;
  const int handle_;
  const Peer peer_;
  const uint64_t id_;
  LineContext& context_;
  asio::steady_timer wake_;
  Alarm limit_;
  Limit limited_ = {};
  rt::Scanner scanner_;
  Bytes in_;  // the message that is coming
  std::optional<Question> question_;
  std::optional<Message> unsent_;
  std::optional<Answer> answer_;
  uint32_t end_ = VK_EIO;  // what a question that has no answer by then is answered
  bool watching_ = false;
  bool readable_ = false;
  bool turned_ = false;
  bool sending_ = false;
  bool begun_ = false;  // the peer may have some of the question
  bool has_time_ = false;
  bool closed_ = false;
};

}  // namespace vesk::core

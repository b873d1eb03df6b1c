#include "core/line.h"

#include <sys/socket.h>

#include <algorithm>
#include <asio/post.hpp>
#include <asio/write.hpp>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <exception>
#include <span>
#include <utility>

#include "core/await.h"
#include "core/failure.h"

namespace vesk::core {
namespace {

constexpr std::size_t kFirstRoom = 4096;
constexpr Milliseconds kUntilRoom{20};
constexpr const char* kToComplete = "to complete a message";
constexpr std::size_t kNumber = sizeof(uint32_t);

uint32_t number_at(const Bytes& bytes, std::size_t place) {
  uint32_t number = 0;
  std::memcpy(&number, bytes.data() + place, kNumber);
  return number;
}

}  // namespace

SocketLine::SocketLine(Socket socket, const Peer& peer, uint64_t id, LineContext& context)
    : socket_(std::move(socket)),
      handle_(socket_.native_handle()),
      peer_(peer),
      id_(id),
      context_(context),
      wake_(socket_.get_executor(), asio::steady_timer::time_point::max()),
      limit_(socket_.get_executor(), [this] { refuse_overdue(); }),
      scanner_(rt::Message::kRequest, context.settings.message) {}

void SocketLine::start() { spawn(socket_.get_executor(), run(shared_from_this())); }

asio::awaitable<void> SocketLine::run(std::shared_ptr<SocketLine> self) {
  try {
    while (!self->closed_ && !self->turned_) co_await self->answer_one();
    while (!self->closed_) co_await self->ask_one();
  } catch (...) {
    self->refuse(status_of_failure());
  }
  self->end();
}

void SocketLine::end() noexcept {
  close();
  std::optional<Question> question = std::exchange(question_, std::nullopt);
  if (question.has_value()) {
    if (!begun_ && end_ == VK_EIO) unsent_ = std::move(question->message);
    question->done({end_, {}, true});
  }
  context_.exchange.ended(*this);
  context_.ended(*this);
}

asio::awaitable<void> SocketLine::answer_one() {
  const bool came = co_await receive(rt::Message::kRequest);
  if (!came) co_return;
  answer_.reset();
  context_.exchange.asked(shared_from_this(), take_request(),
                          [weak = weak_from_this()](Answer answer) {
                            const auto self = weak.lock();
                            if (self == nullptr) return;
                            self->answer_ = std::move(answer);
                            self->wake_.cancel();
                          });
  const auto answered = [this] { return answer_.has_value(); };
  const bool there = co_await until(answered);
  if (!there) co_return;
  const Head head = head_of(*answer_);
  const bool sent = co_await send(head, answer_->value);
  answer_.reset();
  if (sent) context_.exchange.taken(*this);
}

asio::awaitable<void> SocketLine::ask_one() {
  const auto asked = [this] { return question_.has_value(); };
  const bool there = co_await until(asked);
  if (!there) co_return;
  if (std::exchange(readable_, false)) mind_unasked();  // what came with the question is no answer
  if (closed_) co_return;
  const Head head = head_of(question_->message);
  const std::shared_ptr<const Bytes> value = question_->message.value;
  std::span<const std::byte> tree;
  if (value != nullptr) tree = *value;
  const bool sent = co_await send(head, tree);
  if (!sent) co_return;
  const bool came = co_await receive(rt::Message::kResponse);
  if (!came) co_return;
  Answer answer = take_answer();
  const std::optional<Question> question = std::exchange(question_, std::nullopt);
  question->done(std::move(answer));
}

void SocketLine::ask(Message message, std::function<void(Answer)> done) {
  if (closed_) {
    unsent_ = std::move(message);
    asio::post(socket_.get_executor(), [done = std::move(done)] { done({VK_EIO, {}, true}); });
    return;
  }
  question_ = Question{std::move(message), std::move(done)};
  begun_ = false;
  wake_.cancel();
}

// Waits for something to happen; false if the line has ended. Bytes that come first are out of
// turn, unless they are what is waited for.
template <typename Event>
asio::awaitable<bool> SocketLine::until(Event happened) {
  for (;;) {
    if (closed_) co_return false;
    if (happened()) co_return true;
    if (std::exchange(readable_, false)) mind_unasked();
    if (closed_) co_return false;
    watch();
    asio::error_code woken;
    co_await wake_.async_wait(into(woken));
  }
}

asio::awaitable<bool> SocketLine::until_readable() {
  const auto readable = [this] { return readable_; };
  const bool there = co_await until(readable);
  readable_ = false;
  co_return there;
}

void SocketLine::mind_unasked() {
  const Waiting found = waiting();
  if (found == Waiting::kEnd) return close();
  if (found == Waiting::kBytes) refuse_unasked();
}

void SocketLine::watch() {
  if (std::exchange(watching_, true)) return;
  socket_.async_wait(Socket::wait_read, [weak = weak_from_this()](const asio::error_code&) {
    const auto self = weak.lock();
    if (self == nullptr) return;
    self->watching_ = false;
    self->readable_ = true;
    self->wake_.cancel();
  });
}

SocketLine::Waiting SocketLine::waiting() const {
  char byte = 0;
  if (closed_) return Waiting::kEnd;
  const ssize_t count = recv(handle_, &byte, sizeof byte, MSG_PEEK | MSG_DONTWAIT);
  if (count > 0) return Waiting::kBytes;
  return count < 0 && is_later(errno) ? Waiting::kNothing : Waiting::kEnd;
}

// Most messages are there as a whole, and then no time is taken.
asio::awaitable<bool> SocketLine::receive(rt::Message kind) {
  const bool begun = co_await until_readable();
  if (!begun) co_return false;
  scanner_ = rt::Scanner(kind, context_.settings.message);
  std::size_t filled = 0;
  for (;;) {
    const bool more = co_await receive_more(filled);
    if (!more) co_return false;
    const rt::Scanner::State state = scanner_.scan(std::span(in_).first(filled));
    if (state != rt::Scanner::State::kIncomplete) {
      limit_.stop();
      co_return accept(state, filled);
    }
    if (!limit_.is_set()) limit(context_.settings.completion, kToComplete);
  }
}

bool SocketLine::accept(rt::Scanner::State state, std::size_t filled) {
  if (state == rt::Scanner::State::kRefused) {
    const rt::Scanner::Refusal& refusal = scanner_.refusal();
    complain("limit %s is %llu, its message has %llu", refusal.limit,
             static_cast<unsigned long long>(refusal.allowed),
             static_cast<unsigned long long>(refusal.found));
    refuse(VK_EINVAL);
    return false;
  }
  if (scanner_.size() < filled) {
    refuse_unasked();
    return false;
  }
  in_.resize(filled);
  return true;
}

asio::awaitable<bool> SocketLine::receive_more(std::size_t& filled) {
  for (;;) {
    const bool room = co_await find_room(filled);
    if (!room) co_return false;
    const ssize_t count = recv(handle_, in_.data() + filled, in_.size() - filled, MSG_DONTWAIT);
    if (count > 0) {
      filled += static_cast<std::size_t>(count);
      co_return true;
    }
    if (count == 0 || !is_later(errno)) close();
    const bool readable = co_await until_readable();
    if (!readable) co_return false;
  }
}

// An answer is worth waiting until others have left, at nobody's cost; a request is not.
asio::awaitable<bool> SocketLine::find_room(std::size_t filled) {
  const auto last = Alarm::Clock::now() + context_.settings.completion;
  while (!make_room(filled)) {
    if (!question_.has_value() || Alarm::Clock::now() >= last) {
      complain("all buffers are in use");
      refuse(VK_ENOMEM);
      co_return false;
    }
    asio::steady_timer pause(socket_.get_executor(), kUntilRoom);
    asio::error_code ignored;
    co_await pause.async_wait(into(ignored));
    if (closed_) co_return false;
    limit(context_.settings.completion, kToComplete);
  }
  co_return true;
}

bool SocketLine::make_room(std::size_t filled) try {
  if (filled == in_.size()) in_.resize(std::max(kFirstRoom, 2 * filled));
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

// Cuts the message's head off and leaves its tree. Needs no further room, though it gives back what
// it can.
Bytes SocketLine::take_tree() {
  in_.erase(in_.begin(), in_.begin() + static_cast<std::ptrdiff_t>(scanner_.value_at()));
  Bytes tree = std::exchange(in_, {});
  if (is_any(tree)) tree.clear();
  tree.shrink_to_fit();
  return tree;
}

Message SocketLine::take_request() {
  Message message;
  message.tag = number_at(in_, 0);
  const auto* const path = reinterpret_cast<const char*>(in_.data() + 2 * kNumber);
  message.path.assign(path, number_at(in_, kNumber));
  message.action = number_at(in_, 2 * kNumber + message.path.size());
  Bytes tree = take_tree();
  if (!tree.empty()) message.value = std::make_shared<const Bytes>(std::move(tree));
  return message;
}

Answer SocketLine::take_answer() {
  const uint32_t status = number_at(in_, 0);
  return {status, take_tree()};
}

asio::awaitable<bool> SocketLine::send(std::span<const std::byte> head,
                                       std::span<const std::byte> tree) {
  Parts parts = parts_of(head, tree);
  begun_ = send_now(handle_, parts);
  if (!begun_) close();
  if (asio::buffer_size(parts) != 0 && !closed_) {
    if (!has_time_) limit(context_.settings.taking, "to take an answer");
    co_await send_rest(parts);
    limit_.stop();
  }
  co_return !closed_;
}

asio::awaitable<void> SocketLine::send_rest(Parts parts) {
  asio::error_code error;
  auto writing = asio::async_write(socket_, parts, into(error));
  sending_ = true;
  co_await std::move(writing);
  sending_ = false;
  if (error) close();
}

void SocketLine::limit(Milliseconds time, const char* what) {
  limited_ = {time, what};
  if (!limit_.set(time)) throw std::bad_alloc();
}

void SocketLine::refuse_overdue() {
  complain("%lld ms are not enough for it %s", static_cast<long long>(limited_.time.count()),
           limited_.what);
  refuse(VK_ETIMEDOUT);
}

void SocketLine::refuse_unasked() {
  complain("it sent out of turn");
  refuse(VK_EINVAL);
}

// Tells the peer why, if it can be told, and ends the line.
void SocketLine::refuse(uint32_t status) noexcept {
  end_ = status;
  if (!closed_ && !sending_ && !turned_) {
    tell(handle_, status);
  }
  close();
}

bool SocketLine::hung_up() const { return waiting() == Waiting::kEnd; }

void SocketLine::close() {
  if (std::exchange(closed_, true)) return;
  limit_.stop();
  asio::error_code ignored;
  socket_.close(ignored);
  wake_.cancel();
}

void SocketLine::complain(const char* format, ...) const noexcept try {
  if (!context_.budget.spend(peer_)) return;
  char reason[128];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(reason, sizeof reason, format, arguments);
  va_end(arguments);
  const std::string module = context_.exchange.module_of(*this);
  log(VK_LOG_WARNING, "Process %ld, user %lu, module %s is dropped: %s",
      static_cast<long>(peer_.pid), static_cast<unsigned long>(peer_.uid),
      module.empty() ? "none" : module.c_str(), reason);
} catch (const std::bad_alloc&) {
}

}  // namespace vesk::core

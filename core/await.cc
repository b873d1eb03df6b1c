#include "core/await.h"

#include <array>
#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <memory>
#include <new>
#include <utility>

namespace vesk::core {
namespace {

// Each piece is more than an operation takes, and too small for a message.
constexpr std::size_t kPieces = 16;
constexpr std::size_t kSize = 2048;

using Piece = std::unique_ptr<std::byte[]>;
std::array<Piece, kPieces> reserve;
std::size_t pieces = 0;             // the first so many are there
thread_local bool allowed = false;  // the store's thread never waits this way

void give_up() {
  if (!allowed || pieces == 0) throw std::bad_alloc();
  reserve[--pieces].reset();
}

// What the work itself allocates is its own affair.
asio::awaitable<void> begun(asio::awaitable<void> work) {
  Reserving::allow(false);
  co_await std::move(work);
}

}  // namespace

Reserve::Reserve() {
  refill();
  std::set_new_handler(give_up);
}

Reserve::~Reserve() {
  std::set_new_handler(nullptr);
  while (pieces != 0) reserve[--pieces].reset();
}

void Reserve::refill() noexcept {
  while (pieces != kPieces) {
    reserve[pieces].reset(new (std::nothrow) std::byte[kSize]);
    if (reserve[pieces] == nullptr) return;
    ++pieces;
  }
}

Reserving::Reserving(bool now) noexcept : before_(std::exchange(allowed, now)) {}
Reserving::~Reserving() { allowed = before_; }
void Reserving::allow(bool now) noexcept { allowed = now; }

void spawn(const asio::any_io_executor& loop, asio::awaitable<void> work) {
  auto whole = begun(std::move(work));
  const Reserving beginning(true);
  asio::co_spawn(loop, std::move(whole), asio::detached);
}

}  // namespace vesk::core

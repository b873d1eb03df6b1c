#include "core/await.h"

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <memory>
#include <new>
#include <utility>

namespace vesk::core {
namespace {

// Enough for an operation on each line; pages that nobody touches cost nothing.
constexpr std::size_t kSize = std::size_t{256} << 10;

std::unique_ptr<std::byte[]> reserve;
thread_local bool allowed = false;  // the store's thread never waits this way

void give_up() {
  if (!allowed || reserve == nullptr) throw std::bad_alloc();
  reserve.reset();
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
  reserve.reset();
}

void Reserve::refill() noexcept {
  if (reserve == nullptr) reserve.reset(new (std::nothrow) std::byte[kSize]);
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

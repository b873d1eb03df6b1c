#include "core/trimmer.h"

#include <malloc.h>

#include <utility>

#include "core/bytes.h"

namespace vesk::core {
namespace {

constexpr std::size_t kMuch = std::size_t{1} << 20;
constexpr std::size_t kLittle = std::size_t{64} << 10;
constexpr std::chrono::seconds kQuiet{1};

}  // namespace

void trim_memory() {
#ifdef __GLIBC__
  malloc_trim(0);
#endif
}

Trimmer::Trimmer(asio::io_context& loop, std::function<void()> trim)
    : over_(loop.get_executor(), [this, trim = std::move(trim)] {
        swollen_ = false;
        trim();
      }) {}

void Trimmer::look() noexcept {
  const std::size_t used = buffers.used();
  if (used > kMuch) {
    swollen_ = true;
    over_.stop();
  } else if (swollen_ && used < kLittle && !over_.is_set()) {
    over_.set(kQuiet);
  }
}

}  // namespace vesk::core

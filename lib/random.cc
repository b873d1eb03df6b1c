#include "lib/random.h"

#include <cstdlib>

#include "vesk/datetime.h"

namespace vesk {

bool random_seeded = false;

namespace {

constexpr uint32_t kRandRange = 0x80000000;
static_assert(RAND_MAX == kRandRange - 1);

uint32_t draw() { return static_cast<uint32_t>(std::rand()); }

}  // namespace
}  // namespace vesk

// Cuts the range of rand into `bound` buckets of one size and draws again when a number falls
// behind the last, so that no result is likelier than another.
uint32_t vk_random(uint32_t bound) {
  if (!vesk::random_seeded) {
    std::srand(vk_datetime_get_monotonic());
    vesk::random_seeded = true;
  }
  if (bound == 0) return 0;
  const uint32_t bucket = vesk::kRandRange / bound;
  if (bucket == 0) return vesk::draw();
  uint32_t number = 0;
  do {
    number = vesk::draw();
  } while (number >= bucket * bound);
  return number / bucket;
}

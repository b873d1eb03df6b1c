#ifndef VESK_RANDOM_H
#define VESK_RANDOM_H

/*
 * Random numbers for timers and back-off. They come from libc's rand, which is seeded with the
 * uptime on first use, whatever the program seeded it with: never use them for keys or anything
 * that must not be guessed.
 */

#include <vesk/base.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Gives a random number below a bound, each with the same probability.
 *
 * @param bound one more than the largest number wanted
 * @return a number from 0 to `bound` - 1; 0 for a bound of 0; for a bound above 0x80000000 a
 *         number from 0 to 0x7FFFFFFF, all that rand gives
 */
VK_API uint32_t vk_random(uint32_t bound);

#ifdef __cplusplus
}
#endif

#endif

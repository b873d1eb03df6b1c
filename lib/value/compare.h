#pragma once

// Equality of payloads, as rows of the table of types take it.

#include "vesk/value/compare.h"

namespace vesk {

bool always_equal(const vk_value_payload& a, const vk_value_payload& b);
bool equal_binaries(const vk_value_payload& a, const vk_value_payload& b);
bool equal_datetimes(const vk_value_payload& a, const vk_value_payload& b);
bool equal_flags(const vk_value_payload& a, const vk_value_payload& b);
bool equal_long_words(const vk_value_payload& a, const vk_value_payload& b);
bool equal_objects(const vk_value_payload& a, const vk_value_payload& b);
bool equal_texts(const vk_value_payload& a, const vk_value_payload& b);
bool equal_words(const vk_value_payload& a, const vk_value_payload& b);
bool never_equal(const vk_value_payload& a, const vk_value_payload& b);

}  // namespace vesk

#pragma once

// Frames in the words of the tests.

#include <initializer_list>
#include <string>

#include "lib/frame.h"
#include "tests/support/values.h"

namespace vesk::test {

/// A frame with a heap of its own, or on the heap of a parent.
inline OwnedFrame new_frame(const vk_frame* parent = nullptr) {
  return OwnedFrame(vk_frame_new(parent));
}

/// A frame's value as a text; see `outline` of values.
inline std::string outline(const OwnedFrame& frame) {
  return outline(*vk_frame2value(frame.get()));
}

}  // namespace vesk::test

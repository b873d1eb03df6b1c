#pragma once

// A frame as handlers receive one: with its full request path, the extra path below the handler's
// pattern, and the status "no answer", on a heap of its own.

#include "lib/frame.h"
#include "lib/path_tree.h"

namespace vesk::rt {

class Incoming {
 public:
  Incoming() : frame_(vk_frame_new(nullptr)) {}

  /// Null if there was no memory.
  vk_frame* frame() const { return frame_.get(); }

  /// Gives the frame its paths. False if there is no memory.
  [[nodiscard]] bool set_paths(const char* path, uint32_t components_of_pattern);

 private:
  OwnedFrame frame_;
  OwnedPathTree path_;  // on the frame's heap
};

}  // namespace vesk::rt

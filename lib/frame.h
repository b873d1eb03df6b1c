#pragma once

#include "lib/support/owned.h"
#include "vesk/frame.h"

namespace vesk {

using OwnedFrame = Owned<vk_frame, vk_frame_delete>;

/// The installed hooks. Apart, so that tests can begin with those of a fresh process.
extern vk_frame_handler_ops frame_hooks;

/// What stands in for hooks until some are installed.
extern const vk_frame_handler_ops kNoFrameHooks;

}  // namespace vesk

// What the core asks of the module, and what its watched descriptors bring.

#include <array>

#include "runtime/answer.h"
#include "runtime/incoming.h"
#include "runtime/module.h"
#include "vesk/value/member.h"

namespace vesk::rt {
void Module::serve_ready() {
  while (ModuleLine* const line = session_->next_request()) serve(*line);
}

void Module::serve(ModuleLine& line) {
  ByteBuffer answer;
  ++handlers_;
  const uint32_t status = answer_request(line.line.message(), line.line.value_at(), registry_,
                                         argument_, session_->limits(), answer);
  --handlers_;
  const std::array<uint32_t, 2> bare = {status, VK_TYPE_ANY};
  const std::span<const std::byte> bytes =
      answer.bytes().empty() ? std::as_bytes(std::span(bare)) : answer.bytes();
  if (line.line.send(bytes, Deadline::never()) != VK_EOK) line.line.close();
  session_->give_back(line);
}

// Identities of lines, and of watches that have ended, find none.
void Module::deliver_ready(uint64_t identity) {
  Watch* const watch = watches_.find(identity);
  epoll_event event = {};
  if (watch == nullptr || watch->poller.events(&event, 1) != 1) return;
  if (registry_.next_ready(0) == nullptr) {
    watches_.end(*watch, "there is no handler for it");
  } else {
    deliver(*watch, event.events);
  }
}

// To the handlers, oldest first, until one answers. They may change what is registered.
void Module::deliver(const Watch& watch, uint32_t events) {
  Incoming incoming;
  vk_frame* const frame = incoming.frame();
  if (frame == nullptr || !incoming.set_paths(kReady, count_components(kReady)) ||
      vk_object_set_int(frame->value, "fd", watch.fd) != VK_EOK ||
      vk_object_set_string(frame->value, "path", watch.path.get()) != VK_EOK ||
      vk_object_set_uint(frame->value, "events", events) != VK_EOK) {
    return;
  }
  ++handlers_;
  uint32_t status = VK_ENOANSWER;
  const Registration* handler = registry_.next_ready(0);
  while (handler != nullptr && status == VK_ENOANSWER) {
    const uint32_t number = handler->number;
    status = handler->handler(handler->data, frame, argument_);
    handler = registry_.next_ready(number);
  }
  --handlers_;
}

}  // namespace vesk::rt

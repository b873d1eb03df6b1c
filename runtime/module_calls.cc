// What the module asks of the core, and what it asks of its own runtime on the same way.

#include <cstring>

#include "runtime/message.h"
#include "runtime/module.h"
#include "vesk/value/object.h"

namespace vesk::rt {
namespace {

// The path's components joined by "."; false if there is no memory.
[[nodiscard]] bool join(const vk_path_node* path, ByteBuffer& text) {
  for (const vk_path_node* node = path; node != nullptr; node = node->next) {
    if (node != path && !text.append(".", 1)) return false;
    if (!text.append(node->name, std::strlen(node->name))) return false;
  }
  return text.append("", 1);
}

const vk_value* member_of(const vk_value* value, const char* name, vk_type type) {
  if (value == nullptr || value->type != VK_TYPE_OBJECT) return nullptr;
  const vk_value* const member = vk_object_find_item(value, name);
  return member != nullptr && member->type == type ? member : nullptr;
}

}  // namespace

const Module::OwnCall Module::kOwnCalls[] = {
    {"sys.fd.add", &Module::add_watch},
    {"sys.fd.del", &Module::del_watch},
    {kAddHook, &Module::add_hook},
    {kDeleteHook, &Module::del_hook},
};

uint32_t Module::call(const vk_path_node* path, uint32_t action, vk_value* value) {
  ByteBuffer joined;
  if (!join(path, joined)) return VK_ENOMEM;
  const char* const text = reinterpret_cast<const char*>(joined.bytes().data());
  for (const OwnCall& own : kOwnCalls) {
    if (std::strcmp(own.path, text) == 0) return (this->*own.answer)(action, value);
  }
  return forward(text, action, value, value);
}

uint32_t Module::add_watch(uint32_t, vk_value* value) {
  const vk_value* const fd = member_of(value, "fd", VK_TYPE_INT);
  const vk_value* const path = member_of(value, "path", VK_TYPE_STRING);
  if (fd == nullptr) return VK_EINVAL;
  return watches_.add(heap_.get(), fd->payload.s32, path == nullptr ? "" : path->payload.text);
}

uint32_t Module::del_watch(uint32_t, vk_value* value) {
  const vk_value* const fd = member_of(value, "fd", VK_TYPE_INT);
  return fd == nullptr ? VK_EINVAL : watches_.del(fd->payload.s32);
}

// The hook is copied first: there is no way back once the core has it.
uint32_t Module::add_hook(uint32_t action, vk_value* value) {
  if (value == nullptr) return forward(kAddHook, action, value, value);
  Made<Registration> hook = new_hook(heap_.get(), *value);
  if (hook == nullptr) return VK_ENOMEM;
  const uint32_t status = forward(kAddHook, action, value, value);
  if (status == VK_EOK) registry_.append(std::move(hook));
  return status;
}

uint32_t Module::del_hook(uint32_t action, vk_value* value) {
  if (value == nullptr) return forward(kDeleteHook, action, value, value);
  const Made<Registration> hook = new_hook(heap_.get(), *value);
  if (hook == nullptr) return VK_ENOMEM;
  const uint32_t status = forward(kDeleteHook, action, value, value);
  // A core that knows nothing of it refused it once, or is another one.
  if (status == VK_EOK || status == VK_ENOENT) registry_.remove_hook(*hook->arguments);
  return status;
}

// It can be asked before the core's answer is here, so it is there before the core is told.
vk_error Module::add_handler(const char* pattern, vk_frame_handler handler, void* data) {
  const Registration* const added = registry_.add_handler(heap_.get(), pattern, handler, data);
  if (added == nullptr) return VK_ENOMEM;
  if (added->request == nullptr) return VK_EOK;
  const uint32_t number = added->number;
  const vk_error error = forward(added->request, 0, added->arguments.get(), nullptr);
  if (error != VK_EOK) registry_.remove_number(number);
  return error;
}

// It is gone whatever the core says, and a core that is gone has forgotten it.
vk_error Module::del_handler(const char* pattern, vk_frame_handler handler, void* data) {
  const Made<Registration> taken = registry_.take_handler(pattern, handler, data);
  if (taken == nullptr) return VK_ENOENT;
  if (taken->request == nullptr || !session_->is_open()) return VK_EOK;
  return forward(kDeleteHandler, 0, taken->arguments.get(), nullptr);
}

uint32_t Module::forward(const char* path, uint32_t action, const vk_value* sent,
                         vk_value* received) {
  if (!session_->is_open()) return VK_EIO;
  ByteBuffer request;
  vk_error error = put_request(request, 0, path, action, sent, session_->limits());
  if (error != VK_EOK) return error;
  session_->offer_serving_line();
  ModuleLine* line = nullptr;
  error = session_->take_calling_line(line);
  if (error != VK_EOK) return error;
  line->line.expect(Message::kResponse);
  error = await(*line, line->line.send(request.bytes(), Deadline::never()));
  const uint32_t status = error == VK_EOK ? take_response(line->line.message(), received) : error;
  session_->give_back(*line);
  return status;
}

// Serves until the answer is there, which is looked at before anything else. Looking for requests
// may bring it too. Of a request that could not be sent whole there may be a refusal to hear.
vk_error Module::await(ModuleLine& line, vk_error sent) {
  for (;;) {
    const Line::Reading reading = line.line.receive();
    if (reading == Line::Reading::kComplete) return VK_EOK;
    if (reading == Line::Reading::kLost) return VK_EIO;
    if (sent != VK_EOK) {
      line.line.close();
      return VK_EIO;
    }
    ModuleLine* const request = session_->next_request();
    if (request != nullptr) {
      serve(*request);
    } else if (line.line.is_pending()) {
      session_->wait();
    }
  }
}

}  // namespace vesk::rt

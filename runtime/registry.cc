#include "runtime/registry.h"

#include <cstring>

#include "lib/path.h"
#include "vesk/value/copy.h"
#include "vesk/value/member.h"

namespace vesk::rt {
namespace {

// Two paths are the same if the core, which walks them too, takes them for the same.
bool same_path(const char* a, const char* b) {
  PathText one(a);
  PathText other(b);
  for (; !one.at_end() && !other.at_end(); one.next(), other.next()) {
    if (std::strcmp(one.name(), other.name()) != 0) return false;
  }
  return one.at_end() && other.at_end();
}

// A string among the arguments of a registration; empty if it is not there.
const char* text_in(const vk_value& arguments, const char* name) {
  if (arguments.type != VK_TYPE_OBJECT) return "";
  const vk_value* const text = vk_object_find_item(&arguments, name);
  return text != nullptr && text->type == VK_TYPE_STRING ? text->payload.text : "";
}

bool same_hook(const vk_value& a, const vk_value& b) {
  return std::strcmp(text_in(a, "Event"), text_in(b, "Event")) == 0 &&
         same_path(text_in(a, "Hook"), text_in(b, "Hook"));
}

OwnedValue handler_arguments(vk_allocator* heap, const char* pattern, uint32_t number) {
  OwnedValue arguments(vk_object_new_with_policy(heap, VK_POLICY_ORDERED));
  if (arguments == nullptr || vk_object_set_string(arguments.get(), "Path", pattern) != VK_EOK ||
      vk_object_set_uint(arguments.get(), "Handler", number) != VK_EOK) {
    return nullptr;
  }
  return arguments;
}

}  // namespace

// One by one: the list is as long as the module likes.
Registry::~Registry() {
  while (first_ != nullptr) take_first([](const Registration&) { return true; });
}

const Registration* Registry::add_handler(vk_allocator* heap, const char* pattern,
                                          vk_frame_handler handler, void* data) {
  if (last_number_ == UINT32_MAX) return nullptr;
  Made<Registration> made = make<Registration>();
  if (made == nullptr) return nullptr;
  made->arguments = handler_arguments(heap, pattern, last_number_ + 1);
  if (made->arguments == nullptr) return nullptr;
  made->request = same_path(pattern, kReady) ? nullptr : kAddHandler;
  made->number = ++last_number_;
  made->components = count_components(pattern);
  made->handler = handler;
  made->data = data;
  const Registration* const added = made.get();
  append(std::move(made));
  return added;
}

Made<Registration> Registry::take_handler(const char* pattern, vk_frame_handler handler,
                                          void* data) {
  return take_first([=](const Registration& entry) {
    return entry.number != 0 && entry.handler == handler && entry.data == data &&
           same_path(text_in(*entry.arguments, "Path"), pattern);
  });
}

const Registration* Registry::find_number(uint32_t number) const {
  const Registration* entry = first_.get();
  while (entry != nullptr && entry->number != number) entry = entry->next.get();
  return entry != nullptr && entry->request == kAddHandler ? entry : nullptr;
}

void Registry::remove_number(uint32_t number) {
  take_first([=](const Registration& entry) { return entry.number == number; });
}

const Registration* Registry::next_ready(uint32_t number) const {
  const Registration* entry = first_.get();
  while (entry != nullptr && (entry->request != nullptr || entry->number <= number)) {
    entry = entry->next.get();
  }
  return entry;
}

void Registry::remove_hook(const vk_value& arguments) {
  take_first([&](const Registration& entry) {
    return entry.number == 0 && same_hook(*entry.arguments, arguments);
  });
}

void Registry::append(Made<Registration> registration) {
  Made<Registration>* link = &first_;
  while (*link != nullptr) link = &(*link)->next;
  *link = std::move(registration);
}

template <typename Condition>
Made<Registration> Registry::take_first(Condition condition) {
  Made<Registration>* link = &first_;
  while (*link != nullptr && !condition(**link)) link = &(*link)->next;
  Made<Registration> taken = std::move(*link);
  if (taken != nullptr) *link = std::move(taken->next);
  return taken;
}

Made<Registration> new_hook(vk_allocator* heap, const vk_value& arguments) {
  Made<Registration> made = make<Registration>();
  if (made == nullptr) return nullptr;
  made->arguments.reset(vk_value_new(heap));
  if (made->arguments == nullptr || vk_value_copy(made->arguments.get(), &arguments) != VK_EOK) {
    return nullptr;
  }
  made->request = kAddHook;
  return made;
}

uint32_t count_components(const char* path) {
  uint32_t count = 0;
  for (PathText walk(path); !walk.at_end(); walk.next()) ++count;
  return count;
}

}  // namespace vesk::rt

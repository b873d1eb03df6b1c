#include "runtime/registry.h"

#include <cstring>

#include "lib/path.h"
#include "vesk/value/compare.h"
#include "vesk/value/copy.h"
#include "vesk/value/member.h"

namespace vesk::rt {
namespace {

bool is_ready_path(const char* pattern) {
  PathText path(pattern);
  for (PathText wanted(kReady); !wanted.at_end(); wanted.next(), path.next()) {
    if (path.at_end() || std::strcmp(path.name(), wanted.name()) != 0) return false;
  }
  return path.at_end();
}

const char* pattern_of(const Registration& registration) {
  return vk_object_find_item(registration.arguments.get(), "Path")->payload.text;
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
  made->request = is_ready_path(pattern) ? nullptr : kAddHandler;
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
           std::strcmp(pattern_of(entry), pattern) == 0;
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
    return entry.number == 0 && vk_value_equal(entry.arguments.get(), &arguments);
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

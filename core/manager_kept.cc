#include "core/manager_kept.h"

#include <new>
#include <span>
#include <utility>

#include "core/log.h"
#include "core/manager_faults.h"
#include "core/manager_tree.h"
#include "vesk/value/array.h"

namespace vesk::core::dm {
namespace {

constexpr const char kKey[] = "veskd.manager";
constexpr const char kSubscriber[] = "Subscriber";

// The name of what covers a name, one component up: "A.B.C" and "A.B." give "A.B." and "A.".
std::string cover_of(std::string name) {
  if (!name.empty() && name.back() == '.') name.pop_back();
  const std::size_t dot = name.rfind('.');
  return dot == std::string::npos ? std::string() : name.substr(0, dot + 1);
}

// The nearest attribute that covers a name.
template <typename T>
std::optional<T> nearest(const Kept::State& state, std::string name,
                         std::optional<T> Attributes::*field) {
  for (;; name = cover_of(std::move(name))) {
    const auto found = state.attributes.find(name);
    if (found != state.attributes.end() && found->second.*field) return found->second.*field;
    if (name.empty()) return std::nullopt;
  }
}

bool is_below(const std::string& name, const std::string& object) {
  const bool partial = object.empty() || object.back() == '.';
  return partial && name.size() > object.size() && name.starts_with(object);
}

// Removes an attribute from all names below one, and names without any.
template <typename T>
void clear_below(Kept::State& state, const std::string& name, std::optional<T> Attributes::*field) {
  for (auto& [other, attributes] : state.attributes) {
    if (is_below(other, name)) attributes.*field = std::nullopt;
  }
}

void drop_empty(Kept::State& state) {
  std::erase_if(state.attributes, [](const auto& entry) {
    return !entry.second.notification && !entry.second.access;
  });
}

void write_attributes(vk_value& element, const Attributes& attributes) {
  if (attributes.notification) {
    check(vk_object_set_int(&element, "Notification", *attributes.notification));
  }
  if (!attributes.access) return;
  vk_value& list = add_array(element, "AccessList");
  for (const std::string& entity : *attributes.access) add_text_to(list, entity);
}

Attributes read_attributes(const vk_value& element) {
  Attributes attributes;
  const vk_value* const notification = member(element, "Notification", VK_TYPE_INT);
  if (notification != nullptr) attributes.notification = notification->payload.s32;
  const vk_value* const access = member(element, "AccessList", VK_TYPE_ARRAY);
  if (access == nullptr) return attributes;
  attributes.access.emplace();
  for (const vk_value& entity : each_item(*access)) {
    if (entity.type == VK_TYPE_STRING) attributes.access->emplace_back(entity.payload.text);
  }
  return attributes;
}

std::shared_ptr<const Bytes> record_of(const Kept::State& state) {
  const Heap heap;
  const OwnedValue record = heap.object();
  set_text(*record, "ParameterKey", state.key);
  vk_value& attributes = add_array(*record, "Attributes");
  for (const auto& [name, entry] : state.attributes) {
    vk_value& element = add_object_to(attributes);
    set_text(element, "Name", name);
    write_attributes(element, entry);
  }
  vk_value& told = add_array(*record, "Told");
  for (const auto& [name, value] : state.told) {
    vk_value& element = add_object_to(told);
    set_text(element, "Name", name);
    set_copy(element, "Value", *heap.read(value));
  }
  return shared(*record);
}

// Calls a function with the name of each element of a list of named ones, and the element.
template <typename Function>
void for_each_named(const vk_value& record, const char* list, const Function& function) {
  const vk_value* const array = member(record, list, VK_TYPE_ARRAY);
  if (array == nullptr) return;
  for (const vk_value& element : each_item(*array)) {
    const vk_value* const name = member(element, "Name", VK_TYPE_STRING);
    if (name != nullptr) function(std::string(name->payload.text), element);
  }
}

Kept::State state_of(const vk_value& record) {
  Kept::State state;
  const vk_value* const key = member(record, "ParameterKey", VK_TYPE_STRING);
  if (key != nullptr) state.key = key->payload.text;
  for_each_named(record, "Attributes", [&](const std::string& name, const vk_value& element) {
    state.attributes[name] = read_attributes(element);
  });
  for_each_named(record, "Told", [&](const std::string& name, const vk_value& element) {
    const vk_value* const value = member(element, "Value");
    if (value != nullptr) state.told[name] = leaf_of(*value);
  });
  return state;
}

// What a record holds that the store takes for whole; nothing if it is no tree, which trying again
// would not change.
Kept::State state_in(const Bytes& record) {
  if (!is_within(rt::Limits::widest(), record)) {
    log(VK_LOG_ERROR, "The attributes and the parameter key are lost: their record is no tree");
    return {};
  }
  const Heap heap;
  return state_of(*heap.read(record));
}

// Takes a map back to what it was, where it still is what it became. Allocates nothing.
template <typename Map>
void take_back_entries(Map& now, Map& before, const Map& after) noexcept {
  for (const auto& [name, became] : after) {
    const auto is = now.find(name);
    if (is == now.end() || is->second != became) continue;
    const auto was = before.find(name);
    if (was == before.end()) {
      now.erase(is);
    } else {
      is->second = std::move(was->second);
    }
  }
  now.merge(before);
}

}  // namespace

Leaf leaf_of(const vk_value& value) {
  const Bytes bytes = written(value);
  return {bytes.begin(), bytes.end()};
}

asio::awaitable<void> Kept::load() {
  if (loaded_) co_return;
  const Answer answer = co_await records_.load(kKey);
  if (loaded_) co_return;  // by another request meanwhile
  // A damaged record was reported by the store; there is nothing to go back to. Of one that could
  // not be read nothing is known.
  if (answer.status != VK_EOK && answer.status != VK_ENOENT && answer.status != VK_EIO) {
    throw Refusal(answer.status);
  }
  if (answer.status == VK_EOK) state_ = state_in(answer.value);
  loaded_ = true;
}

// A save in flight. Unless it ends well, what it holds counts as changed still.
class Kept::Save {
 public:
  explicit Save(Kept& kept) : kept_(kept) {
    kept_.changed_ = false;
    ++kept_.saves_;
  }
  ~Save() {
    --kept_.saves_;
    if (!well_) kept_.changed_ = true;
  }
  Save(const Save&) = delete;
  Save& operator=(const Save&) = delete;

  void ended(bool well) { well_ = well; }

 private:
  Kept& kept_;
  bool well_ = false;
};

asio::awaitable<uint32_t> Kept::save() {
  if (!loaded_) co_return VK_EBUSY;
  // While one is in flight nobody knows yet whether what it holds will last.
  if (!changed_ && saves_ == 0) co_return VK_EOK;
  uint32_t status = VK_EOK;
  uint32_t erasures = 0;
  // If all was forgotten meanwhile, what was written may have come into the store behind the
  // erasing.
  do {
    erasures = state_.erasures;
    status = co_await write();
  } while (erasures != state_.erasures);
  co_return status;
}

asio::awaitable<uint32_t> Kept::write() {
  try {
    std::shared_ptr<const Bytes> record = record_of(state_);
    Save save(*this);
    const uint32_t status = co_await records_.save(kKey, std::move(record));
    save.ended(status == VK_EOK);
    co_return status;
  } catch (const std::bad_alloc&) {
  }
  co_return VK_ENOMEM;
}

void Kept::forget() {
  State nothing;
  nothing.erasures = state_.erasures + 1;
  state_ = std::move(nothing);
  changed_ = false;
  loaded_ = true;  // an erased store holds nothing; a load in flight comes too late
}

void Kept::set_parameter_key(const std::string& key) {
  changed_ = changed_ || state_.key != key;
  state_.key = key;
}

int32_t Kept::notification(const std::string& name) const {
  return nearest(state_, name, &Attributes::notification).value_or(kNotifyOff);
}

AccessList Kept::access(const std::string& name) const {
  return nearest(state_, name, &Attributes::access).value_or(AccessList{kSubscriber});
}

void Kept::set(const std::string& name, const Attributes& attributes) {
  if (attributes.notification) {
    clear_below(state_, name, &Attributes::notification);
    state_.attributes[name].notification = attributes.notification;
  }
  if (attributes.access) {
    clear_below(state_, name, &Attributes::access);
    state_.attributes[name].access = attributes.access;
  }
  drop_empty(state_);
  std::erase_if(state_.told,
                [&](const auto& entry) { return notification(entry.first) == kNotifyOff; });
  changed_ = true;
}

std::vector<std::string> Kept::watched() const {
  std::vector<std::string> names;
  for (const auto& [name, attributes] : state_.attributes) {
    if (attributes.notification.value_or(kNotifyOff) != kNotifyOff) names.push_back(name);
  }
  return names;
}

const Leaf* Kept::told(const std::string& name) const {
  const auto found = state_.told.find(name);
  return found == state_.told.end() ? nullptr : &found->second;
}

void Kept::tell(const std::string& name, Leaf value) {
  Leaf& kept = state_.told[name];
  if (kept == value) return;
  kept = std::move(value);
  changed_ = true;
}

void Kept::erase(const std::string& object) {
  const auto at_or_below = [&](const auto& entry) { return entry.first.starts_with(object); };
  const auto attributes = std::erase_if(state_.attributes, at_or_below);
  const auto told = std::erase_if(state_.told, at_or_below);
  changed_ = changed_ || attributes != 0 || told != 0;
}

void Kept::take_back(State before, const State* after) noexcept {
  if (before.erasures != state_.erasures) return;
  changed_ = true;
  if (after == nullptr) {
    state_ = std::move(before);
    return;
  }
  take_back_entries(state_.attributes, before.attributes, after->attributes);
  take_back_entries(state_.told, before.told, after->told);
}

}  // namespace vesk::core::dm

#include "core/manager_kept.h"

#include <iterator>
#include <new>
#include <utility>

#include "core/log.h"
#include "core/manager_faults.h"
#include "core/manager_tree.h"
#include "vesk/value/array.h"

namespace vesk::core::dm {
namespace {

constexpr const char kKey[] = "veskd.manager";
constexpr const char kSubscriber[] = "Subscriber";
constexpr std::size_t kFrame = 96;      // bytes of the record around the name of attributes
constexpr std::size_t kItemFrame = 12;  // and around an item of an access list

// The name of what covers a name, one component up: "A.B.C" and "A.B." give "A.B." and "A.".
std::string_view cover_of(std::string_view name) {
  if (!name.empty() && name.back() == '.') name.remove_suffix(1);
  const std::size_t dot = name.rfind('.');
  return dot == std::string_view::npos ? std::string_view() : name.substr(0, dot + 1);
}

// The nearest attribute that covers a name; null without one. Allocates nothing.
template <typename T>
const T* nearest(const Kept::State& state, std::string_view name,
                 std::optional<T> Attributes::*field) {
  for (;; name = cover_of(name)) {
    const auto found = state.attributes.find(name);
    if (found != state.attributes.end() && found->second.*field) return &*(found->second.*field);
    if (name.empty()) return nullptr;
  }
}

// Whether a name is one of a set, or covered by one.
bool covers(const std::set<std::string, std::less<>>& names, std::string_view name) {
  for (; !names.contains(name); name = cover_of(name)) {
    if (name.empty()) return false;
  }
  return true;
}

// Sets an attribute at a name if it is there, and removes it from all below.
template <typename T>
void set_one(Kept::AttributeMap& attributes, const std::string& name, const std::optional<T>& value,
             std::optional<T> Attributes::*field) {
  if (!value) return;
  attributes[name].*field = value;
  auto at = attributes.upper_bound(name);
  while (at != attributes.end() && at->first.starts_with(name)) {
    if (is_at_or_below(at->first, name)) at->second.*field = std::nullopt;
    const bool is_empty = !at->second.notification && !at->second.access;
    at = is_empty ? attributes.erase(at) : std::next(at);
  }
}

std::size_t size_of(const std::string& name, const Attributes& attributes) {
  std::size_t size = kFrame + name.size();
  if (!attributes.access) return size;
  for (const std::string& entity : *attributes.access) size += kItemFrame + entity.size();
  return size;
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
  for (const auto& [name, value] : state.told.values()) {
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
    if (value != nullptr) state.told.put(name, leaf_of(*value));
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

}  // namespace

asio::awaitable<void> Kept::load() {
  if (loaded_) co_return;
  const Answer answer = co_await records_.load(kKey);
  if (loaded_) co_return;  // by another request meanwhile
  // A damaged record was reported by the store; there is nothing to go back to. Of one that could
  // not be read nothing is known.
  if (answer.status != VK_EOK && answer.status != VK_ENOENT && answer.status != VK_EVALUE) {
    throw Refusal(answer.status);
  }
  if (answer.status == VK_EOK) state_ = state_in(answer.value);
  loaded_ = true;
}

// A save in flight. Unless it ends well, what it holds counts as changed still.
class Kept::Save {
 public:
  explicit Save(Kept& kept) : kept_(kept), life_(kept.life()) {
    kept_.changed_ = false;
    ++kept_.saves_;
  }
  ~Save() {
    if (life_.expired()) return;
    --kept_.saves_;
    if (!well_) kept_.changed_ = true;
  }
  Save(const Save&) = delete;
  Save& operator=(const Save&) = delete;

  void ended(bool well) { well_ = well; }

 private:
  Kept& kept_;
  const std::weak_ptr<const void> life_;
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

int32_t Kept::notification(std::string_view name) const {
  const int32_t* const found = nearest(state_, name, &Attributes::notification);
  return found == nullptr ? kNotifyOff : *found;
}

AccessList Kept::access(std::string_view name) const {
  const AccessList* const found = nearest(state_, name, &Attributes::access);
  return found == nullptr ? AccessList{kSubscriber} : *found;
}

void Kept::set(const std::string& name, const Attributes& attributes) {
  set_one(state_.attributes, name, attributes.notification, &Attributes::notification);
  set_one(state_.attributes, name, attributes.access, &Attributes::access);
  if (attributes.notification == kNotifyOff) forget_unwatched(name);
  changed_ = true;
}

void Kept::forget_unwatched(std::string_view above) {
  state_.told.erase_if(above, [&](const auto& name) { return notification(name) == kNotifyOff; });
}

bool Kept::has_room() const {
  std::size_t size = 0;
  for (const auto& [name, attributes] : state_.attributes) size += size_of(name, attributes);
  return size <= kMostOfAttributes;
}

std::vector<std::string> Kept::watched() const {
  std::vector<std::string> names;
  for (const auto& [name, attributes] : state_.attributes) {
    if (attributes.notification.value_or(kNotifyOff) != kNotifyOff) names.push_back(name);
  }
  return names;
}

void Kept::tell(const std::string& name, Leaf value) {
  touch(name);
  const Leaf* const kept = told(name);
  if (kept != nullptr && *kept == value) return;
  if (state_.told.put(name, std::move(value))) changed_ = true;
}

void Kept::erase(const std::string& object) {
  touch(object);
  const auto attributes = std::erase_if(
      state_.attributes, [&](const auto& entry) { return is_at_or_below(entry.first, object); });
  forget_told(object, [](const auto&) { return true; });
  changed_ = changed_ || attributes != 0;
}

void Kept::touch(const std::string& name) {
  for (const std::weak_ptr<Touched>& each : readings_) {
    if (const std::shared_ptr<Touched> reading = each.lock()) reading->insert(name);
  }
}

Kept::Writing::Writing(Kept& kept, const std::vector<std::string>& names)
    : names_(std::make_shared<const Touched>(names.begin(), names.end())) {
  kept.writing_ = names_;
}

Kept::Reading::Reading(Kept& kept) : kept_(kept) {
  std::erase_if(kept.readings_, [](const auto& each) { return each.expired(); });
  auto touched = std::make_shared<Touched>();
  kept.readings_.push_back(touched);
  touched_ = std::move(touched);
}

bool Kept::Reading::is_stale(std::string_view name) const {
  const std::shared_ptr<const Touched> writing = kept_.writing_.lock();
  return covers(*touched_, name) || (writing != nullptr && covers(*writing, name));
}

void Kept::take_back(State before, const State* after) noexcept {
  if (before.erasures != state_.erasures) return;
  changed_ = true;
  if (after == nullptr) {
    state_ = std::move(before);
    return;
  }
  take_back_entries(state_.attributes, before.attributes, after->attributes);
  state_.told.take_back(std::move(before.told), after->told);
  forget_unwatched("");
}

}  // namespace vesk::core::dm

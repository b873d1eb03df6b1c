#include "runtime/scan.h"

#include <algorithm>
#include <cstring>

#include "vesk/value/type.h"

namespace vesk::rt {

// In the order of the fields.
constexpr std::array<Scanner::Taker, 9> Scanner::kTakers = {
    &Scanner::take_tag,    &Scanner::take_path_length, &Scanner::take_action,
    &Scanner::take_status, &Scanner::take_type,        &Scanner::take_name_length,
    &Scanner::take_count,  &Scanner::take_text_length, &Scanner::take_binary_length};

// In the order of the types.
constexpr std::array<Scanner::Payload, VK_TYPE_UNSIGNEDLONG + 1> Scanner::kPayloads = {{
    {0, Field::kValueEnd},      // any
    {0, Field::kNameLength},    // object
    {0, Field::kCount},         // array
    {0, Field::kBinaryLength},  // base64
    {1, Field::kValueEnd},      // boolean
    {12, Field::kValueEnd},     // dateTime
    {0, Field::kBinaryLength},  // hexBinary
    {4, Field::kValueEnd},      // int
    {8, Field::kValueEnd},      // long
    {0, Field::kTextLength},    // string
    {4, Field::kValueEnd},      // unsignedInt
    {8, Field::kValueEnd},      // unsignedLong
}};

Scanner::Scanner(Message message, const Limits& limits)
    : limits_(limits), field_(message == Message::kRequest ? Field::kTag : Field::kStatus) {
  limits_.depth = std::min(limits.depth, Limits::kDeepest);
}

Scanner::State Scanner::scan(std::span<const std::byte> bytes) {
  while (state_ == State::kIncomplete && pass_run(bytes) && step(bytes)) {
  }
  return state_;
}

// Passes what has come of the run; false if there is more of it, or a NUL in it.
bool Scanner::pass_run(std::span<const std::byte> bytes) {
  if (run_ == 0) return true;
  const std::byte* const begin = bytes.data() + position_;
  const std::size_t size = std::min<std::size_t>(run_, bytes.size() - position_);
  const void* const nul = run_is_text_ && size != 0 ? std::memchr(begin, 0, size) : nullptr;
  if (nul != nullptr) {
    return refuse("NUL", 0,
                  static_cast<uint64_t>(static_cast<const std::byte*>(nul) - bytes.data()));
  }
  position_ += size;
  run_ -= static_cast<uint32_t>(size);
  return run_ == 0;
}

// Takes the next field; false if it has not come, or is not to come.
bool Scanner::step(std::span<const std::byte> bytes) {
  if (field_ == Field::kValueEnd) {
    end_value();
    return true;
  }
  uint32_t number = 0;
  if (!fits(sizeof number) || bytes.size() - position_ < sizeof number) return false;
  std::memcpy(&number, bytes.data() + position_, sizeof number);
  position_ += sizeof number;
  (this->*kTakers[static_cast<std::size_t>(field_)])(number);
  return true;
}

bool Scanner::fits(uint64_t more) {
  const uint64_t size = position_ + more;
  return size <= limits_.message || refuse("message", limits_.message, size);
}

bool Scanner::refuse(const char* limit, uint64_t allowed, uint64_t found) {
  state_ = State::kRefused;
  refusal_ = {limit, allowed, found};
  return false;
}

void Scanner::begin_run(uint32_t size, bool text, Field next) {
  if (!fits(size)) return;
  run_ = size;
  run_is_text_ = text;
  field_ = next;
}

// There is room: a value's depth was held against the limit, which is that of the array at most.
void Scanner::begin_container(bool object, uint32_t count) {
  containers_[open_++] = {object, count};
}

void Scanner::take_tag(uint32_t) { field_ = Field::kPathLength; }

void Scanner::take_path_length(uint32_t length) {
  if (length > limits_.path) {
    refuse("path", limits_.path, length);
  } else {
    begin_run(length, true, Field::kAction);
  }
}

void Scanner::take_action(uint32_t) {
  value_at_ = position_;
  field_ = Field::kType;
}

void Scanner::take_status(uint32_t) { take_action(0); }

void Scanner::take_type(uint32_t type) {
  if (type >= kPayloads.size()) {
    refuse("type", kPayloads.size() - 1, type);
  } else if (open_ >= limits_.depth) {
    refuse("depth", limits_.depth, uint64_t{open_} + 1);
  } else if (nodes_ >= limits_.nodes) {
    refuse("nodes", limits_.nodes, uint64_t{nodes_} + 1);
  } else {
    ++nodes_;
    if (type == VK_TYPE_OBJECT) begin_container(true, 0);
    begin_run(kPayloads[type].size, false, kPayloads[type].next);
  }
}

// An empty name ends the object.
void Scanner::take_name_length(uint32_t length) {
  if (length == 0) {
    --open_;
    field_ = Field::kValueEnd;
  } else if (length > limits_.name) {
    refuse("name", limits_.name, length);
  } else {
    count_member();
    if (state_ == State::kIncomplete) begin_run(length, true, Field::kType);
  }
}

void Scanner::count_member() {
  uint32_t& members = containers_[open_ - 1].count;
  pairs_ += members;
  if (members >= limits_.members) {
    refuse("members", limits_.members, uint64_t{members} + 1);
  } else if (pairs_ > limits_.pairs) {
    refuse("pairs", limits_.pairs, pairs_);
  }
  ++members;
}

// An array that promises more than may come is refused before it comes.
void Scanner::take_count(uint32_t count) {
  const uint64_t nodes = uint64_t{nodes_} + count;
  if (nodes > limits_.nodes) {
    refuse("nodes", limits_.nodes, nodes);
  } else if (count == 0) {
    field_ = Field::kValueEnd;
  } else {
    begin_container(false, count);
    field_ = Field::kType;
  }
}

void Scanner::take_text_length(uint32_t length) {
  if (length > limits_.text) {
    refuse("text", limits_.text, length);
  } else {
    begin_run(length, true, Field::kValueEnd);
  }
}

void Scanner::take_binary_length(uint32_t length) {
  if (length > limits_.text) {
    refuse("text", limits_.text, length);
  } else {
    begin_run(length, false, Field::kValueEnd);
  }
}

// The value at hand has ended, and with it the arrays of which it was the last element.
void Scanner::end_value() {
  if (open_ == 0) {
    state_ = State::kComplete;
    return;
  }
  Container& container = containers_[open_ - 1];
  if (container.object) {
    field_ = Field::kNameLength;
  } else if (--container.count != 0) {
    field_ = Field::kType;
  } else {
    --open_;  // and its own end is next
  }
}

}  // namespace vesk::rt

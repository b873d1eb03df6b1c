#pragma once

// Finds where a message ends, and holds it against limits, before anything of it is decoded.
//
// The model: a message is a row of numbers of four bytes, each of which decides what follows, with
// runs of bytes between them that are only passed. What is open around the value at hand is kept in
// an array of fixed size, so that nothing recurses and nothing is allocated, and every byte is
// looked at once however the message comes.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace vesk::rt {

/// What a message may be. Depth counts the nodes on the way to the deepest one.
struct Limits {
  static constexpr uint32_t kDeepest = 256;  ///< what `depth` may be at most

  uint32_t message = 1 << 20;  ///< bytes
  uint32_t depth = 32;
  uint32_t nodes = 32768;
  uint32_t members = 4096;    ///< of one object, a name that comes twice counted twice
  uint32_t pairs = 8388608;   ///< the sum of n(n-1)/2 over all objects: decoding compares names
  uint32_t text = 256 << 10;  ///< bytes of a text or binary
  uint32_t path = 4352;       ///< bytes of a request's path
  uint32_t name = 256;        ///< bytes of a member's name

  /// The limits of a peer that is trusted: what decoding can bear.
  static constexpr Limits widest() {
    return {UINT32_MAX, kDeepest,   UINT32_MAX, UINT32_MAX,
            UINT32_MAX, UINT32_MAX, UINT32_MAX, UINT32_MAX};
  }
};

enum class Message { kRequest, kResponse };

/// Scans one message as its bytes come.
class Scanner {
 public:
  enum class State { kIncomplete, kComplete, kRefused };

  /// Why a message was refused: the limit's name as in `Limits`, what it allows, and the figure
  /// that broke it; or "type", the highest one and the one found; or "NUL", 0, and its place in the
  /// message. The size of a message that is too long is the least that it can have.
  struct Refusal {
    const char* limit;
    uint64_t allowed;
    uint64_t found;
  };

  /// A depth beyond `Limits::kDeepest` is taken for that.
  Scanner(Message message, const Limits& limits);

  /// Goes on from where it stopped. Once a message is complete or refused, it stays so.
  /// @param bytes all bytes of the message that have come so far, from its first one, whatever
  ///              follows included
  State scan(std::span<const std::byte> bytes);

  State state() const { return state_; }

  /// Of a complete message: its bytes.
  std::size_t size() const { return position_; }
  /// Of a complete message: where its value begins.
  std::size_t value_at() const { return value_at_; }
  /// Of a refused message: the first limit that was broken.
  const Refusal& refusal() const { return refusal_; }

 private:
  // The number that comes next; or the end of a value, which has no bytes.
  enum class Field : uint8_t {
    kTag,
    kPathLength,
    kAction,
    kStatus,
    kType,
    kNameLength,
    kCount,
    kTextLength,
    kBinaryLength,
    kValueEnd
  };
  using Taker = void (Scanner::*)(uint32_t number);
  static const std::array<Taker, 9> kTakers;

  // What follows a type: bytes to pass, and the field after them.
  struct Payload {
    uint8_t size;
    Field next;
  };
  static const std::array<Payload, 12> kPayloads;

  // Of an object: the members so far. Of an array: the elements that are still to end.
  struct Container {
    bool object;
    uint32_t count;
  };

  bool pass_run(std::span<const std::byte> bytes);
  bool step(std::span<const std::byte> bytes);
  bool fits(uint64_t more);
  bool refuse(const char* limit, uint64_t allowed, uint64_t found);
  void begin_run(uint32_t size, bool text, Field next);
  void begin_container(bool object, uint32_t count);
  void count_member();
  void end_value();

  void take_tag(uint32_t number);
  void take_path_length(uint32_t length);
  void take_action(uint32_t number);
  void take_status(uint32_t number);
  void take_type(uint32_t type);
  void take_name_length(uint32_t length);
  void take_count(uint32_t count);
  void take_text_length(uint32_t length);
  void take_binary_length(uint32_t length);

  Limits limits_;
  State state_ = State::kIncomplete;
  Field field_;
  bool run_is_text_ = false;
  uint32_t run_ = 0;  // bytes to pass before the next field
  uint32_t nodes_ = 0;
  uint32_t open_ = 0;
  uint64_t pairs_ = 0;
  std::size_t position_ = 0;
  std::size_t value_at_ = 0;
  Refusal refusal_ = {};
  std::array<Container, Limits::kDeepest> containers_;  // the first `open_` count
};

}  // namespace vesk::rt

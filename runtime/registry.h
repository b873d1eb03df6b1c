#pragma once

// What the module has registered, in order: handlers and hooks. Each is kept as the request that
// registers it, so that the next core can be told the same.

#include <cstdint>

#include "lib/support/made.h"
#include "lib/value/node.h"
#include "vesk/frame.h"

namespace vesk::rt {

inline constexpr char kAddHandler[] = "sys.handler.add";
inline constexpr char kDeleteHandler[] = "sys.handler.del";
inline constexpr char kAddHook[] = "dmmgr.hook.add";
inline constexpr char kDeleteHook[] = "dmmgr.hook.del";
inline constexpr char kReady[] = "sys.fd.ready";  ///< where handlers are the module's own affair

/// One registration. A hook has no number.
struct Registration {
  const char* request = nullptr;  ///< where the core is told; null for what it is not told
  OwnedValue arguments;
  uint32_t number = 0;
  uint32_t components = 0;  ///< of the pattern
  vk_frame_handler handler = nullptr;
  void* data = nullptr;
  Made<Registration> next;
};

class Registry {
 public:
  ~Registry();

  /// Adds a handler under a new number; null if there is no memory. The core is not told of one at
  /// `kReady`.
  const Registration* add_handler(vk_allocator* heap, const char* pattern, vk_frame_handler handler,
                                  void* data);

  /// Takes the oldest handler with all of these out, the pattern by its components; null if there
  /// is none.
  Made<Registration> take_handler(const char* pattern, vk_frame_handler handler, void* data);

  /// The handler of a number that the core knows, or null.
  const Registration* find_number(uint32_t number) const;

  /// Removes the handler of a number, if it is there.
  void remove_number(uint32_t number);

  /// The first handler at `kReady` with a number above this one, or null.
  const Registration* next_ready(uint32_t number) const;

  /// Removes the oldest hook with the event and path of these arguments, if there is one.
  void remove_hook(const vk_value& arguments);

  void append(Made<Registration> registration);

  const Registration* first() const { return first_.get(); }

 private:
  template <typename Condition>
  Made<Registration> take_first(Condition condition);

  Made<Registration> first_;
  uint32_t last_number_ = 0;
};

/// A hook for the registry; null if there is no memory.
Made<Registration> new_hook(vk_allocator* heap, const vk_value& arguments);

/// How many components a path has.
uint32_t count_components(const char* path);

}  // namespace vesk::rt

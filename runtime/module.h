#pragma once

// A module at work: what joins the session with the core, what the module has registered, and the
// descriptors that it has asked to be watched.
//
// Handlers may be on the stack within each other, since a call serves while it waits. When the core
// goes, every call fails until the last of them has returned; only the outermost loop attaches to
// the next core, and only it looks at the watched descriptors.

#include <cstdint>

#include "runtime/registry.h"
#include "runtime/session.h"
#include "runtime/watches.h"
#include "vesk/module.h"

namespace vesk::rt {

using OwnedHeap = Owned<vk_allocator, vk_allocator_delete>;

class Module {
 public:
  /// The descriptor is borrowed.
  explicit Module(const vk_module_descriptor& descriptor) : descriptor_(descriptor) {}
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;
  ~Module();

  /// Makes this the module of the process, without its context.
  /// @param socket the path of the core's socket, which is copied
  /// @param params borrowed; null for none
  /// @return `VK_EOK`; `VK_EBUSY` or `VK_EFAULT` if the process is a module already; `VK_ENOMEM`
  [[nodiscard]] vk_error init(const char* socket, vk_value* params);

  /// Attaches to the core, waiting for it.
  /// @param stop    ends the waiting when it is readable; -1 for none
  /// @param refused receives whether the result is what the core said
  [[nodiscard]] vk_error attach(int stop, bool& refused);

  /// Sets the context of the process, and calls the module's `start`.
  [[nodiscard]] vk_error start();

  /// Calls its `stop`, if `start` succeeded.
  void stop();

  /// As the functions of the interface.
  int fd() const { return poller_.fd(); }
  int timeout() const;
  [[nodiscard]] vk_error dispatch();

  // For the hooks.
  uint32_t call(const vk_path_node* path, uint32_t action, vk_value* value);
  [[nodiscard]] vk_error add_handler(const char* pattern, vk_frame_handler handler, void* data);
  [[nodiscard]] vk_error del_handler(const char* pattern, vk_frame_handler handler, void* data);

 private:
  struct OwnCall {
    const char* path;
    uint32_t (Module::*answer)(uint32_t action, vk_value* value);
  };
  static const OwnCall kOwnCalls[];

  uint32_t add_watch(uint32_t action, vk_value* value);
  uint32_t del_watch(uint32_t action, vk_value* value);
  uint32_t add_hook(uint32_t action, vk_value* value);
  uint32_t del_hook(uint32_t action, vk_value* value);

  uint32_t forward(const char* path, uint32_t action, const vk_value* sent, vk_value* received);
  [[nodiscard]] vk_error await(ModuleLine& line, vk_error sent);
  void serve(ModuleLine& line);
  void serve_ready();
  void deliver_ready(uint64_t identity);
  void deliver(const Watch& watch, uint32_t events);
  void note_loss();
  [[nodiscard]] vk_error reconnect();
  void tell_again();

  const vk_module_descriptor& descriptor_;
  OwnedHeap heap_;
  OwnedValue no_params_;
  Owned<char, vk_free> socket_;
  vk_module_context context_ = {};
  void* argument_ = nullptr;
  uint32_t handlers_ = 0;  // on the stack, `start` included
  bool started_ = false;

  Registry registry_;
  Poller poller_;
  Watches watches_{poller_};
  Made<Session> session_;

  bool lost_ = false;
  int pause_ = 0;
  Deadline retry_ = Deadline::never();
  Deadline calm_ = Deadline::never();
};

}  // namespace vesk::rt

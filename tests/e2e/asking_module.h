#pragma once

// Makes this process a module's whose calls go over a connection.

#include <vesk/vesk.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <functional>

#include "tests/support/values.h"

namespace vesk::test {

/// A heap that counts its blocks.
class CountingHeap {
 public:
  CountingHeap()
      : record_(static_cast<Record*>(vk_alloc(vk_default_allocator(), sizeof *record_))) {
    vk_allocator_init(&record_->head, "counting", &kOps);
  }
  ~CountingHeap() { vk_allocator_delete(&record_->head); }
  CountingHeap(const CountingHeap&) = delete;
  CountingHeap& operator=(const CountingHeap&) = delete;

  vk_allocator* get() { return &record_->head; }
  std::size_t live() const { return record_->live; }
  std::size_t ever() const { return record_->ever; }

 private:
  struct Record {
    vk_allocator head;  // first, so that the operations find the rest from its address
    std::size_t live;
    std::size_t ever;
  };

  static void* alloc(vk_allocator* heap, std::size_t size) {
    ++reinterpret_cast<Record*>(heap)->live;
    ++reinterpret_cast<Record*>(heap)->ever;
    return std::malloc(size);
  }

  static void free(vk_allocator* heap, void* block) {
    --reinterpret_cast<Record*>(heap)->live;
    std::free(block);
  }

  static void destroy(vk_allocator*) {}

  static constexpr vk_alloc_ops kOps = {alloc, nullptr, free, nullptr, destroy};

  Record* record_;
};

/// The module. One at a time.
class AskingModule {
 public:
  explicit AskingModule(int connection) : connection_(connection) {
    static constexpr vk_frame_handler_ops kHooks = {call, refuse, refuse};
    VK_ASSERT(vk_gta_init() == VK_EOK);
    VK_ASSERT(vk_frame_handler_setup(&kHooks) == VK_EOK);
    current = this;
    vk_module_ctx = &context_;
  }

  ~AskingModule() {
    vk_module_ctx = nullptr;
    current = nullptr;
    vk_gta_destroy();
    std::signal(SIGPIPE, on_broken_pipe_);
  }

  AskingModule(const AskingModule&) = delete;
  AskingModule& operator=(const AskingModule&) = delete;

  /// Called when a request has been sent.
  std::function<void()> on_sent = [] {};

  /// What writing the last request and reading its answer gave.
  uint32_t sending = 0;
  uint32_t receiving = 0;

 private:
  static uint32_t call(const vk_path_node* path, uint32_t action, vk_value* value) {
    std::array<char, 256> text = {};
    if (vk_path_node2str(path, text.data(), text.size(), '.') != VK_EOK) return VK_ENAMETOOLONG;
    return current->ask({++current->tag_, text.data(), action, value});
  }

  static vk_error refuse(const char*, vk_frame_handler, void*) { return VK_ENOSYS; }

  // The answer takes the place of the value that was sent, but only when it has come as a whole.
  uint32_t ask(const vk_ipc_request& request) {
    const Value answer = new_value(request.value->heap);
    vk_ipc_response response = {0, answer.get()};
    if (answer == nullptr) return VK_ENOMEM;
    sending = vk_ipc_write_request(connection_, &request);
    if (sending != 0) return VK_EIO;
    on_sent();
    receiving = vk_ipc_read_response(connection_, &response);
    if (receiving != 0) return VK_EIO;
    const vk_error error = vk_value_copy(request.value, answer.get());
    return error == VK_EOK ? response.status : error;
  }

  static inline AskingModule* current = nullptr;

  int connection_;
  void (*on_broken_pipe_)(int) = std::signal(SIGPIPE, SIG_IGN);
  uint32_t tag_ = 1000;
  vk_module_context context_ = {"asking", nullptr, vk_default_allocator()};
};

}  // namespace vesk::test

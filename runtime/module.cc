#include "runtime/module.h"

#include <algorithm>

#include "lib/log.h"
#include "runtime/connect.h"
#include "runtime/hooks.h"
#include "vesk/ipc.h"
#include "vesk/value/object.h"

namespace vesk::rt {
namespace {

constexpr int kFirstPause = 100;
constexpr int kLongestPause = 5000;
constexpr int kCalm = 10000;  // after so long the next loss is a new one

constexpr int kServingPause = 500;  // without a serving line, until one is tried for again

constexpr int kMostEvents = 16;

int longer(int pause) { return std::min(2 * pause, kLongestPause); }

}  // namespace

Module::~Module() {
  if (vk_module_ctx == &context_) vk_module_ctx = nullptr;
  release_hooks(*this);
}

vk_error Module::init(const char* socket, vk_value* params) {
  const vk_error error = take_hooks(*this);
  if (error != VK_EOK) return error;
  heap_.reset(vk_mm_heap_new(descriptor_.name));
  if (heap_ == nullptr) return VK_ENOMEM;
  socket_.reset(vk_strdup(heap_.get(), socket == nullptr ? vk_ipc_socket_path : socket));
  if (params == nullptr) {
    no_params_.reset(vk_object_new_with_policy(heap_.get(), VK_POLICY_ORDERED));
    params = no_params_.get();
  }
  if (socket_ == nullptr || params == nullptr) return VK_ENOMEM;
  context_ = {descriptor_.name, params, heap_.get()};
  session_ = make<Session>(poller_, descriptor_, socket_.get());
  return session_ == nullptr || poller_.fd() < 0 ? VK_ENOMEM : VK_EOK;
}

// A core that went away while it was spoken to is waited for like one that is not there yet.
vk_error Module::attach(int stop, bool& refused) {
  for (int pause = kFirstPause;; pause = longer(pause)) {
    const vk_error error = session_->open(Deadline::never(), stop, refused);
    if (refused || error != VK_ETIMEDOUT) {
      calm_ = Deadline::in(kCalm);
      return error;
    }
    if (!pause_for(pause, Deadline::never(), stop)) return error;
  }
}

vk_error Module::start() {
  vk_module_ctx = &context_;
  vk_error error = VK_EOK;
  if (descriptor_.start != nullptr) {
    ++handlers_;
    error = descriptor_.start(&argument_);
    --handlers_;
  }
  started_ = error == VK_EOK;
  return error;
}

void Module::stop() {
  if (!started_ || descriptor_.stop == nullptr) return;
  ++handlers_;
  descriptor_.stop(argument_);
  --handlers_;
}

int Module::timeout() const {
  if (!session_->is_open()) return lost_ ? retry_.left() : 0;
  if (session_->has_ready()) return 0;
  return session_->has_serving_line() ? -1 : kServingPause;
}

vk_error Module::dispatch() {
  if (handlers_ != 0) return VK_EOK;
  if (!session_->is_open()) {
    const vk_error error = reconnect();
    if (error != VK_EOK) return error;
  }
  watches_.check();
  epoll_event events[kMostEvents];
  const int count = poller_.events(events, kMostEvents);
  for (int i = 0; i < count; ++i) session_->mark_ready(events[i].data.u64);
  serve_ready();
  for (int i = 0; i < count; ++i) deliver_ready(events[i].data.u64);
  session_->keep_serving_line();
  return VK_EOK;
}

void Module::note_loss() {
  if (lost_) return;
  lost_ = true;
  if (calm_.passed() || pause_ == 0) pause_ = kFirstPause;
  retry_ = Deadline::in(pause_);
  vk_log(kLogLibrary, VK_LOG_WARNING, "runtime/module", __LINE__, __func__, "The core is gone");
}

// `VK_EOK` also if it is not yet time, or did not succeed.
vk_error Module::reconnect() {
  note_loss();
  if (!retry_.passed()) return VK_EOK;
  bool refused = false;
  const vk_error error = session_->open(Deadline::in(0), -1, refused);
  if (refused && error == VK_EEXIST) return error;
  if (error == VK_EOK) tell_again();
  pause_ = longer(pause_);
  retry_ = Deadline::in(pause_);
  if (!session_->is_open()) return VK_EOK;
  lost_ = false;
  calm_ = Deadline::in(kCalm);
  vk_log(kLogLibrary, VK_LOG_INFO, "runtime/module", __LINE__, __func__, "The core is back");
  return VK_EOK;
}

// What the new core refuses is kept for the one after it.
void Module::tell_again() {
  const Registration* entry = registry_.first();
  for (; entry != nullptr && session_->is_open(); entry = entry->next.get()) {
    if (entry->request == nullptr) continue;
    const uint32_t status = session_->tell(entry->request, *entry->arguments);
    if (status == VK_EIO) return session_->close();
    if (status == VK_EOK) continue;
    vk_log(kLogLibrary, VK_LOG_ERROR, "runtime/module", __LINE__, __func__,
           "'%s' was refused by the new core: %s", entry->request, vk_strerror(status));
  }
}

}  // namespace vesk::rt

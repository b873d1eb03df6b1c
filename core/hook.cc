#include "core/hook.h"

#include <exception>
#include <memory>
#include <optional>
#include <utility>

#include "core/await.h"
#include "core/behalf.h"
#include "core/failure.h"
#include "core/tree.h"
#include "vesk/frame.h"

namespace vesk::core {
namespace {

struct Installed {
  asio::io_context* loop = nullptr;
  Router* router = nullptr;
  unsigned depth = 0;
};
Installed installed;

// One wait inside another, also if what the loop runs meanwhile throws. None of that is on behalf
// of the call that waits.
struct Deeper {
  Deeper() { ++installed.depth; }
  ~Deeper() { --installed.depth; }
  Deeper(const Deeper&) = delete;
  Deeper& operator=(const Deeper&) = delete;

  const OnBehalf nobody{nullptr};
};

Request request_of(const vk_path_node* first, uint32_t action, const vk_value* value) {
  Request request;
  for (const vk_path_node* node = first; node != nullptr; node = node->next) {
    request.path.emplace_back(node->name);
  }
  request.action = action;
  if (value != nullptr) request.value = std::make_shared<const Bytes>(encode(*value));
  return request;
}

// Waits inside the loop.
Answer pump(const std::shared_ptr<std::optional<Answer>>& answer) {
  const Deeper deeper;
  while (!answer->has_value() && installed.loop->run_one() != 0) {
  }
  return answer->has_value() ? std::move(**answer) : Answer{VK_EIO};
}

// The answer's place outlives whoever waits for it.
asio::awaitable<void> fetch(CallPtr cause, Request request,
                            std::shared_ptr<std::optional<Answer>> answer) {
  try {
    auto asking = installed.router->ask(std::move(cause), std::move(request));
    *answer = co_await std::move(asking);
  } catch (...) {
    *answer = Answer{status_of_failure()};
  }
}

// What a service calls before it waits is on behalf of the call that it answers. The one that is
// made here stands for the router's own, which is as deep.
void begin(Request request, const std::shared_ptr<std::optional<Answer>>& answer) {
  CallPtr cause = OnBehalf::current();
  const OnBehalf nested(own_call(cause));
  spawn(installed.loop->get_executor(), fetch(std::move(cause), std::move(request), answer));
}

// Whether an answer will have to be waited for shows only when what is asked for is begun, so that
// a call that could not wait is not made.
Answer call(Request request) {
  if (installed.depth == Hook::kDeepest) return {VK_EBUSY};
  const auto answer = std::make_shared<std::optional<Answer>>();
  begin(std::move(request), answer);
  return pump(answer);
}

// What the answer carries takes the place of what the caller's node held. It is read on the node's
// own heap, and its payload is handed over.
void replace(vk_value& value, const Bytes& tree) {
  OwnedValue fresh = decode(&tree, value.heap);
  move_payload(*fresh, value);
}

uint32_t call_path(const vk_path_node* path, uint32_t action, vk_value* value) noexcept try {
  const Answer answer = call(request_of(path, action, value));
  if (value != nullptr && !answer.value.empty()) replace(*value, answer.value);
  return answer.status;
} catch (...) {
  return status_of_failure();
}

vk_error refuse(const char*, vk_frame_handler, void*) { return VK_ENOSYS; }

uint32_t answer_nothing(const vk_path_node*, uint32_t, vk_value*) { return VK_ENOANSWER; }

void install(uint32_t (*call_hook)(const vk_path_node*, uint32_t, vk_value*)) {
  const vk_frame_handler_ops hooks = {call_hook, refuse, refuse};
  static_cast<void>(vk_frame_handler_setup(&hooks));
}

}  // namespace

Hook::Hook(asio::io_context& loop, Router& router) {
  installed = {&loop, &router, 0};
  install(call_path);
}

Hook::~Hook() {
  install(answer_nothing);
  installed = {};
}

}  // namespace vesk::core

#include <functional>
#include <span>
#include <utility>

#include "core/store.h"
#include "core/sys_service.h"
#include "core/walk.h"

namespace vesk::core {
namespace {

constexpr std::size_t kVerb = 3;  // components of "sys.persistent.save"
constexpr const char* kOwn = "veskd";

// What the key's components are, or why there is none.
uint32_t check_key(std::span<const std::string> components) {
  if (components.empty()) return VK_EINVAL;
  return components.front() == kOwn ? VK_EAUTH : VK_EOK;
}

asio::awaitable<Answer> save(Store& store, std::string key, const Request& request) {
  const uint32_t status = co_await store.save(std::move(key), request.value);
  co_return Answer{status};
}

asio::awaitable<Answer> load(Store& store, std::string key, const Request&) {
  Answer answer = co_await store.load(std::move(key));
  co_return answer;
}

asio::awaitable<Answer> remove(Store& store, std::string key, const Request&) {
  const uint32_t status = co_await store.remove(std::move(key));
  co_return Answer{status};
}

using Verb = asio::awaitable<Answer> (*)(Store&, std::string, const Request&);

void add(Router& router, Store& store, const char* name, Verb verb) {
  router.serve({"sys", "persistent", name},
               [&store, verb](CallPtr, const Request& request) -> asio::awaitable<Answer> {
                 const std::span components = std::span(request.path).subspan(kVerb);
                 const uint32_t refusal = check_key(components);
                 if (refusal != VK_EOK) co_return Answer{refusal};
                 std::string key = join(components);
                 Answer answer = co_await verb(store, std::move(key), request);
                 co_return answer;
               });
}

}  // namespace

void serve_store(Router& router, Store& store, std::function<void()> erased) {
  add(router, store, "save", save);
  add(router, store, "load", load);
  add(router, store, "remove", remove);
  router.serve({"sys", "persistent", "erase"},
               [&store, erased = std::move(erased)](
                   CallPtr call, const Request& request) -> asio::awaitable<Answer> {
                 if (request.path.size() != kVerb) co_return Answer{VK_ENOANSWER};
                 if (call->peer.uid != 0) co_return Answer{VK_EAUTH};
                 const uint32_t status = co_await store.erase();
                 if (status == VK_EOK) erased();
                 co_return Answer{status};
               });
}

}  // namespace vesk::core

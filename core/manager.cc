#include "core/manager.h"

#include <array>
#include <new>
#include <string>
#include <utility>

#include "core/manager_faults.h"
#include "core/manager_requests.h"
#include "vesk/error.h"

namespace vesk::core {
namespace dm {
namespace {

using Function = asio::awaitable<Answer> (*)(Desk& desk, CallPtr call, const Request& request);

struct Row {
  const char* path;
  Function function;
};

constexpr std::array kRequests = {Row{"cwmp.rpc.GetParameterNames", get_parameter_names},
                                  Row{"cwmp.rpc.GetParameterValues", get_parameter_values},
                                  Row{"cwmp.rpc.SetParameterValues", set_parameter_values},
                                  Row{"cwmp.rpc.AddObject", add_object},
                                  Row{"cwmp.rpc.DeleteObject", delete_object},
                                  Row{"cwmp.rpc.GetParameterAttributes", get_parameter_attributes},
                                  Row{"cwmp.rpc.SetParameterAttributes", set_parameter_attributes},
                                  Row{"dmmgr.inform.get", get_inform_values},
                                  Row{"dmmgr.notification.get", get_notifications},
                                  Row{"dmmgr.changed", tell_changes},
                                  Row{"dmmgr.hook.add", add_hook},
                                  Row{"dmmgr.hook.del", del_hook}};

asio::awaitable<Answer> no_answer(Desk&, CallPtr, const Request&) {
  co_return Answer{VK_ENOANSWER};
}

// Runs a request; what it throws as a refusal is its answer, and want of memory is one. Any action
// but 0 is none of ours.
asio::awaitable<Answer> serve(Desk& desk, Function function, CallPtr call, const Request& request) {
  try {
    if (request.action != 0) throw Refusal(VK_EOPNOTSUPP);
    Answer answer = co_await function(desk, std::move(call), request);
    co_return answer;
  } catch (const Refusal& refusal) {
    co_return refusal.answer(desk.options.limits);
  } catch (const Abandoned&) {
    co_return Answer{VK_EIO};  // which nobody hears
  } catch (const std::bad_alloc&) {
    co_return Refusal(VK_ENOMEM).answer(desk.options.limits);
  }
}

Router::Service service(Desk& desk, Function function, std::size_t length) {
  return [&desk, function, length](CallPtr call, const Request& request) {
    // A path below that of a request is not that request.
    const Function chosen = request.path.size() == length ? function : no_answer;
    return serve(desk, chosen, std::move(call), request);
  };
}

}  // namespace
}  // namespace dm

Manager::Manager(asio::io_context& loop, Router& router, Records& records, ManagerOptions options)
    : desk_{loop,
            router,
            std::move(options),
            dm::Turns(loop),
            dm::Kept(records),
            dm::Hooks(loop, router)} {
  for (const dm::Row& row : dm::kRequests) {
    Path path = dm::read_name(row.path, rt::Limits::widest())->path;
    const std::size_t length = path.size();
    router.serve(std::move(path), dm::service(desk_, row.function, length));
  }
  router.watch_modules([this](const std::string& module, bool attached) {
    if (attached) {
      desk_.hooks.module_started(module);
    } else {
      desk_.hooks.module_ended(module);
    }
  });
}

}  // namespace vesk::core

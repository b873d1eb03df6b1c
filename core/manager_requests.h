#pragma once

// The manager's requests. Each reads its arguments, does its work, and gives the answer, or throws
// a refusal. `call` is null for the core's own.

#include <asio/awaitable.hpp>

#include "core/call.h"
#include "core/manager_desk.h"

namespace vesk::core::dm {

// core/manager_names.cc
asio::awaitable<Answer> get_parameter_names(Desk& desk, CallPtr call, const Request& request);
// core/manager_values.cc
asio::awaitable<Answer> get_parameter_values(Desk& desk, CallPtr call, const Request& request);
asio::awaitable<Answer> get_inform_values(Desk& desk, CallPtr call, const Request& request);
// core/manager_set.cc
asio::awaitable<Answer> set_parameter_values(Desk& desk, CallPtr call, const Request& request);
// core/manager_objects.cc
asio::awaitable<Answer> add_object(Desk& desk, CallPtr call, const Request& request);
asio::awaitable<Answer> delete_object(Desk& desk, CallPtr call, const Request& request);
// core/manager_attributes.cc
asio::awaitable<Answer> get_parameter_attributes(Desk& desk, CallPtr call, const Request& request);
asio::awaitable<Answer> set_parameter_attributes(Desk& desk, CallPtr call, const Request& request);
// core/manager_notifications.cc
asio::awaitable<Answer> get_notifications(Desk& desk, CallPtr call, const Request& request);
asio::awaitable<Answer> tell_changes(Desk& desk, CallPtr call, const Request& request);
// core/manager_hooks.cc
asio::awaitable<Answer> add_hook(Desk& desk, CallPtr call, const Request& request);
asio::awaitable<Answer> del_hook(Desk& desk, CallPtr call, const Request& request);

}  // namespace vesk::core::dm

#pragma once

// What the manager's requests share, and how they begin.

#include <asio/awaitable.hpp>
#include <asio/io_context.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/call.h"
#include "core/log.h"
#include "core/manager_hooks.h"
#include "core/manager_kept.h"
#include "core/manager_path.h"
#include "core/manager_tree.h"
#include "core/manager_turns.h"
#include "core/router.h"
#include "runtime/scan.h"

namespace vesk::core::dm {

/// The parameters that every Inform carries, of either root. Those that a device lacks are left
/// out.
std::vector<std::string> default_inform_names();

struct ManagerOptions {
  rt::Limits limits = {};
  std::vector<std::string> inform_names = default_inform_names();
  Complain complain = core::complain;  ///< of modules' errors, by whom they were met
};

struct Desk {
  asio::io_context& loop;
  Router& router;
  ManagerOptions options;
  Turns turns;
  Kept kept;
  Hooks hooks;
};

/// A member that may be missing, or null, which gives null. A request that has it of another type
/// is refused: to pass over it would do what was not asked for, such as a change for a trial.
const vk_value* optional_of(const vk_value& request, const char* name, vk_type type);
/// "dm-flags" of a request; 0 without.
uint32_t flags_of(const vk_value& request);
/// A boolean that may be missing, which is false.
bool flag_of(const vk_value& request, const char* name);
/// Refuses a request whose "ParameterKey" is none, before anything is done for it.
void check_key(const vk_value& request);
/// A member that must be a string; a request without it is refused.
std::string text_of(const vk_value& request, const char* name);
/// A member that must be an array; a request without it is refused.
const vk_value& array_of(const vk_value& request, const char* name);
/// The texts of a member that must be an array of strings.
std::vector<std::string> texts_of(const vk_value& request, const char* name);

/// Reads a name; one that is not sound is refused as one that is not there.
Name name_of(const std::string& text, const rt::Limits& limits);

}  // namespace vesk::core::dm

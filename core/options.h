#pragma once

// The program's command line.

#include <string>
#include <vector>

#include "core/credentials.h"
#include "core/settings.h"

namespace vesk::core {

struct Options {
  /// What the program is to do.
  enum class Deed { kRun, kCheck, kPrintConfig, kHelp, kVersion };

  Deed deed = Deed::kRun;
  std::string socket;
  std::string store = "/var/lib/vesk/store.db";
  std::string log = {};  ///< facilities, as for `vk_log_facility_config`; empty leaves them
  bool foreground = false;
  Access access = {};
  std::vector<std::string> inform = {};  ///< names for every Inform; empty for the default ones
  Settings settings = {};

  Options();
};

/// Reads a command line.
/// @return false, with the reason on standard error, if there is something wrong with it
[[nodiscard]] bool read_options(int argc, char** argv, Options& options);

/// What `--help` says.
std::string help();

/// The options in force, one a line, as they could be given.
std::string to_text(const Options& options);

}  // namespace vesk::core

#include <malloc.h>
#include <sys/resource.h>
#include <sysexits.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <system_error>

#include "core/agent.h"
#include "core/log.h"
#include "core/options.h"
#include "core/options_check.h"
#include "vesk/log.h"
#include "vesk/mm/gta.h"

namespace vesk::core {
namespace {

// Every line takes a descriptor.
void raise_descriptor_limit() {
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

// Two threads seldom allocate at once, so that a second arena would only take memory.
void use_one_arena() {
#ifdef M_ARENA_MAX
  mallopt(M_ARENA_MAX, 1);
#endif
}

int fail(int status, const char* what) {
  log(VK_LOG_ERROR, "%s", what);
  if (!is_logging_to_standard_error()) std::fprintf(stderr, "veskd: %s\n", what);
  return status;
}

int run_agent(const Options& options) {
  std::signal(SIGPIPE, SIG_IGN);
  raise_descriptor_limit();
  use_one_arena();
  Descriptor listener = handed_over();
  if (!listener && is_answered(options.socket)) {
    return fail(EX_UNAVAILABLE, "Another core answers at the socket");
  }
  Agent agent(options, std::move(listener));
  trim_memory();  // what the start took for a while
  agent.run();
  return EX_OK;
}

int check(const Options& options) {
  const std::vector<std::string> found = obstacles(options);
  for (const std::string& obstacle : found) std::fprintf(stderr, "veskd: %s\n", obstacle.c_str());
  return found.empty() ? EX_OK : EX_CONFIG;
}

int run(const Options& options) try {
  if (!options.log.empty() && vk_log_facility_config(options.log.c_str()) != VK_EOK) {
    std::fprintf(stderr, "veskd: --log: \"%s\" names no facilities\n", options.log.c_str());
    return EX_USAGE;
  }
  if (options.foreground) log_to_standard_error();
  return options.deed == Options::Deed::kCheck ? check(options) : run_agent(options);
} catch (const std::system_error& error) {
  const bool taken = error.code() == std::errc::device_or_resource_busy ||
                     error.code() == std::errc::address_in_use;
  return fail(taken ? EX_UNAVAILABLE : EX_OSERR, error.what());
} catch (const std::exception& error) {
  return fail(EX_SOFTWARE, error.what());
}

int print(const std::string& text) {
  const bool printed = std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
  return printed ? EX_OK : EX_IOERR;
}

int main(int argc, char** argv) {
  Options options;
  if (!read_options(argc, argv, options)) return EX_USAGE;
  switch (options.deed) {
    case Options::Deed::kHelp:
      return print(help());
    case Options::Deed::kVersion:
      return print("veskd " VESK_VERSION "\n");
    case Options::Deed::kPrintConfig:
      return print(to_text(options));
    default:
      break;
  }
  if (vk_gta_init() != VK_EOK) return EX_OSERR;
  const int status = run(options);
  vk_gta_destroy();
  return status;
}

}  // namespace
}  // namespace vesk::core

int main(int argc, char** argv) { return vesk::core::main(argc, argv); }

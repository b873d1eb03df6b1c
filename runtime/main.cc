#include <getopt.h>
#include <poll.h>
#include <sysexits.h>

#include <cstdio>
#include <cstring>

#include "lib/log.h"
#include "runtime/module.h"
#include "runtime/stop_signal.h"
#include "vesk/ipc.h"
#include "vesk/mm/gta.h"
#include "vesk/mm/stack.h"
#include "vesk/runtime.h"
#include "vesk/value/member.h"

namespace vesk::rt {
namespace {

constexpr int kGoOn = -1;  // no exit status

struct Options {
  const char* socket = nullptr;
  OwnedValue params;
};

// Each handles the argument of one option and gives an exit status, or kGoOn.

// NOLINTNEXTLINE(readability-non-const-parameter): of the type of all
int take_socket(Options& options, char* path, const vk_module_descriptor&) {
  options.socket = path;
  return kGoOn;
}

int take_param(Options& options, char* text, const vk_module_descriptor& descriptor) {
  char* const equals = std::strchr(text, '=');
  if (equals == nullptr || equals == text) {
    std::fprintf(stderr, "%s: '%s' is not of the form KEY=VALUE\n", descriptor.name, text);
    return EX_USAGE;
  }
  *equals = '\0';
  const vk_error error = vk_object_set_string(options.params.get(), text, equals + 1);
  *equals = '=';
  return error == VK_EOK ? kGoOn : EX_SOFTWARE;
}

int show_help(Options&, char*, const vk_module_descriptor& descriptor) {
  std::printf(
      "Usage: %s [OPTION]...\n"
      "A module of the agent.\n\n"
      "  --socket PATH      the core's socket (%s)\n"
      "  --param KEY=VALUE  a parameter of the module; any number of them\n"
      "  --help             show this and exit\n"
      "  --version          show the version and exit\n",
      descriptor.name, vk_ipc_socket_path);
  return EX_OK;
}

int show_version(Options&, char*, const vk_module_descriptor& descriptor) {
  std::printf("%s %s\n", descriptor.name, descriptor.version);
  return EX_OK;
}

int (*const kTakers[])(Options&, char*, const vk_module_descriptor&) = {take_socket, take_param,
                                                                        show_help, show_version};

// In the order of the takers.
constexpr option kLongOptions[] = {{"socket", required_argument, nullptr, 0},
                                   {"param", required_argument, nullptr, 0},
                                   {"help", no_argument, nullptr, 0},
                                   {"version", no_argument, nullptr, 0},
                                   {nullptr, 0, nullptr, 0}};

int read_options(int argc, char** argv, const vk_module_descriptor& descriptor, Options& options) {
  optind = 0;
  int which = 0;
  for (int found = 0; (found = getopt_long(argc, argv, "", kLongOptions, &which)) != -1;) {
    if (found != 0) return EX_USAGE;
    const int status = kTakers[which](options, optarg, descriptor);
    if (status != kGoOn) return status;
  }
  if (optind == argc) return kGoOn;
  std::fprintf(stderr, "%s: '%s' is no option\n", descriptor.name, argv[optind]);
  return EX_USAGE;
}

int status_for(vk_error error) { return error == VK_ENOMEM ? EX_SOFTWARE : EX_UNAVAILABLE; }

int report(const char* what, vk_error error, int status) {
  vk_log(kLogLibrary, VK_LOG_ERROR, "runtime/main", __LINE__, __func__, "%s: %s", what,
         vk_strerror(error));
  return status;
}

// Until a signal, with "gta" empty before every wait.
int serve(Module& module, const StopSignal& stop) {
  while (!stop.came()) {
    vk_mm_stack_clear(vk_gta());
    pollfd waiting[] = {{module.fd(), POLLIN, 0}, {stop.fd(), POLLIN, 0}};
    poll(waiting, 2, module.timeout());
    const vk_error error = module.dispatch();
    if (error != VK_EOK) return report("The core refused the module", error, EX_UNAVAILABLE);
  }
  return EX_OK;
}

int run(const vk_module_descriptor& descriptor, const Options& options) {
  const StopSignal stop;
  Module module(descriptor);
  vk_error error = stop.fd() < 0 ? VK_ENOMEM : module.init(options.socket, options.params.get());
  if (error != VK_EOK) return report("The module could not begin", error, EX_SOFTWARE);
  bool refused = false;
  error = module.attach(stop.fd(), refused);
  if (error != VK_EOK && !refused && stop.came()) return EX_OK;
  if (error != VK_EOK) return report("The module could not attach", error, status_for(error));
  error = module.start();
  if (error != VK_EOK) return report("The module did not start", error, EX_SOFTWARE);
  const int status = serve(module, stop);
  module.stop();
  return status;
}

}  // namespace
}  // namespace vesk::rt

int vk_module_main(int argc, char** argv, const vk_module_descriptor* descriptor) {
  using namespace vesk::rt;
  if (vk_gta_init() != VK_EOK) return EX_SOFTWARE;
  int status = EX_SOFTWARE;
  {
    Options options;
    options.params.reset(vk_object_new_with_policy(vk_default_allocator(), VK_POLICY_ORDERED));
    if (options.params != nullptr) status = read_options(argc, argv, *descriptor, options);
    if (status == kGoOn) status = run(*descriptor, options);
  }
  vk_gta_destroy();
  return status;
}

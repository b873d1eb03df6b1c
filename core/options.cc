#include "core/options.h"

#include <getopt.h>
#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <limits>
#include <vector>

#include "vesk/ipc.h"

namespace vesk::core {
namespace {

using Deed = Options::Deed;

/// One option. Where it takes an argument, `take` says whether that is good; `show` gives what is
/// in force, and nothing for what is not given.
struct Option {
  const char* name;
  const char* argument;  // null if it takes none
  const char* help;
  bool (*take)(Options& options, const char* argument);
  std::string (*show)(const Options& options);
};

template <typename Number>
bool read_number(const char* text, Number& number, std::string_view* rest = nullptr) {
  const char* const end = text + std::string_view(text).size();
  const auto [stop, error] = std::from_chars(text, end, number);
  if (rest != nullptr) *rest = {stop, static_cast<std::size_t>(end - stop)};
  return error == std::errc() && (rest != nullptr || stop == end);
}

bool read_time(const char* text, Milliseconds& time) {
  uint32_t count = 0;
  std::string_view unit;
  if (!read_number(text, count, &unit) || count == 0) return false;
  if (unit != "ms" && unit != "s" && !unit.empty()) return false;
  time = Milliseconds(count) * (unit == "ms" ? 1 : 1000);
  return true;
}

template <std::string Options::*Text>
bool take_text(Options& options, const char* argument) {
  options.*Text = argument;
  return *argument != '\0';
}

template <std::string Options::*Text>
std::string show_text(const Options& options) {
  return options.*Text;
}

template <Milliseconds Settings::*Time>
bool take_time(Options& options, const char* argument) {
  return read_time(argument, options.settings.*Time);
}

template <Milliseconds Settings::*Time>
std::string show_time(const Options& options) {
  return std::to_string((options.settings.*Time).count()) + "ms";
}

template <auto Settings::*Count>
bool take_count(Options& options, const char* argument) {
  return read_number(argument, options.settings.*Count) && options.settings.*Count != 0;
}

template <auto Settings::*Count>
std::string show_count(const Options& options) {
  return std::to_string(options.settings.*Count);
}

template <uint32_t rt::Limits::*Limit>
bool take_limit(Options& options, const char* argument) {
  return read_number(argument, options.settings.message.*Limit) &&
         options.settings.message.*Limit != 0;
}

template <uint32_t rt::Limits::*Limit>
std::string show_limit(const Options& options) {
  return std::to_string(options.settings.message.*Limit);
}

template <Deed deed>
bool take_deed(Options& options, const char*) {
  options.deed = deed;
  return true;
}

bool take_depth(Options& options, const char* argument) {
  return take_limit<&rt::Limits::depth>(options, argument) &&
         options.settings.message.depth <= rt::Limits::kDeepest;
}

bool take_foreground(Options& options, const char*) {
  options.foreground = true;
  return true;
}

std::string show_foreground(const Options& options) { return options.foreground ? " " : ""; }

// What the system takes for no user or group; the socket would keep the group that it has.
template <typename Id>
constexpr Id kNobodysId = static_cast<Id>(-1);

bool take_user(Options& options, const char* argument) {
  uid_t user = 0;
  const passwd* const entry = getpwnam(argument);
  if (entry != nullptr) {
    user = entry->pw_uid;
  } else if (!read_number(argument, user) || user == kNobodysId<uid_t>) {
    return false;
  }
  options.access.users.push_back(user);
  return true;
}

bool take_group(Options& options, const char* argument) {
  gid_t number = 0;
  const group* const entry = getgrnam(argument);
  if (entry != nullptr) {
    number = entry->gr_gid;
  } else if (!read_number(argument, number) || number == kNobodysId<gid_t>) {
    return false;
  }
  options.access.group = number;
  return true;
}

std::string show_group(const Options& options) {
  return options.access.group.has_value() ? std::to_string(*options.access.group) : "";
}

bool take_inform(Options& options, const char* argument) {
  options.inform.emplace_back(argument);
  return *argument != '\0';
}

std::string show_nothing(const Options&) { return ""; }

constexpr auto kOptions = std::to_array<Option>({
    {"socket", "PATH", "where to listen", take_text<&Options::socket>, show_text<&Options::socket>},
    {"store", "PATH", "the database of the persistent store", take_text<&Options::store>,
     show_text<&Options::store>},
    {"log", "FACILITIES", "syslog facilities, joined by commas", take_text<&Options::log>,
     show_text<&Options::log>},
    {"foreground", nullptr, "log to standard error", take_foreground, show_foreground},
    {"allow-uid", "USER", "a user who may read; may be given again", take_user, show_nothing},
    {"allow-gid", "GROUP", "a group who may read", take_group, show_group},
    {"inform", "NAME", "a parameter of every Inform; may be given again", take_inform,
     show_nothing},
    {"answer-time", "TIME", "for a module to give a sign of life", take_time<&Settings::answer>,
     show_time<&Settings::answer>},
    {"queue-time", "TIME", "for a request to wait for a module", take_time<&Settings::waiting>,
     show_time<&Settings::waiting>},
    {"patience", "TIME", "for a caller to wait in all", take_time<&Settings::patience>,
     show_time<&Settings::patience>},
    {"message-time", "TIME", "for a message to complete", take_time<&Settings::completion>,
     show_time<&Settings::completion>},
    {"taking-time", "TIME", "for a client to take its answer", take_time<&Settings::taking>,
     show_time<&Settings::taking>},
    {"max-message", "BYTES", "of one message", take_limit<&rt::Limits::message>,
     show_limit<&rt::Limits::message>},
    {"max-depth", "NUMBER", "of nodes on the way to the deepest one", take_depth,
     show_limit<&rt::Limits::depth>},
    {"max-nodes", "NUMBER", "of one message", take_limit<&rt::Limits::nodes>,
     show_limit<&rt::Limits::nodes>},
    {"max-members", "NUMBER", "of one object", take_limit<&rt::Limits::members>,
     show_limit<&rt::Limits::members>},
    {"max-pairs", "NUMBER", "of members of the same objects, in one message",
     take_limit<&rt::Limits::pairs>, show_limit<&rt::Limits::pairs>},
    {"max-text", "BYTES", "of one text", take_limit<&rt::Limits::text>,
     show_limit<&rt::Limits::text>},
    {"max-path", "BYTES", "of a request's path", take_limit<&rt::Limits::path>,
     show_limit<&rt::Limits::path>},
    {"max-name", "BYTES", "of a member's name", take_limit<&rt::Limits::name>,
     show_limit<&rt::Limits::name>},
    {"max-buffers", "BYTES", "of all messages together", take_count<&Settings::buffers>,
     show_count<&Settings::buffers>},
    {"max-processes", "NUMBER", "connected at a time", take_count<&Settings::processes>,
     show_count<&Settings::processes>},
    {"max-lines", "NUMBER", "open at a time", take_count<&Settings::lines>,
     show_count<&Settings::lines>},
    {"max-handlers", "NUMBER", "of all modules together", take_count<&Settings::handlers>,
     show_count<&Settings::handlers>},
    {"max-chain", "NUMBER", "of calls that lead to one another", take_count<&Settings::chain>,
     show_count<&Settings::chain>},
    {"max-queue", "NUMBER", "of requests that wait for one module", take_count<&Settings::queue>,
     show_count<&Settings::queue>},
    {"check", nullptr, "say whether the core could start, and end", take_deed<Deed::kCheck>,
     show_nothing},
    {"print-config", nullptr, "print the options in force, and end", take_deed<Deed::kPrintConfig>,
     show_nothing},
    {"help", nullptr, "print this, and end", take_deed<Deed::kHelp>, show_nothing},
    {"version", nullptr, "print the version, and end", take_deed<Deed::kVersion>, show_nothing},
});

// What getopt gives for the first option, beyond all characters.
constexpr int kFirst = 256;

// Each option gives a number of its own: of options that give the same, getopt takes the first for
// what is short for several.
std::vector<option> for_getopt() {
  std::vector<option> rows;
  int number = kFirst;
  for (const Option& row : kOptions) {
    rows.push_back(
        {row.name, row.argument == nullptr ? no_argument : required_argument, nullptr, number++});
  }
  rows.push_back({});
  return rows;
}

}  // namespace

Options::Options() : socket(vk_ipc_socket_path) {}

bool read_options(int argc, char** argv, Options& options) {
  const std::vector<option> rows = for_getopt();
  optind = 0;
  for (int result = 0; (result = getopt_long(argc, argv, "", rows.data(), nullptr)) != -1;) {
    if (result < kFirst) return false;
    const Option& found = kOptions[static_cast<std::size_t>(result - kFirst)];
    if (found.take(options, optarg)) continue;
    std::fprintf(stderr, "%s: --%s: \"%s\" is no %s\n", argv[0], found.name, optarg,
                 found.argument);
    return false;
  }
  if (optind == argc) return true;
  std::fprintf(stderr, "%s: \"%s\" is no option\n", argv[0], argv[optind]);
  return false;
}

std::string help() {
  std::string text = "Usage: veskd [OPTION]...\nThe core of the agent.\n\n";
  for (const Option& row : kOptions) {
    std::string left = std::string("  --") + row.name;
    if (row.argument != nullptr) left += std::string(" ") + row.argument;
    left.resize(std::max<std::size_t>(left.size() + 1, 28), ' ');
    text += left + row.help + "\n";
  }
  return text + "\nA TIME is in seconds, or in milliseconds with \"ms\" behind it.\n";
}

std::string to_text(const Options& options) {
  std::string text;
  for (const Option& row : kOptions) {
    const std::string value = row.show(options);
    if (value.empty()) continue;
    text += std::string("--") + row.name;
    text += row.argument == nullptr ? "\n" : " " + value + "\n";
  }
  for (const uid_t user : options.access.users) {
    text += "--allow-uid " + std::to_string(user) + "\n";
  }
  for (const std::string& name : options.inform) text += "--inform " + name + "\n";
  return text;
}

}  // namespace vesk::core

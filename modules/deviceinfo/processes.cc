#include "modules/deviceinfo/processes.h"

#include <dirent.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "lib/support/owned.h"
#include "modules/support/system_files.h"

namespace vesk::modules {
namespace {

// What "/proc/PID/stat" tells of a process, in the kernel's units.
struct Process {
  char state;
  int priority;
  uint64_t ticks;
  uint64_t pages;
  const char* command;  // in the text that was parsed
};

struct StateName {
  char letter;
  const char* name;
};

constexpr std::array kStates = {StateName{'R', "Running"},         StateName{'S', "Sleeping"},
                                StateName{'D', "Uninterruptible"}, StateName{'T', "Stopped"},
                                StateName{'t', "Stopped"},         StateName{'Z', "Zombie"},
                                StateName{'X', "Zombie"},          StateName{'I', "Idle"}};

const char* state_name(char letter) {
  for (const StateName& state : kStates) {
    if (state.letter == letter) return state.name;
  }
  return "Sleeping";
}

// The command's name stands in parentheses and may hold any character, so its end is the last ")".
bool parse(Text& stat, Process& process) {
  char* const begin = std::strchr(stat.data(), '(');
  char* const end = std::strrchr(stat.data(), ')');
  if (begin == nullptr || end == nullptr || end < begin) return false;
  *end = '\0';
  unsigned long long user = 0;
  unsigned long long system = 0;
  unsigned long long resident = 0;
  const int found = std::sscanf(end + 1,
                                " %c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %llu %llu %*d %*d %d "
                                "%*d %*d %*d %*u %*u %llu",
                                &process.state, &user, &system, &process.priority, &resident);
  process.command = begin + 1;
  process.ticks = user + system;
  process.pages = resident;
  return found == 5;
}

uint64_t milliseconds(uint64_t ticks) {
  return ticks * 1000 / static_cast<uint64_t>(sysconf(_SC_CLK_TCK));
}

uint64_t kibibytes(uint64_t pages) {
  return pages * (static_cast<uint64_t>(sysconf(_SC_PAGESIZE)) / 1024);
}

// From 0, the highest, to 99.
uint32_t priority_of(const Process& process) {
  if (process.priority < 0) return 0;
  return process.priority > 99 ? 99 : static_cast<uint32_t>(process.priority);
}

void add_process(ObjectBuilder& table, const char* id) {
  std::array<char, sizeof(dirent::d_name) + 16> path;
  std::snprintf(path.data(), path.size(), "/proc/%s/stat", id);
  Text stat;
  Process process{};
  if (!read_file(path.data(), stat) || !parse(stat, process)) return;  // it has ended meanwhile
  ObjectBuilder entry = table.object(id);
  entry.number("PID", std::strtoul(id, nullptr, 10));
  entry.text("Command", process.command);
  entry.number("Size", kibibytes(process.pages));
  entry.number("Priority", priority_of(process));
  entry.number("CPUTime", milliseconds(process.ticks));
  entry.text("State", state_name(process.state));
  table.include(entry);
}

bool is_number(const char* text) { return text[std::strspn(text, "0123456789")] == '\0'; }

void add_processes(ObjectBuilder& table) {
  const Owned<DIR, closedir> folder(opendir(below_root("/proc").data()));
  if (folder == nullptr) return table.fail(errno == ENOENT ? VK_EOK : VK_EIO);
  while (vk_object_get_size(table.get()) < kLongestTable) {
    errno = 0;
    const dirent* const entry = readdir(folder.get());
    if (entry == nullptr) return table.fail(errno == 0 ? VK_EOK : VK_EIO);
    if (is_number(entry->d_name)) add_process(table, entry->d_name);
  }
}

ProcessorTime time_of_processors() {
  Text line;
  if (!read_line("/proc/stat", line)) return {};
  std::array<unsigned long long, 8> ticks{};
  std::sscanf(line.data(), "cpu %llu %llu %llu %llu %llu %llu %llu %llu", &ticks[0], &ticks[1],
              &ticks[2], &ticks[3], &ticks[4], &ticks[5], &ticks[6], &ticks[7]);
  uint64_t all = 0;
  for (const unsigned long long part : ticks) all += part;
  return {all - ticks[3] - ticks[4], all};  // without idling and waiting for devices
}

// The kernel's counts of idle time may go back a little; then nothing can be told.
uint32_t percent(const ProcessorTime& from, const ProcessorTime& to) {
  const uint64_t all = to.all - from.all;
  const uint64_t busy = to.busy - from.busy;
  if (to.all <= from.all || busy > all) return 0;
  return static_cast<uint32_t>(busy * 100 / all);
}

}  // namespace

void add_process_status(ObjectBuilder& status, ProcessorTime& last) {
  const ProcessorTime now = time_of_processors();
  status.number("CPUUsage", percent(last, now));
  last = now;
  ObjectBuilder table = status.object("Process");
  if (table.error() == VK_EOK) add_processes(table);
  status.include(table);
  if (status.error() == VK_EOK) {
    status.number("ProcessNumberOfEntries", vk_object_get_size(table.get()));
  }
}

}  // namespace vesk::modules

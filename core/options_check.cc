#include "core/options_check.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "core/descriptor.h"

namespace vesk::core {
namespace {

/// Empty if nothing is in the way.
using Obstacle = std::string;

Obstacle because(const std::string& path, int error) {
  return path + ": " + std::generic_category().message(error);
}

Obstacle unless_allowed(const std::string& path, int rights) {
  return faccessat(AT_FDCWD, path.c_str(), rights, AT_EACCESS) == 0 ? "" : because(path, errno);
}

// The kernel's own file systems. Their rights do not tell that nobody can make a file there.
constexpr std::array<uint32_t, 9> kOfTheKernel = {
    PROC_SUPER_MAGIC,   SYSFS_MAGIC,   CGROUP_SUPER_MAGIC, CGROUP2_SUPER_MAGIC, DEBUGFS_MAGIC,
    DEVPTS_SUPER_MAGIC, TRACEFS_MAGIC, SECURITYFS_MAGIC,   SELINUX_MAGIC};

bool is_of_the_kernel(const std::string& path) {
  struct statfs system = {};
  if (statfs(path.c_str(), &system) != 0) return false;
  const auto type = static_cast<uint32_t>(system.f_type);
  return std::find(kOfTheKernel.begin(), kOfTheKernel.end(), type) != kOfTheKernel.end();
}

/// Whether files can be made in a folder.
Obstacle of_folder(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) return because(path, errno);
  if (!S_ISDIR(status.st_mode)) return because(path, ENOTDIR);
  if (is_of_the_kernel(path)) return path + ": Not a place for files";
  return unless_allowed(path, W_OK | X_OK);
}

bool is_there(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0 || errno != ENOENT;
}

// The socket is made in a folder of this length beside its place, under a name of two characters.
constexpr std::size_t kDetour = std::string_view(".vXXXXXX/s").size();

Obstacle of_socket(const Options& options) {
  const std::filesystem::path path = options.socket;
  const std::size_t name = std::max(kDetour, path.filename().native().size());
  const std::size_t size = path.native().size() - path.filename().native().size() + name;
  if (size >= sizeof sockaddr_un::sun_path) return because(options.socket, ENAMETOOLONG);
  struct stat status = {};
  if (lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
    return because(options.socket, EISDIR);
  }
  return of_folder(path.has_parent_path() ? path.parent_path().native() : ".");
}

// Folders that are missing are made when the core starts.
Obstacle of_folder_to_be(std::filesystem::path path) {
  while (!is_there(path.native()) && path.has_relative_path()) path = path.parent_path();
  return of_folder(path.native());
}

// What is no database would be set aside.
Obstacle of_database(const std::string& path) {
  constexpr std::string_view kBegin("SQLite format 3\0", 16);
  const Descriptor file(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
  struct stat status = {};
  if (!file || fstat(file.get(), &status) != 0) return because(path, errno);
  if (!S_ISREG(status.st_mode)) return path + ": Not a file";
  std::array<char, kBegin.size()> begin = {};
  const ssize_t size = read(file.get(), begin.data(), begin.size());
  if (size < 0) return because(path, errno);
  const bool good = size == 0 || std::string_view(begin.data(), begin.size()) == kBegin;
  return good ? "" : path + ": Not a store";
}

Obstacle of_store(const Options& options) {
  std::error_code error;
  const auto path =
      std::filesystem::weakly_canonical(std::filesystem::absolute(options.store, error), error);
  if (error) return because(options.store, error.value());
  if (!path.has_filename()) return because(options.store, EISDIR);
  if (Obstacle found = of_folder_to_be(path.parent_path()); !found.empty()) return found;
  const std::string lock = path.native() + ".lock";
  if (is_there(lock)) {
    if (Obstacle found = unless_allowed(lock, R_OK | W_OK); !found.empty()) return found;
  }
  return is_there(path.native()) ? of_database(path.native()) : "";
}

Obstacle less(uint64_t limit, uint64_t least, const char* than) {
  if (limit >= least) return "";
  return std::to_string(limit) + " is less than " + std::to_string(least) + ", " + than;
}

constexpr const char* kOwnRequests = "which the core's own requests may take";
constexpr const char* kMessage = "which a message may have";

template <uint32_t rt::Limits::*Limit, uint32_t least>
Obstacle of_limit(const Options& options) {
  return less(options.settings.message.*Limit, least, kOwnRequests);
}

Obstacle of_buffers(const Options& options) {
  return less(options.settings.buffers, options.settings.message.message, kMessage);
}

// A request to the manager has it ask a module, which may save what it was told to commit.
Obstacle of_chain(const Options& options) {
  return less(options.settings.chain, 3, "which a request that changes something may need");
}

// Lines and what else the core has open.
Obstacle of_descriptors(const Options& options) {
  constexpr uint64_t kOthers = 32;
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return "";
  const uint64_t wanted = options.settings.lines + kOthers;
  if (wanted <= limit.rlim_max) return "";
  return std::to_string(wanted) + " descriptors are more than the " +
         std::to_string(limit.rlim_max) + " that the process may have";
}

// A client, and a module's main line, its serving line and its calling line.
Obstacle of_lines(const Options& options) {
  Obstacle found = less(options.settings.lines, 4, "which a client and a module need");
  return found.empty() ? of_descriptors(options) : found;
}

struct Check {
  const char* option;
  Obstacle (*find)(const Options& options);
};
constexpr Check kChecks[] = {
    {"--socket", of_socket},
    {"--store", of_store},
    {"--max-message", of_limit<&rt::Limits::message, 1024>},
    {"--max-depth", of_limit<&rt::Limits::depth, 4>},
    {"--max-nodes", of_limit<&rt::Limits::nodes, 16>},
    {"--max-members", of_limit<&rt::Limits::members, 5>},
    {"--max-pairs", of_limit<&rt::Limits::pairs, 16>},
    {"--max-text", of_limit<&rt::Limits::text, 64>},
    {"--max-path", of_limit<&rt::Limits::path, 64>},
    {"--max-name", of_limit<&rt::Limits::name, 24>},
    {"--max-buffers", of_buffers},
    {"--max-lines", of_lines},
    {"--max-chain", of_chain},
};

}  // namespace

std::vector<std::string> obstacles(const Options& options) {
  std::vector<std::string> found;
  for (const Check& check : kChecks) {
    const Obstacle obstacle = check.find(options);
    if (!obstacle.empty()) found.push_back(std::string(check.option) + ": " + obstacle);
  }
  return found;
}

}  // namespace vesk::core

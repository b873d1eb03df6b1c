#include "core/store_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <system_error>

namespace vesk::core {
namespace {

constexpr mode_t kPrivateFolder = 0700;
constexpr mode_t kPrivateFile = 0600;

[[noreturn]] void fail(int error, const std::string& path) {
  throw std::system_error(error, std::generic_category(), path);
}

std::string parent_of(const std::string& path) {
  return std::filesystem::path(path).parent_path().string();
}

Descriptor open_private(const std::string& path) {
  return Descriptor(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kPrivateFile));
}

// Has the names in a folder survive a power cut.
void sync_folder(const std::string& path) {
  const Descriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder || fsync(folder.get()) != 0) fail(errno, path);
}

bool exists(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

void move(const std::string& from, const std::string& to) {
  if (std::rename(from.c_str(), to.c_str()) != 0 && errno != ENOENT) fail(errno, from);
}

std::string time_in_utc() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y%m%dT%H%M%SZ", &parts);
  return text.data();
}

std::string free_name(const std::string& wanted) {
  std::string name = wanted;
  for (int count = 2; exists(name); ++count) name = wanted + "-" + std::to_string(count);
  return name;
}

Descriptor lock_file(const std::string& path) {
  Descriptor file = open_private(path);
  if (file && flock(file.get(), LOCK_EX | LOCK_NB) == 0) return file;
  fail(errno == EWOULDBLOCK ? EBUSY : errno, path);
}

// Whether a file is the one that is at a path now.
bool is_at(const Descriptor& file, const std::string& path) {
  struct stat held {};
  struct stat there {};
  if (fstat(file.get(), &held) != 0 || stat(path.c_str(), &there) != 0) return false;
  return held.st_dev == there.st_dev && held.st_ino == there.st_ino;
}

// Whoever had the lock may have removed its file between the opening and the locking.
Descriptor take_lock(const std::string& path) {
  for (;;) {
    Descriptor file = lock_file(path);
    if (is_at(file, path)) return file;
  }
}

}  // namespace

void make_folder(const std::string& path) {
  if (exists(path)) return;
  const std::string parent = parent_of(path);
  make_folder(parent);
  if (mkdir(path.c_str(), kPrivateFolder) != 0 && errno != EEXIST) fail(errno, path);
  sync_folder(parent);
}

void refuse_what_others_use(const std::string& path) {
  if (!std::filesystem::path(path).has_filename()) fail(EISDIR, path);
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return;
  if (S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode)) fail(EINVAL, path + " is a device");
  if (S_ISDIR(status.st_mode) && !std::filesystem::is_empty(path)) fail(EISDIR, path);
}

bool make_private_file(const std::string& path) {
  const Descriptor file = open_private(path);
  if (!file && errno == EISDIR) return false;
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) fail(errno, path);
  if (!S_ISREG(status.st_mode)) return false;
  if (fchmod(file.get(), kPrivateFile) != 0) fail(errno, path);
  sync_folder(parent_of(path));
  return true;
}

StoreLock::StoreLock(const std::string& path) : path_(path + ".lock"), file_(take_lock(path_)) {}

StoreLock::~StoreLock() {
  if (is_at(file_, path_)) unlink(path_.c_str());
}

bool is_empty(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) != 0 || status.st_size == 0;
}

std::string name_aside(const std::string& path) { return free_name(path + "." + time_in_utc()); }

// The database comes first: without its log it would be an older store, and nobody would notice. A
// log without its database is noticed when the store is opened.
void set_aside(const std::string& path, const std::string& name) {
  move(path, name);
  sync_folder(parent_of(path));
  for (const char* const beside : {"-wal", "-shm", "-journal"}) move(path + beside, name + beside);
  sync_folder(parent_of(path));
}

}  // namespace vesk::core

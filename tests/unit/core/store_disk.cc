#include "tests/unit/core/store_disk.h"

#include <sqlite3.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

namespace vesk::test {
namespace {

using Operation = StoreDisk::Operation;
using Extent = StoreDisk::Extent;

// Nothing is waited for longer, whatever goes wrong.
constexpr std::chrono::seconds kPatience{60};

// What tests want of the disk, guarded: the store's thread asks, the test's thread sets.
struct State {
  Operation failing = Operation::kRead;
  std::size_t fails_in = 0;  // operations until the failing one; 0 for none
  bool stays_failed = false;
  int code = SQLITE_OK;
  bool struck = false;
  int64_t capacity = std::numeric_limits<int64_t>::max();
  std::size_t log_syncs = 0;
  bool to_halt = false;
  bool halted = false;
  std::string synced_folder = {};
  std::vector<std::string> deleted = {};  // which lasts once the folder is synced
};
State state;
std::mutex mutex;
std::condition_variable changed;

struct File {
  sqlite3_file base;
  std::string path;
  bool log;
  bool fresh;          // SQLite syncs the folder along with the first sync
  sqlite3_file* real;  // behind this record
};

File& of(sqlite3_file* file) { return *reinterpret_cast<File*>(file); }
sqlite3_file* real(sqlite3_file* file) { return of(file).real; }

int admit(Operation operation) {
  const std::lock_guard lock(mutex);
  if (state.fails_in == 0 || operation != state.failing) return SQLITE_OK;
  if (state.fails_in > 1) {
    --state.fails_in;
    return SQLITE_OK;
  }
  state.struck = true;
  if (!state.stays_failed) state.fails_in = 0;
  return state.code;
}

bool fits(int64_t size) {
  const std::lock_guard lock(mutex);
  return size <= state.capacity;
}

void count_and_halt() {
  std::unique_lock lock(mutex);
  ++state.log_syncs;
  if (!state.to_halt) return;
  state.to_halt = false;
  state.halted = true;
  changed.notify_all();
  changed.wait_for(lock, kPatience, [] { return !state.halted; });
}

std::filesystem::path synced_copy_of(const std::string& path) {
  return std::filesystem::path(state.synced_folder) / std::filesystem::path(path).filename();
}

void keep_synced(File& file) {
  const std::lock_guard lock(mutex);
  if (state.synced_folder.empty()) return;
  std::filesystem::copy_file(file.path, synced_copy_of(file.path),
                             std::filesystem::copy_options::overwrite_existing);
  if (!std::exchange(file.fresh, false)) return;
  for (const std::string& path : state.deleted) std::filesystem::remove(synced_copy_of(path));
  state.deleted.clear();
}

int close_file(sqlite3_file* file) {
  const int code = real(file)->pMethods->xClose(real(file));
  of(file).path.~basic_string();
  return code;
}

int read_file(sqlite3_file* file, void* bytes, int size, sqlite3_int64 at) {
  const int code = admit(Operation::kRead);
  return code != SQLITE_OK ? code : real(file)->pMethods->xRead(real(file), bytes, size, at);
}

int write_file(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 at) {
  const int code = fits(at + size) ? admit(Operation::kWrite) : SQLITE_FULL;
  return code != SQLITE_OK ? code : real(file)->pMethods->xWrite(real(file), bytes, size, at);
}

int truncate_file(sqlite3_file* file, sqlite3_int64 size) {
  return real(file)->pMethods->xTruncate(real(file), size);
}

// The machine's own disk is not waited for.
int sync_file(sqlite3_file* file, int) {
  if (of(file).log) count_and_halt();
  const int code = admit(Operation::kSync);
  if (code == SQLITE_OK) keep_synced(of(file));
  return code;
}

int size_of_file(sqlite3_file* file, sqlite3_int64* size) {
  return real(file)->pMethods->xFileSize(real(file), size);
}
int lock_file(sqlite3_file* file, int level) {
  return real(file)->pMethods->xLock(real(file), level);
}
int unlock_file(sqlite3_file* file, int level) {
  return real(file)->pMethods->xUnlock(real(file), level);
}
int check_lock(sqlite3_file* file, int* locked) {
  return real(file)->pMethods->xCheckReservedLock(real(file), locked);
}
int control_file(sqlite3_file* file, int what, void* argument) {
  return real(file)->pMethods->xFileControl(real(file), what, argument);
}
int sector_size(sqlite3_file* file) { return real(file)->pMethods->xSectorSize(real(file)); }
int characteristics(sqlite3_file* file) {
  return real(file)->pMethods->xDeviceCharacteristics(real(file));
}

// Version 1: no shared memory.
constexpr sqlite3_io_methods kMethods{
    1,         close_file,  read_file,  write_file,   truncate_file, sync_file,       size_of_file,
    lock_file, unlock_file, check_lock, control_file, sector_size,   characteristics, nullptr,
    nullptr,   nullptr,     nullptr,    nullptr,      nullptr};

constexpr std::size_t kRecord = (sizeof(File) + 15) / 16 * 16;

int open_file(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* flags_out) {
  auto* const below = static_cast<sqlite3_vfs*>(vfs->pAppData);
  auto* const behind =
      reinterpret_cast<sqlite3_file*>(reinterpret_cast<std::byte*>(file) + kRecord);
  file->pMethods = nullptr;
  const int code = below->xOpen(below, name, behind, flags, flags_out);
  if (code != SQLITE_OK) return code;
  const bool log = (flags & SQLITE_OPEN_WAL) != 0;
  const bool fresh = (flags & (SQLITE_OPEN_WAL | SQLITE_OPEN_MAIN_JOURNAL)) != 0;
  new (file) File{{&kMethods}, name == nullptr ? "" : name, log, fresh, behind};
  return SQLITE_OK;
}

int delete_file(sqlite3_vfs* vfs, const char* name, int sync_folder) {
  auto* const below = static_cast<sqlite3_vfs*>(vfs->pAppData);
  const int code = below->xDelete(below, name, sync_folder);
  const std::lock_guard lock(mutex);
  if (code == SQLITE_OK) state.deleted.emplace_back(name);
  return code;
}

sqlite3_vfs make_vfs(sqlite3_vfs* below) {
  sqlite3_vfs vfs = *below;
  vfs.zName = "disk";
  vfs.pAppData = below;
  vfs.szOsFile = static_cast<int>(kRecord) + below->szOsFile;
  vfs.xOpen = open_file;
  vfs.xDelete = delete_file;
  return vfs;
}

sqlite3_vfs* below = nullptr;
sqlite3_vfs vfs;

}  // namespace

StoreDisk::StoreDisk() {
  state = State();
  below = sqlite3_vfs_find(nullptr);
  vfs = make_vfs(below);
  sqlite3_vfs_register(&vfs, 1);
}

StoreDisk::~StoreDisk() {
  sqlite3_vfs_unregister(&vfs);
  sqlite3_vfs_register(below, 1);
}

void StoreDisk::fail(Operation operation, std::size_t which, int code, Extent extent) {
  const std::lock_guard lock(mutex);
  state.failing = operation;
  state.fails_in = which;
  state.code = code;
  state.stays_failed = extent == Extent::kAllFromThere;
  state.struck = false;
}

bool StoreDisk::struck() const {
  const std::lock_guard lock(mutex);
  return state.struck;
}

void StoreDisk::fill_up_at(int64_t size) {
  const std::lock_guard lock(mutex);
  state.capacity = size;
}

void StoreDisk::heal() {
  const std::lock_guard lock(mutex);
  state.fails_in = 0;
  state.capacity = std::numeric_limits<int64_t>::max();
}

std::size_t StoreDisk::log_syncs() const {
  const std::lock_guard lock(mutex);
  return state.log_syncs;
}

void StoreDisk::halt() {
  const std::lock_guard lock(mutex);
  state.to_halt = true;
}

void StoreDisk::wait_until_halted() {
  std::unique_lock lock(mutex);
  if (!changed.wait_for(lock, kPatience, [] { return state.halted; })) {
    throw std::runtime_error("no sync came");
  }
}

void StoreDisk::go_on() {
  const std::lock_guard lock(mutex);
  state.halted = false;
  changed.notify_all();
}

void StoreDisk::keep_synced(const std::string& folder) {
  const std::lock_guard lock(mutex);
  state.synced_folder = folder;
}

}  // namespace vesk::test

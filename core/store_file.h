#pragma once

// The files of the store, its database aside: the folder, the lock, and what is set aside. Failures
// are thrown as `std::system_error`.

#include <string>

#include "core/descriptor.h"

namespace vesk::core {

/// Makes the folder and those above it that are missing, for this user only.
void make_folder(const std::string& path);

/// Throws if something that surely is not there for the store has its path: a device, or a folder
/// with something in it, which a mistaken option would have set aside.
void refuse_what_others_use(const std::string& path);

/// Makes the file if it is missing, and lets this user only read and write it.
/// @return false if something is there that is not a file
bool make_private_file(const std::string& path);

/// The lock of the store at a path, held while this lives. It is a file of its own beside the
/// store, so that it holds whatever becomes of the database. It is removed while it is still held,
/// and a lock on a file that is no longer at the path counts for nothing. After a crash it is left
/// behind, which does no harm.
class StoreLock {
 public:
  /// Throws `std::errc::device_or_resource_busy` if somebody has the lock.
  explicit StoreLock(const std::string& path);
  ~StoreLock();
  StoreLock(const StoreLock&) = delete;
  StoreLock& operator=(const StoreLock&) = delete;

 private:
  const std::string path_;
  const Descriptor file_;
};

/// Whether there is no file at a path, or nothing in it.
bool is_empty(const std::string& path);

/// A name for what is to be set aside, which nothing has yet: the path, and the time in UTC.
std::string name_aside(const std::string& path);

/// Renames the store at a path, together with what SQLite keeps beside it, so that it can still be
/// opened under the new name. If this is cut short, what is left at the path has no database.
void set_aside(const std::string& path, const std::string& name);

}  // namespace vesk::core

#pragma once

// The socket in the file system. It is never there with other rights than it shall have, takes the
// place of a link or left-over instead of following it, and goes with the one who put it there.

#include <sys/types.h>

#include <string>

#include "core/credentials.h"
#include "core/descriptor.h"

namespace vesk::core {

class SocketFile {
 public:
  /// Binds and listens in a fresh folder beside the path, sets owner and mode there, and moves the
  /// socket into place. Throws `std::system_error`.
  SocketFile(const std::string& path, const Access& access);
  /// Removes the file if it is still this one.
  ~SocketFile();
  SocketFile(const SocketFile&) = delete;
  SocketFile& operator=(const SocketFile&) = delete;

  /// The listening socket; once.
  Descriptor take() { return std::move(listener_); }

 private:
  const std::string path_;
  Descriptor listener_;
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

/// Whether a server answers at the path.
bool is_answered(const std::string& path);

/// The listening socket that the starter of this process has handed over, if any. What says so in
/// the environment is taken away.
Descriptor handed_over();

}  // namespace vesk::core

#include "core/socket_file.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

namespace vesk::core {
namespace {

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

sockaddr_un address_of(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    fail(path);
  }
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

const sockaddr* generic(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

Descriptor new_socket() { return Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)); }

/// A folder of our own, with at most one file "s", which goes with it.
class PrivateFolder {
 public:
  explicit PrivateFolder(const std::string& beside) {
    const std::size_t slash = beside.rfind('/');
    path_ = slash == std::string::npos ? std::string() : beside.substr(0, slash + 1);
    path_ += ".vXXXXXX";
    if (mkdtemp(path_.data()) == nullptr) fail(path_);
  }
  ~PrivateFolder() {
    unlink(file().c_str());
    rmdir(path_.c_str());
  }
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  std::string file() const { return path_ + "/s"; }

 private:
  std::string path_;
};

mode_t mode_for(const Access& access) {
  if (!access.users.empty()) return 0666;
  return access.group.has_value() ? 0660 : 0600;
}

// Of some folders, such as ".", the renaming would say that they are busy, as if a core were there.
void refuse_folder(const std::string& path) {
  struct stat there = {};
  if (lstat(path.c_str(), &there) != 0 || !S_ISDIR(there.st_mode)) return;
  errno = EISDIR;
  fail(path);
}

Descriptor listen_at(const std::string& path, const Access& access) {
  const sockaddr_un address = address_of(path);
  Descriptor listener = new_socket();
  if (!listener) fail("socket");
  if (bind(listener.get(), generic(address), sizeof address) != 0) fail(path);
  if (access.group.has_value() && lchown(path.c_str(), geteuid(), *access.group) != 0) fail(path);
  if (chmod(path.c_str(), mode_for(access)) != 0) fail(path);
  if (listen(listener.get(), SOMAXCONN) != 0) fail(path);
  return listener;
}

bool is_listening_stream(int descriptor) {
  int type = 0, listens = 0, family = 0;
  socklen_t size = sizeof(int);
  return getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_STREAM &&
         getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &family, &size) == 0 && family == AF_UNIX &&
         getsockopt(descriptor, SOL_SOCKET, SO_ACCEPTCONN, &listens, &size) == 0 && listens != 0;
}

long number_in(const char* variable) {
  const char* const text = std::getenv(variable);
  return text == nullptr ? 0 : std::strtol(text, nullptr, 10);
}

}  // namespace

SocketFile::SocketFile(const std::string& path, const Access& access) : path_(path) {
  static_cast<void>(address_of(path));  // clients must be able to name it
  refuse_folder(path);
  const PrivateFolder folder(path);
  listener_ = listen_at(folder.file(), access);
  struct stat file = {};
  if (lstat(folder.file().c_str(), &file) != 0) fail(path);
  device_ = file.st_dev;
  inode_ = file.st_ino;
  if (is_answered(path)) throw std::system_error(EADDRINUSE, std::generic_category(), path);
  if (std::rename(folder.file().c_str(), path.c_str()) != 0) fail(path);
}

SocketFile::~SocketFile() {
  struct stat file = {};
  if (lstat(path_.c_str(), &file) != 0) return;
  if (file.st_dev == device_ && file.st_ino == inode_) unlink(path_.c_str());
}

bool is_answered(const std::string& path) {
  const sockaddr_un address = address_of(path);
  const Descriptor client = new_socket();
  if (!client) fail("socket");
  fcntl(client.get(), F_SETFL, O_NONBLOCK);
  // A server whose queue is full is one that is there.
  return connect(client.get(), generic(address), sizeof address) == 0 || errno == EAGAIN;
}

Descriptor handed_over() {
  constexpr int kFirst = 3;
  const bool ours = number_in("LISTEN_PID") == getpid() && number_in("LISTEN_FDS") > 0;
  for (const char* const name : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES"}) unsetenv(name);
  if (!ours || !is_listening_stream(kFirst)) return {};
  fcntl(kFirst, F_SETFD, FD_CLOEXEC);
  return Descriptor(kFirst);
}

}  // namespace vesk::core

#pragma once

// Descriptors that tests write to and read from.

#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <ostream>
#include <string>
#include <utility>

namespace vesk::test {

// A test that cannot have its descriptors must not pass.
inline void require(bool had) {
  if (!had) std::abort();
}

/// A descriptor that is closed with its scope, or before.
class Fd {
 public:
  explicit Fd(int fd) : fd_(fd) { require(fd >= 0); }
  ~Fd() { close(); }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;

  int get() const { return fd_; }

  void close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

 private:
  int fd_;
};

/// A file in memory, for writing without anybody who reads.
class MemoryFile {
 public:
  int fd() const { return fd_.get(); }

  /// All that was written.
  std::string content() const {
    struct stat status {};
    require(fstat(fd(), &status) == 0);
    std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
    require(pread(fd(), bytes.data(), bytes.size(), 0) == status.st_size);
    return bytes;
  }

 private:
  Fd fd_{memfd_create("written", 0)};
};

/// The kinds of streams that one process reads and another writes.
enum class StreamKind { kSocket, kPipe };
inline constexpr StreamKind kStreamKinds[] = {StreamKind::kSocket, StreamKind::kPipe};

inline std::ostream& operator<<(std::ostream& out, StreamKind kind) {
  return out << (kind == StreamKind::kSocket ? "socket" : "pipe");
}

/// A stream with both of its ends in this process: what is written to `in` is read from `out`.
/// While it lives, writing without a reader does not end the process.
class Channel {
 public:
  explicit Channel(StreamKind kind = StreamKind::kSocket) : Channel(ends_of(kind)) {}
  ~Channel() { std::signal(SIGPIPE, before_); }

  Fd in;
  Fd out;

 private:
  explicit Channel(std::array<int, 2> ends) : in(ends[1]), out(ends[0]) {}

  static std::array<int, 2> ends_of(StreamKind kind) {
    std::array<int, 2> ends{};
    const int result = kind == StreamKind::kPipe ? pipe(ends.data())
                                                 : socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data());
    require(result == 0);
    return ends;
  }

  void (*before_)(int) = std::signal(SIGPIPE, SIG_IGN);
};

/// A stream that holds some bytes, and behind them its end.
class Incoming {
 public:
  explicit Incoming(const std::string& bytes, StreamKind kind = StreamKind::kSocket)
      : channel_(kind) {
    require(bytes.size() <= kCapacity);
    require(write(channel_.in.get(), bytes.data(), bytes.size()) ==
            static_cast<ssize_t>(bytes.size()));
    channel_.in.close();
  }

  int fd() const { return channel_.out.get(); }

  /// Takes what nobody has read.
  std::string rest() {
    std::string bytes(kCapacity, '\0');
    const ssize_t size = read(fd(), bytes.data(), bytes.size());
    require(size >= 0);
    bytes.resize(static_cast<std::size_t>(size));
    return bytes;
  }

 private:
  static constexpr std::size_t kCapacity = 32 * 1024;  // what every stream takes without a reader

  Channel channel_;
};

}  // namespace vesk::test

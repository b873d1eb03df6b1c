#pragma once

#include <unistd.h>

#include <utility>

namespace vesk::rt {

/// Owns a descriptor, or none: -1.
class Fd {
 public:
  explicit Fd(int fd = -1) : fd_(fd) {}
  Fd(Fd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Fd& operator=(Fd&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~Fd() { reset(); }

  int get() const { return fd_; }
  bool valid() const { return fd_ >= 0; }
  void reset() {
    if (valid()) ::close(std::exchange(fd_, -1));
  }

 private:
  int fd_;
};

}  // namespace vesk::rt

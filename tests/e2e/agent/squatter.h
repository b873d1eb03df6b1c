#pragma once

// A server that nobody has asked for.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace vesk::test {

class Squatter {
 public:
  explicit Squatter(const std::string& path, int backlog = 5)
      : descriptor_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(descriptor_, backlog), 0);
  }
  ~Squatter() { close(descriptor_); }
  Squatter(const Squatter&) = delete;
  Squatter& operator=(const Squatter&) = delete;

 private:
  int descriptor_;
};

}  // namespace vesk::test

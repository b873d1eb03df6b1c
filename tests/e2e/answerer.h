#pragma once

// Runs the answering process, so that neither it nor anything else of it stays behind.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <string>

namespace vesk::test {

/// A descriptor, closed at its end. No other program inherits it.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() { close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return fd_; }
  void reset(int fd) {
    close();
    fd_ = fd;
  }
  void close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

  /// How many bytes wait to be read.
  int waiting() const {
    int bytes = -1;
    EXPECT_EQ(0, ioctl(fd_, FIONREAD, &bytes));
    return bytes;
  }

 private:
  int fd_ = -1;
};

/// The other end of a connection: a process of its own, once it is started.
class Answerer {
 public:
  Answerer() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends));
    connection.reset(ends[0]);
    peer.reset(ends[1]);
    EXPECT_EQ(0, pipe2(ends, O_CLOEXEC));
    told_.reset(ends[0]);
    tells_.reset(ends[1]);
  }

  ~Answerer() {
    if (!running()) return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }

  Descriptor connection;  ///< this process's end
  Descriptor peer;        ///< the other end; here until the process has it

  void start(const char* manner) {
    process_ = fork();
    if (process_ == 0) run(manner);
    EXPECT_LT(0, process_);
    peer.close();
    tells_.close();
  }

  bool running() const { return process_ > 0; }

  /// Waits for the process to end of itself, which must be well.
  void wait() {
    int status = -1;
    EXPECT_EQ(process_, waitpid(process_, &status, 0));
    EXPECT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(0, WEXITSTATUS(status));
    process_ = -1;
  }

  /// Ends the connection, and gives what the process has told of what arrived.
  std::string end() {
    connection.close();
    std::string text;
    char bytes[256];
    for (ssize_t count = 0; (count = read(told_.get(), bytes, sizeof bytes)) > 0;) {
      text.append(bytes, static_cast<std::size_t>(count));
    }
    wait();
    return text;
  }

 private:
  [[noreturn]] void run(const char* manner) const {
    if (dup2(peer.get(), STDIN_FILENO) >= 0 && dup2(tells_.get(), STDOUT_FILENO) >= 0) {
      const char* const words[] = {VESK_ANSWERING_PROCESS, manner, nullptr};
      execvp(words[0], const_cast<char* const*>(words));
    }
    _exit(127);
  }

  Descriptor told_;
  Descriptor tells_;
  pid_t process_ = -1;
};

}  // namespace vesk::test

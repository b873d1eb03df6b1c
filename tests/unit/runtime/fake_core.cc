#include "tests/unit/runtime/fake_core.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "tests/support/allocation_fault.h"
#include "vesk/ipc.h"

namespace vesk::test {
namespace {

constexpr int kBacklog = 16;
constexpr unsigned int kPatience = 20;  // seconds; then the script is ended by a signal

void end_script() {
  std::fflush(nullptr);
  _exit(testing::Test::HasFailure() ? 1 : 0);
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Answered& answered) {
  return out << answered.status << ' ' << answered.value;
}

Asked Peer::read_request() const {
  const Value value = new_value();
  vk_ipc_request request{0, nullptr, 0, value.get()};
  EXPECT_EQ(0U, vk_ipc_read_request(fd(), &request)) << "no whole request came";
  const Owned<char, vk_free> path(request.path);
  return {request.tag, path == nullptr ? "" : path.get(), request.action, tree_of(*value)};
}

void Peer::answer(uint32_t status, const Tree& value) const {
  const Value sent = planted(value);
  const vk_ipc_response response{status, sent.get()};
  EXPECT_EQ(0U, vk_ipc_write_response(fd(), &response)) << "the answer was not taken";
}

void Peer::ask(uint32_t tag, const std::string& path, uint32_t action, const Tree& value) const {
  const Value sent = planted(value);
  const vk_ipc_request request{tag, const_cast<char*>(path.c_str()), action, sent.get()};
  EXPECT_EQ(0U, vk_ipc_write_request(fd(), &request)) << "the request was not taken";
}

Answered Peer::read_response() const {
  const Value value = new_value();
  vk_ipc_response response{0, value.get()};
  EXPECT_EQ(0U, vk_ipc_read_response(fd(), &response)) << "no whole response came";
  return {response.status, tree_of(*value)};
}

void Peer::send(const ByteString& bytes) const {
  EXPECT_EQ(static_cast<ssize_t>(bytes.size()),
            ::send(fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL));
}

void Peer::expect_end() const {
  char byte = 0;
  EXPECT_LE(recv(fd(), &byte, 1, 0), 0) << "something came instead of the end";
}

bool Peer::is_quiet() const {
  char byte = 0;
  return recv(fd(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0;
}

Peer FakeCore::Listener::accept() const {
  const int fd = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
  EXPECT_GE(fd, 0);
  return Peer(fd);
}

bool FakeCore::Listener::is_quiet() const {
  pollfd waiting = {fd_, POLLIN, 0};
  return poll(&waiting, 1, 0) == 0;
}

void FakeCore::Listener::fill() const {
  sockaddr_un address = {};
  socklen_t size = sizeof address;
  EXPECT_EQ(0, getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &size));
  EXPECT_EQ(0, listen(fd_, 0));
  for (int made = 0; made == 0;) {
    const rt::Fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    made = connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), size);
  }
  EXPECT_EQ(EAGAIN, errno);
}

void FakeCore::Listener::drain() const {
  EXPECT_EQ(0, listen(fd_, kBacklog));
  while (!is_quiet()) accept();
}

Peer FakeCore::Listener::main_line(const Tree& answer) const {
  Peer peer = accept();
  const Asked asked = peer.read_request();
  EXPECT_EQ("sys.module.attach", asked.path);
  EXPECT_EQ(0U, asked.action);
  EXPECT_EQ(object({{"Name", text("demo")}, {"Version", text("1.2")}}), asked.value);
  peer.answer(VK_EOK, answer);
  return peer;
}

Peer FakeCore::Listener::serving_line() const {
  Peer peer = accept();
  const Asked asked = peer.read_request();
  EXPECT_EQ("sys.module.serve", asked.path);
  EXPECT_EQ(0U, asked.action);
  EXPECT_EQ(object({{"Name", text("demo")}}), asked.value);
  peer.answer(VK_EOK);
  return peer;
}

FakeCore::FakeCore(const Script& script) {
  char folder[] = "/tmp/vesk-test-XXXXXX";
  folder_ = mkdtemp(folder);
  path_ = folder_ + "/core.sock";
  begin(script);
}

FakeCore::~FakeCore() {
  finish();
  std::filesystem::remove_all(folder_);
}

void FakeCore::restart(const Script& script) {
  finish();
  begin(script);
}

void FakeCore::begin(const Script& script) {
  std::filesystem::remove(path_);
  const rt::Fd socket = listening_at(path_);
  std::fflush(nullptr);
  child_ = fork();
  ASSERT_GE(child_, 0);
  if (child_ != 0) return;
  std::setvbuf(stdout, nullptr, _IONBF, 0);  // what it has to say is not lost with it
  alarm(kPatience);
  signal(SIGPIPE, SIG_IGN);
  script(Listener(socket.get()));
  end_script();
}

void FakeCore::finish() {
  int status = -1;
  waitpid(child_, &status, 0);
  EXPECT_TRUE(WIFEXITED(status)) << "the core's script was ended by signal " << WTERMSIG(status);
  EXPECT_EQ(0, WEXITSTATUS(status)) << "the core's script failed";
}

Folder::Folder() {
  char path[] = "/tmp/vesk-test-XXXXXX";
  path_ = mkdtemp(path);
}

Folder::~Folder() { std::filesystem::remove_all(path_); }

rt::Fd listening_at(const std::string& path) {
  rt::Fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  EXPECT_EQ(0, bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
  EXPECT_EQ(0, listen(fd.get(), kBacklog));
  return fd;
}

}  // namespace vesk::test

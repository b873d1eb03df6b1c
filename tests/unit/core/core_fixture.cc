#include "tests/unit/core/core_fixture.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>

#include "lib/wire.h"
#include "lib/wire_memory.h"
#include "runtime/scan.h"
#include "vesk/value/member.h"

namespace vesk::test {
namespace {

constexpr auto kDeadline = 10s;

core::Descriptor connect_to(const std::string& path) {
  core::Descriptor connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  EXPECT_EQ(connect(connection.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  return connection;
}

}  // namespace

TemporaryFolder::TemporaryFolder() : path_("/tmp/vesk-core-test.XXXXXX") {
  EXPECT_NE(mkdtemp(path_.data()), nullptr);
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

TestLine::TestLine(TestCore& core) : core_(core), connection_(connect_to(core.socket())) {}

void TestLine::send(const std::string& path, const Value& value, uint32_t action) {
  const Value any = new_value();
  std::string text = path;
  const vk_ipc_request request = {0, text.data(), action,
                                  value == nullptr ? any.get() : value.get()};
  wire::Buffer buffer;
  wire::Encoder encoder(buffer);
  ASSERT_EQ(encoder.put(request), VK_EOK);
  send_bytes({buffer.bytes().begin(), buffer.bytes().end()});
}

void TestLine::reply(uint32_t status, const Value& value) {
  const Value any = new_value();
  const vk_ipc_response response = {status, value == nullptr ? any.get() : value.get()};
  wire::Buffer buffer;
  wire::Encoder encoder(buffer);
  ASSERT_EQ(encoder.put(response), VK_EOK);
  send_bytes({buffer.bytes().begin(), buffer.bytes().end()});
}

// The core takes bytes only while its loop runs.
void TestLine::send_bytes(const std::vector<std::byte>& bytes) {
  std::size_t sent = 0;
  core_.until([&] {
    const ssize_t count = ::send(connection_.get(), bytes.data() + sent, bytes.size() - sent,
                                 MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count > 0) sent += static_cast<std::size_t>(count);
    return sent == bytes.size() || (count < 0 && errno != EAGAIN);
  });
}

namespace {

// Reads one message of a line, and nothing of the next one.
class Receiver {
 public:
  Receiver(int connection, rt::Message kind)
      : connection_(connection), scanner_(kind, rt::Limits::widest()) {}

  // Whether the message is complete, or there is none any more.
  bool go_on() {
    for (;;) {
      const std::size_t had = bytes_.size();
      bytes_.resize(had + kPiece);
      const ssize_t count = recv(connection_, &bytes_[had], kPiece, MSG_PEEK | MSG_DONTWAIT);
      const bool later = count < 0 && errno == EAGAIN;
      bytes_.resize(had + (count > 0 ? static_cast<std::size_t>(count) : 0));
      if (count <= 0) return !later;
      if (scanner_.scan(bytes_) == rt::Scanner::State::kComplete) bytes_.resize(scanner_.size());
      recv(connection_, &bytes_[had], bytes_.size() - had, MSG_DONTWAIT);
      if (scanner_.state() != rt::Scanner::State::kIncomplete) return true;
    }
  }

  bool complete() const { return scanner_.state() == rt::Scanner::State::kComplete; }
  const std::vector<std::byte>& bytes() const { return bytes_; }

 private:
  static constexpr std::size_t kPiece = 65536;

  const int connection_;
  rt::Scanner scanner_;
  std::vector<std::byte> bytes_;
};

}  // namespace

std::optional<Given> TestLine::answer() {
  Receiver receiver(connection_.get(), rt::Message::kResponse);
  core_.until([&] { return receiver.go_on(); });
  if (!receiver.complete()) return std::nullopt;
  Given given = {0, new_value()};
  vk_ipc_response response = {0, given.value.get()};
  wire::Bytes bytes(receiver.bytes());
  wire::Decoder decoder(bytes);
  EXPECT_EQ(decoder.get(response), VK_EOK);
  given.status = response.status;
  return given;
}

std::optional<Asked> TestLine::request() {
  Receiver receiver(connection_.get(), rt::Message::kRequest);
  core_.until([&] { return receiver.go_on(); });
  if (!receiver.complete()) return std::nullopt;
  Asked asked = {0, "", 0, new_value()};
  vk_ipc_request request = {0, nullptr, 0, asked.value.get()};
  wire::Bytes bytes(receiver.bytes());
  wire::Decoder decoder(bytes);
  EXPECT_EQ(decoder.get(request), VK_EOK);
  asked.tag = request.tag;
  asked.path = request.path;
  asked.action = request.action;
  vk_free(request.path);
  return asked;
}

bool TestLine::has_something() const {
  std::byte next{};
  return recv(connection_.get(), &next, 1, MSG_PEEK | MSG_DONTWAIT) >= 0 || errno != EAGAIN;
}

bool TestLine::is_quiet() {
  core_.run_for(20ms);
  return !has_something();
}

bool TestLine::is_dropped() {
  return core_.until([this] {
    std::byte next{};
    ssize_t count = 0;
    while ((count = recv(connection_.get(), &next, 1, MSG_DONTWAIT)) > 0) {
    }
    return count == 0 || errno != EAGAIN;
  });
}

int TestLine::call(const std::string& path, const Value& value, uint32_t action) {
  send(path, value, action);
  const std::optional<Given> given = answer();
  return given.has_value() ? static_cast<int>(given->status) : -1;
}

TestCore::TestCore(const core::Settings& given, const core::Access& access)
    : socket_(folder_.path("s")),
      settings(given),
      dispatcher(
          loop, settings,
          [this](const core::Peer& cause, const std::string& text) { complain(cause, text); }),
      complain([this](const core::Peer& cause, const std::string& text) {
        budget.complain(cause, text);
      }),
      server(loop, settings, access, dispatcher, budget),
      file(socket_, access) {
  core::serve_modules(dispatcher, settings, budget);
  server.listen(file.take());
}

TestCore::~TestCore() {
  server.close();
  run_for(0ms);
}

bool TestCore::until(const std::function<bool()>& holds) {
  const auto deadline = std::chrono::steady_clock::now() + kDeadline;
  const auto turn = [this] {
    loop.restart();
    try {
      if (loop.poll_one() == 0) loop.run_one_for(1ms);
    } catch (const std::bad_alloc&) {  // the agent goes on, too
    }
  };
  while (!holds()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    fault == nullptr ? turn() : fault->during(turn);
  }
  return true;
}

void TestCore::run_for(std::chrono::milliseconds time) {
  loop.restart();
  loop.run_for(time);
  loop.restart();
  loop.poll();
}

TestModule::TestModule(TestCore& core, const std::string& name)
    : core_(core), name_(name), main_(core) {
  EXPECT_EQ(main_.call("sys.module.attach", named("Name", name)), int{VK_EOK});
}

std::unique_ptr<TestLine> TestModule::calling() {
  auto line = std::make_unique<TestLine>(core_);
  EXPECT_EQ(line->call("sys.module.attach", named("Name", name_)), int{VK_EOK});
  return line;
}

std::unique_ptr<TestLine> TestModule::serving() {
  auto line = std::make_unique<TestLine>(core_);
  EXPECT_EQ(line->call("sys.module.serve", named("Name", name_)), int{VK_EOK});
  return line;
}

int TestModule::add(const std::string& path, uint32_t number) {
  return main_.call("sys.handler.add", handler(path, number));
}

int TestModule::remove(const std::string& path, uint32_t number) {
  return main_.call("sys.handler.del", handler(path, number));
}

int call_from_elsewhere(TestCore& core, const std::string& path, const Value& value) {
  const pid_t child = fork();
  if (child == 0) {
    TestLine line(core);
    line.send(path, value);
    std::array<uint32_t, 2> answer = {};
    // The parent's loop answers.
    const ssize_t count = read(line.descriptor(), answer.data(), sizeof answer);
    _exit(count == sizeof answer ? static_cast<int>(answer[0]) : 255);
  }
  int status = 0;
  EXPECT_TRUE(core.until([&] { return waitpid(child, &status, WNOHANG) == child; }));
  return WEXITSTATUS(status);
}

Value named(const std::string& name, const std::string& text) {
  Value object = new_object();
  EXPECT_EQ(vk_object_set_string(object.get(), name.c_str(), text.c_str()), VK_EOK);
  return object;
}

Value handler(const std::string& path, uint32_t number) {
  Value object = named("Path", path);
  EXPECT_EQ(vk_object_set_uint(object.get(), "Handler", number), VK_EOK);
  return object;
}

}  // namespace vesk::test

#include "tests/e2e/agent/agent.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <utility>

namespace vesk::test {
namespace {

int milliseconds(std::chrono::milliseconds time) { return static_cast<int>(time.count()); }

// A process that nobody has killed has no reason to fail.
void expect_good_end(Process& process, const std::string& log) {
  const int status = process.stop();
  EXPECT_TRUE(status == 0 || status == -SIGKILL) << "status " << status << "\n" << log;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Answer& answer) {
  return out << answer.status << " " << answer.value;
}

Client::Client(const std::string& socket) {
  EXPECT_EQ(vk_client_open(socket.c_str(), milliseconds(kDeadline), &client_), VK_EOK);
}

Answer Client::call(const std::string& path, const Tree& value, uint32_t action) {
  const Value tree = planted(value);
  const uint32_t status =
      vk_client_call(client_, path.c_str(), action, tree.get(), milliseconds(kDeadline));
  return {status, tree_of(*tree)};
}

Agent::Agent(Words options, Prepare prepare)
    : options_(std::move(options)), prepare_(std::move(prepare)) {
  start_core();
}

Agent::~Agent() {
  for (const auto& [name, module] : modules_) expect_good_end(*module, content_of(log_of(name)));
  expect_good_end(*core_, log());
}

void Agent::start_core() {
  Words command = {kCore, "--foreground", "--socket", socket(), "--store", store()};
  command.insert(command.end(), options_.begin(), options_.end());
  core_ = std::make_unique<Process>(command, log_of("veskd"), prepare_);
  wait_for_core();
}

// The core looks at its descriptors in the order in which something came.
void Agent::settle() const {
  Client client(socket());
  for (int i = 0; i != 3; ++i) EXPECT_EQ(client.status("nobody"), VK_ENOANSWER);
}

Process& Agent::start(const std::string& program, const Words& arguments, const std::string& path) {
  Words command = {kModules + ("/vesk-" + program), "--socket", socket()};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return begin(program, std::move(command), path);
}

Process& Agent::start_relay(const std::string& name, const std::string& next) {
  return begin(
      name,
      {kTestModules + std::string("/relay"), name, "--socket", socket(), "--param", "next=" + next},
      "test." + name);
}

Process& Agent::start_sleeper(const std::string& name) {
  const std::string path = "test." + name + ".ready";
  return begin(name, {kTestModules + std::string("/sleeper"), name, "--socket", socket()}, path);
}

Process& Agent::begin(const std::string& name, Words command, const std::string& path) {
  std::unique_ptr<Process>& module = modules_[name];
  module = nullptr;  // one that ran before is gone before the new one comes
  module = std::make_unique<Process>(command, log_of(name));
  Client client(socket());
  EXPECT_TRUE(until([&] { return client.status(path, relayed(0)) == VK_EOK; }))
      << name << " does not come";
  return *module;
}

std::size_t Agent::core_descriptors() const {
  const std::filesystem::directory_iterator all("/proc/" + std::to_string(core_->id()) + "/fd");
  return static_cast<std::size_t>(
      std::distance(std::filesystem::begin(all), std::filesystem::end(all)));
}

Tree relayed(uint32_t left) {
  return object({{"Left", unsigned_integer(left)}, {"Trail", text("")}});
}

std::string trail_of(const Answer& answer) {
  for (const Tree& member : answer.value.items) {
    if (member.name == "Trail") return std::get<std::string>(member.payload);
  }
  return "none";
}

}  // namespace vesk::test

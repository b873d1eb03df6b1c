#include "tests/e2e/agent/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

namespace vesk::test {
namespace {

// A child that begins after its parent's end notices. 0 is a parent of another process space.
void die_with(pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const pid_t found = getppid();
  if (found != parent && found != 0) _exit(127);
}

[[noreturn]] void become(std::vector<char*>& command, int output,
                         const std::function<void()>& prepare) {
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  close_range(STDERR_FILENO + 1, ~0U, 0);  // what whoever runs the tests has left open
  prepare();
  execv(command[0], command.data());
  perror(command[0]);
  _exit(127);
}

pid_t spawn(const std::vector<std::string>& command, const std::string& output,
            const std::function<void()>& prepare) {
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child == 0) {
    die_with(parent);
    become(arguments, file, prepare);
  }
  close(file);
  EXPECT_GT(child, 0);
  return child;
}

int outcome(int status) { return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status); }

}  // namespace

bool until(const std::function<bool()>& holds) {
  const auto deadline = std::chrono::steady_clock::now() + kDeadline;
  while (!holds()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

Folder::Folder() : path_(testing::TempDir() + "agentXXXXXX") {
  EXPECT_NE(mkdtemp(path_.data()), nullptr);
  EXPECT_EQ(chmod(path_.c_str(), 0711), 0);
}

Folder::~Folder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::vector<std::string> Folder::names() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(path_)) {
    names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string content_of(const std::string& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

Process::Process(const std::vector<std::string>& command, const std::string& output,
                 const std::function<void()>& prepare)
    : id_(spawn(command, output, prepare)) {}

Process::~Process() { kill(); }

bool Process::reap(int options) {
  if (!ended_) ended_ = waitpid(id_, &status_, options) == id_;
  return ended_;
}

bool Process::runs() { return !reap(WNOHANG); }

void Process::signal(int number) const {
  if (!ended_) ::kill(id_, number);
}

int Process::wait() {
  if (!until([this] { return reap(WNOHANG); })) {
    ADD_FAILURE() << "process " << id_ << " does not end";
    kill();
  }
  return outcome(status_);
}

void Process::kill() {
  signal(SIGKILL);
  reap(0);
}

int Process::stop() {
  signal(SIGTERM);
  return wait();
}

Ended run(const std::vector<std::string>& command) {
  const Folder folder;
  const std::string output = folder / "output";
  const int status = Process(command, output).wait();
  return {status, content_of(output)};
}

Fork::Fork(const std::function<int()>& function) {
  const pid_t parent = getpid();
  id_ = fork();
  if (id_ != 0) return;
  die_with(parent);
  _exit(function());
}

Fork::~Fork() {
  if (id_ > 0) wait();
}

int Fork::wait() {
  int status = 0;
  const bool ended = until([&] { return waitpid(id_, &status, WNOHANG) == id_; });
  EXPECT_TRUE(ended) << "a child does not end";
  if (!ended) {
    ::kill(id_, SIGKILL);
    waitpid(id_, &status, 0);
  }
  id_ = -1;
  return outcome(status);
}

}  // namespace vesk::test

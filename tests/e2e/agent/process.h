#pragma once

// Processes of the tests: none outlives its object, nor the tests themselves, however they end.

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace vesk::test {

/// How long anything is waited for that must come; so much only because machines are busy.
constexpr std::chrono::seconds kDeadline{30};

/// Waits for something to hold; false if it does not in time.
bool until(const std::function<bool()>& holds);

/// A folder that is new, and gone with what it holds at the end. Every user can reach into it.
class Folder {
 public:
  Folder();
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::string operator/(const std::string& name) const { return path_ + "/" + name; }
  /// The names of what is in it, sorted.
  std::vector<std::string> names() const;

 private:
  std::string path_;
};

std::string content_of(const std::string& file);

/// A program that runs.
class Process {
 public:
  /// Both outputs are added to a file. `prepare` runs in the new process before the program.
  Process(
      const std::vector<std::string>& command, const std::string& output,
      const std::function<void()>& prepare = [] {});

  /// Kills it if it still runs.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  pid_t id() const { return id_; }
  bool runs();
  void signal(int number) const;

  /// Waits for its end. The exit status, or minus the signal that ended it; if it does not end in
  /// time, the test has failed and it is killed.
  int wait();

  /// Ends it as a power cut would.
  void kill();
  /// Asks it to end, and waits.
  int stop();

 private:
  bool reap(int options);

  pid_t id_;
  int status_ = 0;
  bool ended_ = false;
};

/// Runs a program to its end.
struct Ended {
  int status;
  std::string output;
};
Ended run(const std::vector<std::string>& command);

/// Runs a function in a process of its own, which ends with what the function gives.
class Fork {
 public:
  explicit Fork(const std::function<int()>& function);
  ~Fork();
  Fork(const Fork&) = delete;
  Fork& operator=(const Fork&) = delete;

  /// The function's result, or minus the signal.
  int wait();

 private:
  pid_t id_;
};

}  // namespace vesk::test

#pragma once

// What a process that aborted has printed.

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <string>

namespace vesk::test {

/// What appears on standard error when a process does nothing but abort: nothing where the machine
/// runs the tests itself, and a word about the signal where an emulator does.
inline std::string words_of_bare_abort() {
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDERR_FILENO);
    std::abort();
  }
  close(ends[1]);
  std::string words;
  std::array<char, 256> part;
  for (ssize_t got = 0; (got = read(ends[0], part.data(), part.size())) > 0;) {
    words.append(part.data(), static_cast<std::size_t>(got));
  }
  close(ends[0]);
  int status = 0;
  // A test whose measure is wrong must not pass.
  if (waitpid(child, &status, 0) != child || !WIFSIGNALED(status)) std::abort();
  return words;
}

/// Matches the standard error of a process that printed exactly this and then aborted.
inline testing::Matcher<const std::string&> AbortedAfter(const std::string& text) {
  static const auto* const words = new std::string(words_of_bare_abort());
  return testing::Eq(text + *words);
}

}  // namespace vesk::test

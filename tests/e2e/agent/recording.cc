#include "tests/e2e/agent/recording.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace vesk::test {

Recorder::Recorder(const std::string& path, const std::string& core)
    : core_(core), listener_(listening_at(path)) {}

Recorder::~Recorder() { close(listener_); }

bool Recorder::pass_on_until(const std::function<bool()>& holds) {
  return until([&] {
    accept();
    for (std::size_t i = 0; i != lines_.size(); ++i) {
      const Pair& pair = lines_[i];
      pass_on(i, Event::What::kModuleSays, pair.module, pair.core);
      pass_on(i, Event::What::kCoreSays, pair.core, pair.module);
    }
    return holds();
  });
}

void Recorder::accept() {
  pollfd waiting = {listener_, POLLIN, 0};
  if (poll(&waiting, 1, 0) != 1) return;
  lines_.push_back({Line(::accept(listener_, nullptr, nullptr)), Line(core_)});
}

void Recorder::pass_on(std::size_t line, Event::What what, const Line& from, const Line& to) {
  ByteString bytes = from.take();
  if (bytes.empty()) return;
  EXPECT_TRUE(to.send(bytes));
  recording_.push_back({what, line, std::move(bytes)});
}

std::size_t Recorder::count(Event::What what) const {
  return static_cast<std::size_t>(
      std::count_if(recording_.begin(), recording_.end(),
                    [what](const Event& event) { return event.what == what; }));
}

}  // namespace vesk::test

#pragma once

// A line without a socket: what it is asked waits until the test answers it.

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "core/exchange.h"

namespace vesk::test {

class FakeLine final : public core::Line {
 public:
  explicit FakeLine(uint64_t id = 1, const core::Peer& peer = {1, 1, 1, true})
      : id_(id), peer_(peer) {}

  uint64_t id() const override { return id_; }
  const core::Peer& peer() const override { return peer_; }
  void give_time() override {}
  void turn() override { turned = true; }
  void ask(core::Message message, std::function<void(core::Answer)> done) override {
    asked.push_back(std::move(message));
    done_ = std::move(done);
  }
  std::optional<core::Message> take_unsent() override {
    return std::exchange(unsent, std::nullopt);
  }
  bool is_open() const override { return !closed; }
  bool hung_up() const override { return false; }
  void close() override { closed = true; }

  void answer(core::Answer answer) { std::exchange(done_, nullptr)(std::move(answer)); }
  /// Ends while it is asked.
  void fail(uint32_t status) {
    closed = true;
    answer({status});
  }
  /// Ends before any of what it is asked has gone out.
  void fail_unsent() {
    unsent = asked.back();
    fail(VK_EIO);
  }
  bool is_asked() const { return done_ != nullptr; }

  std::deque<core::Message> asked;
  std::optional<core::Message> unsent;
  bool turned = false;
  bool closed = false;

 private:
  const uint64_t id_;
  const core::Peer peer_;
  std::function<void(core::Answer)> done_;
};

}  // namespace vesk::test

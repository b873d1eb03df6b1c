#pragma once

// A module on lines without sockets, and requests for it.

#include <gtest/gtest.h>

#include <asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "core/module.h"
#include "tests/unit/core/fake_line.h"

namespace vesk::test {

using namespace std::chrono_literals;  // NOLINT(google-build-using-namespace)

class ModuleTest : public testing::Test {
 protected:
  ModuleTest() {
    settings.answer = 40ms;
    settings.waiting = 40ms;
  }

  void begin(unsigned serving_lines = 1) {
    main = std::make_shared<FakeLine>();
    module = std::make_shared<core::Module>(loop, "demo", main, settings,
                                            [this](core::Module&) { hung = true; });
    for (unsigned i = 0; i != serving_lines; ++i) {
      lines.push_back(std::make_shared<FakeLine>(i + 2));
      module->add_serving(lines.back());
    }
  }

  /// Submits a request; the result is its status, or -1 as long as there is none.
  std::shared_ptr<int> submit(uint32_t tag, core::CallPtr call = std::make_shared<core::Call>()) {
    auto status = std::make_shared<int>(-1);
    auto task = std::make_shared<core::Task>();
    task->message.tag = tag;
    task->call = std::move(call);
    task->done = [status](const core::Answer& answer) {
      EXPECT_EQ(*status, -1) << "answered twice";
      *status = static_cast<int>(answer.status);
    };
    module->submit(task);
    return status;
  }

  core::Module::CallItem call() {
    const core::Module::CallItem item = module->begin_call();
    module->call_waits();
    return item;
  }

  /// The tags that lines were asked with, line by line.
  std::vector<uint32_t> tags() const {
    std::vector<uint32_t> tags;
    for (const auto& line : lines) {
      for (const core::Message& message : line->asked) tags.push_back(message.tag);
    }
    return tags;
  }

  bool until(const std::function<bool()>& holds) {
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (!holds() && std::chrono::steady_clock::now() < deadline) run_for(1ms);
    return holds();
  }
  void run_for(std::chrono::milliseconds time) {
    loop.restart();
    loop.run_for(time);
  }

  asio::io_context loop;
  core::Settings settings;
  std::shared_ptr<FakeLine> main;
  std::vector<std::shared_ptr<FakeLine>> lines;
  std::shared_ptr<core::Module> module;
  bool hung = false;
};

}  // namespace vesk::test

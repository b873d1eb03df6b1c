// A module under random use, beside a plain model of whom it may be asked by.

#include <gmock/gmock.h>

#include <algorithm>
#include <deque>
#include <map>
#include <random>

#include "tests/unit/core/module_fixture.h"

namespace vesk::test {
namespace {

class ARandomlyUsedModule : public ModuleTest {
 protected:
  /// An open item: a request by its tag, or a call.
  struct Item {
    uint32_t tag;  // 0 for a call
    core::Module::CallItem call;
    FakeLine* line;
  };

  bool accepts() const { return stack_.empty() || stack_.back().tag == 0; }
  std::size_t idle() const {
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(), [](const auto& line) { return !line->is_asked(); }));
  }

  void submit_one() {
    const uint32_t tag = ++last_tag_;
    const bool handed = accepts() && idle() != 0;
    const bool queued = !accepts() && queue_.size() < settings.queue;
    results_[tag] = submit(tag);
    if (queued) queue_.push_back(tag);
    if (handed) expect_handed(tag);
    EXPECT_EQ(*results_[tag], handed || queued ? -1 : int{VK_EBUSY});
  }

  void expect_handed(uint32_t tag) {
    const auto line = std::find_if(lines.begin(), lines.end(), [tag](const auto& each) {
      return each->is_asked() && each->asked.back().tag == tag;
    });
    ASSERT_NE(line, lines.end()) << tag;
    stack_.push_back({tag, {}, line->get()});
  }

  // After what may let in the first who waits.
  void expect_next() {
    if (queue_.empty() || !accepts() || idle_before_ == 0) return;
    const uint32_t tag = queue_.front();
    queue_.pop_front();
    expect_handed(tag);
  }

  void answer_one() {
    const auto item = pick([](const Item& each) { return each.tag != 0; });
    if (item == stack_.end()) return;
    const Item answered = *item;
    stack_.erase(item);
    idle_before_ = idle() + 1;
    answered.line->answer(core::Answer{VK_EFOUND});
    EXPECT_EQ(*results_[answered.tag], int{VK_EFOUND});
    expect_next();
  }

  void call_one() {
    stack_.push_back({0, module->begin_call(), nullptr});
    idle_before_ = idle();
    module->call_waits();
    expect_next();
  }

  void end_one_call() {
    const auto item = pick([](const Item& each) { return each.tag == 0; });
    if (item == stack_.end()) return;
    const Item ended = *item;
    stack_.erase(item);
    idle_before_ = idle();
    module->end_call(ended.call);
    expect_next();
  }

  template <typename Predicate>
  std::vector<Item>::iterator pick(Predicate wanted) {
    const auto begin =
        stack_.begin() + static_cast<std::ptrdiff_t>(random_() % (stack_.size() + 1));
    const auto found = std::find_if(begin, stack_.end(), wanted);
    return found != stack_.end() ? found : std::find_if(stack_.begin(), stack_.end(), wanted);
  }

  std::mt19937 random_{1};
  std::vector<Item> stack_;
  std::deque<uint32_t> queue_;
  std::map<uint32_t, std::shared_ptr<int>> results_;
  std::size_t idle_before_ = 0;
  uint32_t last_tag_ = 0;
};

TEST_F(ARandomlyUsedModule, HandsOverWhatTheModelSaysAndAnswersAllOnce) {
  settings.answer = settings.waiting = 1h;
  settings.queue = 3;
  begin(4);
  for (int step = 0; step != 20'000 && !HasFatalFailure(); ++step) {
    const unsigned choice = random_() % 8;
    if (choice < 3) submit_one();
    if (choice == 3) call_one();
    if (choice == 4) end_one_call();
    if (choice > 4) answer_one();
  }
  module->end(VK_EIO);
  for (const auto& [tag, status] : results_) EXPECT_NE(*status, -1) << tag;
}

}  // namespace
}  // namespace vesk::test

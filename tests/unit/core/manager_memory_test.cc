// Want of memory in the middle of a write.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <exception>
#include <functional>
#include <string>

#include "tests/support/allocation_fault.h"
#include "tests/support/log_spy.h"
#include "tests/support/manager_bench.h"

namespace vesk::test {
namespace {

// The management server sets a parameter in each of two modules, one of which is watched, and the
// parameter key.
class TwoModules {
 public:
  TwoModules() {
    ask("cwmp.rpc.SetParameterAttributes",
        object({{"ParameterList", array({object({{"Name", text("One.A")},
                                                 {"NotificationChange", boolean(1)},
                                                 {"Notification", integer(2)}})})}}));
    one.asked.clear();
    saves_before_ = records_.saves;
  }

  void set(AllocationFault& fault) {
    const Tree list = array({assignment("One.A"), assignment("Two.A")});
    const Tree request = object(
        {{"ParameterList", list}, {"ParameterKey", text("k")}, {"dm-flags", unsigned_integer(1)}});
    fault.during([&] { ask("cwmp.rpc.SetParameterValues", request); });
  }

  int holders() const { return (one.staged.empty() ? 0 : 1) + (two.staged.empty() ? 0 : 1); }
  bool was_read_back() const { return one.count("get One.A") != 0; }
  bool was_saved() const { return records_.saves != saves_before_; }
  bool was_answered() const { return answered_; }

 private:
  void ask(const std::string& path, const Tree& value) {
    core::Request request;
    {
      const Unwatched own_memory;
      request = {components(path), 0, std::make_shared<const core::Bytes>(bytes_of(value))};
    }
    asio::co_spawn(loop_, router_.ask(nullptr, std::move(request)),
                   [this](const std::exception_ptr& thrown, const core::Answer&) {
                     answered_ = thrown == nullptr;
                   });
    loop_.restart();
    loop_.run();
  }

  static Tree assignment(const std::string& name) {
    return object({{"Name", text(name)}, {"Value", text("new")}});
  }
  Provider& add(const std::string& name) {
    return router_.add({.module = name,
                        .pattern = name,
                        .parameters = {{name + ".A", text("a")}},
                        .writable = {name + ".A"}});
  }

  asio::io_context loop_;
  ScriptedRouter router_{loop_};
  MemoryRecords records_{loop_};
  core::Manager manager_{loop_, router_, records_};
  Provider& one = add("One");
  Provider& two = add("Two");
  int saves_before_ = 0;
  bool answered_ = false;
};

// A set with its first allocation refused, with its second, and so on.
void for_each_fault(const std::function<void(const TwoModules&)>& check) {
  const LogSpy log;
  std::size_t strike_at = 1;
  for (bool struck = true; struck; ++strike_at) {
    SCOPED_TRACE(strike_at);
    AllocationFault fault(strike_at, AllocationFault::Extent::kOne);
    TwoModules modules;
    modules.set(fault);
    check(modules);
    struck = fault.struck();
  }
  EXPECT_GT(strike_at, 50U);
}

TEST(ManagerMemory, ThatIsShortKeepsOneModuleAtMostFromItsCommitOrRollback) {
  for_each_fault([](const TwoModules& modules) { EXPECT_LE(modules.holders(), 1); });
}

TEST(ManagerMemory, ThatIsShortDoesNotKeepAWriteFromItsEnd) {
  for_each_fault([](const TwoModules& modules) {
    if (!modules.was_read_back()) return;
    EXPECT_TRUE(modules.was_saved() || modules.was_answered());
  });
}

}  // namespace
}  // namespace vesk::test

// Want of memory in the middle of a request.

#include <gtest/gtest.h>

#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "tests/support/allocation_fault.h"
#include "tests/support/log_spy.h"
#include "tests/support/manager_watches.h"

extern "C" void* __real_malloc(std::size_t size);
extern "C" void __real_free(void* block);

namespace vesk::test {
namespace {

// Three components that make the name of a parameter as long as nothing else is.
const std::string kLong = std::string(200, 'x') + '.' + std::string(201, 'x') + ".A";

// Refuses one copy of a text of that length below an object with a short name: a fault of `new`
// that strikes what the manager does, and neither the loop under it nor the modules.
class CopyFault {
 public:
  explicit CopyFault(std::size_t strike_at) : strike_at_(strike_at) {}

  // Makes one call whose copies count.
  template <typename Call>
  auto during(const Call& call) {
    struct Armed {
      explicit Armed(CopyFault* fault) { armed = fault; }
      ~Armed() { armed = nullptr; }
    } const until_end(this);
    return call();
  }

  bool struck() const { return asked_ >= strike_at_; }

  static bool refuses(std::size_t size) {
    constexpr std::size_t kAbove = sizeof "One.";
    return armed != nullptr && !Unwatched::any() && size == kAbove + kLong.size() &&
           ++armed->asked_ == armed->strike_at_;
  }

 private:
  static inline CopyFault* armed = nullptr;

  std::size_t strike_at_;
  std::size_t asked_ = 0;
};

struct NoFault {
  template <typename Call>
  auto during(const Call& call) {
    return call();
  }
} none;

// Two modules with a parameter each, the first of which is watched.
class TwoModules {
 public:
  TwoModules() {
    watch(none, 1);
    one.asked.clear();
    saves_before_ = records_.saves;
  }

  // None if it was not answered.
  template <typename Fault>
  std::optional<Told> ask(Fault& fault, const std::string& path, const Tree& value) {
    std::optional<core::Answer> answer;
    asio::co_spawn(loop_, router_.ask(nullptr, {components(path), 0, shared(value)}),
                   [&](const std::exception_ptr& thrown, core::Answer given) {
                     if (thrown == nullptr) answer = std::move(given);
                   });
    loop_.restart();
    fault.during([this] { return loop_.run(); });
    if (!answer) return std::nullopt;
    return Told{answer->status, tree_in(answer->value)};
  }

  template <typename Fault>
  std::optional<Told> watch(Fault& fault, int32_t notification,
                            const std::string& name = "One." + kLong) {
    const Tree wish = object({{"Name", text(name)},
                              {"NotificationChange", boolean(1)},
                              {"Notification", integer(notification)}});
    return ask(fault, kSetAttributes, object({{"ParameterList", array({wish})}}));
  }

  // As the management server does, with a parameter key.
  template <typename Fault>
  std::optional<Told> set(Fault& fault) {
    const Tree list = array({assignment("One."), assignment("Two.")});
    return ask(fault, "cwmp.rpc.SetParameterValues",
               object({{"ParameterList", list},
                       {"ParameterKey", text("k")},
                       {"dm-flags", unsigned_integer(1)}}));
  }

  template <typename Fault>
  std::optional<Told> notifications(Fault& fault, bool keep) {
    return ask(fault, "dmmgr.notification.get", object({{"Keep", boolean(keep ? 1 : 0)}}));
  }

  int holders() const { return (one.staged.empty() ? 0 : 1) + (two.staged.empty() ? 0 : 1); }
  int committed() const {
    const auto is_new = [](const Provider& provider) {
      return provider.parameters.begin()->second == text("new") ? 1 : 0;
    };
    return is_new(one) + is_new(two);
  }
  bool was_read_back() const { return one.count("get One." + kLong) != 0; }
  bool was_saved() const { return records_.saves != saves_before_; }

 private:
  static std::shared_ptr<const core::Bytes> shared(const Tree& value) {
    return std::make_shared<const core::Bytes>(bytes_of(value));
  }
  static Tree assignment(const std::string& object_name) {
    return object({{"Name", text(object_name + kLong)}, {"Value", text("new")}});
  }
  Provider& add(const std::string& name) {
    return router_.add({.module = name,
                        .pattern = name,
                        .parameters = {{name + '.' + kLong, text("a")}},
                        .writable = {name + '.' + kLong}});
  }

  asio::io_context loop_;
  ScriptedRouter router_{loop_};
  MemoryRecords records_{loop_};
  core::Manager manager_{loop_, router_, records_};
  int saves_before_ = 0;

 public:
  Provider& one = add("One");
  Provider& two = add("Two");
};

// Runs something with its first allocation refused, with its second, and so on until it is done
// without a refusal.
void for_each_strike(std::size_t at_least, const std::function<bool(std::size_t)>& run) {
  std::size_t strike_at = 1;
  for (bool struck = true; struck; ++strike_at) {
    SCOPED_TRACE(strike_at);
    struck = run(strike_at);
  }
  EXPECT_GT(strike_at, at_least);
}

// The same with the memory of trees for a set.
void for_each_set(const std::function<void(TwoModules&, const std::optional<Told>&)>& check) {
  const LogSpy log;
  for_each_strike(50, [&](std::size_t strike_at) {
    AllocationFault fault(strike_at, AllocationFault::Extent::kOne);
    TwoModules modules;
    const std::optional<Told> told = modules.set(fault);
    check(modules, told);
    return fault.struck();
  });
}

TEST(ManagerMemory, ThatIsShortKeepsOneModuleAtMostFromItsCommitOrRollback) {
  for_each_set([](const TwoModules& modules, const auto&) { EXPECT_LE(modules.holders(), 1); });
}

TEST(ManagerMemory, ThatIsShortDoesNotKeepAWriteFromItsEnd) {
  for_each_set([](const TwoModules& modules, const std::optional<Told>& told) {
    const bool answered = told && told->status != VK_ENOMEM;
    EXPECT_TRUE(!modules.was_read_back() || modules.was_saved() || answered);
  });
}

TEST(ManagerMemory, ThatIsShortAfterACommitIsNotToldAsIfNothingHadChanged) {
  for_each_set([](const TwoModules& modules, const std::optional<Told>& told) {
    ASSERT_TRUE(told);
    if (modules.committed() != 0) {
      EXPECT_TRUE(told->status == VK_EOK || told->status == VK_EIO) << *told;
    }
  });
}

TEST(ManagerMemory, ThatIsShortForAFaultKeepsNoOtherModuleFromItsCommit) {
  for_each_strike(5, [](std::size_t strike_at) {
    TwoModules modules;
    modules.one.refusals["commit One"] = VK_EVALUE;
    CopyFault fault(strike_at);
    modules.set(fault);
    EXPECT_TRUE(modules.two.staged.empty());
    return fault.struck();
  });
}

TEST(ManagerMemory, ThatIsShortLosesNoNotification) {
  for_each_strike(3, [](std::size_t strike_at) {
    TwoModules modules;
    modules.watch(none, 1, "One.");
    for (const char last : {'B', 'C'}) {
      std::string added = "One." + kLong;
      added.back() = last;
      modules.one.parameters[added] = text("new");
    }
    const std::optional<Told> news = modules.notifications(none, true);
    CopyFault fault(strike_at);
    const std::optional<Told> told = modules.notifications(fault, false);
    EXPECT_TRUE(told == news || modules.notifications(none, false) == news);
    return fault.struck();
  });
}

TEST(ManagerMemory, ThatIsShortLeavesAttributesAsTheyWere) {
  for_each_strike(5, [](std::size_t strike_at) {
    TwoModules modules;
    CopyFault fault(strike_at);
    const bool active = modules.watch(fault, 2) == acknowledged();
    modules.one.parameters["One." + kLong] = text("new");
    EXPECT_EQ(modules.notifications(none, false)->value.items.at(1),
              object({{"Active", boolean(active ? 1 : 0)}}).items[0]);
    return fault.struck();
  });
}

}  // namespace
}  // namespace vesk::test

void* operator new(std::size_t size) {
  if (vesk::test::CopyFault::refuses(size)) throw std::bad_alloc();
  void* const block = __real_malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void operator delete(void* block) noexcept { __real_free(block); }
void operator delete(void* block, std::size_t) noexcept { __real_free(block); }

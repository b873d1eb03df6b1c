// "sys.persistent": keys, what may be done under them, and by whom.

#include <gtest/gtest.h>

#include "core/store.h"
#include "tests/unit/core/core_fixture.h"
#include "tests/unit/core/fake_line.h"

namespace vesk::test {
namespace {

class TheStoreService : public testing::Test {
 protected:
  TheStoreService() {
    core::serve_store(core_.dispatcher, store_, [this] { erased_ = true; });
  }
  ~TheStoreService() override {
    client_.hang_up();
    core_.until([this] { return core_.server.lines() == 0; });
  }

  int save(const std::string& key, const Value& tree) {
    return client_.call("sys.persistent.save." + key, tree);
  }
  int remove(const std::string& key) { return client_.call("sys.persistent.remove." + key); }
  Given load(const std::string& key) {
    client_.send("sys.persistent.load." + key, new_object());
    std::optional<Given> given = client_.answer();
    EXPECT_TRUE(given.has_value());
    return given.has_value() ? std::move(*given) : Given{VK_EINTERNAL, new_value()};
  }

  TemporaryFolder folder_;
  TestCore core_;
  core::Store store_{core_.loop, folder_.path("store.db"),
                     [](const std::string& text) { ADD_FAILURE() << text; }};
  TestLine client_{core_};
  bool erased_ = false;
};

TEST_F(TheStoreService, GivesBackWhatWasSaved) {
  EXPECT_EQ(save("a.b", named("x", "y")), int{VK_EOK});
  const Given given = load("a.b");
  EXPECT_EQ(given.status, VK_EOK);
  EXPECT_EQ(outline(given.value), "object/2{x: string 'y'}");
}

TEST_F(TheStoreService, TakesTextsWithTheSameComponentsForOneKey) {
  EXPECT_EQ(save("a.b.", named("x", "y")), int{VK_EOK});
  EXPECT_EQ(load("a.b").status, VK_EOK);
  EXPECT_EQ(load("a.b..c").status, VK_EOK);
  EXPECT_EQ(load("a.02").status, VK_ENOENT);
  EXPECT_EQ(remove("a.b"), int{VK_EOK});
  EXPECT_EQ(load("a.b.").status, VK_ENOENT);
}

TEST_F(TheStoreService, HasNoKeyWithoutComponents) {
  for (const char* const verb : {"save", "load", "remove"}) {
    EXPECT_EQ(client_.call(std::string("sys.persistent.") + verb), int{VK_EINVAL}) << verb;
    EXPECT_EQ(client_.call(std::string("sys.persistent.") + verb + "..a"), int{VK_EINVAL}) << verb;
  }
}

TEST_F(TheStoreService, KeepsTheCoresOwnKeysToItself) {
  for (const char* const verb : {"save", "load", "remove"}) {
    const std::string path = std::string("sys.persistent.") + verb;
    EXPECT_EQ(client_.call(path + ".veskd"), int{VK_EAUTH}) << verb;
    EXPECT_EQ(client_.call(path + ".veskd.attributes"), int{VK_EAUTH}) << verb;
  }
  EXPECT_EQ(save("veskdemo", named("x", "y")), int{VK_EOK});
}

TEST_F(TheStoreService, SaysWhatIsAbsent) {
  const Given given = load("a");
  EXPECT_EQ(given.status, VK_ENOENT);
  EXPECT_EQ(given.value->type, VK_TYPE_ANY);
  EXPECT_EQ(remove("a"), int{VK_ENOENT});
}

TEST_F(TheStoreService, KeepsThatThereIsNoTree) {
  EXPECT_EQ(save("a", nullptr), int{VK_EOK});
  const Given given = load("a");
  EXPECT_EQ(given.status, VK_EOK);
  EXPECT_EQ(given.value->type, VK_TYPE_ANY);
}

// Asks on a line of a user.
int erase_as(TestCore& core, uid_t user) {
  const auto line = std::make_shared<FakeLine>(1U << 20, core::Peer{user, 1, 1, true});
  int status = -1;
  core.dispatcher.asked(line, {.path = "sys.persistent.erase"}, [&](const core::Answer& answer) {
    status = static_cast<int>(answer.status);
  });
  core.until([&] { return status != -1; });
  core.dispatcher.ended(*line);
  return status;
}

TEST_F(TheStoreService, IsErasedByRootOnly) {
  EXPECT_EQ(save("a", named("x", "y")), int{VK_EOK});
  EXPECT_EQ(erase_as(core_, 1), int{VK_EAUTH});
  EXPECT_EQ(load("a").status, VK_EOK);
  EXPECT_FALSE(erased_);
  EXPECT_EQ(erase_as(core_, 0), int{VK_EOK});
  EXPECT_TRUE(erased_);
  EXPECT_EQ(load("a").status, VK_ENOENT);
}

TEST_F(TheStoreService, ErasesNothingByALongerPath) {
  EXPECT_EQ(client_.call("sys.persistent.erase.a"), int{VK_ENOANSWER});
}

}  // namespace
}  // namespace vesk::test

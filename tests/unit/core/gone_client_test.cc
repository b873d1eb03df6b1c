// What becomes of the work for a client that has gone.

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "core/manager.h"
#include "tests/unit/core/core_fixture.h"
#include "vesk/dmmgr/frame.h"
#include "vesk/value/array.h"
#include "vesk/value/member.h"

namespace vesk::test {
namespace {

// Keeps nothing.
class NoRecords : public core::Records {
 public:
  asio::awaitable<uint32_t> save(std::string, std::shared_ptr<const core::Bytes>) override {
    co_return VK_EOK;
  }
  asio::awaitable<core::Answer> load(std::string) override { co_return core::Answer{VK_ENOENT}; }
};

// The names of two parameters, each of another module.
Value names() {
  Value request = new_object();
  vk_value* const list = vk_object_init_array(request.get(), "ParameterNames");
  for (const char* const name : {"A.X", "B.X"}) {
    EXPECT_EQ(vk_value_set_string(vk_array_add_item(list), name), VK_EOK);
  }
  return request;
}

class AGoneClient : public testing::Test {
 protected:
  AGoneClient() {
    EXPECT_EQ(first_.add("dm.A", 1), int{VK_EOK});
    EXPECT_EQ(second_.add("dm.B", 1), int{VK_EOK});
    client_.send("cwmp.rpc.GetParameterValues", names());
    EXPECT_TRUE(asked_first_->request().has_value());
  }

  // An answer of the first module, after which the second one is due.
  void reply() {
    Value answer = new_object();
    EXPECT_EQ(vk_object_set_string(answer.get(), "ParameterList", "x"), VK_EOK);
    asked_first_->reply(VK_EOK, answer);
  }

  TestCore core_;
  NoRecords records_;
  core::Manager manager_{core_.loop, core_.dispatcher, records_};
  TestModule first_{core_, "first"};
  TestModule second_{core_, "second"};
  std::unique_ptr<TestLine> asked_first_ = first_.serving();
  std::unique_ptr<TestLine> asked_second_ = second_.serving();
  TestLine client_{core_};
};

TEST_F(AGoneClient, WouldHaveHadTheSecondModuleAsked) {
  reply();
  EXPECT_TRUE(asked_second_->request().has_value());
}

TEST_F(AGoneClient, HasNoFurtherModuleAsked) {
  const std::size_t lines = core_.server.lines();
  client_.hang_up();
  ASSERT_TRUE(core_.until([&] { return core_.server.lines() == lines - 1; }));
  reply();
  EXPECT_TRUE(asked_second_->is_quiet());
}

TEST(AGoneCaller, HasNoFurtherHandlerAsked) {
  TestCore core;
  TestModule module(core, "demo");
  const auto serving = module.serving();
  ASSERT_EQ(module.add("a", 1), int{VK_EOK});
  ASSERT_EQ(module.add("a.b", 2), int{VK_EOK});
  TestLine client(core);
  client.send("a.b");
  const std::optional<Asked> asked = serving->request();
  ASSERT_TRUE(asked.has_value());
  EXPECT_EQ(asked->tag, 2U);
  const std::size_t lines = core.server.lines();
  client.hang_up();
  ASSERT_TRUE(core.until([&] { return core.server.lines() == lines - 1; }));
  serving->reply(VK_ENOANSWER);
  EXPECT_TRUE(serving->is_quiet());
}

}  // namespace
}  // namespace vesk::test

#include "vesk/module.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include "tests/support/log_spy.h"
#include "tests/support/module_process.h"
#include "vesk/log.h"
#include "vesk/mm/heap.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;

const vk_module_context* const context_at_start = vk_module_ctx;

void log_text() { vk_log(0, VK_LOG_ERROR, "module_test.cc", 1, "log_text", "text"); }

TEST(ModuleContext, IsAbsentInAFreshProcess) { EXPECT_EQ(context_at_start, nullptr); }

TEST(ModuleContext, HoldsNameParametersAndHeap) {
  int somewhere = 0;
  vk_value* const params = reinterpret_cast<vk_value*>(&somewhere);  // only its address counts
  vk_module_context context = {"wlan", params, vk_default_allocator()};
  vk_module_ctx = &context;
  EXPECT_STREQ(vk_module_ctx->name, "wlan");
  EXPECT_EQ(vk_module_ctx->params, params);
  EXPECT_EQ(vk_module_ctx->heap, vk_default_allocator());
  vk_module_ctx = nullptr;
}

TEST(ModuleContext, GivesTheLogItsPrefixAtEachBeginOfAMessage) {
  const LogSpy log;
  log_text();
  {
    ModuleProcess module{"first"};
    log_text();
    module.context.name = "second";
    log_text();
  }
  log_text();
  EXPECT_THAT(log.lines(),
              ElementsAre(LogLine{LOG_ERR, "NONE: text"}, LogLine{LOG_ERR, "first: text"},
                          LogLine{LOG_ERR, "second: text"}, LogLine{LOG_ERR, "NONE: text"}));
}

TEST(ModuleContext, ChangesNothingInAMessageThatHasBegun) {
  const LogSpy log;
  ModuleProcess module{"first"};
  vk_log_begin_message(0, VK_LOG_ERROR, "module_test.cc", 1, "test");
  module.context.name = "second";
  vk_log_printf("text");
  vk_log_end_message();
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_ERR, "first: text"}));
}

TEST(ModuleContext, MayHoldMoreFieldsOfTheModuleRuntime) {
  struct RuntimeContext {
    vk_module_context context;
    int descriptor;
  };
  const LogSpy log;
  RuntimeContext runtime = {{"wlan", nullptr, nullptr}, 7};
  vk_module_ctx = &runtime.context;
  log_text();
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_ERR, "wlan: text"}));
  EXPECT_EQ(runtime.descriptor, 7);
  vk_module_ctx = nullptr;
}

TEST(ModuleContext, IsNotTouchedByTheLog) {
  const LogSpy log;
  const char* const name = "wlan";
  const ModuleProcess module{name};
  log_text();
  EXPECT_EQ(vk_module_ctx, &module.context);
  EXPECT_EQ(module.context.name, name);
  EXPECT_EQ(module.context.params, nullptr);
  EXPECT_EQ(module.context.heap, nullptr);
}

}  // namespace
}  // namespace vesk::test

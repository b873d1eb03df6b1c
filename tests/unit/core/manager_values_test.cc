#include <gtest/gtest.h>

#include <string>

#include "tests/support/manager_bench.h"

namespace vesk::test {
namespace {

class ManagerValues : public ManagerBench {
 protected:
  ManagerValues() {
    router.add({.module = "device",
                .pattern = "Device",
                .parameters = {{"Device.Info.Model", text("m")},
                               {"Device.Info.Up", unsigned_integer(7)},
                               {"Device.Time", long_integer(-3)}}});
  }

  Told values(const std::vector<std::string>& names) {
    return ask("cwmp.rpc.GetParameterValues", object({{"ParameterNames", texts(names)}}));
  }

  static Told list(const Tree& tree) { return answered({{"ParameterList", tree}}); }

  const Tree info = object({{"Model", text("m")}, {"Up", unsigned_integer(7)}});
};

TEST_F(ManagerValues, ComeAsATreeFromTheRoot) {
  EXPECT_EQ(values({"Device.Info.Up", "Device.Time"}),
            list(object({{"Device", object({{"Info", object({{"Up", unsigned_integer(7)}})},
                                            {"Time", long_integer(-3)}})}})));
}

TEST_F(ManagerValues, OfAPartialPathAreAllBelow) {
  EXPECT_EQ(values({"Device.Info."}), list(object({{"Device", object({{"Info", info}})}})));
  const Told all = list(object({{"Device", object({{"Info", info}, {"Time", long_integer(-3)}})}}));
  EXPECT_EQ(values({""}), all);
  EXPECT_EQ(values({"."}), all);
}

TEST_F(ManagerValues, AskedForTwiceComeOnce) {
  EXPECT_EQ(values({"Device.Info.Up", "Device.Info.", "Device.Info.Up"}),
            list(object({{"Device", object({{"Info", object({{"Up", unsigned_integer(7)},
                                                             {"Model", text("m")}})}})}})));
}

TEST_F(ManagerValues, OfNoNamesAreNone) { EXPECT_EQ(values({}), list(object({}))); }

TEST_F(ManagerValues, WithoutAFinalDotMustBeAParameter) {
  for (const char* const name : {"Device.Info", "Device.Nothing", "Device.Info.Model.", "Other.",
                                 "Device.Info.Model.X", "Device..Time", "Device.01"}) {
    EXPECT_EQ(values({"Device.Time", name}), refused(VK_ENOENT, 9005, {{name, 9005}}));
  }
}

TEST_F(ManagerValues, NeedAnArrayOfNames) {
  const Told malformed = refused(VK_EINVAL, 9003);
  const auto asked = [&](const Tree& value) { return ask("cwmp.rpc.GetParameterValues", value); };
  EXPECT_EQ(asked(any()), malformed);
  EXPECT_EQ(asked(object({})), malformed);
  EXPECT_EQ(asked(object({{"ParameterNames", text("Device.Time")}})), malformed);
  EXPECT_EQ(asked(object({{"ParameterNames", array({text("Device.Time"), integer(1)})}})),
            malformed);
}

// Every status that a handler can give, and the fault that is made of it.
TEST_F(ManagerValues, TranslateWhatAHandlerSays) {
  Provider& device = router.add({.module = "other", .pattern = "Other"});
  const std::pair<uint32_t, uint32_t> codes[] = {{VK_ENOENT, 9005},
                                                 {VK_EIO, 9002},
                                                 {VK_ENOMEM, 9004},
                                                 {VK_EINVAL, 9007},
                                                 {VK_EEXIST, 9002},
                                                 {VK_ENAMETOOLONG, 9002},
                                                 {VK_ENOSYS, 9000},
                                                 {VK_EBUSY, 9004},
                                                 {VK_ETIMEDOUT, 9002},
                                                 {VK_EFAULT, 9002},
                                                 {VK_EOPNOTSUPP, 9000},
                                                 {VK_ENOTITEM, 9002},
                                                 {VK_ESOAP, 9002},
                                                 {VK_EAUTH, 9001},
                                                 {VK_EFOUND, 9002},
                                                 {VK_EXML, 9002},
                                                 {VK_ETIMER, 9002},
                                                 {VK_EPROVIDER, 9002},
                                                 {VK_ERO, 9008},
                                                 {VK_EINTERNAL, 9002},
                                                 {VK_ETYPE, 9006},
                                                 {VK_EVALUE, 9007},
                                                 {77, 9002}};
  for (const auto& [status, code] : codes) {
    device.refusals = {{"get Other.A", status}};
    EXPECT_EQ(values({"Other.A"}), refused(status, code, {{"Other.A", code}}));
  }
  device.refusals = {{"get Other.A", VK_ENOANSWER}};
  EXPECT_EQ(values({"Other.A"}), refused(VK_ENOENT, 9005, {{"Other.A", 9005}}));
}

TEST_F(ManagerValues, PassFlagsOnWithoutTheManagersOwnBit) {
  Provider& other =
      router.add({.module = "other", .pattern = "Other", .parameters = {{"Other.A", text("a")}}});
  const auto handed_on = [&](uint32_t flags) {
    other.requests.clear();
    ask("cwmp.rpc.GetParameterValues",
        object({{"ParameterNames", texts({"Other.A"})}, {"dm-flags", unsigned_integer(flags)}}));
    return other.requests.at(0).value;
  };
  EXPECT_EQ(handed_on(0), object({}));
  EXPECT_EQ(handed_on(1), object({}));
  EXPECT_EQ(handed_on(7), object({{"dm-flags", unsigned_integer(6)}}));
}

TEST_F(ManagerValues, AskOnBehalfOfTheCaller) {
  Provider& other =
      router.add({.module = "other", .pattern = "Other", .parameters = {{"Other.A", text("a")}}});
  values({"Other.A"});
  EXPECT_EQ(other.requests.at(0).parent, caller);
}

TEST_F(ManagerValues, BeyondALimitAreRefused) {
  Provider& other = router.add({.module = "other", .pattern = "Other"});
  for (int number = 1; number != 9; ++number) {
    other.parameters["Other.T." + std::to_string(number)] = text("some text");
  }
  const auto limited = [&](const std::function<void(rt::Limits&)>& lower) {
    options.limits = {};
    lower(options.limits);
    restart();
    return values({"Other."});
  };
  const Told refusal = refused(VK_ENOMEM, 9004);
  EXPECT_EQ(limited([](rt::Limits&) {}).status, VK_EOK);
  EXPECT_EQ(limited([](rt::Limits& limits) { limits.members = 7; }), refusal);
  EXPECT_EQ(limited([](rt::Limits& limits) { limits.nodes = 11; }), refusal);
  EXPECT_EQ(limited([](rt::Limits& limits) { limits.nodes = 1; }), refusal);
  EXPECT_EQ(limited([](rt::Limits& limits) { limits.depth = 4; }), refusal);
  EXPECT_EQ(limited([](rt::Limits& limits) { limits.message = 100; }), refusal);
  EXPECT_EQ(limited([](rt::Limits& limits) { limits.pairs = 27; }), refusal);
  EXPECT_EQ(limited([](rt::Limits& limits) { limits.text = 8; }), refusal);
  EXPECT_EQ(limited([](rt::Limits& limits) { limits.nodes = 12; }).status, VK_EOK);
}

TEST_F(ManagerValues, AreAskedForByActionZeroAlone) {
  restart();
  core::Request request{components("cwmp.rpc.GetParameterValues"), 1, nullptr};
  std::optional<core::Answer> answer;
  asio::co_spawn(loop, router.ask(caller, std::move(request)),
                 [&](const std::exception_ptr&, const core::Answer& given) { answer = given; });
  run();
  ASSERT_TRUE(answer);
  EXPECT_EQ((Told{answer->status, tree_in(answer->value)}), refused(VK_EOPNOTSUPP, 9000));
}

TEST_F(ManagerValues, AreNotAnsweredBelowTheirPath) {
  EXPECT_EQ(ask("cwmp.rpc.GetParameterValues.More", any()), (Told{VK_ENOANSWER, any()}));
}

}  // namespace
}  // namespace vesk::test

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "tests/support/manager_watches.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ManagerAttributes : public ManagerWatches {
 protected:
  // Returns when they are being saved.
  Pending begin_to_set(const Tree& wish) {
    Pending setting = begin(kSetAttributes, object({{"ParameterList", array({wish})}}), caller);
    settle();
    return setting;
  }
};

TEST_F(ManagerAttributes, AreOffAndOpenToSubscribersAtFirst) {
  EXPECT_EQ(get({"Device.A"}), rows({{"Device.A", 0}}));
}

TEST_F(ManagerAttributes, OfAPartialPathAreThoseOfAllParametersBelow) {
  EXPECT_EQ(get({"Device.B.", "Device.A"}),
            rows({{"Device.B.C", 0}, {"Device.B.D", 0}, {"Device.A", 0}}));
  EXPECT_EQ(get({""}), get({"Device."}));
}

TEST_F(ManagerAttributes, OfNothingAreRefused) {
  for (const char* const name :
       {"Device.B", "Device.Z", "Device.A.", "Device..A", "Device.T.01."}) {
    EXPECT_EQ(get({name}), refused(VK_ENOENT, 9005, {{name, 9005}}));
    EXPECT_EQ(set({wish(name, 1)}), refused(VK_ENOENT, 9005, {{name, 9005}}));
  }
}

TEST_F(ManagerAttributes, AreSet) {
  EXPECT_EQ(set({wish("Device.A", 2), wish("Device.B.C", 1, {{"Subscriber", "Other"}})}),
            acknowledged());
  EXPECT_EQ(get({"Device.A", "Device.B.C"}),
            rows({{"Device.A", 2}, {"Device.B.C", 1, {"Subscriber", "Other"}}}));
}

TEST_F(ManagerAttributes, ThatAreNotToChangeStay) {
  set({wish("Device.A", 1, {{"Other"}})});
  set({wish("Device.A", 2)});
  EXPECT_EQ(get({"Device.A"}), rows({{"Device.A", 2, {"Other"}}}));
  set({wish("Device.A", std::nullopt, std::vector<std::string>{})});
  EXPECT_EQ(get({"Device.A"}), rows({{"Device.A", 2, {}}}));
  set({wish("Device.A", std::nullopt)});
  EXPECT_EQ(get({"Device.A"}), rows({{"Device.A", 2, {}}}));
}

TEST_F(ManagerAttributes, NeedBooleansToTellWhatChanges) {
  for (const char* const change : {"NotificationChange", "AccessListChange"}) {
    const Tree element =
        object({{"Name", text("Device.A")}, {change, integer(1)}, {"Notification", integer(2)}});
    EXPECT_EQ(ask(kSetAttributes, object({{"ParameterList", array({element})}})),
              refused(VK_EINVAL, 9003))
        << change;
  }
}

TEST_F(ManagerAttributes, AreAlsoSetByTheNameThatGets) {
  // As the library's wrapper sends it, without an access list.
  const Tree element = object({{"Name", text("Device.A")},
                               {"NotificationChange", boolean(1)},
                               {"Notification", integer(2)},
                               {"AccessListChange", boolean(1)}});
  EXPECT_EQ(ask(kGetAttributes, object({{"ParameterList", array({element})}})), acknowledged());
  EXPECT_EQ(get({"Device.A"}), rows({{"Device.A", 2, {}}}));
}

TEST_F(ManagerAttributes, OfAnObjectHoldForAllBelow) {
  set({wish("Device.B.", 2)});
  EXPECT_EQ(get({"Device."}),
            rows({{"Device.A", 0}, {"Device.B.C", 2}, {"Device.B.D", 2}, {"Device.T.1.Name", 0}}));
  device.parameters["Device.B.New"] = text("n");
  EXPECT_EQ(get({"Device.B.New"}), rows({{"Device.B.New", 2}}));
}

TEST_F(ManagerAttributes, OfTheNearestNameHoldAndTheLastWordCounts) {
  set({wish("Device.B.", 2), wish("Device.B.C", 1)});
  EXPECT_EQ(get({"Device.B."}), rows({{"Device.B.C", 1}, {"Device.B.D", 2}}));
  set({wish("Device.", 0)});
  EXPECT_EQ(get({"Device.B."}), rows({{"Device.B.C", 0}, {"Device.B.D", 0}}));
  set({wish("", 1)});
  EXPECT_EQ(get({"Device.B.C"}), rows({{"Device.B.C", 1}}));
}

TEST_F(ManagerAttributes, OfAnObjectReplaceThoseBelow) {
  set({wish("Device.B.C", 1, {{"Other"}}), wish("Device.B.", 2, {{"All"}})});
  EXPECT_EQ(get({"Device.B.C"}), rows({{"Device.B.C", 2, {"All"}}}));
  EXPECT_EQ(records.trees.begin()->second.items[1],
            object({{"Attributes", array({object({{"Name", text("Device.B.")},
                                                  {"Notification", integer(2)},
                                                  {"AccessList", texts({"All"})}})})}})
                .items[0]);
}

TEST_F(ManagerAttributes, OutliveARestart) {
  set({wish("Device.A", 2, {{"Other"}}), wish("Device.B.", 1)});
  restart();
  EXPECT_EQ(get({"Device.A", "Device.B.C"}), rows({{"Device.A", 2, {"Other"}}, {"Device.B.C", 1}}));
  EXPECT_EQ(records.trees.begin()->first.substr(0, 5), "veskd");
}

// As where the core has to end before the store has answered.
TEST_F(ManagerAttributes, MayBeOnTheirWayWhenTheManagerIsGone) {
  set({wish("Device.B.", 2)});
  records.halt();
  const Tree wishes = object({{"ParameterList", array({wish("Device.A", 2)})}});
  const Pending setting = begin(kSetAttributes, wishes, caller);
  settle();
  EXPECT_FALSE(setting->has_value());
  router.forget_services();
  manager.reset();
}

TEST_F(ManagerAttributes, BeginAnewIfTheirRecordIsDamaged) {
  set({wish("Device.A", 2)});
  restart();
  records.load_status = VK_EVALUE;
  EXPECT_EQ(get({"Device.A"}), rows({{"Device.A", 0}}));
}

TEST_F(ManagerAttributes, AreNotTakenForNoneIfTheirRecordCannotBeRead) {
  set({wish("Device.A", 2)});
  restart();
  const Tree kept = records.trees.begin()->second;
  const int saves = records.saves;
  for (const uint32_t status : {VK_EBUSY, VK_ENOMEM}) {
    records.load_status = status;
    EXPECT_EQ(get({"Device.A"}), refused(status, 9004));
    EXPECT_EQ(set({wish("Device.B.C", 1)}), refused(status, 9004));
    EXPECT_EQ(notifications(), refused(status, 9004));
  }
  EXPECT_EQ(records.saves, saves);
  EXPECT_EQ(records.trees.begin()->second, kept);
  records.load_status = VK_EOK;
  EXPECT_EQ(get({"Device.A"}), rows({{"Device.A", 2}}));
}

TEST_F(ManagerAttributes, ThatCannotBeReadKeepEveryWriteFromTheModules) {
  records.load_status = VK_EBUSY;
  const Tree assignment = object({{"Name", text("Device.A")}, {"Value", text("new")}});
  EXPECT_EQ(ask("cwmp.rpc.SetParameterValues", object({{"ParameterList", array({assignment})}})),
            refused(VK_EBUSY, 9004));
  EXPECT_EQ(ask("cwmp.rpc.AddObject", object({{"ObjectName", text("Device.T.")}})),
            refused(VK_EBUSY, 9004));
  EXPECT_EQ(ask("cwmp.rpc.DeleteObject", object({{"ObjectName", text("Device.T.1.")}})),
            refused(VK_EBUSY, 9004));
  EXPECT_THAT(device.asked, IsEmpty());
}

TEST_F(ManagerAttributes, ThatCannotBeSavedAreAsBefore) {
  set({wish("Device.A", 1)});
  records.save_status = VK_EBUSY;
  EXPECT_EQ(set({wish("Device.A", 2), wish("Device.B.C", 2)}), refused(VK_EBUSY, 9004));
  EXPECT_EQ(get({"Device.A", "Device.B.C"}), rows({{"Device.A", 1}, {"Device.B.C", 0}}));
}

TEST_F(ManagerAttributes, AreSetAllOrNone) {
  device.refusals["setattr Device.B.C"] = VK_EVALUE;
  EXPECT_EQ(set({wish("Device.A", 2), wish("Device.B.C", 1)}),
            refused(VK_EVALUE, 9009, {{"Device.B.C", 9009}}));
  EXPECT_EQ(get({"Device.A"}), rows({{"Device.A", 0}}));
}

TEST_F(ManagerAttributes, AreConsentedToByNoAnswer) {
  EXPECT_EQ(set({wish("Device.A", 2)}), acknowledged());
  EXPECT_EQ(device.count("setattr Device.A"), 1);
  EXPECT_EQ(device.requests.back().value, wish("Device.A", 2));
}

TEST_F(ManagerAttributes, OfAnObjectAreAskedOfAllBelowIt) {
  Provider& deeper = router.add({.module = "deeper",
                                 .pattern = "Device.T.$.More",
                                 .parameters = {{"Device.T.1.More.X", text("x")}}});
  EXPECT_EQ(set({wish("Device.T.", 2)}), acknowledged());
  EXPECT_THAT(deeper.asked, ElementsAre("get Device.T.1.More", "setattr Device.T.1.More"));
  deeper.refusals["setattr Device.T.1.More"] = VK_ERO;
  EXPECT_EQ(set({wish("Device.T.", 1)}), refused(VK_ERO, 9009, {{"Device.T.", 9009}}));
}

TEST_F(ManagerAttributes, AreDecidedByTheFirstHandlerThatAnswers) {
  Provider& deeper = router.add(
      {.module = "deeper", .pattern = "Device.A", .parameters = {{"Device.A", text("deeper")}}});
  deeper.refusals["setattr Device.A"] = VK_EOK;
  EXPECT_EQ(set({wish("Device.A", 2)}), acknowledged());
  EXPECT_EQ(device.count("setattr Device.A"), 0);
}

TEST_F(ManagerAttributes, AreNotRejectedByAHandlerThatCouldNotBeAsked) {
  for (const auto& [status, code] :
       {std::pair{VK_ETIMEDOUT, 9002U}, {VK_EBUSY, 9004U}, {VK_EIO, 9002U}, {VK_ENOMEM, 9004U}}) {
    device.refusals["setattr Device.A"] = status;
    EXPECT_EQ(set({wish("Device.A", 2)}), refused(status, code, {{"Device.A", code}}));
  }
}

TEST_F(ManagerAttributes, AreNotRejectedByAHandlerThatVanishes) {
  Provider& deeper = router.add(
      {.module = "deeper", .pattern = "Device.A", .parameters = {{"Device.A", text("deeper")}}});
  deeper.before["setattr Device.A"] = [&] { router.remove("Device.A"); };
  EXPECT_EQ(set({wish("Device.A", 2)}), acknowledged());
  EXPECT_EQ(device.count("setattr Device.A"), 1);
}

TEST_F(ManagerAttributes, ThatDoNotChangeAreNotAskedFor) {
  EXPECT_EQ(set({wish("Device.A", std::nullopt)}), acknowledged());
  EXPECT_EQ(device.count("setattr Device.A"), 0);
}

TEST_F(ManagerAttributes, AreEitherReadOrSet) {
  for (const char* const request : {kGetAttributes, kSetAttributes}) {
    EXPECT_EQ(ask(request, object({{"ParameterNames", texts({"Device.A"})},
                                   {"ParameterList", array({wish("Device.A", 1)})}})),
              refused(VK_EINVAL, 9003));
    EXPECT_EQ(ask(request, object({})), refused(VK_EINVAL, 9003));
  }
  EXPECT_EQ(get({"Device.A"}), rows({{"Device.A", 0}}));
}

TEST_F(ManagerAttributes, NeedSoundWishes) {
  const Tree name = text("Device.A");
  for (const Tree& element :
       {text("Device.A"), object({{"NotificationChange", boolean(0)}}), wish("Device.A", 3),
        wish("Device.A", -1), object({{"Name", name}, {"NotificationChange", boolean(1)}}),
        object({{"Name", name}, {"AccessListChange", boolean(1)}, {"AccessList", text("x")}}),
        object(
            {{"Name", name}, {"AccessListChange", boolean(1)}, {"AccessList", array({any()})}})}) {
    EXPECT_EQ(set({element}), refused(VK_EINVAL, 9003));
  }
  EXPECT_THAT(device.asked, IsEmpty());
}

TEST_F(ManagerAttributes, AreNotSetForThoseWhoMayOnlyRead) {
  const auto reader =
      std::make_shared<const core::Call>(core::Call{nullptr, 1, {7, 7, 7, false}, ""});
  const Tree setting = object({{"ParameterList", array({wish("Device.A", 1)})}});
  EXPECT_EQ(ask(kGetAttributes, setting, reader), refused(VK_EAUTH, 9001));
  EXPECT_EQ(ask(kGetAttributes, object({{"ParameterNames", texts({"Device.A"})}}), reader),
            rows({{"Device.A", 0}}));
}

TEST_F(ManagerAttributes, AreSetByTheCoreItself) {
  const Tree setting = object({{"ParameterList", array({wish("Device.A", 1)})}});
  EXPECT_EQ(ask(kSetAttributes, setting, nullptr), acknowledged());
}

TEST_F(ManagerAttributes, GoWithTheirInstance) {
  device.parameters["Device.T.10.Name"] = text("ten");
  set({wish("Device.T.1.Name", 2), wish("Device.T.1.", 1), wish("Device.T.10.Name", 2)});
  ask("cwmp.rpc.DeleteObject", object({{"ObjectName", text("Device.T.1.")}}));
  device.parameters["Device.T.1.Name"] = text("again");
  const Told left = rows({{"Device.T.1.Name", 0}, {"Device.T.10.Name", 2}});
  EXPECT_EQ(get({"Device.T."}), left);
  restart();
  EXPECT_EQ(get({"Device.T."}), left);
}

TEST_F(ManagerAttributes, StayWithAnInstanceThatWasNotDeleted) {
  set({wish("Device.T.1.Name", 2)});
  device.refusals["commit Device"] = VK_EIO;
  ask("cwmp.rpc.DeleteObject", object({{"ObjectName", text("Device.T.1.")}}));
  EXPECT_EQ(get({"Device.T.1.Name"}), rows({{"Device.T.1.Name", 2}}));
}

TEST_F(ManagerAttributes, AreForgottenWithTheStore) {
  set({wish("Device.A", 2)});
  manager->forget();
  EXPECT_EQ(get({"Device.A"}), rows({{"Device.A", 0}}));
}

TEST_F(ManagerAttributes, ThatCannotBeSavedDoNotComeBackAfterAllIsForgotten) {
  set({wish("Device.A", 1)});
  records.halt();
  records.save_status = VK_EIO;
  const Pending setting = begin_to_set(wish("Device.A", 2));
  manager->forget();
  records.go_on();
  run();
  EXPECT_EQ(*setting, refused(VK_EIO, 9002));
  EXPECT_EQ(get({"Device.A"}), rows({{"Device.A", 0}}));
}

TEST_F(ManagerAttributes, ThatCannotBeSavedTakeNothingElseBack) {
  set({wish("Device.A", 1), wish("Device.B.D", 1)});
  device.parameters["Device.A"] = text("new");
  records.halt();
  records.save_status = VK_EIO;
  const Pending setting = begin_to_set(wish("Device.B.", 0));
  const Pending telling = begin("dmmgr.notification.get", object({}), caller);
  settle();
  records.go_on();
  run();
  EXPECT_EQ(*setting, refused(VK_EIO, 9002));
  EXPECT_EQ(*telling, changes(object({{"Device", object({{"A", text("new")}})}}), false));
  EXPECT_EQ(notifications(), nothing());
  EXPECT_EQ(get({"Device.B.D"}), rows({{"Device.B.D", 1}}));
}

// What was told of them before has not become news.
TEST_F(ManagerAttributes, ThatCannotBeSavedLeaveToldWhatWas) {
  set({wish("Device.A", 1)});
  records.save_status = VK_EIO;
  set({wish("Device.A", 0)});
  EXPECT_EQ(notifications(), nothing());
  set({wish("Device.", 2)});
  device.parameters["Device.B.C"] = text("new");
  EXPECT_EQ(notifications(), nothing());
}

TEST_F(ManagerAttributes, ThatCannotBeSavedLeaveNothingToldOfWhatIsNotWatched) {
  set({wish("Device.B.D", 1)});
  records.halt();
  const Pending setting = begin_to_set(wish("Device.A", 1));
  device.parameters["Device.A"] = text("new");
  const Pending telling = begin("dmmgr.notification.get", object({}), caller);
  settle();
  records.save_status = VK_EIO;
  records.go_on();
  run();
  EXPECT_EQ(*setting, refused(VK_EIO, 9002));
  EXPECT_NE(*telling, nothing());
  records.save_status = VK_EOK;
  notifications();
  EXPECT_EQ(told_names(), (std::vector<std::string>{"Device.B.D"}));
}

TEST_F(ManagerAttributes, BeyondTheRoomForThemAreRefused) {
  const std::string entity(core::dm::Kept::kMostOfAttributes / 2, 'x');
  EXPECT_EQ(set({wish("Device.A", 1, {{entity}})}), acknowledged());
  EXPECT_EQ(set({wish("Device.B.C", 1, {{entity}})}), refused(VK_ENOMEM, 9004));
  EXPECT_EQ(get({"Device.B.C"}), rows({{"Device.B.C", 0}}));
  EXPECT_EQ(set({wish("Device.", 1, {{entity}})}), acknowledged());
}

// Each would otherwise be looked at for every other.
TEST_F(ManagerAttributes, TakeTimeByTheirNumberOnly) {
  const auto time_of = [&](int count) {
    core::dm::Kept kept(records);
    const auto begin = std::chrono::steady_clock::now();
    for (int at = 0; at != count; ++at) {
      const std::string name = "Device.N" + std::to_string(at);
      kept.set(name, {1, std::nullopt});
      kept.tell(name, core::dm::Leaf(4));
    }
    return std::chrono::steady_clock::now() - begin;
  };
  const auto best_of = [&](int count) {
    return std::min({time_of(count), time_of(count), time_of(count), time_of(count)});
  };
  EXPECT_LT(best_of(8000), 80 * best_of(500));
}

TEST_F(ManagerAttributes, WaitForAWriteUnderWayAndAreRefusedWithinIt) {
  Pending nested;
  device.before["set Device.A"] = [&] {
    nested = begin(kSetAttributes, object({{"ParameterList", array({wish("Device.A", 2)})}}),
                   call_of("device", device.requests.back().parent));
  };
  ask("cwmp.rpc.SetParameterValues",
      object({{"ParameterList",
               array({object({{"Name", text("Device.A")}, {"Value", text("x")}})})}}));
  ASSERT_TRUE(nested && *nested);
  EXPECT_EQ(**nested, refused(VK_EBUSY, 9004));
}

}  // namespace
}  // namespace vesk::test

// The real modules together, as the manager shows them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/e2e/agent/agent.h"

namespace vesk::test {
namespace {

using testing::IsSupersetOf;

const char kEntries[] = "Device.X_VESK_Scratch.Entry.";

const Tree* member(const Tree& tree, const std::string& name) {
  for (const Tree& item : tree.items) {
    if (item.name == name) return &item;
  }
  return nullptr;
}

/// What is at a path in the "ParameterList" of an answer; any if nothing is.
Tree found(const Answer& answer, const std::string& path) {
  const Tree* tree = member(answer.value, "ParameterList");
  std::istringstream components(path);
  for (std::string component; tree != nullptr && std::getline(components, component, '.');) {
    tree = member(*tree, component);
  }
  return tree == nullptr ? any() : *tree;
}

Words names_in(const Tree& tree) {
  Words names;
  for (const Tree& item : tree.items) names.push_back(item.name);
  return names;
}

std::vector<Tree> one(const Tree& tree) { return std::vector<Tree>{tree}; }

class RealModules : public testing::Test {
 protected:
  RealModules() {
    agent.start("scratch", {}, "dm.Device.X_VESK_Scratch");
    agent.start("deviceinfo", {}, "dm.Device.DeviceInfo");
    agent.start("network", {}, "dm.Device.IP");
  }

  Answer get(const std::string& name) {
    return client.call("cwmp.rpc.GetParameterValues",
                       object({{"ParameterNames", array(one(text(name)))}}));
  }

  Answer names(const std::string& path, bool next_level) {
    return client.call("cwmp.rpc.GetParameterNames",
                       object({{"ParameterPath", text(path)}, {"NextLevel", boolean(next_level)}}));
  }

  Answer set(std::vector<std::pair<std::string, Tree>> values) {
    std::vector<Tree> list;
    for (const auto& [name, value] : values) {
      list.push_back(object({{"Name", text(name)}, {"Value", value}}));
    }
    return client.call("cwmp.rpc.SetParameterValues",
                       object({{"ParameterList", array(std::move(list))}}));
  }

  Agent agent;
  Client client{agent.socket()};
};

TEST_F(RealModules, ShowOneTree) {
  const Answer root = names("Device.", true);
  ASSERT_EQ(root.status, VK_EOK);
  EXPECT_THAT(names_in(found(root, "Device")),
              IsSupersetOf({"DeviceInfo", "Ethernet", "Hosts", "IP", "X_VESK_Scratch"}));
  EXPECT_EQ(names("", false).status, VK_EOK);
}

TEST_F(RealModules, AnswerOneRequestForAllTheirValues) {
  const Answer all = get("Device.");
  ASSERT_EQ(all.status, VK_EOK) << all;
  EXPECT_EQ(found(all, "Device.DeviceInfo.UpTime").type, VK_TYPE_UNSIGNEDINT);
  EXPECT_EQ(found(all, "Device.X_VESK_Scratch.Note").type, VK_TYPE_STRING);
  EXPECT_EQ(found(all, "Device.IP.Interface").type, VK_TYPE_OBJECT);
}

TEST_F(RealModules, ThatDieAreMissedByNobody) {
  agent.module("deviceinfo").kill();
  const Answer rest = get("Device.");
  ASSERT_EQ(rest.status, VK_EOK) << rest;
  EXPECT_EQ(found(rest, "Device.DeviceInfo").type, VK_TYPE_ANY);
  EXPECT_EQ(found(rest, "Device.X_VESK_Scratch.Note").type, VK_TYPE_STRING);
}

TEST_F(RealModules, AreSetAllOrNone) {
  const std::string note = "Device.X_VESK_Scratch.Note";
  const std::string code = "Device.DeviceInfo.ProvisioningCode";
  EXPECT_EQ(set({{note, text("first")}, {code, text("one")}}).status, VK_EOK);
  const Answer refused = set({{note, text("second")}, {code, integer(2)}});
  EXPECT_EQ(refused.status, VK_ETYPE) << refused;
  EXPECT_EQ(std::get<uint32_t>(member(refused.value, "FaultCode")->payload), 9006U);
  EXPECT_EQ(std::get<std::string>(found(get(note), note).payload), "first");
  EXPECT_EQ(std::get<std::string>(found(get(code), code).payload), "one");
}

TEST_F(RealModules, HaveNoParameterOfAnObjectsName) {
  for (const char* const name : {"Device.X_VESK_Scratch.Entry", "Device.DeviceInfo",
                                 "Device.DeviceInfo.MemoryStatus", "Device.IP"}) {
    const Answer refused = set({{name, text("new")}});
    EXPECT_EQ(refused.status, VK_ENOENT) << name;
    EXPECT_EQ(std::get<uint32_t>(member(refused.value, "FaultCode")->payload), 9005U) << name;
  }
}

TEST_F(RealModules, AddAndDeleteObjects) {
  const Tree table = object({{"ObjectName", text(kEntries)}});
  const Answer added = client.call("cwmp.rpc.AddObject", table);
  ASSERT_EQ(added.status, VK_EOK) << added;
  const std::string entry =
      kEntries + std::to_string(std::get<uint32_t>(member(added.value, "InstanceNumber")->payload));
  EXPECT_EQ(set({{entry + ".Name", text("entry")}}).status, VK_EOK);
  EXPECT_EQ(std::get<std::string>(found(get(entry + ".Name"), entry + ".Name").payload), "entry");
  EXPECT_EQ(client.status("cwmp.rpc.DeleteObject", object({{"ObjectName", text(entry + ".")}})),
            VK_EOK);
  EXPECT_EQ(get(entry + ".Name").status, VK_ENOENT);
}

}  // namespace
}  // namespace vesk::test

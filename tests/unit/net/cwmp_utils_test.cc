#include "vesk/net/cwmp_utils.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/support/allocation_fault.h"
#include "tests/support/frames.h"
#include "tests/support/log_spy.h"
#include "vesk/value/member.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::NotNull;
using testing::StrEq;

vk_value* value_of(const OwnedFrame& frame) { return vk_frame2value(frame.get()); }

TEST(CwmpFault, HasATextAndASource) {
  struct Row {
    uint32_t code;
    const char* text;
    const char* source;
  };
  const Row rows[] = {
      {9000, "Method not supported", "Server"},
      {9001, "Request denied", "Server"},
      {9002, "Internal error", "Server"},
      {9003, "Invalid arguments", "Client"},
      {9004, "Resources exceeded", "Server"},
      {9005, "Invalid parameter name", "Client"},
      {9006, "Invalid parameter type", "Client"},
      {9007, "Invalid parameter value", "Client"},
      {9008, "Attempt to set a non-writable parameter", "Client"},
      {9009, "Notification request rejected", "Server"},
      {9010, "Download failure", "Server"},
      {9011, "Upload failure", "Server"},
      {9012, "File transfer server authentication failure", "Server"},
      {9013, "Unsupported protocol for file transfer", "Server"},
      {9014, "Download failure: unable to join multicast group", "Server"},
      {9015, "Download failure: unable to contact file server", "Server"},
      {9016, "Download failure: unable to access file", "Server"},
      {9017, "Download failure: unable to complete download", "Server"},
      {9018, "Download failure: file corrupted", "Server"},
      {9019, "Download failure: file authentication failure", "Server"},
  };
  for (const Row& row : rows) {
    EXPECT_THAT(vk_cwmp_get_fault_string(row.code), StrEq(row.text));
    EXPECT_THAT(vk_cwmp_get_fault_source(row.code), StrEq(row.source)) << row.code;
  }
}

TEST(CwmpFault, OutsideTheTableHasAnEmptyTextAndIsTheServers) {
  for (const uint32_t code : {0U, 8000U, 8999U, 9020U, 9041U, 0x80000000U, UINT32_MAX}) {
    EXPECT_THAT(vk_cwmp_get_fault_string(code), StrEq(""));
    EXPECT_THAT(vk_cwmp_get_fault_source(code), StrEq("Server"));
  }
}

TEST(CwmpFrame, KeepsTheRpcMethodAsAnUnsignedInt) {
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(vk_cwmp_frame_get_rpc_method(frame.get()), 0U);
  EXPECT_EQ(vk_cwmp_frame_set_rpc_method(frame.get(), 4000000000U), VK_EOK);
  EXPECT_EQ(vk_cwmp_frame_get_rpc_method(frame.get()), 4000000000U);
  const vk_value* const member = vk_object_find_item(value_of(frame), "soap-action-id");
  ASSERT_THAT(member, NotNull());
  EXPECT_EQ(member->type, VK_TYPE_UNSIGNEDINT);
}

TEST(CwmpFrame, HasNoRpcMethodOfAnotherType) {
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(vk_object_set_int(value_of(frame), "soap-action-id", 5), VK_EOK);
  EXPECT_EQ(vk_cwmp_frame_get_rpc_method(frame.get()), 0U);
}

TEST(CwmpFrame, GivesThePeerOrUnknown) {
  const OwnedFrame frame = new_frame();
  EXPECT_THAT(vk_cwmp_frame_get_peer(frame.get()), StrEq("<unknown>"));
  EXPECT_EQ(vk_object_set_uint(value_of(frame), "peer", 5), VK_EOK);
  EXPECT_THAT(vk_cwmp_frame_get_peer(frame.get()), StrEq("<unknown>"));
  EXPECT_EQ(vk_object_set_string(value_of(frame), "peer", "acs.example"), VK_EOK);
  EXPECT_EQ(vk_cwmp_frame_get_peer(frame.get()),
            vk_object_find_item(value_of(frame), "peer")->payload.text);
}

TEST(CwmpFrame, GivesTheSoapActionAsTwoPartsOrNull) {
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(vk_cwmp_frame_get_soap_action(frame.get()), nullptr);
  EXPECT_EQ(vk_cwmp_frame_set_soap_action(frame.get(), "one", "two"), VK_EOK);
  EXPECT_THAT(vk_cwmp_frame_get_soap_action(frame.get()), StrEq("one|two"));
  EXPECT_EQ(outline(frame), "object/2{soap-action: string 'one|two'}");
  EXPECT_EQ(vk_object_set_int(value_of(frame), "soap-action", 5), VK_EOK);
  EXPECT_EQ(vk_cwmp_frame_get_soap_action(frame.get()), nullptr);
}

TEST(CwmpFrame, CutsTheSoapActionAt255Characters) {
  const OwnedFrame frame = new_frame();
  const std::string first(200, 'a');
  for (const std::size_t rest : {54U, 55U, 400U}) {
    const std::string second(rest, 'b');
    EXPECT_EQ(vk_cwmp_frame_set_soap_action(frame.get(), first.c_str(), second.c_str()), VK_EOK);
    EXPECT_THAT(vk_cwmp_frame_get_soap_action(frame.get()),
                StrEq((first + '|' + second).substr(0, 255)));
  }
}

TEST(CwmpFrame, GivesTheHoldRequestsFlagAsItIsStored) {
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(vk_cwmp_frame_get_hold_requests(frame.get()), 0);
  EXPECT_EQ(vk_object_set_bool(value_of(frame), "HoldRequests", 2), VK_EOK);
  EXPECT_EQ(vk_cwmp_frame_get_hold_requests(frame.get()), 2);
  EXPECT_EQ(vk_object_set_string(value_of(frame), "HoldRequests", "true"), VK_EOK);
  EXPECT_EQ(vk_cwmp_frame_get_hold_requests(frame.get()), 0);
}

TEST(CwmpFrame, GivesTheIdOrNull) {
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(vk_cwmp_frame_get_id(frame.get()), nullptr);
  EXPECT_EQ(vk_object_set_string(value_of(frame), "ID", "17"), VK_EOK);
  EXPECT_THAT(vk_cwmp_frame_get_id(frame.get()), StrEq("17"));
  EXPECT_EQ(vk_object_set_bool(value_of(frame), "ID", 1), VK_EOK);
  EXPECT_EQ(vk_cwmp_frame_get_id(frame.get()), nullptr);
}

TEST(CwmpFrame, CannotBeSetWithoutMemory) {
  const LogSpy log;
  for_every_allocation_fault([](AllocationFault& fault) {
    const OwnedFrame frame = new_frame();
    const vk_error result =
        fault.during([&] { return vk_cwmp_frame_set_rpc_method(frame.get(), 1); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
    if (fault.struck()) {
      EXPECT_EQ(outline(frame), "object/2{}");
    }
  });
  for_every_allocation_fault([](AllocationFault& fault) {
    const OwnedFrame frame = new_frame();
    EXPECT_EQ(vk_cwmp_frame_set_soap_action(frame.get(), "old", "one"), VK_EOK);
    const vk_error result =
        fault.during([&] { return vk_cwmp_frame_set_soap_action(frame.get(), "a", "b"); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
    EXPECT_EQ(outline(frame), fault.struck() ? "object/2{soap-action: any}"
                                             : "object/2{soap-action: string 'a|b'}");
  });
}

struct TypeRow {
  vk_type type;
  uint32_t ns;
  const char* name;
};

constexpr TypeRow kTypes[] = {
    {VK_TYPE_INT, 8, "int"},         {VK_TYPE_UNSIGNEDINT, 8, "unsignedInt"},
    {VK_TYPE_LONG, 8, "long"},       {VK_TYPE_UNSIGNEDLONG, 8, "unsignedLong"},
    {VK_TYPE_BOOLEAN, 8, "boolean"}, {VK_TYPE_DATETIME, 8, "dateTime"},
    {VK_TYPE_STRING, 8, "string"},   {VK_TYPE_HEXBINARY, 8, "hexBinary"},
    {VK_TYPE_BASE64, 7, "base64"},   {VK_TYPE_ARRAY, 7, "Array"},
};

TEST(CwmpType, MapsBothWays) {
  const LogSpy log;
  for (const TypeRow& row : kTypes) {
    const cwmp_type* const mapped = vk_type_to_cwmp_type(row.type);
    ASSERT_THAT(mapped, NotNull()) << row.name;
    EXPECT_EQ(mapped->ns, row.ns);
    EXPECT_THAT(mapped->name, StrEq(row.name));
    const std::string name = row.name;
    const cwmp_type type = {row.ns, name.c_str()};
    EXPECT_EQ(cwmp_type_to_vk_type(&type), row.type);
  }
  EXPECT_THAT(log.calls(), IsEmpty());
}

TEST(CwmpType, DoesNotExistForAnyObjectAndWhatIsNoType) {
  for (const vk_type type : {VK_TYPE_ANY, VK_TYPE_OBJECT, vk_type{12}, vk_type{UINT32_MAX}}) {
    const LogSpy log;
    const std::string message = "unknown type " + std::to_string(type);
    EXPECT_EQ(vk_type_to_cwmp_type(type), nullptr);
    EXPECT_THAT(log.calls(), ElementsAre(LogCall{0, 3, "lib/net/cwmp_utils", 0,
                                                 "vk_type_to_cwmp_type", message}));
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{3, "NONE: " + message}));
  }
}

TEST(CwmpType, MustMatchInNamespaceAndName) {
  struct Row {
    cwmp_type type;
    const char* message;
  };
  const Row rows[] = {
      {{8, "base64"}, "unknown type '8|base64'"},     {{8, "Int"}, "unknown type '8|Int'"},
      {{7, "int"}, "unknown type '7|int'"},           {{8, ""}, "unknown type '8|'"},
      {{UINT32_MAX, "int"}, "unknown type '-1|int'"},
  };
  for (const Row& row : rows) {
    const LogSpy log;
    EXPECT_EQ(cwmp_type_to_vk_type(&row.type), VK_TYPE_ANY);
    EXPECT_THAT(log.calls(), ElementsAre(LogCall{0, 3, "lib/net/cwmp_utils", 0,
                                                 "cwmp_type_to_vk_type", row.message}));
  }
}

}  // namespace
}  // namespace vesk::test

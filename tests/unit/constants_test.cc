#include "vesk/vesk.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "vesk/log_names.h"

// Programs embed the records, fill them in and look into them: every number that
// has a name is fixed for good, and so is the place of every field (tests/interface/layout.c).

namespace vesk::test {
namespace {

// A block from a heap is aligned for a pointer and no more, and every record may lie in one.
template <typename Record>
constexpr bool is_plain = std::is_standard_layout_v<Record>&& std::is_trivial_v<Record> &&
                          alignof(Record) <= sizeof(void*);

static_assert(is_plain<vk_stream>);
static_assert(is_plain<vk_log_name>);
static_assert(is_plain<vk_module_context>);
static_assert(is_plain<vk_alloc_ops>);
static_assert(is_plain<vk_allocator>);
static_assert(is_plain<vk_mm_heap>);
static_assert(is_plain<vk_mm_chunk>);
static_assert(is_plain<vk_mm_region>);
static_assert(is_plain<vk_mm_stack>);
static_assert(is_plain<vk_string>);
static_assert(is_plain<vk_binary>);
static_assert(is_plain<vk_datetime>);
static_assert(is_plain<vk_path_node>);
static_assert(is_plain<vk_path_roam>);
static_assert(is_plain<vk_path_tree>);
static_assert(is_plain<vk_value>);
static_assert(is_plain<vk_value_items>);
static_assert(is_plain<vk_value_payload>);
static_assert(is_plain<vk_frame>);
static_assert(is_plain<vk_frame_handler_entry>);
static_assert(is_plain<vk_frame_handler_ops>);
static_assert(is_plain<cwmp_type>);
static_assert(is_plain<vk_ipc_request>);
static_assert(is_plain<vk_ipc_response>);
static_assert(is_plain<dm_handlers>);

TEST(Constants, ResultCodesAreNumberedFrom0To23) {
  constexpr std::array<uint32_t, 24> kCodes = {
      VK_EOK,          VK_ENOENT, VK_EIO,       VK_ENOMEM,    VK_EINVAL, VK_EEXIST,
      VK_ENAMETOOLONG, VK_ENOSYS, VK_EBUSY,     VK_ETIMEDOUT, VK_EFAULT, VK_EOPNOTSUPP,
      VK_ENOTITEM,     VK_ESOAP,  VK_EAUTH,     VK_EFOUND,    VK_EXML,   VK_ETIMER,
      VK_EPROVIDER,    VK_ERO,    VK_EINTERNAL, VK_ETYPE,     VK_EVALUE, VK_ENOANSWER};
  for (uint32_t code = 0; code < kCodes.size(); ++code) EXPECT_EQ(kCodes[code], code);
}

TEST(Constants, LogLevelsAreNumberedFrom0To3AndThereAre3Categories) {
  EXPECT_EQ(VK_LOG_DEBUG, 0);
  EXPECT_EQ(VK_LOG_INFO, 1);
  EXPECT_EQ(VK_LOG_WARNING, 2);
  EXPECT_EQ(VK_LOG_ERROR, 3);
  EXPECT_EQ(VK_LOG_CATEGORIES, 3);
}

TEST(Constants, DatetimeKindsAreNumberedFrom0To2) {
  EXPECT_EQ(VK_DATETIME_ABSOLUTE, 0);
  EXPECT_EQ(VK_DATETIME_RELATIVE, 1);
  EXPECT_EQ(VK_DATETIME_UNKNOWN, 2);
}

TEST(Constants, TypesAreNumberedFrom0To11) {
  constexpr vk_type kTypes[] = {
      VK_TYPE_ANY,     VK_TYPE_OBJECT,   VK_TYPE_ARRAY,       VK_TYPE_BASE64,
      VK_TYPE_BOOLEAN, VK_TYPE_DATETIME, VK_TYPE_HEXBINARY,   VK_TYPE_INT,
      VK_TYPE_LONG,    VK_TYPE_STRING,   VK_TYPE_UNSIGNEDINT, VK_TYPE_UNSIGNEDLONG,
  };
  vk_type number = 0;
  for (const vk_type type : kTypes) EXPECT_EQ(type, number++);
  EXPECT_EQ(number, 12U);
}

TEST(Constants, PoliciesAreBitsOfTheirOwn) {
  EXPECT_EQ(VK_POLICY_INDEXED, 1U);
  EXPECT_EQ(VK_POLICY_ORDERED, 2U);
}

TEST(Constants, AWalkerHoldsAComponentOf4096Characters) { EXPECT_EQ(VK_PATH_COMPONENT_MAX, 4096); }

TEST(Constants, MagicWordsAreTheSameInEveryProcess) {
  EXPECT_EQ(VK_MAGIC_HEAP, 0x37E9B021U);
  EXPECT_EQ(VK_MAGIC_STACK, 0x37E9B061U);
  EXPECT_EQ(VK_MAGIC_STRING, 0x37E9B161U);
  EXPECT_EQ(VK_MAGIC_BINARY, 0x37E9B1A1U);
  EXPECT_EQ(VK_MAGIC_ALLOCATOR, 0x37E9B2A1U);
  EXPECT_EQ(VK_MAGIC_STREAM, 0x37E9B3E1U);
  EXPECT_EQ(VK_MAGIC_PATH_NAME, 0x37E9B121U);
  EXPECT_EQ(VK_MAGIC_PATH_TREE, 0x37E9B1E1U);
  EXPECT_EQ(VK_MAGIC_VALUE, 0x37E9B321U);
  EXPECT_EQ(VK_MAGIC_DEAD, 0xDEADBEAFU);
}

}  // namespace
}  // namespace vesk::test

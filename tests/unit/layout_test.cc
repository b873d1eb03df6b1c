#include "vesk/vesk.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "vesk/log_names.h"

// Programs embed the records, fill them in and look into them: the place and the type of every
// field, and every number that has a name, are fixed for good.

namespace vesk::test {
namespace {

constexpr std::size_t kPointer = sizeof(void*);
constexpr std::size_t kWord = sizeof(uint32_t);

constexpr std::size_t rounded_up(std::size_t size) {
  return (size + kPointer - 1) / kPointer * kPointer;
}

/// Where a field begins. Whoever names its type has that checked by the compiler.
template <typename Type, typename Record>
std::size_t offset_of(Type Record::*field) {
  static const Record record{};
  return static_cast<std::size_t>(reinterpret_cast<const char*>(&(record.*field)) -
                                  reinterpret_cast<const char*>(&record));
}

// A block from a heap is aligned for a pointer and no more, and every record may lie in one.
template <typename Record>
constexpr bool is_plain = std::is_standard_layout_v<Record>&& std::is_trivial_v<Record> &&
                          alignof(Record) <= kPointer;

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

TEST(Layout, ResultsAreUnsigned32BitNumbers) {
  static_assert(std::is_same_v<vk_error, uint32_t>);
  static_assert(std::is_same_v<decltype(vk_strerror(VK_EOK)), const char*>);
}

TEST(Layout, Stream) {
  EXPECT_EQ(offset_of<vk_stream_write_fn>(&vk_stream::write), 0U);
  EXPECT_EQ(offset_of<vk_stream_puts_fn>(&vk_stream::puts), kPointer);
  EXPECT_EQ(offset_of<vk_error>(&vk_stream::error), 2 * kPointer);
  EXPECT_EQ(offset_of<uint32_t>(&vk_stream::magic), 2 * kPointer + kWord);
  EXPECT_EQ(sizeof(vk_stream), 2 * kPointer + 2 * kWord);
}

TEST(Layout, StreamOperations) {
  static_assert(
      std::is_same_v<vk_stream_write_fn, vk_error (*)(vk_stream*, const void*, uint32_t)>);
  static_assert(std::is_same_v<vk_stream_puts_fn, vk_error (*)(vk_stream*, const char*)>);
}

TEST(Layout, LogName) {
  EXPECT_EQ(offset_of<const char*>(&vk_log_name::name), 0U);
  EXPECT_EQ(offset_of<int32_t>(&vk_log_name::value), kPointer);
  EXPECT_EQ(sizeof(vk_log_name), 2 * kPointer);
}

TEST(Layout, ModuleContext) {
  EXPECT_EQ(offset_of<const char*>(&vk_module_context::name), 0U);
  EXPECT_EQ(offset_of<vk_value*>(&vk_module_context::params), kPointer);
  EXPECT_EQ(offset_of<vk_allocator*>(&vk_module_context::heap), 2 * kPointer);
  EXPECT_EQ(sizeof(vk_module_context), 3 * kPointer);
}

TEST(Layout, HeapOperations) {
  EXPECT_EQ((offset_of<void* (*)(vk_allocator*, std::size_t)>(&vk_alloc_ops::alloc)), 0U);
  EXPECT_EQ((offset_of<void* (*)(vk_allocator*, void*, std::size_t)>(&vk_alloc_ops::realloc)),
            kPointer);
  EXPECT_EQ((offset_of<void (*)(vk_allocator*, void*)>(&vk_alloc_ops::free)), 2 * kPointer);
  EXPECT_EQ((offset_of<int (*)(vk_allocator*, const void*)>(&vk_alloc_ops::owns)), 3 * kPointer);
  EXPECT_EQ(offset_of<void (*)(vk_allocator*)>(&vk_alloc_ops::destroy), 4 * kPointer);
  EXPECT_EQ(sizeof(vk_alloc_ops), 5 * kPointer);
}

TEST(Layout, Allocator) {
  EXPECT_EQ(offset_of<const vk_alloc_ops*>(&vk_allocator::ops), 0U);
  EXPECT_EQ(offset_of<const char*>(&vk_allocator::name), kPointer);
  EXPECT_EQ(offset_of<vk_allocator*>(&vk_allocator::next), 2 * kPointer);
  EXPECT_EQ(offset_of<vk_allocator**>(&vk_allocator::prev_link), 3 * kPointer);
  EXPECT_EQ(offset_of<uint32_t>(&vk_allocator::magic), 4 * kPointer);
  EXPECT_EQ(sizeof(vk_allocator), 5 * kPointer);
}

TEST(Layout, MallocHeap) {
  EXPECT_EQ(offset_of<vk_allocator>(&vk_mm_heap::head), 0U);
  EXPECT_EQ(offset_of<uint32_t>(&vk_mm_heap::heap_magic), 5 * kPointer);
  EXPECT_EQ(sizeof(vk_mm_heap), 6 * kPointer);
}

TEST(Layout, Chunk) {
  EXPECT_EQ(offset_of<char*>(&vk_mm_chunk::limit), 0U);
  EXPECT_EQ(offset_of<vk_mm_chunk*>(&vk_mm_chunk::prev), kPointer);
  EXPECT_EQ(sizeof(vk_mm_chunk), 2 * kPointer);
}

TEST(Layout, Region) {
  EXPECT_EQ(offset_of<vk_mm_chunk*>(&vk_mm_region::chunk), 0U);
  EXPECT_EQ(offset_of<char*>(&vk_mm_region::object), kPointer);
  EXPECT_EQ(offset_of<char*>(&vk_mm_region::next_free), 2 * kPointer);
  EXPECT_EQ(offset_of<char*>(&vk_mm_region::limit), 3 * kPointer);
  EXPECT_EQ(offset_of<uint8_t>(&vk_mm_region::empty_object), 4 * kPointer);
  EXPECT_EQ(offset_of<uint8_t>(&vk_mm_region::dropped), 4 * kPointer + 1);
  EXPECT_EQ(sizeof(vk_mm_region), 5 * kPointer);
}

TEST(Layout, Stack) {
  EXPECT_EQ(offset_of<vk_allocator>(&vk_mm_stack::head), 0U);
  EXPECT_EQ(offset_of<vk_mm_region>(&vk_mm_stack::region), 5 * kPointer);
  EXPECT_EQ(offset_of<uint32_t>(&vk_mm_stack::stack_magic), 10 * kPointer);
  EXPECT_EQ(sizeof(vk_mm_stack), 11 * kPointer);
}

TEST(Layout, String) {
  EXPECT_EQ(offset_of<char*>(&vk_string::buf), 0U);
  EXPECT_EQ(offset_of<uint32_t>(&vk_string::capacity), kPointer);
  EXPECT_EQ(offset_of<uint32_t>(&vk_string::length), kPointer + kWord);
  EXPECT_EQ(offset_of<vk_allocator*>(&vk_string::allocator), kPointer + 2 * kWord);
  EXPECT_EQ(offset_of<uint32_t>(&vk_string::magic), 2 * kPointer + 2 * kWord);
  EXPECT_EQ(sizeof(vk_string), 3 * kPointer + 2 * kWord);
}

TEST(Layout, Binary) {
  EXPECT_EQ(offset_of<uint32_t>(&vk_binary::len), 0U);
  EXPECT_EQ(offset_of<uint8_t*>(&vk_binary::data), kPointer);
  EXPECT_EQ(offset_of<uint32_t>(&vk_binary::magic), 2 * kPointer);
  EXPECT_EQ(sizeof(vk_binary), 3 * kPointer);
}

TEST(Layout, DatetimeIsThree32BitWordsOnEveryMachine) {
  EXPECT_EQ(offset_of<int32_t>(&vk_datetime::time), 0U);
  EXPECT_EQ(offset_of<uint32_t>(&vk_datetime::kind), 4U);
  EXPECT_EQ(offset_of<uint32_t>(&vk_datetime::usec), 8U);
  EXPECT_EQ(sizeof(vk_datetime), 12U);
}

TEST(Layout, PathNode) {
  EXPECT_EQ(offset_of<vk_path_node*>(&vk_path_node::next), 0U);
  EXPECT_EQ(offset_of<uint32_t>(&vk_path_node::index), kPointer);
  EXPECT_EQ(offset_of<char*>(&vk_path_node::name), 2 * kPointer);
  EXPECT_EQ(sizeof(vk_path_node), 3 * kPointer);
}

TEST(Layout, PathRoamEndsWithItsBuffer) {
  EXPECT_EQ(offset_of<const char*>(&vk_path_roam::start), 0U);
  EXPECT_EQ(offset_of<uint8_t>(&vk_path_roam::partial), kPointer);
  EXPECT_EQ(offset_of<const char*>(&vk_path_roam::position), 2 * kPointer);
  EXPECT_EQ(offset_of<uint32_t>(&vk_path_roam::node_length), 3 * kPointer);
  EXPECT_EQ(offset_of<uint32_t>(&vk_path_roam::index), 3 * kPointer + kWord);
  EXPECT_EQ(offset_of<char[4097]>(&vk_path_roam::node), 3 * kPointer + 2 * kWord);
  EXPECT_EQ(sizeof(vk_path_roam), rounded_up(3 * kPointer + 2 * kWord + 4097));
}

TEST(Numbers, ResultCodes) {
  constexpr std::array<uint32_t, 24> kCodes = {
      VK_EOK,          VK_ENOENT, VK_EIO,       VK_ENOMEM,    VK_EINVAL, VK_EEXIST,
      VK_ENAMETOOLONG, VK_ENOSYS, VK_EBUSY,     VK_ETIMEDOUT, VK_EFAULT, VK_EOPNOTSUPP,
      VK_ENOTITEM,     VK_ESOAP,  VK_EAUTH,     VK_EFOUND,    VK_EXML,   VK_ETIMER,
      VK_EPROVIDER,    VK_ERO,    VK_EINTERNAL, VK_ETYPE,     VK_EVALUE, VK_ENOANSWER};
  for (uint32_t code = 0; code < kCodes.size(); ++code) EXPECT_EQ(kCodes[code], code);
}

TEST(Numbers, LogLevelsAndCategories) {
  EXPECT_EQ(VK_LOG_DEBUG, 0);
  EXPECT_EQ(VK_LOG_INFO, 1);
  EXPECT_EQ(VK_LOG_WARNING, 2);
  EXPECT_EQ(VK_LOG_ERROR, 3);
  EXPECT_EQ(VK_LOG_CATEGORIES, 3);
}

TEST(Numbers, DatetimeKinds) {
  EXPECT_EQ(VK_DATETIME_ABSOLUTE, 0);
  EXPECT_EQ(VK_DATETIME_RELATIVE, 1);
  EXPECT_EQ(VK_DATETIME_UNKNOWN, 2);
}

TEST(Numbers, LongestComponentThatAWalkerHolds) { EXPECT_EQ(VK_PATH_COMPONENT_MAX, 4096); }

TEST(Numbers, MagicWords) {
  EXPECT_EQ(VK_MAGIC_HEAP, 0x37E9B021U);
  EXPECT_EQ(VK_MAGIC_STACK, 0x37E9B061U);
  EXPECT_EQ(VK_MAGIC_STRING, 0x37E9B161U);
  EXPECT_EQ(VK_MAGIC_BINARY, 0x37E9B1A1U);
  EXPECT_EQ(VK_MAGIC_ALLOCATOR, 0x37E9B2A1U);
  EXPECT_EQ(VK_MAGIC_STREAM, 0x37E9B3E1U);
  EXPECT_EQ(VK_MAGIC_DEAD, 0xDEADBEAFU);
}

}  // namespace
}  // namespace vesk::test

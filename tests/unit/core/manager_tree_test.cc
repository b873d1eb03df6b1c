#include "core/manager_tree.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <new>
#include <utility>

#include "tests/support/allocation_fault.h"
#include "tests/support/log_spy.h"
#include "tests/support/scripted_router.h"

namespace vesk::test {
namespace {

using core::dm::Heap;

Tree merged(const Tree& into, const Tree& from) {
  const Heap heap;
  const OwnedValue node = heap.read(bytes_of(into));
  core::dm::merge(*node, heap.read(bytes_of(from)));
  return tree_of(*node);
}

TEST(ManagerTree, IsReadAndWritten) {
  for (const Tree& tree : one_of_each_type()) {
    const core::Bytes bytes = bytes_of(tree);
    const Heap heap;
    const OwnedValue read = heap.read(bytes);
    EXPECT_EQ(tree_of(*read), tree);
    EXPECT_EQ(core::encode(*read), bytes);
  }
}

TEST(ManagerTree, OfNoBytesIsAny) {
  const Heap heap;
  EXPECT_EQ(tree_of(*heap.read(std::shared_ptr<const core::Bytes>())), any());
  EXPECT_EQ(tree_of(*heap.read(core::Bytes())), any());
}

TEST(ManagerTree, IsChargedToTheAccountOfMessages) {
  const Heap heap;
  core::Bytes bytes(4002 * sizeof(uint32_t));
  const std::array<uint32_t, 2> head = {VK_TYPE_ARRAY, 4000};
  std::memcpy(bytes.data(), head.data(), sizeof head);
  const std::size_t before = core::buffers.used();
  {
    const OwnedValue read = heap.read(bytes);
    EXPECT_GT(core::buffers.used(), before + 4000 * sizeof(vk_value));
  }
  EXPECT_EQ(core::buffers.used(), before);
}

TEST(ManagerTree, IsReadWholeOrNotAtAll) {
  const LogSpy log;
  const Tree tree = object({{"A", text("a")}, {"B", array({object({{"C", integer(1)}})})}});
  const core::Bytes bytes = bytes_of(tree);
  for_every_allocation_fault([&](AllocationFault& fault) {
    const Heap heap;
    OwnedValue read;
    const bool thrown = fault.during([&] {
      try {
        read = heap.read(bytes);
        return false;
      } catch (const std::bad_alloc&) {
        return true;
      }
    });
    EXPECT_EQ(thrown, fault.struck());
    if (!thrown) {
      EXPECT_EQ(tree_of(*read), tree);
    }
  });
}

TEST(ManagerTree, MergesObjectsMemberByMember) {
  EXPECT_EQ(
      merged(object({{"A", integer(1)}, {"B", object({{"C", integer(2)}})}}),
             object({{"B", object({{"D", integer(3)}, {"C", text("c")}})}, {"E", integer(4)}})),
      object({{"A", integer(1)},
              {"B", object({{"C", text("c")}, {"D", integer(3)}})},
              {"E", integer(4)}}));
}

TEST(ManagerTree, MergesAnythingElseByReplacing) {
  const Tree tree = object({{"A", integer(1)}});
  EXPECT_EQ(merged(tree, text("a")), text("a"));
  EXPECT_EQ(merged(text("a"), tree), tree);
  EXPECT_EQ(merged(tree, array({text("a")})), array({text("a")}));
  EXPECT_EQ(merged(tree, any()), tree);
  EXPECT_EQ(merged(any(), tree), tree);
  EXPECT_EQ(merged(integer(1), object({})), object({}));
}

TEST(ManagerTree, MakesThePlaceOfAPath) {
  const Heap heap;
  const OwnedValue root = heap.object();
  EXPECT_EQ(&core::dm::place(*root, {}), root.get());
  core::dm::set_text(*root, "A", "in the way");
  core::dm::check(vk_value_set_int(&core::dm::place(*root, {"A", "B"}), 1));
  core::dm::check(vk_value_set_int(&core::dm::place(*root, {"A", "C"}), 2));
  EXPECT_EQ(tree_of(*root), object({{"A", object({{"B", integer(1)}, {"C", integer(2)}})}}));
}

TEST(ManagerTree, CountsItsNodes) {
  const Heap heap;
  const auto count = [&](const Tree& tree) {
    return core::dm::count_nodes(*heap.read(bytes_of(tree)));
  };
  EXPECT_EQ(count(any()), 1U);
  EXPECT_EQ(count(object({})), 1U);
  EXPECT_EQ(count(object({{"A", integer(1)}, {"B", array({text("b"), any()})}})), 5U);
}

TEST(ManagerTree, KnowsLeaves) {
  const Heap heap;
  for (const Tree& tree : one_of_each_type()) {
    const bool leaf =
        tree.type != VK_TYPE_ANY && tree.type != VK_TYPE_OBJECT && tree.type != VK_TYPE_ARRAY;
    EXPECT_EQ(core::dm::is_leaf(*heap.read(bytes_of(tree))), leaf) << tree;
  }
}

}  // namespace
}  // namespace vesk::test

#include "vesk/value/node.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/binaries.h"
#include "tests/support/heaps.h"
#include "tests/support/recording_heap.h"
#include "tests/support/small_stack.h"
#include "tests/support/values.h"
#include "vesk/value/array.h"
#include "vesk/value/attribute.h"
#include "vesk/value/leaf.h"
#include "vesk/value/object.h"

// In which order a tree is released, and what that takes.

namespace vesk::test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::Eq;
using ::testing::SizeIs;

const void* payload_block(const vk_value& value) {
  switch (value.type) {
    case VK_TYPE_STRING:
      return value.payload.text;
    case VK_TYPE_BASE64:
    case VK_TYPE_HEXBINARY:
      return value.payload.binary.data;
    default:
      return nullptr;
  }
}

// Names the blocks of a tree and gives them in the order of their release: for each node all of its
// members or elements, then its payload, its attributes, its name and last the node.
Names name_blocks(RecordingHeap& heap, const vk_value& value, const std::string& place = "") {
  const std::string node = value.id == nullptr ? place : value.id;
  Names order;
  const auto add_list = [&](const vk_value* first) {
    std::size_t position = 0;
    for (const vk_value* item = first; item != nullptr; item = item->next) {
      const Names below = name_blocks(heap, *item, node + '[' + std::to_string(position++) + ']');
      order.insert(order.end(), below.begin(), below.end());
    }
  };
  const auto add_block = [&](const void* block, const std::string& name) {
    if (block == nullptr) return;
    heap.name(block, name);
    order.push_back(name);
  };
  if (value.type == VK_TYPE_OBJECT || value.type == VK_TYPE_ARRAY) {
    add_list(value.payload.items.first);
  }
  add_block(payload_block(value), node + "'s payload");
  add_list(value.attributes);
  add_block(value.id, node + "'s name");
  add_block(&value, node);
  return order;
}

Value named_object(RecordingHeap& heap, const char* name) {
  Value object = new_object(VK_POLICY_ORDERED, heap.get());
  vk_value_set_id(object.get(), name);
  return object;
}

// A tree of all types in which every node of the upper levels has members and attributes.
void fill(vk_value* object, const std::string& path, int levels) {
  const auto member = [&](const char* name) {
    return vk_object_init_item(object, (path + name).c_str());
  };
  vk_value_set_string(member("text"), "text");
  vk_value_set_int(member("number"), 1);
  vk_value_set_base64(member("bytes"), Binary("bytes").get());
  vk_value_set_hex(member("hex"), Binary("hex").get());
  vk_value* const array = vk_object_init_array(object, (path + "array").c_str());
  vk_value_set_string(vk_array_add_item(array), "element");
  vk_array_init(vk_array_add_item(array));
  vk_value_set_string(vk_value_add_attribute(array, (path + "attribute").c_str()), "text");
  if (levels > 0) {
    for (const char* const name : {"left", "right"}) {
      vk_value* const below = member(name);
      vk_object_init_with_policy(below, VK_POLICY_ORDERED);
      fill(below, path + name + '.', levels - 1);
    }
  }
  for (const char* const name : {"first", "second"}) {
    vk_value* const attribute = vk_value_add_attribute(object, (path + name).c_str());
    vk_object_init_with_policy(attribute, VK_POLICY_ORDERED);
    if (levels > 0) fill(attribute, path + name + '.', levels - 1);
  }
}

TEST(ReleaseOrder, IsMembersThenAttributesThenNameThenNode) {
  RecordingHeap heap;
  Value root = named_object(heap, "root");
  for (const char* const name : {"a", "b"}) vk_object_init_item(root.get(), name);
  for (const char* const name : {"X", "Y"}) vk_value_add_attribute(root.get(), name);
  name_blocks(heap, *root);
  root.reset();
  EXPECT_THAT(heap.released(), ElementsAre("a's name", "a", "b's name", "b",  //
                                           "X's name", "X", "Y's name", "Y",  //
                                           "root's name", "root"));
}

TEST(ReleaseOrder, OfALeafIsPayloadThenAttributesThenNameThenNode) {
  RecordingHeap heap;
  for (const bool text : {true, false}) {
    SCOPED_TRACE(text ? "text" : "bytes");
    Value root = new_value(heap.get());
    if (text) vk_value_set_string(root.get(), "text");
    if (!text) vk_value_set_base64(root.get(), Binary("bytes").get());
    vk_value_set_id(root.get(), "root");
    vk_value_add_attribute(root.get(), "X");
    name_blocks(heap, *root);
    const std::size_t before = heap.released().size();
    root.reset();
    EXPECT_THAT(
        Names(heap.released().begin() + static_cast<std::ptrdiff_t>(before), heap.released().end()),
        ElementsAre("root's payload", "X's name", "X", "root's name", "root"));
  }
}

TEST(ReleaseOrder, FinishesEachMemberBeforeItBeginsTheNext) {
  RecordingHeap heap;
  Value root = named_object(heap, "root");
  vk_value* const a = vk_object_init_object_with_policy(root.get(), "a", VK_POLICY_ORDERED);
  vk_value* const b = vk_object_init_item(a, "b");
  vk_value_set_string(b, "text");
  vk_value_add_attribute(b, "Y");
  vk_value_add_attribute(a, "X");
  vk_object_init_item(root.get(), "c");
  name_blocks(heap, *root);
  root.reset();
  EXPECT_THAT(heap.released(), ElementsAre("b's payload", "Y's name", "Y", "b's name", "b",  //
                                           "X's name", "X", "a's name", "a",                 //
                                           "c's name", "c", "root's name", "root"));
}

TEST(ReleaseOrder, HoldsInsideAttributesToo) {
  RecordingHeap heap;
  Value root = named_object(heap, "root");
  vk_value* const x = vk_value_add_attribute(root.get(), "X");
  vk_object_init_with_policy(x, VK_POLICY_ORDERED);
  vk_object_init_item(x, "a");
  vk_value_add_attribute(x, "Y");
  name_blocks(heap, *root);
  root.reset();
  EXPECT_THAT(heap.released(), ElementsAre("a's name", "a", "Y's name", "Y", "X's name", "X",
                                           "root's name", "root"));
}

TEST(ReleaseOrder, HoldsAtEveryLevelOfATree) {
  RecordingHeap heap;
  Value root = named_object(heap, "root");
  fill(root.get(), "", 3);
  const Names expected = name_blocks(heap, *root);
  EXPECT_THAT(expected, SizeIs(heap.asked()));
  root.reset();
  EXPECT_THAT(heap.released(), ElementsAreArray(expected));
}

TEST(ReleaseOrder, OfAClearIsTheSameWithoutNameAndNode) {
  RecordingHeap heap;
  const Value root = named_object(heap, "root");
  fill(root.get(), "", 2);
  Names expected = name_blocks(heap, *root);
  expected.resize(expected.size() - 2);
  vk_value_clear(root.get());
  EXPECT_THAT(heap.released(), ElementsAreArray(expected));
}

// What the library shows of a tree to a heap that gets a block back.
TEST(Release, MarksANodeDeadAfterItIsEmptyAndBeforeItsNameGoes) {
  RecordingHeap heap;
  vk_value* const root = vk_value_new(heap.get());
  vk_value_set_string(root, "text");
  vk_value_set_id(root, "root");
  vk_value_add_attribute(root, "X");
  name_blocks(heap, *root);
  Names states;
  heap.on_release = [&](const std::string& name) {
    states.push_back(name + (root->magic == VK_MAGIC_DEAD ? " dead " : " alive ") +
                     vk_type_to_string(root->type));
  };
  vk_value_delete(root);
  EXPECT_THAT(states, ElementsAre("root's payload alive string", "X's name alive any",
                                  "X alive any", "root's name dead any", "root dead any"));
}

TEST(Release, TakesANodeOffItsListFirst) {
  RecordingHeap heap;
  const Value root = named_object(heap, "root");
  for (const char* const name : {"a", "b"}) vk_object_init_item(root.get(), name);
  for (const char* const name : {"X", "Y"}) vk_value_add_attribute(root.get(), name);
  name_blocks(heap, *root);
  Names states;
  heap.on_release = [&](const std::string& name) {
    const vk_value* const member = root->payload.items.first;
    const vk_value* const attribute = root->attributes;
    states.push_back(name + ": " + (member == nullptr ? "-" : member->id) + ' ' +
                     (attribute == nullptr ? "-" : attribute->id));
  };
  vk_value_clear(root.get());
  heap.on_release = nullptr;
  EXPECT_THAT(states, ElementsAre("a's name: b X", "a: b X", "b's name: - X", "b: - X",
                                  "X's name: - Y", "X: - Y", "Y's name: - -", "Y: - -"));
}

class ReleaseOfARoot : public testing::TestWithParam<bool> {
 protected:
  // Deletes the root or clears it, and then gives it back.
  static Value release(Value root) {
    if (GetParam()) root.reset();
    if (root != nullptr) vk_value_clear(root.get());
    return root;
  }
};

INSTANTIATE_TEST_SUITE_P(By, ReleaseOfARoot, testing::Bool(),
                         [](const auto& row) { return row.param ? "Deleting" : "Clearing"; });

TEST_P(ReleaseOfARoot, NeverTouchesItsNext) {
  RecordingHeap heap;
  const Value sibling = new_value();
  Value root = named_object(heap, "root");
  fill(root.get(), "", 2);
  root->next = sibling.get();
  std::vector<const vk_value*> next;
  heap.on_release = [&next, &node = *root](const std::string&) { next.push_back(node.next); };
  const Value cleared = release(std::move(root));
  EXPECT_THAT(next, Each(Eq(sibling.get())));
  EXPECT_FALSE(next.empty());
  if (cleared != nullptr) {
    EXPECT_EQ(cleared->next, sibling.get());
  }
}

TEST_P(ReleaseOfARoot, AsksForNoMemory) {
  RecordingHeap heap;
  Value root = named_object(heap, "root");
  fill(root.get(), "", 2);
  const std::size_t asked = heap.asked();
  const AllocationLog log;
  const Value cleared = release(std::move(root));
  EXPECT_EQ(heap.asked(), asked);
  EXPECT_EQ(log.count(), 0U);
}

// A heap that only counts: for trees so large that the kit's own books would take long.
struct CountingHeap {
  vk_allocator head;  // first, so that the operations find the rest from its address
  std::size_t asked;
  std::size_t live;

  static CountingHeap& of(vk_allocator* heap) { return *reinterpret_cast<CountingHeap*>(heap); }

  static void* alloc(vk_allocator* heap, std::size_t size) {
    const Unwatched unwatched;
    ++of(heap).asked;
    ++of(heap).live;
    return std::malloc(size);
  }

  static void free(vk_allocator* heap, void* block) {
    --of(heap).live;
    std::free(block);
  }

  static void destroy(vk_allocator*) {}

  static constexpr vk_alloc_ops kOps = {alloc, nullptr, free, nullptr, destroy};
};

struct CountingDelete {
  void operator()(CountingHeap* heap) const { vk_allocator_delete(&heap->head); }
};

std::unique_ptr<CountingHeap, CountingDelete> counting_heap() {
  auto* const heap =
      static_cast<CountingHeap*>(vk_alloc(vk_default_allocator(), sizeof(CountingHeap)));
  vk_allocator_init(&heap->head, "counting", &CountingHeap::kOps);
  return std::unique_ptr<CountingHeap, CountingDelete>(heap);
}

vk_value* nest_member(vk_value* value, int) {
  vk_object_init_with_policy(value, VK_POLICY_ORDERED);
  return vk_object_init_item(value, "o");
}

vk_value* nest_element(vk_value* value, int) {
  vk_array_init(value);
  return vk_array_add_item(value);
}

vk_value* nest_attribute(vk_value* value, int) { return vk_value_add_attribute(value, "a"); }

// An attribute, a second element, a member of a node with an attribute, and so on.
vk_value* nest_in_turn(vk_value* value, int depth) {
  if (depth % 3 == 0) return nest_attribute(value, depth);
  if (depth % 3 == 1) {
    nest_element(value, depth);
    return vk_array_add_item(value);
  }
  vk_value_set_error(value, 1);
  return nest_member(value, depth);
}

struct Nesting {
  const char* name;
  vk_value* (*nest)(vk_value* value, int depth);  ///< makes a node below a fresh one
  bool deletes;                                   ///< or else clears
};

std::ostream& operator<<(std::ostream& out, const Nesting& nesting) { return out << nesting.name; }

class DeepTree : public testing::TestWithParam<Nesting> {};

INSTANTIATE_TEST_SUITE_P(Of, DeepTree,
                         testing::Values(Nesting{"ObjectsDeleted", nest_member, true},
                                         Nesting{"ObjectsCleared", nest_member, false},
                                         Nesting{"ArraysDeleted", nest_element, true},
                                         Nesting{"AttributesDeleted", nest_attribute, true},
                                         Nesting{"AttributesCleared", nest_attribute, false},
                                         Nesting{"AllInTurnDeleted", nest_in_turn, true}),
                         [](const auto& row) { return row.param.name; });

TEST_P(DeepTree, IsReleasedOnASmallStackWithoutMemory) {
  constexpr int kDepth = 1'000'000;
  const auto heap = counting_heap();
  vk_value* const root = vk_value_new(&heap->head);
  vk_value* deepest = root;
  for (int depth = 1; depth < kDepth; ++depth) deepest = GetParam().nest(deepest, depth);
  vk_value_set_string(deepest, "text");
  const std::size_t asked = heap->asked;
  ASSERT_GT(asked, std::size_t{kDepth});
  {
    const AllocationLog log;
    on_small_stack([&] { GetParam().deletes ? vk_value_delete(root) : vk_value_clear(root); });
    EXPECT_EQ(log.count(), 0U);
  }
  EXPECT_EQ(heap->asked, asked);
  EXPECT_EQ(heap->live, GetParam().deletes ? 0U : 1U);
  if (!GetParam().deletes) vk_value_delete(root);
}

}  // namespace
}  // namespace vesk::test

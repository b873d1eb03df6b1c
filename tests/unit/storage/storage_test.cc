#include "vesk/storage/storage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "tests/support/frames.h"
#include "tests/support/requests.h"
#include "vesk/mm/stack.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::NotNull;
using testing::SizeIs;
using testing::StrEq;

const LogCall kNoFrame = {
    0, 3, "lib/storage/storage", 0, "vk_storage_load", "Cannot allocate frame"};

// A key of components that a path keeps whole.
std::string key_of(std::size_t length) {
  std::string key(length, 'k');
  for (std::size_t i = 7; i + 1 < length; i += 8) key[i] = '.';
  return key;
}

class Storage : public RequestTest {
 protected:
  Storage() {
    EXPECT_EQ(vk_object_set_int(vk_frame2value(frame_.get()), "kept", 1), VK_EOK);
    vk_frame_set_status(frame_.get(), -5);
    vk_frame_set_action(frame_.get(), 4000000000U);
  }

  const OwnedFrame frame_ = new_frame();
};

const Tree kKept = object({{"kept", integer(1)}});

TEST_F(Storage, SavesTheActionAndTheValueOfAFrame) {
  const Core core;
  EXPECT_EQ(vk_storage_save("key", frame_.get()), VK_EOK);
  EXPECT_THAT(core.requests, ElementsAre(Request{"sys.persistent.save.key", 4000000000U, kKept}));
  EXPECT_THAT(core.values, ElementsAre(vk_frame2value(frame_.get())));
}

TEST_F(Storage, LeavesASavedFrameToTheCaller) {
  const Core core;
  EXPECT_EQ(vk_storage_save("key", frame_.get()), VK_EOK);
  EXPECT_EQ(tree_of(*vk_frame2value(frame_.get())), kKept);
  EXPECT_EQ(vk_frame_get_action(frame_.get()), 4000000000U);
  EXPECT_EQ(frame_->magic, VK_MAGIC_FRAME);
}

TEST_F(Storage, StoresTheAnswerToASaveAsTheStatus) {
  Core core;
  for (const uint32_t result : {VK_EOK, VK_EBUSY, UINT32_C(4294967291)}) {
    core.result = result;
    EXPECT_EQ(vk_storage_save("key", frame_.get()), result);
    EXPECT_EQ(vk_frame_get_status(frame_.get()), static_cast<int32_t>(result));
  }
}

TEST_F(Storage, LoadsWithAnEmptyFrame) {
  const Core core;
  const OwnedFrame loaded(vk_storage_load("key"));
  EXPECT_THAT(core.requests, ElementsAre(Request{"sys.persistent.load.key", 0, object({})}));
}

TEST_F(Storage, GivesTheLoadedTreeInAFrameOfItsOwn) {
  const Core core(
      [](vk_value& value) { EXPECT_EQ(vk_object_set_string(&value, "kept", "text"), VK_EOK); });
  const OwnedFrame loaded(vk_storage_load("key"));
  ASSERT_THAT(loaded, NotNull());
  EXPECT_EQ(tree_of(*vk_frame2value(loaded.get())), object({{"kept", text("text")}}));
  EXPECT_EQ(vk_frame_get_status(loaded.get()), 0);
  EXPECT_EQ(loaded->owns_heap, 1);
  EXPECT_THAT(heaps_of(*vk_frame2value(loaded.get())), ElementsAre(loaded->heap));
}

TEST_F(Storage, GivesNullAndKeepsNothingIfALoadFails) {
  Core core(no_list);
  for (const uint32_t result : {VK_ENOENT, VK_ENOANSWER, UINT32_C(0x80000000)}) {
    core.result = result;
    EXPECT_EQ(vk_storage_load("key"), nullptr);
  }
  EXPECT_THAT(core.requests, SizeIs(3));
  EXPECT_THAT(log_.calls(), IsEmpty());
}

TEST_F(Storage, RemovesWithoutAValue) {
  const Core core;
  EXPECT_EQ(vk_storage_remove("key"), VK_EOK);
  EXPECT_THAT(core.requests, ElementsAre(Request{"sys.persistent.remove.key", 0, std::nullopt}));
}

TEST_F(Storage, GivesTheAnswerToARemovalAsItIs) {
  Core core;
  for (const uint32_t result : {VK_EBUSY, UINT32_C(4000000000)}) {
    core.result = result;
    EXPECT_EQ(vk_storage_remove("key"), result);
  }
}

// The paths to which the three requests about a key go, behind their common beginning.
void expect_paths(const std::string& key, const std::string& components) {
  const Core core;
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(vk_storage_save(key.c_str(), frame.get()), VK_EOK);
  const OwnedFrame loaded(vk_storage_load(key.c_str()));
  EXPECT_THAT(loaded, NotNull());
  EXPECT_EQ(vk_storage_remove(key.c_str()), VK_EOK);
  ASSERT_THAT(core.requests, SizeIs(3));
  const std::string behind = components.empty() ? "" : "." + components;
  EXPECT_EQ(core.requests[0].path, "sys.persistent.save" + behind);
  EXPECT_EQ(core.requests[1].path, "sys.persistent.load" + behind);
  EXPECT_EQ(core.requests[2].path, "sys.persistent.remove" + behind);
}

TEST_F(Storage, AddressesADeeperPathByAKeyWithDots) {
  expect_paths("a.b", "a.b");
  expect_paths("a.2.b", "a.2#2.b");
}

TEST_F(Storage, EndsAKeyAtItsFirstEmptyComponent) {
  expect_paths("a..b", "a");
  expect_paths("a.", "a");
  expect_paths(".a", "");
  expect_paths(".", "");
}

TEST_F(Storage, TakesAKeyLiterally) { expect_paths("%s%n%d", "%s%n%d"); }

TEST_F(Storage, TakesKeysOf1To4096Characters) {
  expect_paths("k", "k");
  const std::string longest = key_of(4096);
  expect_paths(longest, longest);
}

TEST_F(Storage, RefusesWhatIsNoKeyWithoutACall) {
  const Core core;
  const std::string one_too_long = key_of(4097);
  const std::string far_too_long = key_of(100000);
  for (const char* const key :
       {static_cast<const char*>(nullptr), "", one_too_long.c_str(), far_too_long.c_str()}) {
    const AllocationLog allocations;
    EXPECT_EQ(vk_storage_save(key, frame_.get()), VK_EINVAL);
    EXPECT_EQ(vk_frame_get_status(frame_.get()), -5);
    EXPECT_EQ(vk_storage_load(key), nullptr);
    EXPECT_EQ(vk_storage_remove(key), VK_EINVAL);
    EXPECT_EQ(allocations.count(), 0U);
  }
  EXPECT_THAT(core.requests, IsEmpty());
  EXPECT_THAT(log_.calls(), IsEmpty());
}

TEST_F(Storage, IsAnsweredByNobodyWithoutHooks) {
  EXPECT_EQ(vk_storage_save("key", frame_.get()), VK_ENOANSWER);
  EXPECT_EQ(vk_frame_get_status(frame_.get()), 23);
  EXPECT_EQ(vk_storage_load("key"), nullptr);
  EXPECT_EQ(vk_storage_remove("key"), VK_ENOANSWER);
  EXPECT_THAT(log_.calls(), IsEmpty());
}

TEST_F(Storage, BuildsPathsOnGta) {
  const Core core;
  const AllocationLog allocations;
  const char* const before = reinterpret_cast<vk_mm_stack*>(vk_gta())->region.next_free;
  EXPECT_EQ(vk_storage_remove("key"), VK_EOK);
  EXPECT_THAT(before, StrEq("sys.persistent.remove.key"));
  EXPECT_EQ(allocations.count(), 0U);
}

// The text of a path to the longest key fills a chunk of "gta"; the components go into another.
TEST_F(Storage, MakesNoCallWithoutMemory) {
  const std::string longest = key_of(4096);
  for (const std::string& key : {std::string("key"), longest}) {
    expect_sent_whole_or_not_at_all([&] { return vk_storage_save(key.c_str(), frame_.get()); });
    expect_sent_whole_or_not_at_all([&] { return vk_storage_remove(key.c_str()); });
    expect_sent_whole_or_not_at_all([&] {
      const OwnedFrame loaded(vk_storage_load(key.c_str()));
      return loaded == nullptr ? VK_ENOMEM : VK_EOK;
    });
  }
}

TEST_F(Storage, LeavesTheStatusAloneIfNotEvenThePathCouldBeMade) {
  const std::string longest = key_of(4096);
  std::size_t refused = 0;
  vk_gta_destroy();
  for_every_allocation_fault([&](AllocationFault& fault) {
    const EmptyGta gta;
    const Core core;
    vk_frame_set_status(frame_.get(), -5);
    const vk_error error =
        fault.during([&] { return vk_storage_save(longest.c_str(), frame_.get()); });
    refused = fault.struck() ? refused + 1 : 0;
    const auto result = static_cast<int32_t>(error);
    EXPECT_EQ(vk_frame_get_status(frame_.get()), refused == 1 ? -5 : result);
  });
}

std::size_t allocations_of_a_frame() {
  const AllocationLog log;
  const OwnedFrame frame = new_frame();
  return log.count();
}

TEST_F(Storage, SaysOfALoadThatTheFrameCouldNotBeMade) {
  const std::size_t frames = allocations_of_a_frame();
  std::size_t refused = 0;
  vk_gta_destroy();
  for_every_allocation_fault([&](AllocationFault& fault) {
    const EmptyGta gta;
    const Core core;
    log_.forget();
    const OwnedFrame loaded(fault.during([] { return vk_storage_load("key"); }));
    refused = fault.struck() ? refused + 1 : 0;
    const bool without_frame = refused != 0 && refused <= frames;
    EXPECT_EQ(!log_.calls().empty() && log_.calls().back() == kNoFrame, without_frame);
    EXPECT_EQ(core.requests.empty(), fault.struck());
  });
}

}  // namespace
}  // namespace vesk::test

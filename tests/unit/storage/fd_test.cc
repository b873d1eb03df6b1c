#include "vesk/storage/fd.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "tests/support/frames.h"
#include "tests/support/requests.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FdRequest : public ModuleRequestTest {};

TEST_F(FdRequest, RegistersADescriptorWithItsText) {
  const Core core;
  EXPECT_EQ(vk_fd_register("/dev/ttyS0", 7), VK_EOK);
  const Tree value = object({{"fd", integer(7)}, {"path", text("/dev/ttyS0")}});
  EXPECT_THAT(core.requests, ElementsAre(Request{"sys.fd.add", 0, value}));
}

TEST_F(FdRequest, UnregistersADescriptor) {
  const Core core;
  EXPECT_EQ(vk_fd_unregister(7), VK_EOK);
  const Tree value = object({{"fd", integer(7)}});
  EXPECT_THAT(core.requests, ElementsAre(Request{"sys.fd.del", 0, value}));
}

TEST_F(FdRequest, SendsDescriptorAndTextAsTheyAre) {
  const Core core;
  EXPECT_EQ(vk_fd_register("", -2147483647), VK_EOK);
  EXPECT_EQ(vk_fd_unregister(-1), VK_EOK);
  const Tree added = object({{"fd", integer(-2147483647)}, {"path", text("")}});
  const Tree deleted = object({{"fd", integer(-1)}});
  EXPECT_THAT(core.requests,
              ElementsAre(Request{"sys.fd.add", 0, added}, Request{"sys.fd.del", 0, deleted}));
}

TEST_F(FdRequest, LivesOnTheHeapOfTheModule) {
  const Core core;
  EXPECT_EQ(vk_fd_register("path", 7), VK_EOK);
  EXPECT_EQ(vk_fd_unregister(7), VK_EOK);
  EXPECT_THAT(core.heaps, ElementsAre(heap_.get()));
}

TEST_F(FdRequest, GivesTheAnswerAsItIsAndKeepsNothing) {
  Core core(no_list);
  for (const uint32_t result : {VK_EOK, VK_EBUSY, UINT32_C(4000000000)}) {
    core.result = result;
    EXPECT_EQ(vk_fd_register("path", 7), result);
    EXPECT_EQ(vk_fd_unregister(7), result);
  }
  EXPECT_THAT(log_.calls(), IsEmpty());
}

TEST_F(FdRequest, IsAnsweredByNobodyWithoutHooks) {
  EXPECT_EQ(vk_fd_register("path", 7), VK_ENOANSWER);
  EXPECT_EQ(vk_fd_unregister(7), VK_ENOANSWER);
}

// What is sent with one allocation refused after the other, and then with each and all that follow.
template <typename Ask>
std::vector<Tree> sent_without_memory(Ask ask) {
  std::vector<Tree> sent;
  vk_gta_destroy();
  for_every_allocation_fault([&](AllocationFault& fault) {
    const EmptyGta gta;
    const Core core;
    const vk_error error = fault.during(ask);
    EXPECT_EQ(error, core.requests.empty() ? VK_ENOMEM : VK_EOK);
    for (const Request& request : core.requests) sent.push_back(*request.value);
  });
  return sent;
}

TEST_F(FdRequest, GoesOutWithoutTheMembersThatDidNotFitInMemory) {
  const Tree whole = object({{"fd", integer(7)}, {"path", text("path")}});
  const Tree without_fd = object({{"path", text("path")}});
  const Tree without_path = object({{"fd", integer(7)}});
  const Tree without_text = object({{"fd", integer(7)}, {"path", any()}});
  // Two allocations for a member, its record and its name, and one for the text.
  EXPECT_THAT(
      sent_without_memory([] { return vk_fd_register("path", 7); }),
      ElementsAre(without_fd, without_fd, without_path, without_path, without_text, whole, whole));
  EXPECT_THAT(sent_without_memory([] { return vk_fd_unregister(7); }),
              ElementsAre(object({}), object({}), without_path, without_path));
}

TEST(FdFrame, CarriesADescriptor) {
  const OwnedFrame frame = new_frame();
  for (const int fd : {0, 7, -7}) {
    EXPECT_EQ(vk_object_set_int(vk_frame2value(frame.get()), "fd", fd), VK_EOK);
    EXPECT_EQ(vk_fd_frame_get_fd(frame.get()), fd);
  }
}

TEST(FdFrame, MayCarryADescriptorOfAnotherType) {
  const OwnedFrame frame = new_frame();
  vk_value* const value = vk_frame2value(frame.get());
  EXPECT_EQ(vk_object_set_uint(value, "fd", 7), VK_EOK);
  EXPECT_EQ(vk_fd_frame_get_fd(frame.get()), 7);
  EXPECT_EQ(vk_object_set_uint(value, "fd", 4294967289U), VK_EOK);
  EXPECT_EQ(vk_fd_frame_get_fd(frame.get()), -7);
}

TEST(FdFrame, CarriesDescriptor0InAMemberWithoutAValue) {
  const OwnedFrame frame = new_frame();
  vk_object_init_item(vk_frame2value(frame.get()), "fd");
  EXPECT_EQ(vk_fd_frame_get_fd(frame.get()), 0);
}

TEST(FdFrame, GivesMinus1IfItCarriesNone) {
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(vk_fd_frame_get_fd(frame.get()), -1);
  EXPECT_EQ(vk_object_set_int(vk_frame2value(frame.get()), "FD", 7), VK_EOK);
  EXPECT_EQ(vk_fd_frame_get_fd(frame.get()), -1);
}

}  // namespace
}  // namespace vesk::test

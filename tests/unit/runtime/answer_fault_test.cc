#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/answer.h"
#include "runtime/watches.h"
#include "tests/support/allocation_fault.h"
#include "tests/support/log_spy.h"
#include "tests/unit/runtime/bytes.h"
#include "tests/unit/runtime/libc_watch.h"
#include "vesk/dmmgr/frame.h"
#include "vesk/value/member.h"

// What a module's parts do when memory is refused.

namespace vesk::test {
namespace {

uint32_t add_and_tell(void*, vk_frame* frame, void*) {
  const vk_error error = vk_object_set_string(frame->value, "new", "member");
  return error == VK_EOK ? dm_frame_set_parameter_info(frame, 1, 0) : error;
}

uint32_t nothing(void*, vk_frame*, void*) { return VK_EOK; }

TEST(AnswerFault, IsToldInTheAnswer) {
  const LogSpy log;
  rt::Registry registry;
  ASSERT_NE(nullptr, registry.add_handler(vk_default_allocator(), "a.$", add_and_tell, nullptr));
  const ByteString head = Fields().number(1).text("a.2.b").number(VK_DM_INFO);
  const ByteString request = head + encoded(object({{"old", hex("xy")}}));
  const ByteString whole = response_head() + encoded(object({{"old", hex("xy")},
                                                             {"new", text("member")},
                                                             {"ParameterList", any()},
                                                             {"Writable", boolean(1)}}));
  void* const argument = nullptr;
  for_every_allocation_fault([&](AllocationFault& fault) {
    ByteBuffer answer;
    const uint32_t status = fault.during([&] {
      return rt::answer_request(request, head.size(), registry, argument, rt::Limits(), answer);
    });
    EXPECT_EQ(fault.struck() ? VK_ENOMEM : VK_EOK, status);
    if (status == VK_EOK) {
      EXPECT_EQ(whole, ByteString(answer.bytes().begin(), answer.bytes().end()));
    }
  });
}

TEST(RegistryFault, LeavesTheRegistryAsItWas) {
  const LogSpy log;
  const Value hook = planted(object({{"Event", text("changed")}, {"Hook", text("a.b")}}));
  for_every_allocation_fault([&](AllocationFault& fault) {
    rt::Registry registry;
    const rt::Registration* const added = fault.during(
        [&] { return registry.add_handler(vk_default_allocator(), "a", nothing, nullptr); });
    EXPECT_EQ(fault.struck(), added == nullptr);
    EXPECT_EQ(added, registry.first());
  });
  for_every_allocation_fault([&](AllocationFault& fault) {
    const Made<rt::Registration> made =
        fault.during([&] { return rt::new_hook(vk_default_allocator(), *hook); });
    EXPECT_EQ(fault.struck(), made == nullptr);
  });
}

TEST(WatchesFault, LeavesTheDescriptorUnwatched) {
  const LogSpy log;
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  const rt::Fd read(ends[0]);
  const rt::Fd write(ends[1]);
  for_every_allocation_fault([&](AllocationFault& fault) {
    rt::Poller poller;
    rt::Watches watches(poller);
    const vk_error error =
        fault.during([&] { return watches.add(vk_default_allocator(), read.get(), "path"); });
    EXPECT_EQ(fault.struck() ? VK_ENOMEM : VK_EOK, error);
    EXPECT_EQ(fault.struck() ? VK_ENOENT : VK_EOK, watches.del(read.get()));
  });
}

TEST(WatchesFault, IsToldWhenNoDescriptorIsLeftForThePoller) {
  rt::Poller poller;
  rt::Watches watches(poller);
  const NoDescriptors none;
  EXPECT_EQ(VK_ENOMEM, watches.add(vk_default_allocator(), 0, "path"));
}

}  // namespace
}  // namespace vesk::test

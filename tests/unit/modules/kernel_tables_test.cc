#include <gtest/gtest.h>
#include <net/if.h>
#include <sys/socket.h>

#include <cerrno>
#include <string>

#include "modules/network/hosts.h"
#include "modules/network/interfaces.h"
#include "modules/network/netlink.h"
#include "modules/support/object_builder.h"
#include "tests/support/values.h"
#include "tests/unit/modules/environment.h"
#include "vesk/value/by_path.h"

// The tables of the machine's own kernel, whatever stands in them.

namespace vesk::test {
namespace {

void count(const nlmsghdr& message, void* counts) {
  if (message.nlmsg_type == RTM_NEWLINK) ++*static_cast<std::size_t*>(counts);
}

// How many interfaces libc names.
std::size_t interfaces_of_libc() {
  struct if_nameindex* const names = if_nameindex();
  if (names == nullptr) return 0;
  std::size_t found = 0;
  while (names[found].if_index != 0) ++found;
  if_freenameindex(names);
  return found;
}

TEST(KernelTables, HaveALinkForEachInterface) {
  std::size_t links = 0;
  EXPECT_EQ(modules::read_kernel_table(RTM_GETLINK, count, &links), VK_EOK);
  EXPECT_EQ(links, interfaces_of_libc());
}

TEST(KernelTables, AreRefusedForARequestThatIsNone) {
  EXPECT_EQ(modules::read_kernel_table(0xFFFF, count, nullptr), VK_EIO);
}

TEST(KernelTables, FillTheInterfaces) {
  const Environment environment;
  const Value device = new_object();
  ASSERT_EQ(modules::add_interfaces(device.get()), VK_EOK);
  const vk_value* const interfaces = vk_value_find_by_path(device.get(), "IP.Interface");
  for (const vk_item* interface = vk_object_item_first(interfaces); interface != nullptr;
       interface = vk_item_next(interface)) {
    char name[IF_NAMESIZE] = "";
    EXPECT_NE(if_indextoname(static_cast<unsigned int>(std::stoul(interface->id)), name), nullptr);
    EXPECT_STREQ(vk_object_find_item(interface, "Name")->payload.text, name);
  }
}

TEST(KernelTables, FillTheHosts) {
  const Environment environment;
  const Value device = new_object();
  uint32_t last = 0;
  ASSERT_EQ(modules::add_hosts(device.get(), nullptr, last), VK_EOK);
  const vk_value* const hosts = vk_value_find_by_path(device.get(), "Hosts.Host");
  EXPECT_EQ(vk_object_get_size(hosts), last);
}

TEST(LinkWatch, IsQuietWhenItIsDrained) {
  const int watch = modules::open_link_watch();
  ASSERT_GE(watch, 0);
  modules::drain_link_watch(watch);
  char byte = 0;
  EXPECT_EQ(recv(watch, &byte, 1, MSG_PEEK), -1);
  EXPECT_EQ(errno, EAGAIN);
  close(watch);
}

}  // namespace
}  // namespace vesk::test

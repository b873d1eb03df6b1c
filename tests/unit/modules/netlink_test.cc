#include "modules/network/netlink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tests/unit/modules/table_messages.h"

namespace vesk::test {
namespace {

using modules::Rest;
using testing::ElementsAre;
using testing::IsEmpty;

void note(const nlmsghdr& message, void* types) {
  static_cast<std::vector<uint16_t>*>(types)->push_back(message.nlmsg_type);
}

// What came with one receive, in a block of its exact size, so that a step beyond is seen.
class Received {
 public:
  Received(std::initializer_list<Message> messages) {
    for (const Message& message : messages) {
      bytes_.insert(bytes_.end(), message.bytes().begin(), message.bytes().end());
    }
  }

  // Goes through all but the last bytes.
  Rest visit(std::size_t cut = 0) {
    types.clear();
    const std::size_t size = bytes_.size() - cut;
    const std::unique_ptr<char[]> block(new char[size]);
    std::memcpy(block.get(), bytes_.data(), size);
    return modules::visit_messages(block.get(), size, note, &types);
  }

  std::vector<uint16_t> types;

 private:
  std::vector<char> bytes_;
};

Message message(uint16_t type, uint16_t flags = NLM_F_MULTI) {
  Message made(type, ifinfomsg{});
  made.head().nlmsg_flags = flags;
  return made;
}

Message done(int32_t code) { return Message(NLMSG_DONE, code); }

TEST(NetlinkMessages, AreVisitedInOrderAndOthersFollow) {
  Received received = {message(RTM_NEWLINK), message(RTM_NEWADDR)};
  EXPECT_EQ(received.visit(), Rest::kFollows);
  EXPECT_THAT(received.types, ElementsAre(RTM_NEWLINK, RTM_NEWADDR));
}

TEST(NetlinkMessages, AreAlignedWhereTheirLengthIsNot) {
  Message first = message(RTM_NEWLINK).with(IFLA_IFNAME, "lo");
  first.head().nlmsg_len -= 2;
  Received received = {first, message(RTM_NEWADDR)};
  EXPECT_EQ(received.visit(), Rest::kFollows);
  EXPECT_THAT(received.types, ElementsAre(RTM_NEWLINK, RTM_NEWADDR));
}

TEST(NetlinkMessages, MayEndWithoutTheLastOnesPadding) {
  Message last = message(RTM_NEWLINK).with(IFLA_IFNAME, "lo");
  last.head().nlmsg_len -= 2;
  Received received = {last};
  EXPECT_EQ(received.visit(2), Rest::kFollows);
  EXPECT_THAT(received.types, ElementsAre(RTM_NEWLINK));
}

TEST(NetlinkMessages, EndWithTheTable) {
  Received received = {message(RTM_NEWLINK), done(0), message(RTM_NEWADDR)};
  EXPECT_EQ(received.visit(), Rest::kNone);
  EXPECT_THAT(received.types, ElementsAre(RTM_NEWLINK));
}

TEST(NetlinkMessages, MayEndWithoutACode) {
  Message end = done(0);
  end.head().nlmsg_len = NLMSG_HDRLEN;
  Received received = {end};
  EXPECT_EQ(received.visit(4), Rest::kNone);
}

TEST(NetlinkMessages, AreNotTheWholeTableIfItsEndTellsOfAFailure) {
  EXPECT_EQ(Received({done(-EMSGSIZE)}).visit(), Rest::kBroken);
}

TEST(NetlinkMessages, MayTellOfAFailure) {
  Received received = {message(RTM_NEWLINK), message(NLMSG_ERROR), message(RTM_NEWADDR)};
  EXPECT_EQ(received.visit(), Rest::kBroken);
  EXPECT_THAT(received.types, ElementsAre(RTM_NEWLINK));
}

TEST(NetlinkMessages, MayTellThatTheTableChangedMeanwhile) {
  Received inside = {message(RTM_NEWLINK, NLM_F_MULTI | NLM_F_DUMP_INTR)};
  EXPECT_EQ(inside.visit(), Rest::kTorn);
  EXPECT_THAT(inside.types, IsEmpty());
  Received at_the_end = {message(NLMSG_DONE, NLM_F_DUMP_INTR)};
  EXPECT_EQ(at_the_end.visit(), Rest::kTorn);
}

TEST(NetlinkMessages, AreBrokenWhenCut) {
  for (std::size_t cut = 1; cut < message(RTM_NEWLINK).bytes().size(); ++cut) {
    Received received = {message(RTM_NEWADDR), message(RTM_NEWLINK)};
    EXPECT_EQ(received.visit(cut), Rest::kBroken) << cut;
    EXPECT_THAT(received.types, ElementsAre(RTM_NEWADDR)) << cut;
  }
}

TEST(NetlinkMessages, AreBrokenWithAWrongLength) {
  for (const uint32_t length : {0U, 1U, 15U, 33U, UINT32_MAX}) {
    Message wrong = message(RTM_NEWLINK);
    wrong.head().nlmsg_len = length;
    Received received = {wrong};
    EXPECT_EQ(received.visit(), Rest::kBroken) << length;
    EXPECT_THAT(received.types, IsEmpty()) << length;
  }
}

// The text of an attribute, "-" if it is not found.
std::string text_of(const Message& message, uint16_t type) {
  const char* const begin = message.bytes().data();
  const std::vector<char> exact(begin, begin + message.head().nlmsg_len);
  const auto& head = *reinterpret_cast<const nlmsghdr*>(exact.data());
  const rtattr* const found = modules::attribute_of<ifinfomsg>(head, type);
  if (found == nullptr) return "-";
  return {static_cast<const char*>(RTA_DATA(found)), RTA_PAYLOAD(found)};
}

Message with_two() { return message(RTM_NEWLINK).with(1, "first").with(2, "second"); }

TEST(NetlinkAttribute, IsFoundByItsType) {
  EXPECT_EQ(text_of(with_two(), 1), "first");
  EXPECT_EQ(text_of(with_two(), 2), "second");
  EXPECT_EQ(text_of(with_two(), 3), "-");
  EXPECT_EQ(text_of(message(RTM_NEWLINK), 1), "-");
}

TEST(NetlinkAttribute, IsTheFirstOfItsType) {
  EXPECT_EQ(text_of(message(RTM_NEWLINK).with(1, "a").with(1, "b"), 1), "a");
}

TEST(NetlinkAttribute, IsFoundWhateverItsFlags) {
  EXPECT_EQ(text_of(message(RTM_NEWLINK).with(1 | NLA_F_NESTED, "nested"), 1), "nested");
  EXPECT_EQ(text_of(message(RTM_NEWLINK).with(1 | NLA_F_NET_BYTEORDER, "net"), 1), "net");
}

TEST(NetlinkAttribute, MayBeEmptyOrLackItsPadding) {
  EXPECT_EQ(text_of(message(RTM_NEWLINK).with(1, "").with(2, "x"), 1), "");
  Message unpadded = message(RTM_NEWLINK).with(1, "12345");
  unpadded.head().nlmsg_len -= 3;
  EXPECT_EQ(text_of(unpadded, 1), "12345");
  EXPECT_EQ(text_of(unpadded, 2), "-");
}

TEST(NetlinkAttribute, IsNotFoundBehindAWrongLength) {
  for (const uint16_t length : std::initializer_list<uint16_t>{0, 3, 100, 65535}) {
    Message wrong = with_two();
    auto* const first = const_cast<rtattr*>(modules::attribute_of<ifinfomsg>(wrong.head(), 1));
    first->rta_len = length;
    EXPECT_EQ(text_of(wrong, 1), "-") << length;
    EXPECT_EQ(text_of(wrong, 2), "-") << length;
  }
}

TEST(NetlinkAttribute, IsNotFoundInAMessageThatIsCut) {
  for (uint32_t cut = 1; cut < 20; ++cut) {
    Message shorter = message(RTM_NEWLINK).with(1, "12345678");
    shorter.head().nlmsg_len -= cut;
    EXPECT_EQ(text_of(shorter, 1), "-") << cut;
  }
}

TEST(NetlinkFixedPart, IsThereOnlyInAMessageThatIsLongEnough) {
  Message whole = message(RTM_NEWLINK);
  EXPECT_EQ(modules::fixed_part<ifinfomsg>(whole.head()), NLMSG_DATA(&whole.head()));
  whole.head().nlmsg_len -= 1;
  EXPECT_EQ(modules::fixed_part<ifinfomsg>(whole.head()), nullptr);
}

uint32_t number_in(std::string_view payload) {
  const Message holder = message(RTM_NEWLINK).with(1, payload);
  return modules::value_in<uint32_t>(modules::attribute_of<ifinfomsg>(holder.head(), 1));
}

TEST(NetlinkValue, IsFilledUpWithZerosOrCut) {
  EXPECT_EQ(number_in(bytes_of("\x07\x07\x07\x07")), 0x07070707U);
  EXPECT_EQ(number_in(bytes_of("\x07\x07\x07\x07\x01")), 0x07070707U);
  EXPECT_EQ(number_in(""), 0U);
  EXPECT_EQ(modules::value_in<uint32_t>(nullptr), 0U);
  const uint32_t half = number_in(bytes_of("\x07\x07"));
  EXPECT_TRUE(half == 0x0707U || half == 0x07070000U) << half;
}

}  // namespace
}  // namespace vesk::test

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/support/channels.h"
#include "tests/support/messages.h"
#include "vesk/value/compare.h"

// Messages from one end of a stream to the other.

namespace vesk::test {
namespace {

/// Sends a message and reads it at the other end.
Tree exchanged(const MessageKind& kind, Channel& channel, const Tree& tree) {
  const Value sent = planted(tree);
  EXPECT_EQ(kind.write(channel.in.get(), sent.get()), 0U);
  const Value received = new_value();
  EXPECT_EQ(kind.read(channel.out.get(), received.get()), 0U);
  return tree_of(*received);
}

TEST(IpcExchange, CarriesEveryTypeMessageBehindMessage) {
  for (const StreamKind stream : kStreamKinds) {
    Channel channel(stream);
    for (const WireSample& sample : wire_samples()) {
      for (const MessageKind& kind : kMessageKinds) {
        SCOPED_TRACE(testing::PrintToString(sample.tree));
        EXPECT_EQ(exchanged(kind, channel, sample.tree), as_read(sample.tree));
      }
    }
  }
}

TEST(IpcExchange, GivesAnEqualTree) {
  for (const Tree& tree : one_of_each_leaf()) {
    SCOPED_TRACE(testing::PrintToString(tree));
    const Value sent = planted(object({{"A", object({{"B", tree}})}, {"C", tree}, {"D", any()}}));
    const Value received = new_value();
    Channel channel;
    EXPECT_EQ(kMessageKinds[1].write(channel.in.get(), sent.get()), 0U);
    EXPECT_EQ(kMessageKinds[1].read(channel.out.get(), received.get()), 0U);
    EXPECT_TRUE(vk_value_equal(sent.get(), received.get()));
  }
}

TEST(IpcExchange, AnswersOnTheSameSocket) {
  Channel channel;
  const Value question = planted(object({{"question", text("?")}}));
  const Value answer = planted(object({{"answer", text("!")}}));
  const Value heard = new_value();
  const Value told = new_value();
  const auto& [request, response] = kMessageKinds;
  EXPECT_EQ(request.write(channel.in.get(), question.get()), 0U);
  EXPECT_EQ(request.read(channel.out.get(), heard.get()), 0U);
  EXPECT_EQ(response.write(channel.out.get(), answer.get()), 0U);
  EXPECT_EQ(response.read(channel.in.get(), told.get()), 0U);
  EXPECT_EQ(tree_of(*heard), tree_of(*question));
  EXPECT_EQ(tree_of(*told), tree_of(*answer));
}

TEST(IpcExchange, KeepsTheOrderOfManyMembersAndElements) {
  Tree tree = object({});
  Tree elements = array({});
  for (uint32_t i = 0; i < 300; ++i) {
    Tree member = unsigned_integer(i);
    elements.items.push_back(member);
    member.name = std::to_string(i * 7 % 300);
    tree.items.push_back(member);
  }
  const Tree both = array({tree, elements});
  const std::string bytes = response_fields(both).bytes();
  Incoming incoming(bytes);
  const Value value = new_value();
  EXPECT_EQ(kMessageKinds[1].read(incoming.fd(), value.get()), 0U);
  EXPECT_EQ(tree_of(*value), both);
  const MemoryFile file;
  EXPECT_EQ(kMessageKinds[1].write(file.fd(), value.get()), 0U);
  EXPECT_EQ(file.content(), bytes);
}

TEST(IpcExchange, CarriesAThousandLevels) {
  Tree tree = text("the bottom");
  for (int level = 0; level < 500; ++level) tree = object({{"below", array({tree})}});
  const Value sent = planted(tree);
  for (const MessageKind& kind : kMessageKinds) {
    const MemoryFile file;
    EXPECT_EQ(kind.write(file.fd(), sent.get()), 0U);
    EXPECT_EQ(file.content(), kind.fields(tree).bytes());
    Incoming incoming(file.content());
    const Value received = new_value();
    EXPECT_EQ(kind.read(incoming.fd(), received.get()), 0U);
    EXPECT_EQ(tree_of(*received), tree);
  }
}

// More than a stream takes at once: the writer waits for the reader, and the reader for the writer.
TEST(IpcExchange, CarriesMoreThanTheStreamHoldsAtOnce) {
  Tree tree = array({});
  for (int i = 0; i < 4000; ++i) tree.items.push_back(text(std::string(200, 'x')));
  const Value sent = planted(tree);
  for (const StreamKind stream : kStreamKinds) {
    for (const MessageKind& kind : kMessageKinds) {
      const Value received = new_value();
      const auto [written, read] = exchange(kind, stream, sent.get(), received.get());
      EXPECT_EQ(written, 0U);
      EXPECT_EQ(read, 0U);
      EXPECT_EQ(tree_of(*received), tree);
    }
  }
}

}  // namespace
}  // namespace vesk::test

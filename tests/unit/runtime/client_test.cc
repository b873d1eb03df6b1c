#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "lib/support/owned.h"
#include "tests/support/allocation_fault.h"
#include "tests/support/log_spy.h"
#include "tests/unit/runtime/fake_core.h"
#include "tests/unit/runtime/libc_watch.h"
#include "vesk/runtime.h"

// Calls of processes that are no modules.

namespace vesk::test {
namespace {

using Listener = FakeCore::Listener;
using Client = Owned<vk_client, vk_client_close>;
using testing::SizeIs;

Client connected_to(const FakeCore& core) {
  vk_client* client = nullptr;
  EXPECT_EQ(VK_EOK, vk_client_open(core.path(), 0, &client));
  return Client(client);
}

/// A call without a limit, with or without a tree.
uint32_t call(const Client& client, const Value& value = nullptr) {
  return vk_client_call(client.get(), "a.b", 3, value.get(), -1);
}

TEST(ClientCall, CarriesPathActionAndTree) {
  const FakeCore core([](const Listener& listener) {
    const Peer peer = listener.accept();
    const Asked asked = peer.read_request();
    EXPECT_EQ("a.b", asked.path);
    EXPECT_EQ(3U, asked.action);
    EXPECT_EQ(object({{"n", integer(-7)}}), asked.value);
    peer.answer(VK_EOK);
  });
  const Client client = connected_to(core);
  EXPECT_EQ(VK_EOK, call(client, planted(object({{"n", integer(-7)}}))));
}

TEST(ClientCall, SendsAnAbsentTreeAsAny) {
  const FakeCore core([](const Listener& listener) {
    const Peer peer = listener.accept();
    EXPECT_EQ(any(), peer.read_request().value);
    peer.answer(VK_EOK);
  });
  EXPECT_EQ(VK_EOK, call(connected_to(core)));
}

TEST(ClientCall, IsSentInOnePieceAndRaisesNoSignal) {
  const FakeCore core([](const Listener& listener) {
    const Peer peer = listener.accept();
    peer.read_request();
    peer.answer(VK_EOK);
  });
  const Client client = connected_to(core);
  const Sends sends;
  EXPECT_EQ(VK_EOK, call(client, planted(object({{"a", text("b")}, {"c", array({any()})}}))));
  ASSERT_THAT(sends.all, SizeIs(1));
  EXPECT_TRUE(sends.all[0].flags & MSG_NOSIGNAL);
}

TEST(ClientCall, GivesTheStatusAndTheTreeOfTheAnswer) {
  const Tree answer = object({{"list", array({text("x"), boolean(1)})}, {"n", integer(4)}});
  const FakeCore core([&](const Listener& listener) {
    const Peer peer = listener.accept();
    for (const uint32_t status : {VK_EOK, VK_EAUTH, UINT32_C(9005)}) {
      peer.read_request();
      peer.answer(status, answer);
    }
  });
  const Client client = connected_to(core);
  for (const uint32_t status : {VK_EOK, VK_EAUTH, UINT32_C(9005)}) {
    const Value value = planted(text("before"));
    EXPECT_EQ(status, call(client, value));
    EXPECT_EQ(answer, tree_of(*value));
  }
}

TEST(ClientCall, LeavesTheTreeToAnAnswerOfTypeAny) {
  const FakeCore core([](const Listener& listener) {
    const Peer peer = listener.accept();
    peer.read_request();
    peer.answer(VK_ENOENT, any());
  });
  const Tree before = object({{"a", text("b")}}).with({{"x", integer(1)}});
  const Value value = planted(before);
  EXPECT_EQ(VK_ENOENT, call(connected_to(core), value));
  EXPECT_EQ(before, tree_of(*value));
}

TEST(ClientCall, DropsATreeThatNobodyWants) {
  const FakeCore core([](const Listener& listener) {
    const Peer peer = listener.accept();
    peer.read_request();
    peer.answer(VK_EBUSY, object({{"a", text("b")}}));
  });
  EXPECT_EQ(VK_EBUSY, call(connected_to(core)));
}

TEST(ClientCall, PutsAnAnswerIntoAMemberThatStaysInItsPlace) {
  const FakeCore core([](const Listener& listener) {
    const Peer peer = listener.accept();
    for (const Tree& tree : {object({}), array({})}) {
      peer.read_request();
      peer.answer(VK_EOK, tree);
    }
  });
  const Client client = connected_to(core);
  const Value parent = planted(object({{"a", text("1")}, {"b", text("2")}, {"c", text("3")}}));
  vk_value* const member = vk_object_find_item(parent.get(), "b");
  EXPECT_EQ(VK_EOK, vk_client_call(client.get(), "a", 0, member, -1));
  EXPECT_NE(nullptr, vk_object_init_item(member, "new"));
  EXPECT_EQ(object({{"a", text("1")}, {"b", object({{"new", any()}})}, {"c", text("3")}}),
            tree_of(*parent));
  EXPECT_EQ(VK_EOK, vk_client_call(client.get(), "a", 0, member, -1));
  EXPECT_NE(nullptr, vk_array_add_item(member));
  EXPECT_EQ(object({{"a", text("1")}, {"b", array({any()})}, {"c", text("3")}}), tree_of(*parent));
}

TEST(ClientCall, TakesAnAnswerByteByByte) {
  const Tree tree = object({{"text", text("some text")}, {"list", array({integer(1), any()})}});
  const FakeCore core([&](const Listener& listener) {
    const Peer peer = listener.accept();
    peer.read_request();
    for (const std::byte byte : response_head() + encoded(tree)) peer.send({byte});
  });
  const Value value = new_value();
  EXPECT_EQ(VK_EOK, call(connected_to(core), value));
  EXPECT_EQ(tree, tree_of(*value));
}

TEST(ClientCall, CarriesMoreThanASocketHolds) {
  const Tree large = text(std::string(3 << 20, 'x'));
  const FakeCore core([&](const Listener& listener) {
    const Peer peer = listener.accept();
    const std::size_t size = (request_head("a.b") + encoded(large)).size();
    ByteString request(size);
    EXPECT_EQ(static_cast<ssize_t>(size), recv(peer.fd(), request.data(), size, MSG_WAITALL));
    const ByteString answer = response_head() + encoded(large);
    EXPECT_EQ(static_cast<ssize_t>(answer.size()),
              ::send(peer.fd(), answer.data(), answer.size(), MSG_NOSIGNAL));
  });
  const Value value = planted(large);
  EXPECT_EQ(VK_EOK, call(connected_to(core), value));
  EXPECT_EQ(large, tree_of(*value));
}

TEST(ClientCall, GivesUpAtItsTimeLimitAndForGood) {
  const FakeCore core([](const Listener& listener) {
    const Peer peer = listener.accept();
    peer.read_request();
    peer.expect_end();
  });
  const Client client = connected_to(core);
  EXPECT_EQ(VK_ETIMEDOUT, vk_client_call(client.get(), "a", 0, nullptr, 1));
  EXPECT_EQ(VK_EIO, call(client));
}

TEST(ClientCall, FailsWhenTheConnectionIsLost) {
  const FakeCore core([](const Listener& listener) {
    listener.accept().read_request();
    listener.accept().send(response_head());
    listener.accept().send(response_head().number(12));
    listener.accept();
  });
  const Client clients[] = {connected_to(core), connected_to(core), connected_to(core),
                            connected_to(core)};
  for (const Client& client : clients) {
    const Value value = planted(text("before"));
    EXPECT_EQ(VK_EIO, call(client, value));
    EXPECT_EQ(VK_EIO, call(client, value));
    EXPECT_EQ(text("before"), tree_of(*value));
  }
}

TEST(ClientCall, HearsARefusalOfARequestThatWasNotTakenWhole) {
  const FakeCore core([](const Listener& listener) {
    const Peer peer = listener.accept();
    char part[100];
    EXPECT_EQ(100, recv(peer.fd(), part, sizeof part, MSG_WAITALL));
    peer.answer(VK_EINVAL);
  });
  const Client client = connected_to(core);
  const Value value = planted(text(std::string(4 << 20, 'x')));
  EXPECT_EQ(VK_EINVAL, call(client, value));
}

// An answer is of no use to whom it was not for.
TEST(ClientCall, FailsAfterMoreThanOneAnswer) {
  const FakeCore core([](const Listener& listener) {
    const Peer peer = listener.accept();
    peer.read_request();
    const ByteString answer = response_head().number(VK_TYPE_ANY);
    peer.send(answer + answer);
    peer.expect_end();
  });
  const Client client = connected_to(core);
  EXPECT_EQ(VK_EOK, call(client));
  EXPECT_EQ(VK_EIO, call(client));
}

TEST(ClientCall, RefusesWhatTheFormatCannotSay) {
  const FakeCore core([](const Listener& listener) { listener.accept().expect_end(); });
  const Client client = connected_to(core);
  EXPECT_EQ(VK_EVALUE, call(client, planted(array({of_no_type()}))));
  const Value no_text = planted(object({{"a", text("x")}}));
  vk_value* const leaf = vk_object_find_item(no_text.get(), "a");
  vk_free(leaf->payload.text);
  leaf->payload.text = nullptr;
  EXPECT_EQ(VK_EINVAL, call(client, no_text));
  const Value no_name = planted(object({{"a", object({{"b", any()}, {"c", text("d")}})}}));
  rename_member(*vk_object_find_item(no_name.get(), "a"), "b", "");
  EXPECT_EQ(VK_EINVAL, call(client, no_name));
}

TEST(ClientCall, LeavesTheTreeWhenMemoryIsRefused) {
  const LogSpy log;
  const FakeCore core([](const Listener& listener) {
    for (;;) {
      const Peer peer = listener.accept();
      char byte = 0;
      if (recv(peer.fd(), &byte, 1, MSG_PEEK) > 0) {
        if (peer.read_request().path == "end") break;
        const ByteString answer =
            response_head() + encoded(object({{"a", text("new")}, {"b", hex("xy")}}));
        ::send(peer.fd(), answer.data(), answer.size(), MSG_NOSIGNAL);
      }
    }
  });
  const Tree before = object({{"old", text("tree")}});
  for_every_allocation_fault([&](AllocationFault& fault) {
    vk_client* opened = nullptr;
    const uint32_t open = fault.during([&] { return vk_client_open(core.path(), 0, &opened); });
    const Client client(opened);
    if (open != VK_EOK) {
      EXPECT_EQ(VK_ENOMEM, open);
      return;
    }
    const Value value = planted(before);
    const uint32_t status =
        fault.during([&] { return vk_client_call(client.get(), "a", 0, value.get(), -1); });
    if (fault.struck()) {
      EXPECT_NE(VK_EOK, status);
      EXPECT_EQ(before, tree_of(*value));
    } else {
      EXPECT_EQ(VK_EOK, status);
      EXPECT_EQ(object({{"a", text("new")}, {"b", hex("xy")}}), tree_of(*value));
    }
  });
  EXPECT_EQ(VK_EIO, vk_client_call(connected_to(core).get(), "end", 0, nullptr, -1));
}

}  // namespace
}  // namespace vesk::test

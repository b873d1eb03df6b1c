#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <cstddef>
#include <iterator>
#include <string>

#include "tests/property/tree_generators.h"
#include "tests/support/channels.h"
#include "tests/support/messages.h"
#include "tests/support/tracked_heap.h"
#include "vesk/value/compare.h"

namespace vesk::test {
namespace {

/// Trees that can cross: an empty name would end its object.
const rc::Gen<Tree> kTrees =
    trees({.names = gen::oneOf(gen::element<std::string>("A", "B"), gen::nonEmpty(any_text()))}, 3);

const MessageKind& any_kind() {
  return kMessageKinds[*gen::inRange<std::size_t>(0, std::size(kMessageKinds))];
}

RC_GTEST_PROP(SentTree, ArrivesButForAttributesAndPolicies, ()) {
  const Tree tree = *kTrees;
  const Value value = planted(tree);
  const Value received = new_value();
  const auto [written, read] =
      exchange(any_kind(), StreamKind::kSocket, value.get(), received.get());
  RC_ASSERT(written == 0U);
  RC_ASSERT(read == 0U);
  RC_ASSERT(tree_of(*received) == as_read(tree));
  RC_ASSERT(vk_value_equal(value.get(), received.get()) == !has_array(tree));
}

RC_GTEST_PROP(SentTree, IsTheSameFromMemory, ()) {
  const Tree tree = *kTrees;
  const MessageKind& kind = any_kind();
  const Value value = planted(tree);
  wire::Buffer buffer;
  RC_ASSERT(kind.encode(buffer, value.get()) == 0U);
  wire::Bytes reader(buffer.bytes());
  const Value received = new_value();
  RC_ASSERT(kind.decode(reader, received.get()) == 0U);
  RC_ASSERT(tree_of(*received) == as_read(tree));
  RC_ASSERT(reader.rest().empty());
}

RC_GTEST_PROP(SentTree, HasTheBytesThatItsDescriptionTellsWithEitherWriter, ()) {
  const Tree tree = *kTrees;
  const MessageKind& kind = any_kind();
  const Value value = planted(tree);
  const MemoryFile file;
  wire::Buffer buffer;
  RC_ASSERT(kind.write(file.fd(), value.get()) == 0U);
  RC_ASSERT(kind.encode(buffer, value.get()) == 0U);
  RC_ASSERT(file.content() == kind.fields(tree).bytes());
  RC_ASSERT(content(buffer) == file.content());
}

RC_GTEST_PROP(CutTree, IsAnErrorAndLosesNothingButTheBufferOfABinary, ()) {
  const Tree tree = *kTrees;
  const MessageKind& kind = any_kind();
  const Fields fields = kind.fields(tree);
  const std::size_t size = *gen::inRange<std::size_t>(0, fields.bytes().size());
  const std::string cut = fields.bytes().substr(0, size);
  wire::Bytes reader = reader_of(cut);
  TrackedHeap heap;
  Value received = new_value(heap.get());
  RC_ASSERT(kind.decode(reader, received.get()) == VK_EIO);
  received.reset();
  RC_ASSERT(heap.left().size() == (fields.at(size).of_binary ? 1U : 0U));
}

}  // namespace
}  // namespace vesk::test

#include "lib/support/tail_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <vector>

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

struct Node {
  char name;
  Node* next;
};

// Where a node's `next` points that no operation has set.
Node elsewhere = {'?', nullptr};

// A record that holds a list, and six nodes with stray links to put into it.
struct Owner {
  Node* head = &elsewhere;
  Node** tail = nullptr;
  std::array<Node, 6> nodes = {{{'a', &elsewhere},
                                {'b', &elsewhere},
                                {'c', &elsewhere},
                                {'d', &elsewhere},
                                {'e', &elsewhere},
                                {'z', &elsewhere}}};

  TailList<Node> list() { return {head, tail}; }

  Node& node(char name) {
    for (Node& candidate : nodes) {
      if (candidate.name == name) return candidate;
    }
    return elsewhere;
  }

  // The names from head to end; the tail link must be where the list ends.
  std::vector<char> names() {
    std::vector<char> found;
    Node** link = &head;
    for (; *link != nullptr; link = &(*link)->next) found.push_back((*link)->name);
    EXPECT_EQ(tail, link) << "the tail link is not at the end of the list";
    return found;
  }
};

// Begins with a number of nodes in the list: a, b, c ...
class TailListOf : public testing::TestWithParam<std::size_t> {
 protected:
  TailListOf() { begin_with(GetParam()); }

  void begin_with(std::size_t count) {
    owner_.list().init();
    for (std::size_t i = 0; i < count; ++i) owner_.list().append(owner_.nodes.at(i));
  }

  std::vector<char> first_names(std::size_t count) const {
    std::vector<char> names;
    for (std::size_t i = 0; i < count; ++i) names.push_back(owner_.nodes.at(i).name);
    return names;
  }

  // An append after whatever was done lands behind the last node.
  void expect_append_lands() {
    std::vector<char> expected = owner_.names();
    expected.push_back('z');
    owner_.list().append(owner_.node('z'));
    EXPECT_THAT(owner_.names(), ElementsAreArray(expected));
  }

  Owner owner_;
};

INSTANTIATE_TEST_SUITE_P(Nodes, TailListOf, testing::Range<std::size_t>(0, 5));

TEST_P(TailListOf, IsEmptyAfterInit) {
  owner_.list().init();
  EXPECT_EQ(owner_.head, nullptr);
  EXPECT_THAT(owner_.names(), IsEmpty());
  expect_append_lands();
}

TEST_P(TailListOf, KeepsTheOrderOfAppending) {
  EXPECT_THAT(owner_.names(), ElementsAreArray(first_names(GetParam())));
  expect_append_lands();
}

TEST_P(TailListOf, InsertsBeforeTheFirstAfterNull) {
  owner_.list().insert_after(nullptr, owner_.node('e'));
  std::vector<char> expected = first_names(GetParam());
  expected.insert(expected.begin(), 'e');
  EXPECT_THAT(owner_.names(), ElementsAreArray(expected));
  expect_append_lands();
}

TEST_P(TailListOf, InsertsAfterEachNode) {
  for (std::size_t i = 0; i < GetParam(); ++i) {
    SCOPED_TRACE(owner_.nodes.at(i).name);
    begin_with(GetParam());
    owner_.list().insert_after(&owner_.nodes.at(i), owner_.node('e'));
    std::vector<char> expected = first_names(GetParam());
    expected.insert(expected.begin() + static_cast<std::ptrdiff_t>(i) + 1, 'e');
    EXPECT_THAT(owner_.names(), ElementsAreArray(expected));
    expect_append_lands();
  }
}

TEST_P(TailListOf, UnlinksEachNodeAndLeavesItsNext) {
  for (std::size_t i = 0; i < GetParam(); ++i) {
    SCOPED_TRACE(owner_.nodes.at(i).name);
    begin_with(GetParam());
    Node* const next = owner_.nodes.at(i).next;
    owner_.list().unlink(owner_.nodes.at(i));
    std::vector<char> expected = first_names(GetParam());
    expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(i));
    EXPECT_THAT(owner_.names(), ElementsAreArray(expected));
    EXPECT_EQ(owner_.nodes.at(i).next, next);
    expect_append_lands();
  }
}

TEST_P(TailListOf, GivesItsNodesFromTheFirstOneUntilItIsEmpty) {
  for (std::size_t i = 0; i < GetParam(); ++i) {
    EXPECT_EQ(owner_.list().take_first(), &owner_.nodes.at(i));
    EXPECT_EQ(owner_.names().size(), GetParam() - i - 1);
  }
  EXPECT_EQ(owner_.list().take_first(), nullptr);
  EXPECT_THAT(owner_.names(), IsEmpty());
  expect_append_lands();
}

TEST_P(TailListOf, TakesAnAppendAfterItsFirstNodeWasTaken) {
  owner_.list().take_first();
  expect_append_lands();
}

TEST_P(TailListOf, TakesANodeAgainThatWasUnlinked) {
  if (GetParam() == 0) owner_.list().append(owner_.node('a'));
  Node& first = *owner_.head;
  owner_.list().unlink(first);
  owner_.list().append(first);
  EXPECT_EQ(owner_.names().back(), first.name);
}

TEST_P(TailListOf, IsVisitedByRangeFor) {
  std::vector<char> visited;
  for (const Node& node : Nodes(owner_.head)) visited.push_back(node.name);
  EXPECT_THAT(visited, ElementsAreArray(first_names(GetParam())));
}

TEST(TailListNodes, AreVisitedFromAnyOneOn) {
  Node c = {'c', nullptr};
  Node b = {'b', &c};
  const Node a = {'a', &b};
  std::vector<char> visited;
  for (const Node& node : Nodes(a.next)) visited.push_back(node.name);
  EXPECT_THAT(visited, ElementsAre('b', 'c'));
}

TEST(TailListNodes, MayBeChangedByTheVisitor) {
  Node b = {'b', nullptr};
  Node a = {'a', &b};
  for (Node& node : Nodes(&a)) node.name = 'x';
  EXPECT_EQ(a.name, 'x');
  EXPECT_EQ(b.name, 'x');
}

}  // namespace
}  // namespace vesk::test

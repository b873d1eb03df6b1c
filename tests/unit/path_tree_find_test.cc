#include "vesk/path_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/allocation_fault.h"
#include "tests/support/log_spy.h"
#include "tests/support/path_trees.h"

namespace vesk::test {
namespace {

using ::testing::IsEmpty;

/// The path of a node from its root; "none" for null.
std::string path_of(const vk_path_tree* node) {
  if (node == nullptr) return "none";
  if (node->parent == nullptr) return "";
  const std::string above = path_of(node->parent);
  return (above.empty() ? "" : above + '.') + node->path_node.name;
}

// Finding, in both forms

class PathTreeFind : public testing::TestWithParam<PathForm> {
 protected:
  vk_path_tree* find(vk_path_tree* tree, const char* path) const {
    return GetParam().find(tree, Path(path));
  }

  vk_path_tree* find(const PathTree& tree, const char* path) const {
    return find(tree.get(), path);
  }
};

INSTANTIATE_TEST_SUITE_P(InBothForms, PathTreeFind, testing::ValuesIn(kPathForms),
                         testing::PrintToStringParamName());

TEST_P(PathTreeFind, GivesTheNodeOfExactlyThatPath) {
  const PathTree tree = path_tree({"A.B.C", "A.D", "X", "B"});
  for (const char* const path : {"A", "A.B", "A.B.C", "A.D", "X", "B"}) {
    EXPECT_EQ(path_of(find(tree, path)), path);
  }
}

TEST_P(PathTreeFind, GivesTheNodeThatAddGave) {
  const PathTree tree = new_path_tree();
  const vk_path_tree* const node = node_at(tree, "A.B");
  EXPECT_EQ(find(tree, "A.B"), node);
  EXPECT_EQ(find(tree, "A"), node->parent);
}

TEST_P(PathTreeFind, GivesTheTreeItselfForAnEmptyPath) {
  const PathTree tree = path_tree({"A.B"});
  EXPECT_EQ(find(tree, ""), tree.get());
  EXPECT_EQ(find(tree->first_child, ""), tree->first_child);
  EXPECT_EQ(find(new_path_tree(), "A"), nullptr);
}

TEST_P(PathTreeFind, GivesNullWhenAnyComponentIsMissing) {
  const PathTree tree = path_tree({"A.B.C", "X"});
  for (const char* const path : {"Y", "Y.B.C", "A.Y", "A.Y.C", "A.B.Y", "A.B.C.Y", "B", "C", "A.C",
                                 "A.A", "X.B", "X.X", "A.X"}) {
    EXPECT_EQ(path_of(find(tree, path)), "none") << path;
  }
}

TEST_P(PathTreeFind, BeginsAtAnyNode) {
  const PathTree tree = path_tree({"A.B.C", "B"});
  EXPECT_EQ(path_of(find(tree->first_child->next, "B")), "A.B");
  EXPECT_EQ(find(tree->first_child->next, "A"), nullptr);
  EXPECT_EQ(find(tree->first_child, "B"), nullptr);
}

TEST_P(PathTreeFind, ComparesNamesExactly) {
  const PathTree tree = path_tree({"Host", "2"});
  for (const char* const path : {"host", "HOST", "Hos", "Hosts", " Host", "02", "+2", "$", "22"}) {
    EXPECT_EQ(path_of(find(tree, path)), "none") << path;
  }
}

TEST_P(PathTreeFind, TakesATemplateForAnyOtherName) {
  const PathTree tree = path_tree({"Host.$.Name"});
  EXPECT_EQ(path_of(find(tree, "Host.$.Name")), "Host.$.Name");
  EXPECT_EQ(path_of(find(tree, "Host.2.Name")), "none");
}

TEST_P(PathTreeFind, GivesTheFirstOfTwoChildrenOfOneName) {
  const PathTree tree = path_tree({"A.old", "B.new"});
  tree->first_child->path_node.name[0] = 'A';
  EXPECT_EQ(find(tree, "A"), tree->first_child);
  EXPECT_EQ(path_of(find(tree, "A.new")), "A.new");
  EXPECT_EQ(find(tree, "A.old"), nullptr);
}

TEST_P(PathTreeFind, AllocatesAndLogsNothingAndChangesNothing) {
  const PathTree tree = path_tree({"A.B.C"});
  const LogSpy spy;
  for (const char* const text : {"", "A", "A.B.C", "A.B.X", "X", "A.B.C.D.E"}) {
    const Path path{text};
    const AllocationLog log;
    GetParam().find(tree.get(), path);
    EXPECT_EQ(log.count(), 0U) << text;
  }
  EXPECT_EQ(shape(tree), "A(B(C))");
  EXPECT_THAT(spy.calls(), IsEmpty());
}

// Finding texts

TEST(PathTreeFindPath, FindsAPathWithAFinalSeparator) {
  const PathTree tree = path_tree({"A.B"});
  EXPECT_EQ(path_of(vk_path_tree_find_path(tree.get(), "A.B.")), "A.B");
  EXPECT_EQ(path_of(vk_path_tree_find_path(tree.get(), "A.")), "A");
}

TEST(PathTreeFindPath, EndsAtAnEmptyComponent) {
  const PathTree tree = path_tree({"A.B"});
  EXPECT_EQ(path_of(vk_path_tree_find_path(tree.get(), "A..B")), "A");
}

TEST(PathTreeFindPath, GivesTheTreeItselfForATextWithoutComponents) {
  const PathTree tree = path_tree({"A"});
  for (const char* const text : {"", ".", ".A"}) {
    EXPECT_EQ(vk_path_tree_find_path(tree.get(), text), tree.get()) << text;
  }
  EXPECT_EQ(vk_path_tree_find_path(tree.get(), nullptr), tree.get());
}

// Finding lists

TEST(PathTreeFindList, ComparesNamesAndNotIndexes) {
  const PathTree tree = path_tree({"2"});
  char same[] = "2";
  char other[] = "02";
  const vk_path_node stray_index = {nullptr, 7, same};
  const vk_path_node same_index = {nullptr, 2, other};
  EXPECT_EQ(vk_path_tree_find(tree.get(), &stray_index), tree->first_child);
  EXPECT_EQ(vk_path_tree_find(tree.get(), &same_index), nullptr);
}

TEST(PathTreeFindList, FindsTheListThatIsThreadedThroughAnotherTree) {
  const PathTree source = path_tree({"A.2.B"});
  const vk_path_tree* const root = vk_path_set_current(node_at(source, "A.2.B"));
  const PathTree tree = path_tree({"A.2.B.C"});
  EXPECT_EQ(path_of(vk_path_tree_find(tree.get(), root->path_node.next)), "A.2.B");
}

// Finding by template

std::string served_by(const PathTree& tree, const char* component) {
  return path_of(vk_path_tree_find_template(tree.get(), component));
}

TEST(PathTreeFindTemplate, GivesTheChildOfThatNameOrTheTemplateForAnInstance) {
  for (const auto& order : {path_tree({"$", "5"}), path_tree({"5", "$"})}) {
    EXPECT_EQ(served_by(order, "5"), "5");
    EXPECT_EQ(served_by(order, "7"), "$");
    EXPECT_EQ(served_by(order, "X"), "none");
  }
}

TEST(PathTreeFindTemplate, GivesAChildOfThatNameBehindTheTemplateAndOthers) {
  const PathTree tree = path_tree({"5", "X", "$", "Y"});
  ASSERT_EQ(shape(tree), "Y $ X 5");
  EXPECT_EQ(served_by(tree, "5"), "5");
  EXPECT_EQ(served_by(tree, "X"), "X");
}

TEST(PathTreeFindTemplate, GivesNullForAnInstanceWithoutTemplate) {
  EXPECT_EQ(served_by(path_tree({"5"}), "7"), "none");
  EXPECT_EQ(served_by(path_tree({"5"}), "5"), "5");
  EXPECT_EQ(served_by(path_tree({"$$", "$1", "a$"}), "7"), "none");
  EXPECT_EQ(served_by(new_path_tree(), "7"), "none");
}

TEST(PathTreeFindTemplate, ServesWhateverReadsAsAnInstanceNumber) {
  const PathTree tree = path_tree({"5", "$"});
  for (const char* const component : {"1", "05", "+5", " 5", "-1", "4294967295"}) {
    EXPECT_EQ(served_by(tree, component), "$") << component;
  }
  for (const char* const component : {"", "0", "00", "5a", "5 ", "4294967296", "Host", "$$", "#"}) {
    EXPECT_EQ(served_by(tree, component), "none") << component;
  }
}

TEST(PathTreeFindTemplate, FindsTheTemplateItselfByItsName) {
  EXPECT_EQ(served_by(path_tree({"$", "5"}), "$"), "$");
  EXPECT_EQ(served_by(path_tree({"5"}), "$"), "none");
}

TEST(PathTreeFindTemplate, FindsNamesThatAreNoInstances) {
  const PathTree tree = path_tree({"0", "Host", "$"});
  EXPECT_EQ(served_by(tree, "0"), "0");
  EXPECT_EQ(served_by(tree, "Host"), "Host");
}

TEST(PathTreeFindTemplate, LooksAtChildrenOnly) {
  const PathTree tree = path_tree({"Host.$.Name", "Host.5"});
  EXPECT_EQ(served_by(tree, "7"), "none");
  EXPECT_EQ(path_of(vk_path_tree_find_template(tree->first_child, "7")), "Host.$");
  EXPECT_EQ(path_of(vk_path_tree_find_template(tree->first_child, "5")), "Host.5");
}

TEST(PathTreeFindTemplate, GivesTheFirstOfTwoTemplatesAndOfTwoChildrenOfOneName) {
  const PathTree tree = path_tree({"$", "A", "5", "6"});
  vk_path_tree_find_path(tree.get(), "A")->path_node.name[0] = '$';
  tree->first_child->path_node.name[0] = '5';
  EXPECT_EQ(vk_path_tree_find_template(tree.get(), "7"), tree->first_child->next->next);
  EXPECT_EQ(vk_path_tree_find_template(tree.get(), "5"), tree->first_child);
}

TEST(PathTreeFindTemplate, AllocatesAndLogsNothing) {
  const PathTree tree = path_tree({"$", "5"});
  const LogSpy spy;
  const AllocationLog log;
  for (const char* const component : {"5", "7", "X"}) {
    vk_path_tree_find_template(tree.get(), component);
  }
  EXPECT_EQ(log.count(), 0U);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

}  // namespace
}  // namespace vesk::test

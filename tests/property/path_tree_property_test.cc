#include "vesk/path_tree.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "tests/support/path_trees.h"
#include "vesk/mm/gta.h"

// Path trees against a plain model: the set of the prefixes of all paths, each with the moment at
// which it came.

namespace vesk::test {
namespace {

using Components = std::vector<std::string>;
using Texts = std::vector<std::string>;

bool begins_with(const Components& path, const Components& prefix) {
  return path.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), path.begin());
}

Components joined(Components path, const Components& more) {
  path.insert(path.end(), more.begin(), more.end());
  return path;
}

// The empty path is always there and is not kept.
class Model {
 public:
  Model() = default;
  explicit Model(const std::vector<Components>& paths) {
    for (const Components& path : paths) add(path);
  }

  void add(const Components& path) {
    Components prefix;
    for (const std::string& name : path) {
      prefix.push_back(name);
      births_.try_emplace(prefix, ++now_);
    }
  }

  // Removes the path that leads on from one that is there, and with prune what is then left without
  // children on the way.
  void remove(const Components& from, const Components& way, bool prune) {
    Components path = joined(from, way);
    if (!has(path)) return;
    std::erase_if(births_, [&](const auto& entry) {
      return begins_with(entry.first, path) && entry.first.size() > from.size();
    });
    if (!prune || way.empty()) return;
    for (path.pop_back(); path.size() > from.size() && is_leaf(path); path.pop_back()) {
      births_.erase(path);
    }
  }

  bool has(const Components& path) const { return path.empty() || births_.contains(path); }
  bool is_leaf(const Components& path) const { return children(path).empty(); }

  // Every path below another one, parents first, the newest first.
  std::vector<Components> below(const Components& from = {}) const {
    std::vector<Components> paths;
    for (const Components& child : children(from)) {
      paths.push_back(child);
      for (const Components& path : below(child)) paths.push_back(path);
    }
    return paths;
  }

 private:
  std::vector<Components> children(const Components& path) const {
    std::map<std::size_t, Components, std::greater<>> newest_first;
    for (const auto& [child, birth] : births_) {
      if (child.size() == path.size() + 1 && begins_with(child, path)) newest_first[birth] = child;
    }
    std::vector<Components> sorted;
    sorted.reserve(newest_first.size());
    for (const auto& [birth, child] : newest_first) sorted.push_back(child);
    return sorted;
  }

  std::map<Components, std::size_t> births_;
  std::size_t now_ = 0;
};

bool covers(const Model& model, Components path) {
  while (!model.has(path)) path.pop_back();
  return model.is_leaf(path);
}

bool share_a_leaf(const Model& a, const Model& b) {
  const std::vector<Components> paths = a.below();
  return std::any_of(paths.begin(), paths.end(), [&](const Components& path) {
    return a.is_leaf(path) && b.has(path) && b.is_leaf(path);
  });
}

// What is generated: few names and short paths, so that they meet.

auto some_name() { return rc::gen::element<std::string>("A", "B", "$", "0", "1", "2", "02"); }

auto some_path() { return rc::gen::resize(4, rc::gen::container<Components>(some_name())); }

auto some_paths() {
  return rc::gen::resize(12, rc::gen::container<std::vector<Components>>(some_path()));
}

// A path that is there, or any.
rc::Gen<Components> path_near(const Model& model) {
  std::vector<Components> there = model.below();
  there.emplace_back();
  return rc::gen::oneOf(rc::gen::elementOf(there), some_path());
}

// Paths of which many are there.
rc::Gen<std::vector<Components>> paths_near(const Model& model) {
  return rc::gen::resize(6, rc::gen::container<std::vector<Components>>(path_near(model)));
}

// Trees

class PathTreeProperty : public testing::Test {
 protected:
  PathTreeProperty() { vk_gta_init(); }
  ~PathTreeProperty() override { vk_gta_destroy(); }

  static std::string text_of(const Components& path) { return Path(path).text(); }

  static Texts texts_of(const std::vector<Components>& paths) {
    Texts texts;
    for (const Components& path : paths) texts.push_back(text_of(path));
    return texts;
  }

  // Adds half of the paths as texts and half as lists.
  static PathTree tree_of(const std::vector<Components>& paths) {
    PathTree tree = new_path_tree();
    for (std::size_t i = 0; i < paths.size(); ++i) {
      RC_ASSERT(kPathForms[i % 2].add(tree.get(), Path(paths[i])) != nullptr);
    }
    return tree;
  }

  static vk_path_tree* find(const PathTree& tree, const Components& path) {
    return vk_path_tree_find(tree.get(), Path(path).list());
  }

  static Texts enumerated(const PathTree& tree) {
    Texts visits;
    const auto note = [](const char* path, vk_path_tree*, void* context) {
      static_cast<Texts*>(context)->emplace_back(path);
    };
    RC_ASSERT(vk_path_tree_enumerate(tree.get(), "", note, &visits) == vk_error{VK_EOK});
    return visits;
  }

  // Every path, in the same order, and nothing wrong with a node.
  static void assert_agreement(const PathTree& tree, const Model& model) {
    RC_ASSERT(enumerated(tree) == texts_of(model.below()));
    shape(tree);
    RC_ASSERT(!HasFailure());
  }
};

RC_GTEST_FIXTURE_PROP(PathTreeProperty, EnumeratesEveryPrefixOnceNewestFirst, ()) {
  const auto paths = *some_paths();
  assert_agreement(tree_of(paths), Model(paths));
}

RC_GTEST_FIXTURE_PROP(PathTreeProperty, EnumeratesBelowAPrefix, ()) {
  const auto paths = *some_paths();
  const auto prefix = *rc::gen::nonEmpty(some_path());
  std::vector<Components> expected = Model(paths).below();
  for (Components& path : expected) path = joined(prefix, path);
  Texts visits;
  const auto note = [](const char* path, vk_path_tree*, void* context) {
    static_cast<Texts*>(context)->emplace_back(path);
  };
  RC_ASSERT(vk_path_tree_enumerate(tree_of(paths).get(), text_of(prefix).c_str(), note, &visits) ==
            vk_error{VK_EOK});
  RC_ASSERT(visits == texts_of(expected));
}

RC_GTEST_FIXTURE_PROP(PathTreeProperty, FindsExactlyThePrefixesOfWhatWasAdded, ()) {
  const auto paths = *some_paths();
  const Model model{paths};
  const auto wanted = *path_near(model);
  const PathTree tree = tree_of(paths);
  for (const PathForm& form : kPathForms) {
    RC_ASSERT((form.find(tree.get(), Path(wanted)) != nullptr) == model.has(wanted));
  }
}

RC_GTEST_FIXTURE_PROP(PathTreeProperty, ThreadsThePathByWhichANodeIsFound, ()) {
  const auto paths = *some_paths();
  const PathTree tree = tree_of(paths);
  for (const Components& path : Model(paths).below()) {
    RC_ASSERT(vk_path_set_current(find(tree, path)) == tree.get());
    RC_ASSERT(threaded(tree) == text_of(path));
  }
}

RC_GTEST_FIXTURE_PROP(PathTreeProperty, AddsNothingTwice, ()) {
  const auto paths = *some_paths();
  const PathTree tree = tree_of(paths);
  for (const Components& path : paths) {
    vk_path_tree* const node = find(tree, path);
    for (const PathForm& form : kPathForms) RC_ASSERT(form.add(tree.get(), Path(path)) == node);
  }
  assert_agreement(tree, Model(paths));
}

RC_GTEST_FIXTURE_PROP(PathTreeProperty, ServesAComponentByItsNameOrElseByTheTemplate, ()) {
  const auto paths = *some_paths();
  const auto component = *some_name();
  const PathTree tree = tree_of(paths);
  const Model model{paths};
  std::vector<Components> parents = model.below();
  parents.emplace_back();
  for (const Components& parent : parents) {
    const bool instance = component == "1" || component == "2" || component == "02";
    const Components named = joined(parent, {component});
    const Components served = !model.has(named) && instance ? joined(parent, {"$"}) : named;
    RC_ASSERT(vk_path_tree_find_template(find(tree, parent), component.c_str()) ==
              find(tree, served));
  }
}

RC_GTEST_FIXTURE_PROP(PathTreeProperty, MergesIntoTheUnion, ()) {
  const auto ours = *some_paths();
  const auto theirs = *paths_near(Model(ours));
  const PathTree destination = tree_of(ours);
  const PathTree source = tree_of(theirs);
  const Model added{theirs};
  Model model{ours};
  for (const Components& path : added.below()) model.add(path);
  for (int times = 0; times < 2; ++times) {
    RC_ASSERT(vk_path_tree_merge(destination.get(), source.get()) == vk_error{VK_EOK});
    assert_agreement(destination, model);
    assert_agreement(source, added);
  }
}

RC_GTEST_FIXTURE_PROP(PathTreeProperty, IntersectsWhereALeafIsShared, ()) {
  const auto ours = *some_paths();
  const auto theirs = *paths_near(Model(ours));
  const PathTree a = tree_of(ours);
  const PathTree b = tree_of(theirs);
  const bool expected = share_a_leaf(Model(ours), Model(theirs));
  RC_ASSERT(vk_path_tree_intersect(a.get(), b.get()) == expected);
  RC_ASSERT(vk_path_tree_intersect(b.get(), a.get()) == expected);
}

RC_GTEST_FIXTURE_PROP(PathTreeProperty, IsARootOfWhatALeafCovers, ()) {
  const auto paths = *some_paths();
  const auto path = joined(*path_near(Model(paths)), *some_path());
  RC_ASSERT(vk_path_tree_is_root(tree_of(paths).get(), Path(path).list()) ==
            covers(Model(paths), path));
}

RC_GTEST_FIXTURE_PROP(PathTreeProperty, RemovesAPathAsAskedFromAnyNodeOn, ()) {
  const auto paths = *some_paths();
  const auto prune = *rc::gen::arbitrary<bool>();
  Model model{paths};
  const auto path = *path_near(model);
  const auto cut = path.begin() + *rc::gen::inRange<std::ptrdiff_t>(0, std::ssize(path) + 1);
  const Components from(path.begin(), cut);
  const Components way(cut, path.end());
  RC_PRE(model.has(from));
  const PathTree tree = tree_of(paths);
  vk_path_tree_free_path(find(tree, from), text_of(way).c_str(), prune ? 1 : 0);
  model.remove(from, way, prune);
  assert_agreement(tree, model);
}

// One change, made to both.
void change(vk_path_tree* tree, Model& model, const std::string& action, const Components& path) {
  const Path way{path};
  if (action == "add") {
    vk_path_tree_add(tree, way.list());
    model.add(path);
  } else if (action == "free") {
    vk_path_tree_free_path(tree, way.text(), 0);
    model.remove({}, path, false);
  } else if (action == "prune") {
    vk_path_tree_free_path(tree, way.text(), 1);
    model.remove({}, path, true);
  } else if (model.has(path)) {
    vk_path_tree_clean(vk_path_tree_find(tree, way.list()));
    model.remove(path, {}, false);
  }
}

RC_GTEST_FIXTURE_PROP(PathTreeProperty, AgreesAfterEveryStepOfALongLife, ()) {
  const auto paths = *some_paths();
  const PathTree tree = tree_of(paths);
  Model model{paths};
  const int steps = *rc::gen::inRange(0, 12);
  for (int step = 0; step < steps; ++step) {
    const auto action = *rc::gen::element<std::string>("add", "add", "free", "prune", "clean");
    change(tree.get(), model, action, *path_near(model));
    assert_agreement(tree, model);
  }
}

}  // namespace
}  // namespace vesk::test

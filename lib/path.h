#pragma once

// The two forms of a path, text and list, walked in one way, so that what walks a path is written
// once.

#include "vesk/path.h"

namespace vesk {

/// Walks a path text. Large, for it holds the current component: not for recursive functions.
class PathText {
 public:
  explicit PathText(const char* text) { vk_path_roam_init(&roam_, text); }
  bool at_end() const { return vk_path_roam_end(&roam_); }
  const char* name() const { return roam_.node; }
  void next() { vk_path_roam_next(&roam_); }

 private:
  vk_path_roam roam_;
};

/// Walks a parsed path.
class PathList {
 public:
  explicit PathList(const vk_path_node* first) : node_(first) {}
  bool at_end() const { return node_ == nullptr; }
  const char* name() const { return node_->name; }
  void next() { node_ = node_->next; }

 private:
  const vk_path_node* node_;
};

}  // namespace vesk

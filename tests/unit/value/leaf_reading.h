#pragma once

// Reads leaves from their texts, and sees what that does to their nodes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/log_spy.h"
#include "tests/support/trees.h"
#include "tests/support/values.h"
#include "vesk/value/text.h"

namespace vesk::test {

/// No call of libc leaves this in `errno`.
inline constexpr int kStrayErrno = 12345;

/// What reading one text gave, and what it left in `errno`.
struct Reading {
  vk_error result;
  int error;

  bool operator==(const Reading&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Reading& reading) {
  return out << vk_strerror(reading.result) << ", errno " << reading.error;
}

inline constexpr Reading kAccepted = {VK_EOK, 0};
inline constexpr Reading kRefused = {VK_EINVAL, 0};
inline constexpr Reading kOutOfRange = {VK_EINVAL, ERANGE};

/// Reads a text with a stray number in `errno`.
inline Reading read(vk_value* node, vk_type type, const std::string& text) {
  const int before = std::exchange(errno, kStrayErrno);
  const vk_error result = vk_value_set_from_string(node, type, text.c_str());
  return {result, std::exchange(errno, before)};
}

/// What a node may hold when a text comes: a tree of each type, with an attribute.
inline std::vector<Tree> all_contents() {
  std::vector<Tree> contents;
  for (const Tree& tree : one_of_each_type()) {
    contents.push_back(tree.with({{"Error", integer(9005)}}));
  }
  return contents;
}

/// A text that is accepted replaces whatever the node held, its attributes included.
inline void expect_read(const std::string& text, const Tree& leaf) {
  SCOPED_TRACE('"' + text + '"');
  const LogSpy log;
  const Value node = planted(object({{"A", array({})}}).with({{"Error", integer(9005)}}));
  EXPECT_EQ(read(node.get(), leaf.type, text), kAccepted);
  EXPECT_EQ(tree_of(*node), leaf);
  EXPECT_THAT(log.calls(), testing::IsEmpty());
}

/// A text that denotes no value of a type leaves the node as it was, whatever it held.
inline void expect_refused(const std::string& text, vk_type type, const Reading& reading) {
  SCOPED_TRACE('"' + text + "\" as " + vk_type_to_string(type));
  const LogSpy log;
  for (const Tree& before : all_contents()) {
    const Value node = planted(before);
    EXPECT_EQ(read(node.get(), type, text), reading);
    EXPECT_EQ(tree_of(*node), before);
  }
  EXPECT_THAT(log.calls(), testing::IsEmpty());
}

}  // namespace vesk::test

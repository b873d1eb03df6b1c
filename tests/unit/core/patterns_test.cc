#include "core/patterns.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/walk.h"

namespace vesk::test {
namespace {

using core::Path;
using core::Patterns;
using core::walk;
using testing::ElementsAre;
using testing::IsEmpty;

// Patterns with the numbers 1, 2, 3 and so on.
Patterns patterns_of(std::initializer_list<const char*> texts) {
  Patterns patterns;
  uint64_t id = 0;
  for (const char* const text : texts) patterns.add(walk(text), ++id);
  return patterns;
}

TEST(Patterns, MatchWhatLiesAtOrBelowThem) {
  const Patterns patterns = patterns_of({"a.b"});
  EXPECT_THAT(patterns.match(walk("a.b")), ElementsAre(1));
  EXPECT_THAT(patterns.match(walk("a.b.c.d")), ElementsAre(1));
  EXPECT_THAT(patterns.match(walk("a")), IsEmpty());
  EXPECT_THAT(patterns.match(walk("a.bc")), IsEmpty());
  EXPECT_THAT(patterns.match({}), IsEmpty());
}

TEST(Patterns, TryLongerOnesFirst) {
  const Patterns patterns = patterns_of({"a", "a.b.c", "a.b"});
  EXPECT_THAT(patterns.match(walk("a.b.c.d")), ElementsAre(2, 3, 1));
}

TEST(Patterns, TryLiteralsBeforeTemplatesFromTheLeft) {
  const Patterns patterns = patterns_of({"$.$", "$.2", "1.$", "1.2"});
  EXPECT_THAT(patterns.match(walk("1.2")), ElementsAre(4, 3, 2, 1));
}

TEST(Patterns, FollowALiteralAndATemplateAtEachComponent) {
  const Patterns patterns = patterns_of({"a.1.b", "a.$.c"});
  EXPECT_THAT(patterns.match(walk("a.1.c")), ElementsAre(2));
}

TEST(Patterns, TryALongerTemplateBeforeAShorterLiteral) {
  const Patterns patterns = patterns_of({"a.1", "a.$.b"});
  EXPECT_THAT(patterns.match(walk("a.1.b")), ElementsAre(2, 1));
}

TEST(Patterns, TryTheOldestOfOnePatternFirst) {
  const Patterns patterns = patterns_of({"a", "a", "a"});
  EXPECT_THAT(patterns.match(walk("a.b")), ElementsAre(1, 2, 3));
}

TEST(Patterns, TakeOnlyInstanceNumbersForATemplate) {
  const Patterns patterns = patterns_of({"a.$"});
  EXPECT_THAT(patterns.match(walk("a.7")), ElementsAre(1));
  EXPECT_THAT(patterns.match(walk("a.0")), IsEmpty());
  EXPECT_THAT(patterns.match(walk("a.x")), IsEmpty());
}

TEST(Patterns, MatchATemplateThatIsAskedForOnce) {
  const Patterns patterns = patterns_of({"a.$"});
  EXPECT_THAT(patterns.match(walk("a.$")), ElementsAre(1));
}

TEST(Patterns, LeaveThoseBelowARemovedOne) {
  Patterns patterns = patterns_of({"a", "a.b"});
  patterns.remove(walk("a"), 1);
  EXPECT_THAT(patterns.match(walk("a.b")), ElementsAre(2));
  EXPECT_THAT(patterns.match(walk("a")), IsEmpty());
}

TEST(Patterns, LeaveThoseAboveAndBesideARemovedOne) {
  Patterns patterns = patterns_of({"a", "a.b", "a.b", "a.c"});
  patterns.remove(walk("a.b"), 2);
  EXPECT_THAT(patterns.match(walk("a.b")), ElementsAre(3, 1));
  EXPECT_THAT(patterns.match(walk("a.c")), ElementsAre(4, 1));
}

TEST(Patterns, IgnoreTheRemovalOfWhatIsNotThere) {
  Patterns patterns = patterns_of({"a.b"});
  patterns.remove(walk("a.b.c"), 1);
  patterns.remove(walk("a.b"), 2);
  EXPECT_THAT(patterns.match(walk("a.b")), ElementsAre(1));
}

TEST(TriedBefore, PutsLongerFirstThenLiteralsFromTheLeft) {
  const std::vector<Path> order = {walk("a.b.c"), walk("a.b"), walk("a.$"),
                                   walk("$.b"),   walk("$.$"), walk("a")};
  for (std::size_t i = 0; i != order.size(); ++i) {
    for (std::size_t j = 0; j != order.size(); ++j) {
      EXPECT_EQ(core::tried_before(order[i], order[j]), i < j) << i << ' ' << j;
    }
  }
}

TEST(TriedBefore, DoesNotTellLiteralsApart) {
  EXPECT_FALSE(core::tried_before(walk("a.b"), walk("c.d")));
  EXPECT_FALSE(core::tried_before(walk("c.d"), walk("a.b")));
}

TEST(IsAtOrBelow, ComparesWholeComponents) {
  EXPECT_TRUE(core::is_at_or_below(walk("a.b"), walk("a.b")));
  EXPECT_TRUE(core::is_at_or_below(walk("a.b.c"), walk("a.b")));
  EXPECT_FALSE(core::is_at_or_below(walk("a"), walk("a.b")));
  EXPECT_FALSE(core::is_at_or_below(walk("a.bc"), walk("a.b")));
}

TEST(Walk, EndsAtAnEmptyComponent) {
  EXPECT_THAT(walk("a.b."), ElementsAre("a", "b"));
  EXPECT_THAT(walk("a..b"), ElementsAre("a"));
  EXPECT_THAT(walk(".a"), IsEmpty());
  EXPECT_THAT(walk(""), IsEmpty());
}

TEST(Join, PutsPointsBetweenComponents) {
  EXPECT_EQ(core::join(Path{"a", "b"}), "a.b");
  EXPECT_EQ(core::join(Path{}), "");
}

}  // namespace
}  // namespace vesk::test

#pragma once

// Requests to the core in the words of the tests: what goes out, what comes back, and what becomes
// of a caller's `out`.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/module_process.h"
#include "tests/support/recording_hooks.h"
#include "tests/support/trees.h"
#include "vesk/mm/gta.h"
#include "vesk/value/member.h"

namespace vesk::test {

/// A request as it went out.
struct Request {
  std::string path;  ///< with "#" and the number behind instances
  uint32_t action;
  std::optional<Tree> value;

  bool operator==(const Request&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Request& request) {
  out << request.path << " (" << request.action << ") ";
  return request.value ? out << *request.value : out << "null";
}

/// What an answer writes into the request's tree, if there is one.
using Answer = std::function<void(vk_value& value)>;

/// Stands in for the core while it lives: takes requests and answers them. One at a time.
class Core {
 public:
  explicit Core(Answer write = {}) : answer(std::move(write)) {
    hooks_.answer = [this](const RecordingHooks::Call& call) { return take(call); };
  }

  std::vector<Request> requests;
  std::vector<const vk_value*> values;  ///< their trees, which may be gone
  std::set<const vk_allocator*> heaps;  ///< on which the trees lay
  Answer answer;                        ///< writes nothing if empty
  uint32_t result = VK_EOK;

 private:
  uint32_t take(const RecordingHooks::Call& call) {
    {
      const Unwatched unwatched;
      Request request{call.path, call.action, std::nullopt};
      if (call.value != nullptr) {
        request.value = tree_of(*call.value);
        heaps.merge(heaps_of(*call.value));
      }
      requests.push_back(std::move(request));
      values.push_back(call.value);
    }
    if (answer && call.value != nullptr) answer(*call.value);
    return result;
  }

  RecordingHooks hooks_;
};

/// An answer with this "ParameterList", on the request's heap, and with something besides.
inline Answer list_of(const Tree& list) {
  return [list](vk_value& value) {
    vk_value* const node = planted(list, value.heap).release();
    EXPECT_EQ(vk_object_insert(&value, "ParameterList", node), VK_EOK);
    EXPECT_EQ(vk_object_set_string(&value, "Besides", "text"), VK_EOK);
  };
}

/// An answer without a "ParameterList".
inline void no_list(vk_value& value) {
  EXPECT_EQ(vk_object_set_string(&value, "Besides", "text"), VK_EOK);
}

/// An answer that leaves no object.
inline void no_object(vk_value& value) {
  EXPECT_EQ(vk_value_set_string(&value, "no object at all"), VK_EOK);
}

/// What became of a caller's `out`: nothing, or what it holds.
struct Untouched {
  bool operator==(const Untouched&) const = default;
};
struct Null {
  bool operator==(const Null&) const = default;
};
inline std::ostream& operator<<(std::ostream& out, Untouched) { return out << "untouched"; }
inline std::ostream& operator<<(std::ostream& out, Null) { return out << "null"; }
using Out = std::variant<Untouched, Null, Tree>;

/// What a caller receives.
struct Outcome {
  vk_error error;
  Out out;

  bool operator==(const Outcome&) const = default;
};

inline std::ostream& operator<<(std::ostream& stream, const Outcome& outcome) {
  stream << "error " << outcome.error << ", out ";
  std::visit([&](const auto& out) { stream << out; }, outcome.out);
  return stream;
}

/// Makes a request with an `out`, and deletes what it receives.
inline Outcome outcome_of(const std::function<vk_error(vk_value** out)>& ask) {
  vk_value stray = {};
  vk_value* out = &stray;
  const vk_error error = ask(&out);
  if (out == &stray) return {error, Untouched{}};
  const Value received(out);
  return received == nullptr ? Outcome{error, Null{}} : Outcome{error, tree_of(*received)};
}

/// "gta" with its record but no chunk, so that the first thing taken from it asks for one. There
/// must be no "gta" before.
class EmptyGta {
 public:
  EmptyGta() {
    AllocationFault no_chunk(2, AllocationFault::Extent::kAllFromThere);
    EXPECT_EQ(no_chunk.during([] { return vk_gta_init(); }), VK_EOK);
  }
  ~EmptyGta() { vk_gta_destroy(); }
  EmptyGta(const EmptyGta&) = delete;
  EmptyGta& operator=(const EmptyGta&) = delete;
};

/// Makes a request with its first allocation refused, then its second, and so on: each time it must
/// answer `VK_ENOMEM` and send nothing, until it is answered `VK_EOK`.
inline void expect_sent_whole_or_not_at_all(const std::function<uint32_t()>& ask,
                                            const Answer& answer = {}) {
  vk_gta_destroy();
  for_every_allocation_fault([&](AllocationFault& fault) {
    const EmptyGta gta;
    const Core core([&](vk_value& value) {
      const Unwatched unwatched;
      if (answer) answer(value);
    });
    const uint32_t result = fault.during(ask);
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
    EXPECT_EQ(core.requests.size(), fault.struck() ? 0U : 1U);
  });
}

/// Requests of any process; expects that no block is left over after a test.
class RequestTest : public testing::Test {
 protected:
  RequestTest() { EXPECT_EQ(vk_gta_init(), VK_EOK); }
  ~RequestTest() override {
    vk_gta_destroy();
    EXPECT_EQ(live_blocks(), blocks_before_) << "blocks are left over";
  }

  LogSpy log_;

 private:
  std::size_t blocks_before_ = live_blocks();
};

/// Requests of a module, which live on its heap.
class ModuleRequestTest : public RequestTest {
 protected:
  ModuleRequestTest() { module_.context.heap = heap_.get(); }

  Heap heap_{vk_mm_heap_new("module")};

 private:
  ModuleProcess module_{"demo"};
};

/// Nothing is handed out by an answer that has no list, or one that is no object.
template <typename Ask>
void expect_untouched_without_a_list(const Ask& ask) {
  const Answer answers[] = {nullptr,
                            no_list,
                            no_object,
                            list_of(any()),
                            list_of(array({text("element")})),
                            list_of(text("list"))};
  Core core;
  for (const Answer& answer : answers) {
    core.answer = answer;
    EXPECT_EQ(ask(), (Outcome{VK_ENOENT, Untouched{}}));
  }
}

/// Nothing is handed out by a call that failed, whatever its answer holds.
template <typename Ask>
void expect_untouched_by_a_failed_call(const Ask& ask, const Tree& list) {
  Core core(list_of(list));
  for (const uint32_t result : {VK_ENOENT, VK_EPROVIDER, UINT32_C(4000000000)}) {
    core.result = result;
    EXPECT_EQ(ask(), (Outcome{result, Untouched{}}));
  }
}

}  // namespace vesk::test

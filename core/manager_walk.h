#pragma once

// The way of one request through the data model.
//
// A path is answered by all that hold part of it: the handlers at or above it, and the ones below,
// whose patterns name children as they stand and for "$" mean each instance that the table above
// names. Where two say different things the deeper one is right, of equal depth the one that the
// router tries first; so a subtree holds what its parameters would be answered one by one. A
// handler that vanishes on the way is left out.
//
// A walk ends, by throwing `Abandoned`, where nobody waits for its request any more, unless what
// was begun must be finished.

#include <asio/awaitable.hpp>
#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/call.h"
#include "core/manager_desk.h"
#include "core/manager_path.h"
#include "core/manager_tree.h"
#include "core/router.h"
#include "runtime/scan.h"

namespace vesk::core::dm {

/// The bit of "dm-flags" that is the manager's own: the management server asks. Handlers get the
/// others.
inline constexpr uint32_t kByServer = 1;

struct Reply {
  uint32_t status;
  OwnedValue value;
  std::size_t size = 0;  ///< of the value, in the bytes of the wire
};

/// The names of children, each once, in the order in which they were added.
class Names {
 public:
  void add(const std::string& name) {
    if (known_.insert(name).second) in_order_.push_back(name);
  }
  bool has(const std::string& name) const { return known_.contains(name); }
  const Path& in_order() const { return in_order_; }

 private:
  Path in_order_;
  std::set<std::string> known_;
};

class Walk {
 public:
  /// @param flags "dm-flags" of the request, which its handlers get without the manager's own bit
  /// @param options outlive the walk
  /// @param heap  where answers lie; outlives the walk
  Walk(Router& router, CallPtr call, uint32_t flags, const ManagerOptions& options,
       const Heap& heap);
  Walk(const Walk&) = delete;
  Walk& operator=(const Walk&) = delete;

  /// Whether the walk is to end here.
  bool is_abandoned() const { return call_ != nullptr && call_->over && !seen_through_; }
  /// Throws `Abandoned` if it is.
  void check_wanted() const;
  /// From now on it is walked to its end, whether anybody waits for that or not.
  void see_through() { seen_through_ = true; }

  /// Asks one registration about a path.
  /// @param arguments more members for the request, or null
  asio::awaitable<Reply> ask(uint64_t registration, uint32_t action, const Path& path,
                             const vk_value* arguments = nullptr);
  /// Asks one registration at the path of its pattern.
  asio::awaitable<Reply> ask(const Registration& registration, uint32_t action);

  /// The registrations that a path is asked of, in the router's order.
  std::vector<Registration> at_or_above(const Path& path) const;
  /// Those of which a path is only the beginning, if the instances in it are there.
  asio::awaitable<std::vector<Registration>> below(Path path);

  /// What "level" tells of a path: the children's names, null if nobody says that it is an object.
  /// Names that nothing can have are dropped, and logged.
  asio::awaitable<std::shared_ptr<const Names>> level(Path path);
  /// The names of a path's children, those of registrations below it included; none for what is no
  /// object.
  asio::awaitable<std::optional<Path>> children(Path path);

  /// The paths that a registration below a path stands for.
  asio::awaitable<std::vector<Path>> expand(Registration registration, Path path);

  /// The merged answer to get at a path and below, without what nothing can be called; null if
  /// there is nothing.
  asio::awaitable<OwnedValue> values(Path path);
  /// The value of one parameter; null if there is none.
  asio::awaitable<OwnedValue> parameter(Path path);
  /// What a name stands for: a parameter or, of a partial name, an object with all below; null if
  /// there is none.
  asio::awaitable<OwnedValue> find(Name name);

  /// The registration that holds a path, or why there is none.
  struct Holder {
    uint32_t status;
    Registration registration;
  };
  asio::awaitable<Holder> holder(Path path);

  /// Throws a refusal for an answer that is none of "yes", "no answer" and "gone". True for "yes".
  bool says(const Reply& reply, uint64_t registration, const Path& path) const;

  /// Whether an answer means that the registration is gone.
  bool has_vanished(const Reply& reply, uint64_t registration) const;

  /// Counts nodes and bytes of an answer that is being made, and refuses what would be far beyond
  /// the limits before it is all there. The names and paths that the walk keeps count too.
  void charge(std::size_t nodes, std::size_t bytes);
  /// Refuses a path that is too deep for an answer.
  void check_depth(const Path& path) const;

  const Heap& heap() const { return heap_; }
  Router& router() const { return router_; }
  const CallPtr& call() const { return call_; }

 private:
  asio::awaitable<Reply> asked(asio::awaitable<Answer> answer);
  Request request(uint32_t action, Path path, const vk_value* arguments) const;
  asio::awaitable<bool> names_instances(Registration registration, Path path);
  void add_children(Names& names, const Registration& from, const Path& path,
                    const vk_value& told) const;
  void tell_dropped(const Registration& from, const Path& path, const std::string& name) const;
  void add_longer(std::vector<Path>& paths, const Path& path, const std::string& name);
  // What a registration has to say of a path; null if nothing.
  asio::awaitable<OwnedValue> value_of(Registration from, Path path);

  Router& router_;
  const CallPtr call_;
  const uint32_t flags_;
  const rt::Limits limits_;
  const Complain& complain_;
  const Heap& heap_;
  const std::vector<Registration> registrations_;        // as they were when the walk began
  std::map<Path, std::shared_ptr<const Names>> levels_;  // what was told already
  std::size_t nodes_ = 0;
  std::size_t bytes_ = 0;
  bool seen_through_ = false;
};

/// What is answered with a tree; `VK_ENOMEM` is thrown as a refusal if it is beyond a limit.
Answer answer_within(const rt::Limits& limits, const vk_value& value);

}  // namespace vesk::core::dm

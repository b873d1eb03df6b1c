#pragma once

// What the manager keeps over a restart: the attributes of parameters, the values of which the
// management server was told, and its parameter key. It is one record of the store:
//
//     "ParameterKey"  string
//     "Attributes"    array of {"Name", and "Notification": int or "AccessList": array of string}
//     "Told"          array of {"Name", "Value"}
//
// An attribute stands at the name of a parameter or, with a final ".", of an object (the root is
// empty) and then holds for all below that have none of their own, also for what is added later.
// Setting one removes those below it. What changes, changes in memory at once; `save` writes all.

#include <asio/awaitable.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/call.h"
#include "core/manager_records.h"
#include "core/manager_told.h"

namespace vesk::core::dm {

inline constexpr int32_t kNotifyOff = 0;
inline constexpr int32_t kNotifyPassive = 1;
inline constexpr int32_t kNotifyActive = 2;

using AccessList = std::vector<std::string>;

/// The attributes that a name can have.
struct Attributes {
  std::optional<int32_t> notification;
  std::optional<AccessList> access;

  bool operator==(const Attributes&) const = default;
};

class Kept {
  using Touched = std::set<std::string, std::less<>>;  // names of parameters and objects

 public:
  using AttributeMap = std::map<std::string, Attributes, std::less<>>;

  static constexpr std::size_t kMostOfAttributes = 256 << 10;  ///< bytes in the record

  explicit Kept(Records& records) : records_(records) {}

  /// Reads the record, once, as soon as the store can. A damaged one counts as none. Throws a
  /// refusal if it could not be read now; the next load tries again.
  asio::awaitable<void> load();
  /// Writes the record if anything has changed since it was written. `VK_EOK` once all that is kept
  /// would survive a power cut; `VK_EBUSY` as long as the record that is there is not read.
  asio::awaitable<uint32_t> save();
  /// Forgets all, as the store did.
  void forget();

  const std::string& parameter_key() const { return state_.key; }
  void set_parameter_key(const std::string& key);

  /// What holds for a parameter; off, and access for subscribers, by default.
  int32_t notification(std::string_view name) const;
  AccessList access(std::string_view name) const;
  /// Sets those that are there. What is no longer watched is no longer told.
  void set(const std::string& name, const Attributes& attributes);
  /// Whether the attributes are few enough to be saved.
  bool has_room() const;
  /// The names at which a notification stands that is not off.
  std::vector<std::string> watched() const;

  /// The value that was told of a parameter; null if none was.
  const Leaf* told(const std::string& name) const { return state_.told.find(name); }
  /// Nothing happens if there is no room for it.
  void tell(const std::string& name, Leaf value);
  /// Forgets told values at or below a name that a predicate of their names is true of.
  template <typename Predicate>
  void forget_told(const std::string& above, const Predicate& predicate) {
    if (state_.told.erase_if(above, predicate)) changed_ = true;
  }

  /// Forgets attributes and values at an object and below.
  void erase(const std::string& object);

  /// The management server writes at or below these names. Until what it wrote is told, or is not
  /// to be, nobody else knows whether a value there is news. One at a time.
  class Writing {
   public:
    Writing(Kept& kept, const std::vector<std::string>& names);

   private:
    std::shared_ptr<const Touched> names_;
  };

  /// Values are being read: which of them others told, or erased, meanwhile, or are writing now.
  class Reading {
   public:
    explicit Reading(Kept& kept);

    bool is_stale(std::string_view name) const;

   private:
    const Kept& kept_;
    std::shared_ptr<const Touched> touched_;
  };

  /// What can be taken back.
  struct State {
    std::string key;
    AttributeMap attributes;
    Told told;
    uint32_t erasures = 0;  ///< how often all was forgotten
  };
  const State& state() const { return state_; }
  /// Takes attributes and values back to what they were, where they still are what they became:
  /// what others have changed since stays, but of what is then not watched nothing is told.
  /// @param after null if nobody else can have changed anything since
  void take_back(State before, const State* after) noexcept;

  /// Expires with it. What waits when the loop ends is destroyed after its manager, and must not
  /// touch this then.
  std::weak_ptr<const void> life() const { return life_; }

 private:
  asio::awaitable<uint32_t> write();
  void touch(const std::string& name);
  void forget_unwatched(std::string_view above);

  Records& records_;
  State state_;
  class Save;

  bool loaded_ = false;
  bool changed_ = false;
  uint32_t saves_ = 0;                            // in flight
  std::vector<std::weak_ptr<Touched>> readings_;  // under way, or ended since
  std::weak_ptr<const Touched> writing_;
  const std::shared_ptr<const int> life_ = std::make_shared<int>();
};

}  // namespace vesk::core::dm

#pragma once

// Attributes and notifications at a device with three parameters and a table.

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "tests/support/manager_bench.h"

namespace vesk::test {

inline constexpr const char kGetAttributes[] = "cwmp.rpc.GetParameterAttributes";
inline constexpr const char kSetAttributes[] = "cwmp.rpc.SetParameterAttributes";

class ManagerWatches : public ManagerBench {
 protected:
  Provider& device =
      router.add({.module = "device",
                  .pattern = "Device",
                  .parameters = {{"Device.A", text("a")},
                                 {"Device.B.C", text("c")},
                                 {"Device.B.D", integer(4)},
                                 {"Device.T.1.Name", text("one")}},
                  .writable = {"Device.A", "Device.B.C", "Device.B.D", "Device.T.1.Name"},
                  .tables = {{"Device.T", 2}}});

  /// One wish of a list: a notification, an access list, or both.
  static Tree wish(const std::string& name, std::optional<int32_t> notification,
                   const std::optional<std::vector<std::string>>& access = std::nullopt) {
    return object({{"Name", text(name)},
                   {"NotificationChange", boolean(notification ? 1 : 0)},
                   {"Notification", integer(notification.value_or(0))},
                   {"AccessListChange", boolean(access ? 1 : 0)},
                   {"AccessList", texts(access.value_or(std::vector<std::string>{}))}});
  }

  Told set(std::vector<Tree> wishes) {
    return ask(kSetAttributes, object({{"ParameterList", array(std::move(wishes))}}));
  }

  Told get(const std::vector<std::string>& names) {
    return ask(kGetAttributes, object({{"ParameterNames", texts(names)}}));
  }

  struct Row {
    std::string name;
    int32_t notification;
    std::vector<std::string> access = {"Subscriber"};
  };

  static Told rows(const std::vector<Row>& rows) {
    std::vector<Tree> elements;
    for (const Row& row : rows) {
      elements.push_back(object({{"Name", text(row.name)},
                                 {"Notification", integer(row.notification)},
                                 {"AccessList", texts(row.access)}}));
    }
    return answered({{"ParameterList", array(std::move(elements))}});
  }

  Told notifications(bool keep = false) {
    return ask("dmmgr.notification.get", object({{"Keep", boolean(keep ? 1 : 0)}}));
  }

  /// The names of which the record holds the value that was told last.
  std::vector<std::string> told_names() const {
    std::vector<std::string> names;
    for (const Tree& entry : records.trees.at("veskd.manager").items.at(2).items) {
      names.push_back(std::get<std::string>(entry.items.at(0).payload));
    }
    return names;
  }

  static Told changes(const Tree& list, bool active) {
    return answered({{"ParameterList", list}, {"Active", boolean(active ? 1 : 0)}});
  }

  static Told nothing() { return changes(object({}), false); }
};

}  // namespace vesk::test

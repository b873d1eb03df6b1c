#pragma once

// Sets of parameters at a device with three parameters, one of them read-only.

#include <string>
#include <utility>
#include <vector>

#include "tests/support/manager_bench.h"

namespace vesk::test {

inline constexpr const char kSet[] = "cwmp.rpc.SetParameterValues";

using Assignments = std::vector<std::pair<std::string, Tree>>;

class ManagerSet : public ManagerBench {
 protected:
  Provider& device = router.add({.module = "device",
                                 .pattern = "Device",
                                 .parameters = {{"Device.A", text("a")},
                                                {"Device.B", text("b")},
                                                {"Device.Fixed", text("f")}},
                                 .writable = {"Device.A", "Device.B"}});

  /// Another module with two parameters.
  Provider& add_other() {
    return router.add({.module = "other",
                       .pattern = "Other",
                       .parameters = {{"Other.A", text("a")}, {"Other.B", text("b")}},
                       .writable = {"Other.A", "Other.B"}});
  }

  static Tree list(const Assignments& assignments) {
    std::vector<Tree> elements;
    for (const auto& [name, value] : assignments) {
      elements.push_back(object({{"Name", text(name)}, {"Value", value}}));
    }
    return array(std::move(elements));
  }

  Told set(const Assignments& assignments) {
    return ask(kSet, object({{"ParameterList", list(assignments)}}));
  }

  Told try_set(const Assignments& assignments) {
    return ask(kSet, object({{"ParameterList", list(assignments)}, {"Try", boolean(1)}}));
  }

  static Told done(int32_t status) { return answered({{"Status", integer(status)}}); }

  /// The parameter key that the manager holds.
  std::string key() {
    const Told inform = ask("dmmgr.inform.get", object({}));
    return std::get<std::string>(inform.value.items.at(1).payload);
  }
};

}  // namespace vesk::test

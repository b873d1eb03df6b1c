#pragma once

// The modules, and which lines belong to whom.

#include <asio/io_context.hpp>
#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "core/exchange.h"
#include "core/log.h"
#include "core/module.h"
#include "core/settings.h"

namespace vesk::core {

class Roster {
 public:
  /// Is told of modules that have attached, and of those that have ended.
  using Watcher = std::function<void(const std::string& module, bool attached)>;

  Roster(asio::io_context& loop, const Settings& settings, Watcher watcher, Complain complain);

  /// Makes a line known, so that it can be named by its number.
  void meet(const LinePtr& line);

  /// Makes a line a module's: its main line, or a further calling line of the same process.
  /// @return `VK_EOK`; `VK_EEXIST` if another process has the name; `VK_EINVAL` for what is no name
  ///         or if the line belongs to a module already
  [[nodiscard]] uint32_t attach(uint64_t line, const std::string& name);

  /// Makes a line a serving line of a module that its process has attached.
  /// @return `VK_EOK`; `VK_EAUTH` without such a module; `VK_EINVAL` if the line belongs to one
  [[nodiscard]] uint32_t serve(uint64_t line, const std::string& name);

  /// The module that a line belongs to, or that has a name; null if there is none.
  ModulePtr of(const Line& line) const;
  ModulePtr find(const std::string& name) const;

  /// An answer to a line's module is under way, and has been taken.
  void begin_delivery(const Line& line) noexcept;
  void end_delivery(const Line& line) noexcept;

  /// A line has ended; with a main line its module does.
  void lose(const Line& line) noexcept;

  /// Answers whatever modules have open, and refuses what comes later. Lines stay.
  void end_all(uint32_t status) noexcept;

 private:
  struct Known {
    LinePtr line;
    ModulePtr module;
    bool delivering = false;
  };

  [[nodiscard]] uint32_t begin(Known& known, const std::string& name);
  void drop(ModulePtr module, uint32_t status) noexcept;
  void tell(const Module& module, bool attached) noexcept;
  // A module is to blame, or what befell it is not known to all.
  void complain(const Module& module, const char* what) const noexcept;

  asio::io_context& loop_;
  const Settings& settings_;
  const Watcher watcher_;
  const Complain complain_;
  std::map<uint64_t, Known> lines_;
  std::map<std::string, ModulePtr> modules_;
};

}  // namespace vesk::core

#pragma once

// What a module finds around it: its context with parameters, and a file system of the test's own.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "modules/support/system_files.h"
#include "tests/support/log_spy.h"
#include "tests/support/module_process.h"
#include "tests/support/values.h"
#include "vesk/mm/heap.h"
#include "vesk/value/member.h"

namespace vesk::test {

/// Makes this process a module's while it lives, with an empty file system as the root of what it
/// reads. One at a time.
class Environment {
 public:
  Environment() {
    char name[] = "/tmp/vesk-modules-XXXXXX";
    folder_ = mkdtemp(name);
    module_.context.params = params_.get();
    module_.context.heap = vk_default_allocator();
    set_parameter("root", folder_);
    modules::set_root_from_parameters();
  }
  ~Environment() {
    vk_object_delete_item(params_.get(), "root");
    modules::set_root_from_parameters();
    std::filesystem::remove_all(folder_);
  }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

  void set_parameter(const char* name, const std::string& text) {
    EXPECT_EQ(vk_object_set_string(params_.get(), name, text.c_str()), VK_EOK);
  }

  /// Writes a file with the folders that it needs. The path begins with "/".
  void write(const std::string& path, std::string_view content) const {
    const std::filesystem::path file = folder_ + path;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << content;
  }
  void remove(const std::string& path) const { std::filesystem::remove_all(folder_ + path); }

  const std::string& folder() const { return folder_; }
  const LogSpy& log() const { return log_; }

 private:
  const LogSpy log_;
  ModuleProcess module_{"module"};
  const Value params_ = new_object();
  std::string folder_;
};

}  // namespace vesk::test

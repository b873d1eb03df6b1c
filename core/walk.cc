#include "core/walk.h"

#include "vesk/path.h"

namespace vesk::core {

Path walk(const std::string& text) {
  Path path;
  vk_path_roam roam;
  vk_path_roam_init(&roam, text.c_str());
  for (; !vk_path_roam_end(&roam); vk_path_roam_next(&roam)) {
    path.emplace_back(vk_path_roam_current_node(&roam));
  }
  return path;
}

std::string join(std::span<const std::string> components) {
  std::string text;
  for (const std::string& component : components) {
    if (!text.empty()) text += '.';
    text += component;
  }
  return text;
}

}  // namespace vesk::core

#include "lib/path.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "lib/stream.h"
#include "lib/support/number.h"

namespace vesk {
namespace {

constexpr const char kEmptyPath[] = "";

bool ends_in_separator(const char* text) {
  const std::size_t length = std::strlen(text);
  return length != 0 && text[length - 1] == '.';
}

// Makes the component at `position` the current one.
void load_component(vk_path_roam& roam) {
  const std::size_t length = std::strcspn(roam.position, ".");
  const std::size_t kept = std::min<std::size_t>(length, VK_PATH_COMPONENT_MAX);
  std::memcpy(roam.node, roam.position, kept);
  roam.node[kept] = '\0';
  roam.node_length = static_cast<uint32_t>(length);
  roam.index = vk_path_str_to_index(roam.node);
}

// A text that is written piece by piece into a buffer of fixed size, always with room for its
// terminator. A piece is written whole or not at all.
class BoundedText {
 public:
  BoundedText(char* buffer, std::size_t size) : next_(buffer), room_(size - 1) { *next_ = '\0'; }

  bool add(const char* piece, std::size_t length) {
    if (length > room_) return false;
    std::memcpy(next_, piece, length);
    next_ += length;
    room_ -= length;
    *next_ = '\0';
    return true;
  }

 private:
  char* next_;
  std::size_t room_;
};

void print_component(vk_stream& stream, const vk_path_node& node) {
  const bool instance = vk_path_node_is_instance(&node);
  if (instance) stream_write(stream, "{");
  stream_puts(stream, node.name);
  if (instance) stream_write(stream, "}");
}

}  // namespace
}  // namespace vesk

bool vk_path_is_partial(const char* text) { return *text == '\0' || vesk::ends_in_separator(text); }

uint32_t vk_path_str_to_index(const char* text) {
  if (text == nullptr) return 0;
  errno = 0;
  const char* end = nullptr;
  const uint32_t index = vesk::text_to_uint32(text, &end);
  return errno == 0 && *end == '\0' ? index : 0;
}

uint32_t vk_path_roam_init(vk_path_roam* roam, const char* text) {
  roam->start = text == nullptr || *text == '\0' ? vesk::kEmptyPath : text;
  roam->partial = vesk::ends_in_separator(roam->start) ? 1 : 0;
  roam->position = roam->start;
  vesk::load_component(*roam);
  return roam->index;
}

bool vk_path_roam_end(const vk_path_roam* roam) { return roam->node_length == 0; }

char* vk_path_roam_current_node(vk_path_roam* roam) { return roam->node; }

char* vk_path_roam_next(vk_path_roam* roam) {
  if (vk_path_roam_end(roam)) return nullptr;
  roam->position += roam->node_length;
  if (*roam->position != '\0') ++roam->position;
  vesk::load_component(*roam);
  return roam->node;
}

const char* vk_path_roam_path_tail(const vk_path_roam* roam) {
  return vk_path_roam_end(roam) ? nullptr : roam->position + roam->node_length + 1;
}

char* vk_path_concat(vk_allocator* allocator, const char* left, const char* right) {
  const std::size_t left_length = std::strlen(left);
  if (left_length == 0) return vk_strdup(allocator, right);
  const std::size_t right_size = std::strlen(right) + 1;
  auto* const joined = static_cast<char*>(vk_alloc(allocator, left_length + 1 + right_size));
  if (joined == nullptr) return nullptr;
  std::memcpy(joined, left, left_length);
  joined[left_length] = '.';
  std::memcpy(joined + left_length + 1, right, right_size);
  return joined;
}

bool vk_path_node_is_instance(const vk_path_node* node) { return node->index != 0; }

void vk_path_node_print(vk_stream* stream, const vk_path_node* first) {
  for (const vk_path_node* node = first; node != nullptr; node = node->next) {
    if (node != first) vesk::stream_write(*stream, ".");
    vesk::print_component(*stream, *node);
  }
}

vk_error vk_path_node2str(const vk_path_node* first, char* buffer, std::size_t size,
                          char separator) {
  if (size == 0) return VK_ENAMETOOLONG;
  vesk::BoundedText text(buffer, size);
  for (const vk_path_node* node = first; node != nullptr; node = node->next) {
    if (node != first && !text.add(&separator, 1)) return VK_ENAMETOOLONG;
    if (!text.add(node->name, std::strlen(node->name))) return VK_ENAMETOOLONG;
  }
  return VK_EOK;
}

vk_path_node* vk_path_node_seek_prefix(const vk_path_node* first, const char* prefix) {
  const vk_path_node* node = first;
  for (vesk::PathText path(prefix); !path.at_end(); path.next()) {
    if (node == nullptr || std::strcmp(node->name, path.name()) != 0) return nullptr;
    node = node->next;
  }
  return const_cast<vk_path_node*>(node);
}

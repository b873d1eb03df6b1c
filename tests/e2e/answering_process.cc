// The process that answers: a core of one handler, which serves a data model from memory.
//
// Usage: answering_process MANNER
//
// Standard input is the connection. What arrives is told on standard output, a line for each
// request. MANNER is "serve", until the connection ends; "once", for one request; "leave", which
// ends without an answer to the first request; or "break", which ends within that answer.

#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "tests/e2e/data_model.h"

namespace {

using vesk::test::kValuesPath;

// The one registration that this core takes.
struct Registration {
  const char* path;
  vk_frame_handler handler;
  void* data;
} registration = {nullptr, nullptr, nullptr};

vk_error add_handler(const char* path, vk_frame_handler handler, void* data) {
  if (registration.path != nullptr) return VK_EBUSY;
  registration = {path, handler, data};
  return VK_EOK;
}

vk_error del_handler(const char*, vk_frame_handler, void*) {
  registration = {nullptr, nullptr, nullptr};
  return VK_EOK;
}

uint32_t call_nothing(const vk_path_node*, uint32_t, vk_value*) { return VK_ENOANSWER; }

// A value as text: objects in braces, arrays in brackets, leaves with their types.
std::string text_of(const vk_value& value);

std::string text_of_items(const vk_item* item) {
  std::string text;
  for (; item != nullptr; item = vk_item_next(item)) {
    if (!text.empty()) text += ", ";
    if (item->id != nullptr) text += std::string(item->id) + ": ";
    text += text_of(*item);
  }
  return text;
}

struct TextStream {
  vk_stream stream;  // first, so that the writer finds the text from its address
  std::string text;

  static vk_error write(vk_stream* stream, const void* bytes, uint32_t count) {
    reinterpret_cast<TextStream*>(stream)->text.append(static_cast<const char*>(bytes), count);
    return VK_EOK;
  }
};

std::string text_of(const vk_value& value) {
  if (value.type == VK_TYPE_OBJECT) return '{' + text_of_items(vk_object_item_first(&value)) + '}';
  if (value.type == VK_TYPE_ARRAY) return '[' + text_of_items(vk_array_item_first(&value)) + ']';
  TextStream leaf;
  vk_stream_init(&leaf.stream, TextStream::write, nullptr);
  vk_value_write(&leaf.stream, &value);
  return std::string(vk_type_to_string(value.type)) + ' ' + leaf.text;
}

void tell(const vk_ipc_request& request) {
  std::printf("tag %u, %s, %s %s\n", request.tag, request.path, dm_action_to_string(request.action),
              text_of(*request.value).c_str());
  std::fflush(stdout);
}

struct FrameDelete {
  void operator()(vk_frame* frame) const { vk_frame_delete(frame); }
};
using Frame = std::unique_ptr<vk_frame, FrameDelete>;

// A frame whose value is a fresh node, to be read into.
Frame new_frame() {
  Frame frame(vk_frame_new(nullptr));
  VK_ASSERT(frame != nullptr);
  vk_value_delete(frame->value);
  frame->value = vk_value_new(frame->heap);
  VK_ASSERT(frame->value != nullptr);
  return frame;
}

// Runs the handler, if the frame's path is at or below its own.
uint32_t dispatch(vk_frame& frame, void* data_model) {
  std::array<char, 256> path = {};
  if (frame.value->type != VK_TYPE_OBJECT) return VK_EINVAL;
  VK_ASSERT(vk_path_node2str(frame.rq_path, path.data(), path.size(), '.') == VK_EOK);
  frame.extra_path = vk_path_node_seek_prefix(frame.rq_path, registration.path);
  const bool at_handler = std::string_view(path.data()) == registration.path;
  if (frame.extra_path == nullptr && !at_handler) return VK_ENOANSWER;
  frame.status = VK_ENOANSWER;
  return registration.handler(registration.data, &frame, data_model);
}

uint32_t answer(vk_frame& frame, const vk_ipc_request& request, void* data_model) {
  vk_path_tree* const tree = vk_path_tree_new(vk_gta());
  VK_ASSERT(tree != nullptr);
  vk_path_tree* const leaf = vk_path_tree_add_path(tree, request.path);
  VK_ASSERT(leaf != nullptr);
  frame.action = request.action;
  frame.rq_path = vk_path_set_current(leaf)->path_node.next;
  const uint32_t status = dispatch(frame, data_model);
  vk_path_tree_free(tree);
  return status;
}

// The status and the beginning of a value, and no more.
void break_within_answer(uint32_t status) {
  const std::array<uint32_t, 2> beginning = {status, VK_TYPE_OBJECT};
  VK_ASSERT(write(STDIN_FILENO, beginning.data(), sizeof beginning) == sizeof beginning);
}

// Whether a request came, and was answered in this manner.
bool serve_one(std::string_view manner, void* data_model) {
  const Frame frame = new_frame();
  vk_ipc_request request = {0, nullptr, 0, frame->value};
  if (vk_ipc_read_request(STDIN_FILENO, &request) != 0) return false;
  tell(request);
  const uint32_t status = answer(*frame, request, data_model);
  vk_free(request.path);
  const vk_ipc_response response = {status, frame->value};
  if (manner == "break") break_within_answer(status);
  if (manner == "break" || manner == "leave") return false;
  return vk_ipc_write_response(STDIN_FILENO, &response) == 0 && manner == "serve";
}

}  // namespace

int main(int, char** arguments) {
  const vk_frame_handler_ops hooks = {call_nothing, add_handler, del_handler};
  dm_handlers provider = {};
  provider.get = dm_provider_default_get;
  provider.level = dm_provider_default_level;
  provider.provide = dm_provider_default_provide;

  std::signal(SIGPIPE, SIG_IGN);
  VK_ASSERT(vk_gta_init() == VK_EOK && vk_frame_handler_setup(&hooks) == VK_EOK);
  VK_ASSERT(vk_frame_handler_register(kValuesPath, dmmgr_handler_funcs, &provider) == VK_EOK);
  vk_value* const data_model = vesk::test::new_data_model();
  while (serve_one(arguments[1], data_model)) vk_mm_stack_clear(vk_gta());
  vk_value_delete(data_model);
  vk_gta_destroy();
  return EXIT_SUCCESS;
}

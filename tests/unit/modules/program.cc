#include "tests/unit/modules/program.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/allocation_fault.h"
#include "vesk/mm/gta.h"
#include "vesk/value/copy.h"

namespace {

const vk_module_descriptor* run_last = nullptr;

}  // namespace

int vk_module_main(int, char**, const vk_module_descriptor* descriptor) {
  run_last = descriptor;
  return 0;
}

namespace vesk::test {
namespace {

constexpr const char kLoad[] = "sys.persistent.load.";
constexpr const char kSave[] = "sys.persistent.save.";

bool is_at_or_below(const std::string& path, const std::string& pattern) {
  return path == pattern || path.starts_with(pattern + '.');
}

// The components of a pattern, behind which the extra path begins.
vk_path_node* skip(vk_path_node* path, const std::string& pattern) {
  const auto dots = std::count(pattern.begin(), pattern.end(), '.');
  for (auto i = dots + 1; i > 0; --i) path = path->next;
  return path;
}

const RecordingHooks::Registration* find(const RecordingHooks& hooks, const std::string& path) {
  for (const RecordingHooks::Registration& registration : hooks.registrations) {
    if (is_at_or_below("add " + path, registration.what)) return &registration;
  }
  ADD_FAILURE() << "nobody serves " << path;
  return nullptr;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Answer& answer) {
  return out << vk_strerror(answer.result) << ' ' << answer.value;
}

Request::Request(Program& program, uint32_t action, const std::string& path, const Tree& value)
    : program_(program),
      handler_(find(program.hooks, path)),
      path_(vk_path_tree_new(vk_default_allocator())),
      frame_(vk_frame_new(nullptr)) {
  vk_path_tree* const leaf = vk_path_tree_add_path(path_.get(), path.c_str());
  const Value made = planted(value);
  EXPECT_EQ(vk_value_copy(frame_->value, made.get()), VK_EOK);
  frame_->rq_path = vk_path_set_current(leaf)->path_node.next;
  frame_->extra_path = skip(frame_->rq_path, handler_->what);
  frame_->action = action;
  frame_->status = static_cast<int32_t>(VK_ENOANSWER);
}

uint32_t Request::send() {
  return handler_->handler(handler_->data, frame_.get(), program_.argument_);
}

Tree Request::value() const { return tree_of(*frame_->value); }

Program::Program(int (*main)(int argc, char** argv)) {
  EXPECT_EQ(main(0, nullptr), 0);
  descriptor_ = run_last;
  EXPECT_EQ(vk_gta_init(), VK_EOK);
  hooks.answer = [this](const RecordingHooks::Call& call) { return answer(call); };
}

Program::~Program() {
  if (started_ && descriptor_->stop != nullptr) descriptor_->stop(argument_);
  vk_gta_destroy();
}

vk_error Program::start() {
  const vk_error result = descriptor_->start(&argument_);
  started_ = result == VK_EOK;
  return result;
}

Answer Program::ask(uint32_t action, const std::string& path, const Tree& value) {
  Request request(*this, action, path, value);
  const uint32_t result = request.send();
  return {result, request.value()};
}

Tree Program::value_at(const std::string& path) {
  Answer answer = get(path);
  if (answer.result != VK_EOK || answer.value.items.size() != 1) return any();
  Tree value = answer.value.items[0];
  EXPECT_EQ(value.name, "ParameterList");
  value.name.clear();
  return value;
}

uint32_t Program::answer(const RecordingHooks::Call& call) {
  if (call.path.starts_with(kLoad)) return load(call.path.substr(sizeof kLoad - 1), call.value);
  if (call.path.starts_with(kSave)) return save(call.path.substr(sizeof kSave - 1), *call.value);
  return answer_call(call);
}

// As over a socket: attributes and policies are lost.
uint32_t Program::load(const std::string& key, vk_value* value) const {
  const Unwatched unwatched;
  const auto found = stored.find(key);
  if (load_result != VK_EOK) return load_result;
  if (found == stored.end()) return VK_ENOENT;
  const Value made = planted(found->second);
  return vk_value_copy(value, made.get());
}

uint32_t Program::save(const std::string& key, const vk_value& value) {
  const std::function<void()> waiting = while_saving;  // it may put another in its place
  waiting();
  const Unwatched unwatched;
  if (save_result == VK_EOK) stored[key] = tree_of(value);
  return save_result;
}

}  // namespace vesk::test

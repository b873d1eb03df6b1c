#include "tests/unit/runtime/module_test_base.h"

#include <fcntl.h>
#include <poll.h>

#include <chrono>

#include "lib/frame.h"
#include "vesk/mm/gta.h"
#include "vesk/mm/stack.h"

namespace vesk::test {
namespace {

constexpr std::chrono::seconds kPatience(15);

std::function<vk_error(void**)>* current_start = nullptr;
std::function<void(void*)>* current_stop = nullptr;

vk_error start_current(void** argument) { return (*current_start)(argument); }
void stop_current(void* argument) { (*current_stop)(argument); }

uint32_t run_handler(void* data, vk_frame* frame, void* argument) {
  return (*static_cast<Handler*>(data))(*frame, argument);
}

}  // namespace

const vk_module_descriptor kDemo = {"demo", "1.2", start_current, stop_current};

ModuleTest::ModuleTest() {
  EXPECT_EQ(VK_EOK, vk_gta_init());
  current_start = &start;
  current_stop = &stop;
}

ModuleTest::~ModuleTest() {
  end();
  vk_gta_destroy();
  frame_hooks = kNoFrameHooks;
}

void ModuleTest::begin(vk_error expected) {
  EXPECT_EQ(expected, vk_module_begin(&kDemo, core->path(), nullptr, &runtime));
}

void ModuleTest::run_until(const std::function<bool()>& condition) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point deadline = Clock::now() + kPatience;
  while (!condition()) {
    ASSERT_LT(Clock::now(), deadline) << "what was waited for did not come";
    pollfd waiting = {vk_module_get_fd(runtime), POLLIN, 0};
    const int most = vk_module_get_timeout(runtime);
    poll(&waiting, 1, most < 0 || most > 100 ? 100 : most);
    ASSERT_EQ(VK_EOK, vk_module_dispatch(runtime));
    vk_mm_stack_clear(vk_gta());
  }
}

void ModuleTest::end() {
  vk_module_end(runtime);
  runtime = nullptr;
}

vk_error registered(const char* pattern, Handler& handler) {
  return vk_frame_handler_register(pattern, run_handler, &handler);
}

vk_error unregistered(const char* pattern, Handler& handler) {
  return vk_frame_handler_unregister(pattern, run_handler, &handler);
}

uint32_t called(const char* path, const Value& value, uint32_t action) {
  return vk_frame_call2(path, action, value.get());
}

FakeCore::Script attached(const std::function<void(const Attached& module)>& script) {
  return [=](const FakeCore::Listener& listener) {
    const Peer main = listener.main_line();
    const Peer serving = listener.serving_line();
    script({listener, main, serving});
    main.expect_end();
  };
}

Tree handler_at(const std::string& pattern, uint32_t number) {
  return object({{"Path", text(pattern)}, {"Handler", unsigned_integer(number)}});
}

Asked acknowledged(const Peer& line, uint32_t status, const Tree& value) {
  Asked asked = line.read_request();
  line.answer(status, value);
  return asked;
}

void expect_told(const Peer& line, const std::string& path, const Tree& arguments,
                 uint32_t status) {
  const Asked asked = acknowledged(line, status);
  EXPECT_EQ(path, asked.path);
  EXPECT_EQ(0U, asked.action);
  EXPECT_EQ(arguments, asked.value);
}

std::vector<std::string> components(const vk_path_node* path) {
  std::vector<std::string> names;
  for (; path != nullptr; path = path->next) names.emplace_back(path->name);
  return names;
}

Gate::Gate() {
  int ends[2];
  EXPECT_EQ(0, pipe2(ends, O_CLOEXEC));
  read_ = rt::Fd(ends[0]);
  write_ = rt::Fd(ends[1]);
}

void Gate::open() const { EXPECT_EQ(1, write(write_.get(), "", 1)); }

void Gate::pass() const {
  char byte = 0;
  EXPECT_EQ(1, read(read_.get(), &byte, 1));
}

bool Gate::is_open() const {
  pollfd waiting = {read_.get(), POLLIN, 0};
  return poll(&waiting, 1, 0) == 1;
}

}  // namespace vesk::test

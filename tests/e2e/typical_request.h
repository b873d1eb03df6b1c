#pragma once

// A module that asks for parameters while it serves a frame, and a process that can answer.

#include <gtest/gtest.h>
#include <vesk/vesk.h>

#include <cstddef>

#include "tests/e2e/answerer.h"
#include "tests/e2e/asking_module.h"
#include "tests/e2e/data_model.h"
#include "tests/support/values.h"

namespace vesk::test {

/// A frame that is being served, on a heap whose blocks are counted.
class ServedFrame {
 public:
  explicit ServedFrame(uint32_t flags = 6) {
    vk_frame on_heap = {};
    on_heap.heap = heap.get();
    frame_ = vk_frame_new(&on_heap);
    vk_frame_set_status(frame_, VK_ENOANSWER);
    EXPECT_EQ(VK_EOK, dm_frame_set_flags(frame_, flags));
  }
  ~ServedFrame() { vk_frame_delete(frame_); }
  ServedFrame(const ServedFrame&) = delete;
  ServedFrame& operator=(const ServedFrame&) = delete;

  vk_frame* get() const { return frame_; }

  CountingHeap heap;

 private:
  vk_frame* frame_;
};

class TypicalRequest : public testing::Test {
 protected:
  void TearDown() override {
    if (answerer.running()) answerer.end();
  }

  /// Asks on behalf of the served frame. The result stands in `error`.
  Value value_of(const char* name) {
    vk_value* out = nullptr;
    error = vk_dmmgr_get_parameter_value(served.get(), name, &out);
    return Value(out);
  }

  /// Asks where an answer cannot come: nothing is handed out, and nothing stays on the heap.
  void expect_broken(const char* name) {
    vk_value* out = data_model.get();
    const std::size_t before = served.heap.live();
    EXPECT_EQ(VK_EIO, vk_dmmgr_get_parameter_value(served.get(), name, &out));
    EXPECT_EQ(data_model.get(), out);
    EXPECT_EQ(before, served.heap.live());
  }

  ServedFrame served;
  Answerer answerer;
  AskingModule module{answerer.connection.get()};
  Value data_model{new_data_model()};
  vk_error error = VK_ENOSYS;
};

}  // namespace vesk::test

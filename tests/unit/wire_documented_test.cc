#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "lib/wire.h"
#include "lib/wire_memory.h"
#include "tests/support/allocation_fault.h"
#include "tests/support/frames.h"
#include "tests/support/recording_hooks.h"
#include "vesk/dmmgr/frame.h"
#include "vesk/dmmgr/request.h"
#include "vesk/mm/gta.h"
#include "vesk/value/member.h"

namespace vesk::test {
namespace {

using Bytes = std::vector<uint8_t>;

/// The next cell of a table's row.
std::string cell_of(std::istringstream& row) {
  std::string cell;
  std::getline(row >> std::ws, cell, '|');
  return cell;
}

/// The bytes in backquotes.
Bytes bytes_of(const std::string& cell) {
  std::istringstream hex(cell.substr(1));
  Bytes bytes;
  for (unsigned int byte = 0; hex >> std::hex >> byte;) {
    bytes.push_back(static_cast<uint8_t>(byte));
  }
  return bytes;
}

/// The bytes of the messages that the page on the format works out, each below its heading, in the
/// byte order of this machine. The rows of their tables begin with bytes; where the other order has
/// others, these are the same ones from the last to the first.
std::map<std::string, Bytes> documented_messages() {
  std::ifstream page(VESK_SOURCE_DIR "/docs/wire-format.md");
  std::map<std::string, Bytes> messages;
  std::string heading;
  for (std::string line; std::getline(page, line);) {
    if (line.rfind("## ", 0) == 0) heading = line.substr(3);
    if (line.rfind("| `", 0) != 0) continue;
    std::istringstream row(line.substr(1));
    const Bytes little = bytes_of(cell_of(row));
    const std::string other = cell_of(row);
    const Bytes big = other[0] == '`' ? bytes_of(other) : little;
    if (other[0] == '`') {
      EXPECT_EQ(Bytes(little.rbegin(), little.rend()), big) << line;
    }
    const Bytes& field = std::endian::native == std::endian::little ? little : big;
    messages[heading].insert(messages[heading].end(), field.begin(), field.end());
  }
  return messages;
}

template <typename Message>
Bytes encoded(const Message& message) {
  const Unwatched unwatched;
  wire::Buffer buffer;
  EXPECT_EQ(VK_EOK, wire::Encoder(buffer).put(message));
  const auto* const begin = reinterpret_cast<const uint8_t*>(buffer.bytes().data());
  return {begin, begin + buffer.bytes().size()};
}

/// Asks for a value as the page does; keeps request and response in bytes.
class DocumentedCall : public testing::Test {
 protected:
  DocumentedCall() {
    vk_gta_init();
    hooks.answer = [this](const RecordingHooks::Call& call) { return answer(call); };
    const OwnedFrame frame = new_frame();
    dm_frame_set_flags(frame.get(), 1);
    vk_value* value = nullptr;
    EXPECT_EQ(VK_EOK, vk_dmmgr_get_parameter_value(frame.get(), "Device.UpTime", &value));
    EXPECT_NE(nullptr, value);
    vk_value_delete(value);
  }
  ~DocumentedCall() override { vk_gta_destroy(); }

  uint32_t answer(const RecordingHooks::Call& call) {
    std::string path = call.path;
    request = encoded(vk_ipc_request{7, path.data(), call.action, call.value});
    vk_value* const list = dm_frame_result_value(call.value);
    vk_value* const device = vk_object_init_object_with_policy(list, "Device", VK_POLICY_ORDERED);
    vk_object_set_uint(device, "UpTime", 86461);
    response = encoded(vk_ipc_response{VK_EOK, call.value});
    return VK_EOK;
  }

  RecordingHooks hooks;
  Bytes request;
  Bytes response;
};

TEST_F(DocumentedCall, HasTheBytesOfTheRequest) {
  EXPECT_EQ(documented_messages()["A request"], request);
}

TEST_F(DocumentedCall, HasTheBytesOfTheResponse) {
  EXPECT_EQ(documented_messages()["Its response"], response);
}

}  // namespace
}  // namespace vesk::test

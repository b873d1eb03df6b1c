// Messages: the scanner finds the same end however the bytes come, what it takes for complete is
// decoded to that end and no further, and what was decoded can be sent again. The first byte says
// whether it is a request, the second one in pieces of how many bytes it comes.

#include <algorithm>

#include "fuzz/fuzz.h"
#include "lib/wire.h"
#include "lib/wire_memory.h"
#include "runtime/message.h"
#include "runtime/scan.h"

namespace vesk::fuzz {
namespace {

using rt::Limits;
using rt::Message;
using rt::Scanner;
using Bytes = std::span<const std::byte>;

Scanner scanned_in_pieces(Message message, Bytes bytes, std::size_t piece) {
  Scanner scanner(message, Limits());
  for (std::size_t come = 0; come < bytes.size(); come += piece) scanner.scan(bytes.first(come));
  scanner.scan(bytes);
  return scanner;
}

void expect_same(const Scanner& whole, const Scanner& pieces) {
  require(whole.state() == pieces.state());
  if (whole.state() == Scanner::State::kComplete) {
    require(whole.size() == pieces.size() && whole.value_at() == pieces.value_at());
  }
}

Value decoded(Message message, Bytes bytes) {
  Value value = new_value();
  wire::Bytes reader(bytes);
  wire::Decoder decoder(reader);
  if (message == Message::kRequest) {
    vk_ipc_request request{0, nullptr, 0, value.get()};
    require(decoder.get(request) == VK_EOK);
    vk_free(request.path);
  } else {
    vk_ipc_response response{0, value.get()};
    require(decoder.get(response) == VK_EOK);
  }
  require(reader.rest().empty());
  return value;
}

ByteBuffer encoded(const vk_value& value) {
  ByteBuffer bytes;
  require(rt::put_response(bytes, VK_EOK, &value, Limits::widest()) == VK_EOK);
  return bytes;
}

void send_again(Bytes tree) {
  const Value value = new_value();
  require(rt::read_tree(tree, *value) == VK_EOK);
  const ByteBuffer once = encoded(*value);
  const ByteBuffer twice = encoded(*decoded(Message::kResponse, once.bytes()));
  require(std::ranges::equal(once.bytes(), twice.bytes()));
}

void run(Message message, std::size_t piece, Bytes bytes) {
  Scanner whole(message, Limits());
  const Scanner::State state = whole.scan(bytes);
  expect_same(whole, scanned_in_pieces(message, bytes, piece));
  if (state != Scanner::State::kComplete) return;
  decoded(message, bytes.first(whole.size()));
  send_again(bytes.first(whole.size()).subspan(whole.value_at()));
}

}  // namespace
}  // namespace vesk::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  using vesk::rt::Message;
  if (size < 2) return 0;
  const Message message = data[0] % 2 == 0 ? Message::kRequest : Message::kResponse;
  const std::span bytes(data + 2, size - 2);
  vesk::fuzz::run(message, std::max<std::size_t>(data[1], 1), std::as_bytes(bytes));
  return 0;
}

#pragma once

// The two messages, each with a head that is always the same, over both transports.

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <span>
#include <string>
#include <thread>

#include "lib/wire.h"
#include "lib/wire_memory.h"
#include "tests/support/channels.h"
#include "tests/support/wire_bytes.h"
#include "vesk/ipc.h"

namespace vesk::test {

/// A kind of message, which carries any value.
struct MessageKind {
  const char* name;
  Fields (*fields)(const Tree& tree);
  uint32_t (*write)(int fd, vk_value* value);
  uint32_t (*encode)(wire::Buffer& buffer, vk_value* value);
  /// Reads into a value, and frees the rest of the message.
  uint32_t (*read)(int fd, vk_value* value);
  uint32_t (*decode)(wire::Bytes& bytes, vk_value* value);
};

inline std::ostream& operator<<(std::ostream& out, const MessageKind& kind) {
  return out << kind.name;
}

// Messages with their heads.

inline constexpr char kPath[] = "sys.fd.add";

inline vk_ipc_request request_with(vk_value* value) {
  static char path[] = "sys.fd.add";
  return {0x01020304, path, 3, value};
}

inline vk_ipc_response response_with(vk_value* value) { return {23, value}; }

inline Fields request_fields(const Tree& tree) {
  return Fields().number(0x01020304).text(kPath).number(3).value(tree);
}

inline Fields response_fields(const Tree& tree) { return Fields().number(23).value(tree); }

/// Reads a request by a call, and expects the head above if it succeeds.
template <typename Read>
uint32_t read_request_with(vk_value* value, Read&& read) {
  vk_ipc_request request = {0, nullptr, 0, value};
  const uint32_t result = read(request);
  if (result == 0) {
    EXPECT_EQ(request.tag, 0x01020304U);
    EXPECT_STREQ(request.path, kPath);
    EXPECT_EQ(request.action, 3U);
    EXPECT_EQ(request.value, value);
  }
  vk_free(request.path);
  return result;
}

template <typename Read>
uint32_t read_response_with(vk_value* value, Read&& read) {
  vk_ipc_response response = {0, value};
  const uint32_t result = read(response);
  if (result == 0) {
    EXPECT_EQ(response.status, 23U);
    EXPECT_EQ(response.value, value);
  }
  return result;
}

inline constexpr MessageKind kMessageKinds[] = {
    {"request", request_fields,
     [](int fd, vk_value* value) {
       const vk_ipc_request request = request_with(value);
       return vk_ipc_write_request(fd, &request);
     },
     [](wire::Buffer& buffer, vk_value* value) {
       return wire::Encoder(buffer).put(request_with(value));
     },
     [](int fd, vk_value* value) {
       return read_request_with(
           value, [&](vk_ipc_request& request) { return vk_ipc_read_request(fd, &request); });
     },
     [](wire::Bytes& bytes, vk_value* value) {
       return read_request_with(
           value, [&](vk_ipc_request& request) { return wire::Decoder(bytes).get(request); });
     }},
    {"response", response_fields,
     [](int fd, vk_value* value) {
       const vk_ipc_response response = response_with(value);
       return vk_ipc_write_response(fd, &response);
     },
     [](wire::Buffer& buffer, vk_value* value) {
       return wire::Encoder(buffer).put(response_with(value));
     },
     [](int fd, vk_value* value) {
       return read_response_with(
           value, [&](vk_ipc_response& response) { return vk_ipc_read_response(fd, &response); });
     },
     [](wire::Bytes& bytes, vk_value* value) {
       return read_response_with(
           value, [&](vk_ipc_response& response) { return wire::Decoder(bytes).get(response); });
     }},
};

/// What the two ends of a stream gave.
struct Exchange {
  uint32_t written;
  uint32_t read;
};

/// Writes a message on a thread of its own and reads it on this one, since it may be more than the
/// stream holds. The writer allocates nothing, which the kit could not count on a second thread.
inline Exchange exchange(const MessageKind& kind, StreamKind stream, vk_value* sent,
                         vk_value* received) {
  Channel channel(stream);
  Exchange result = {};
  std::thread writer([&] {
    result.written = kind.write(channel.in.get(), sent);
    channel.in.close();  // a reader finds the end, whatever the writer has left out
  });
  result.read = kind.read(channel.out.get(), received);
  channel.out.close();  // a writer finds nobody, whatever the reader has left over
  writer.join();
  return result;
}

// Bytes in memory.

inline std::string content(const wire::Buffer& buffer) {
  return {reinterpret_cast<const char*>(buffer.bytes().data()), buffer.bytes().size()};
}

inline wire::Bytes reader_of(const std::string& bytes) {
  return wire::Bytes(std::as_bytes(std::span(bytes)));
}
wire::Bytes reader_of(std::string&&) = delete;  // they would be gone

}  // namespace vesk::test

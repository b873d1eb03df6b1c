#include "vesk/ipc.h"

#include <unistd.h>

#include <cerrno>

#include "lib/wire.h"

namespace {

// One system call a field.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}

  bool takes_texts() const { return fd_ >= 0; }

  uint32_t write(const void* bytes, std::size_t size) const {
    return result(::write(fd_, bytes, size), size);
  }

  uint32_t read(void* bytes, std::size_t size) const {
    return result(::read(fd_, bytes, size), size);
  }

  // As if the object had ended there.
  uint32_t lost_member() const { return VK_EOK; }

 private:
  static uint32_t result(ssize_t moved, std::size_t size) {
    if (moved < 0) return static_cast<uint32_t>(errno);
    return static_cast<std::size_t>(moved) == size ? 0 : VK_EIO;
  }

  int fd_;
};

template <typename Message>
uint32_t write_message(int fd, const Message& message) {
  Descriptor descriptor(fd);
  return vesk::wire::Encoder(descriptor).put(message);
}

template <typename Message>
uint32_t read_message(int fd, Message& message) {
  Descriptor descriptor(fd);
  return vesk::wire::Decoder(descriptor).get(message);
}

}  // namespace

constexpr char vk_ipc_socket_path[15] = "/tmp/vesk.sock";

uint32_t vk_ipc_write_request(int fd, const vk_ipc_request* request) {
  return write_message(fd, *request);
}

uint32_t vk_ipc_write_response(int fd, const vk_ipc_response* response) {
  return write_message(fd, *response);
}

uint32_t vk_ipc_read_request(int fd, vk_ipc_request* request) { return read_message(fd, *request); }

uint32_t vk_ipc_read_response(int fd, vk_ipc_response* response) {
  return read_message(fd, *response);
}

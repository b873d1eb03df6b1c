#include "lib/support/made.h"
#include "runtime/connect.h"
#include "runtime/line.h"
#include "runtime/message.h"
#include "vesk/ipc.h"
#include "vesk/runtime.h"

struct vk_client {
  explicit vk_client(vesk::rt::Fd fd) : line(std::move(fd)) {}

  vesk::rt::Line line;
};

vk_error vk_client_open(const char* socket, int timeout_ms, vk_client** client) {
  using namespace vesk::rt;
  Fd fd;
  const vk_error error = connect_patiently(socket == nullptr ? vk_ipc_socket_path : socket,
                                           Deadline::in(timeout_ms), -1, fd);
  if (error != VK_EOK) return error;
  vesk::Made<vk_client> made = vesk::make<vk_client>(std::move(fd));
  if (made == nullptr) return VK_ENOMEM;
  *client = made.release();
  return VK_EOK;
}

uint32_t vk_client_call(vk_client* client, const char* path, uint32_t action, vk_value* value,
                        int timeout_ms) {
  using namespace vesk::rt;
  if (!client->line.is_open()) return VK_EIO;
  vesk::ByteBuffer request;
  vk_error error = put_request(request, 0, path, action, value, Limits::widest());
  if (error != VK_EOK) return error;
  error = client->line.exchange(request.bytes(), Deadline::in(timeout_ms));
  if (error != VK_EOK) {
    client->line.close();
    return error;
  }
  return take_response(client->line.message(), value);
}

void vk_client_close(vk_client* client) { const vesk::Made<vk_client> closed(client); }

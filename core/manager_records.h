#pragma once

#include <asio/awaitable.hpp>
#include <cstdint>
#include <memory>
#include <string>

#include "core/call.h"

namespace vesk::core {

/// What the manager needs of the store.
class Records {
 public:
  Records() = default;
  Records(const Records&) = delete;
  Records& operator=(const Records&) = delete;
  virtual ~Records() = default;

  /// `VK_EOK` once the tree would survive a power cut. Saves of a key end in their order.
  virtual asio::awaitable<uint32_t> save(std::string key, std::shared_ptr<const Bytes> tree) = 0;

  /// The tree, `VK_ENOENT` without one, `VK_EVALUE` for one that is damaged. Any other code says
  /// that it could not be read now and may be there, such as `VK_EBUSY` and `VK_ENOMEM`.
  virtual asio::awaitable<Answer> load(std::string key) = 0;
};

}  // namespace vesk::core

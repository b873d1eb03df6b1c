#pragma once

// The persistent store: trees under keys, in an SQLite database that one worker thread uses. The
// thread touches no function of the library and no log: key and bytes go in, a code comes out.
//
// Everything else happens on the loop's thread. What is asked for is done in the order in which it
// was asked for, and done even if nobody waits for the answer any more; the loop does not run out
// of work while something is. Besides the codes named below, the answer to a change is `VK_EIO` if
// the storage failed, which is reported, and every answer may be `VK_ENOMEM` without memory or
// `VK_EINVAL` for an empty key. A change that was answered with a failure may or may not be there.

#include <asio/awaitable.hpp>
#include <asio/io_context.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "core/call.h"

namespace vesk::core {

class StoreWorker;
enum class StoreWork;

class Store {
 public:
  /// Told what befell the store, in one line, on the loop's thread.
  using Report = std::function<void(const std::string& text)>;

  /// Opens the store, or begins a new one and sets aside what cannot be opened, under a dated name.
  /// Makes the folder if it is missing. Takes the store's lock. Throws `std::system_error` if
  /// nothing can be opened: `std::errc::device_or_resource_busy` if another core has the lock.
  /// @param loop outlives the store
  /// @param report without one, an error in the log
  Store(asio::io_context& loop, const std::string& path, Report report = {});

  /// Waits until what is in flight has been done; the answers still come.
  ~Store();

  /// `VK_EOK` once the tree would survive a power cut; saves that wait share a commit.
  /// @param tree null is kept as no bytes
  asio::awaitable<uint32_t> save(std::string key, std::shared_ptr<const Bytes> tree);

  /// The tree, `VK_ENOENT` without one. Waits for a save of the key that is in flight. A damaged
  /// record is not served (`VK_EVALUE`). What could not be read now, because the storage failed,
  /// may be there all the same (`VK_EBUSY`). Both are reported.
  asio::awaitable<Answer> load(std::string key);

  /// `VK_ENOENT` without a tree.
  asio::awaitable<uint32_t> remove(std::string key);

  /// Forgets everything, and leaves no traces of it in the files of the open store.
  asio::awaitable<uint32_t> erase();

  /// Finishes what is in flight, closes the database and gives the lock back; what is asked for
  /// meanwhile and afterwards is answered `VK_EBUSY`.
  asio::awaitable<void> close();

 private:
  asio::awaitable<Answer> ask(StoreWork work, std::string key, std::shared_ptr<const Bytes> tree);

  asio::io_context& loop_;
  std::unique_ptr<StoreWorker> worker_;
};

}  // namespace vesk::core

#pragma once

// A store in a fresh folder, and a loop that runs while something is awaited.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/io_context.hpp>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "core/store.h"
#include "vesk/error.h"

namespace vesk::test {

/// A folder of its own, removed with all that is in it.
class FreshFolder {
 public:
  FreshFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "vesk-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder");
    path_ = name;
  }
  ~FreshFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  FreshFolder(const FreshFolder&) = delete;
  FreshFolder& operator=(const FreshFolder&) = delete;

  std::string operator/(const std::string& name) const { return (path_ / name).string(); }
  std::string path() const { return path_.string(); }

  /// The names in it that begin with a text, sorted.
  std::vector<std::string> names(std::string_view begin = "") const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
      const std::string name = entry.path().filename().string();
      if (name.starts_with(begin)) found.push_back(name);
    }
    std::sort(found.begin(), found.end());
    return found;
  }

 private:
  std::filesystem::path path_;
};

inline std::shared_ptr<const core::Bytes> tree(std::string_view text) {
  const auto bytes = std::as_bytes(std::span(text));
  return std::make_shared<const core::Bytes>(bytes.begin(), bytes.end());
}

inline std::string text_of(const core::Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

inline std::string content_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

template <typename T>
bool is_there(const std::future<T>& answer) {
  return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

/// A store and its loop.
class StoreLoop {
 public:
  explicit StoreLoop(const std::string& path) {
    store.emplace(loop, path, [this](const std::string& text) { reports.push_back(text); });
  }

  /// Begins something; it is under way when this returns.
  template <typename T>
  std::future<T> start(asio::awaitable<T> work) {
    auto promise = std::make_shared<std::promise<T>>();
    std::future<T> answer = promise->get_future();
    asio::co_spawn(loop, fulfil(std::move(promise), std::move(work)), asio::detached);
    loop.restart();
    loop.poll();
    return answer;
  }

  template <typename T>
  static asio::awaitable<void> fulfil(std::shared_ptr<std::promise<T>> promise,
                                      asio::awaitable<T> work) {
    if constexpr (std::is_void_v<T>) {
      co_await std::move(work);
      promise->set_value();
    } else {
      T answer = co_await std::move(work);
      promise->set_value(std::move(answer));
    }
  }

  /// Runs until the loop has nothing left to do.
  void run() {
    loop.restart();
    loop.run_for(std::chrono::seconds(60));
  }

  template <typename T>
  T await(asio::awaitable<T> work) {
    std::future<T> answer = start(std::move(work));
    run();
    if (!is_there(answer)) throw std::runtime_error("the loop ended before the answer");
    return answer.get();
  }

  uint32_t save(const std::string& key, std::string_view text) {
    return await(store->save(key, tree(text)));
  }
  core::Answer load(const std::string& key) { return await(store->load(key)); }

  /// The text under a key; the name of the code in brackets if there is none.
  std::string found(const std::string& key) {
    const core::Answer answer = load(key);
    if (answer.status == VK_EOK) return text_of(answer.value);
    return std::string("[") + vk_strerror(answer.status) + "]" + text_of(answer.value);
  }

  void close() { await(store->close()); }

  std::vector<std::string> reports;
  asio::io_context loop;
  std::optional<core::Store> store;
};

}  // namespace vesk::test

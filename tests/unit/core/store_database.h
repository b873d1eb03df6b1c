#pragma once

// The database of a store that is not open, as any program that uses SQLite sees it.

#include <sqlite3.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace vesk::test {

class Database {
 public:
  explicit Database(const std::string& path) {
    sqlite3* db = nullptr;
    const int code =
        sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, "unix");
    db_.reset(db);
    require(code == SQLITE_OK);
  }

  void run(const std::string& statements) {
    require(sqlite3_exec(db_.get(), statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK);
  }

  /// The first column of the first row, as a number or as text.
  int64_t number(const std::string& query) { return std::stoll(text(query)); }
  std::string text(const std::string& query) {
    std::string found;
    const auto take = [](void* into, int, char** columns, char**) {
      *static_cast<std::string*>(into) = columns[0] == nullptr ? "" : columns[0];
      return 0;
    };
    require(sqlite3_exec(db_.get(), query.c_str(), take, &found, nullptr) == SQLITE_OK);
    return found;
  }

 private:
  struct Close {
    void operator()(sqlite3* db) const { sqlite3_close(db); }
  };

  void require(bool success) const {
    if (!success) throw std::runtime_error(sqlite3_errmsg(db_.get()));
  }

  std::unique_ptr<sqlite3, Close> db_;
};

}  // namespace vesk::test

#pragma once

// SQLite as the store uses it: a connection, and queries that live for one use. Whatever SQLite
// refuses is thrown. Nothing here is shared between threads; a connection may be handed over.

#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace vesk::core {

/// What SQLite answered instead of success. Owns no memory.
class SqlError : public std::exception {
 public:
  explicit SqlError(int code) : code_(code & 0xFF) {}

  /// The primary result code.
  int code() const { return code_; }

  /// SQLite's words for the code: a constant text.
  const char* what() const noexcept override { return sqlite3_errstr(code_); }

 private:
  int code_;
};

class Sql {
 public:
  /// Opens an existing file, which is read at the first query only.
  explicit Sql(const std::string& path);

  /// Runs statements that give no rows.
  void run(const std::string& statements);

  /// The first column of the first row.
  int64_t number(const char* query);
  std::string text(const char* query);

  /// Whether a transaction is open. Some failures end it without being asked.
  bool in_transaction() const { return sqlite3_get_autocommit(db_.get()) == 0; }

  /// How many rows the last writing query changed.
  int changes() const { return sqlite3_changes(db_.get()); }

  /// Whether closing moves what is in the write-ahead log into the database.
  void checkpoint_on_close(bool yes);

 private:
  friend class Query;
  struct Close {
    void operator()(sqlite3* db) const { sqlite3_close(db); }
  };
  std::unique_ptr<sqlite3, Close> db_;
};

/// One query. What is bound to it stays the caller's and must outlive it.
class Query {
 public:
  Query(Sql& sql, const char* text);

  Query& bind(int parameter, std::string_view text);
  Query& bind(int parameter, std::span<const std::byte> bytes);
  Query& bind(int parameter, int64_t number);

  /// Goes to the next row, the first at first; false behind the last.
  bool next();

  /// Columns of the row, counted from 0. The bytes are valid until `next`.
  int64_t number(int column) const { return sqlite3_column_int64(query_.get(), column); }
  std::span<const std::byte> bytes(int column) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* query) const { sqlite3_finalize(query); }
  };
  std::unique_ptr<sqlite3_stmt, Finalize> query_;
};

}  // namespace vesk::core

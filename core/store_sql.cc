#include "core/store_sql.h"

namespace vesk::core {
namespace {

// How long another program may keep the file locked, such as one that makes a copy of it.
constexpr int kPatienceMs = 1000;

void must(int code) {
  if (code != SQLITE_OK) throw SqlError(code);
}

// SQLite would take room for 20 pages at once; a small store needs but a few.
void take_pages_singly() {
  [[maybe_unused]] static const int refused_once_in_use =
      sqlite3_config(SQLITE_CONFIG_PAGECACHE, nullptr, 0, 0);
}

}  // namespace

Sql::Sql(const std::string& path) {
  take_pages_singly();
  sqlite3* db = nullptr;
  const int code =
      sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  db_.reset(db);
  must(code);
  must(sqlite3_busy_timeout(db, kPatienceMs));
}

void Sql::run(const std::string& statements) {
  must(sqlite3_exec(db_.get(), statements.c_str(), nullptr, nullptr, nullptr));
}

int64_t Sql::number(const char* query) {
  Query asked(*this, query);
  return asked.next() ? asked.number(0) : 0;
}

std::string Sql::text(const char* query) {
  Query asked(*this, query);
  if (!asked.next()) return {};
  const std::span<const std::byte> bytes = asked.bytes(0);
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

void Sql::checkpoint_on_close(bool yes) {
  must(sqlite3_db_config(db_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, yes ? 0 : 1, nullptr));
}

Query::Query(Sql& sql, const char* text) {
  sqlite3_stmt* query = nullptr;
  must(sqlite3_prepare_v2(sql.db_.get(), text, -1, &query, nullptr));
  query_.reset(query);
}

Query& Query::bind(int parameter, std::string_view text) {
  must(sqlite3_bind_text64(query_.get(), parameter, text.data(), text.size(), SQLITE_STATIC,
                           SQLITE_UTF8));
  return *this;
}

Query& Query::bind(int parameter, std::span<const std::byte> bytes) {
  const void* const begin = bytes.empty() ? "" : static_cast<const void*>(bytes.data());
  must(sqlite3_bind_blob64(query_.get(), parameter, begin, bytes.size(), SQLITE_STATIC));
  return *this;
}

Query& Query::bind(int parameter, int64_t number) {
  must(sqlite3_bind_int64(query_.get(), parameter, number));
  return *this;
}

bool Query::next() {
  const int code = sqlite3_step(query_.get());
  if (code != SQLITE_ROW && code != SQLITE_DONE) throw SqlError(code);
  return code == SQLITE_ROW;
}

std::span<const std::byte> Query::bytes(int column) const {
  const void* const begin = sqlite3_column_blob(query_.get(), column);
  const int size = sqlite3_column_bytes(query_.get(), column);
  return {static_cast<const std::byte*>(begin), static_cast<std::size_t>(size)};
}

}  // namespace vesk::core

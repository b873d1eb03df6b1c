#include "core/store_db.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "core/store_checksum.h"

namespace vesk::core {
namespace {

constexpr int64_t kVersion = 1;

// Read in this machine's byte order, which is that of the trees: what a machine of the other order
// has kept is not taken for a store of this one.
constexpr int32_t kApplication = std::bit_cast<int32_t>(std::array{'v', 'e', 's', 'k'});

constexpr const char* kTable =
    "CREATE TABLE trees(key TEXT PRIMARY KEY NOT NULL, tree BLOB NOT NULL, "
    "checksum INTEGER NOT NULL)";

constexpr const char* kSettings =
    "PRAGMA journal_mode = WAL;"
    "PRAGMA synchronous = FULL;"
    "PRAGMA secure_delete = ON";

// In KiB. Few records are read twice, and the system keeps the file's pages anyway.
constexpr const char* kPageCache = "PRAGMA cache_size = -256";

// What is at the path cannot be used; why.
class NotAStore : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The path without links, so that what belongs to the database lies beside it.
std::string real_path(const std::string& path) {
  return std::filesystem::weakly_canonical(std::filesystem::absolute(path)).string();
}

std::string with_folder(const std::string& path) {
  refuse_what_others_use(path);
  make_folder(std::filesystem::path(path).parent_path().string());
  return path;
}

bool is_new(Sql& sql) {
  return sql.number("PRAGMA application_id") == 0 && sql.number("PRAGMA user_version") == 0 &&
         sql.number("SELECT count(*) FROM sqlite_master") == 0;
}

void fill(Sql& sql) {
  sql.run("BEGIN");
  sql.run(kTable);
  sql.run("PRAGMA application_id = " + std::to_string(kApplication));
  sql.run("PRAGMA user_version = " + std::to_string(kVersion));
  sql.run("COMMIT");
}

void check(Sql& sql) {
  if (sql.number("PRAGMA application_id") != kApplication) {
    throw NotAStore("not a store of this machine");
  }
  const int64_t version = sql.number("PRAGMA user_version");
  if (version != kVersion) throw NotAStore("of version " + std::to_string(version));
  if (sql.text("SELECT group_concat(sql) FROM sqlite_master") != kTable) {
    throw NotAStore("not made of the store's table");
  }
  const std::string found = sql.text("PRAGMA quick_check(1)");
  if (found != "ok") throw NotAStore("damaged: " + found);
}

Sql open_or_refuse(const std::string& path) {
  if (!make_private_file(path)) throw NotAStore("not a file");
  // SQLite would drop the log.
  if (is_empty(path) && !is_empty(path + "-wal")) throw NotAStore("nothing but a write-ahead log");
  Sql sql(path);
  sql.checkpoint_on_close(false);  // what is refused stays as it was found
  sql.text("PRAGMA locking_mode = EXCLUSIVE");
  sql.run(kPageCache);
  const bool fresh = is_new(sql);
  if (!fresh) check(sql);
  sql.run(kSettings);
  if (fresh) fill(sql);
  sql.checkpoint_on_close(true);
  return sql;
}

struct Meaning {
  int code;
  int error;
};
constexpr std::array kMeanings{Meaning{SQLITE_NOMEM, ENOMEM}, Meaning{SQLITE_BUSY, EBUSY},
                               Meaning{SQLITE_FULL, ENOSPC}, Meaning{SQLITE_READONLY, EROFS},
                               Meaning{SQLITE_PERM, EACCES}};

int meaning_of(int code) {
  const auto* const found = std::ranges::find(kMeanings, code, &Meaning::code);
  return found == kMeanings.end() ? EIO : found->error;
}

Sql open(const std::string& path) {
  try {
    return open_or_refuse(path);
  } catch (const SqlError& error) {
    const bool content = error.code() == SQLITE_NOTADB || error.code() == SQLITE_CORRUPT;
    if (content) throw NotAStore(std::string("no store: ") + error.what());
    throw std::system_error(meaning_of(error.code()), std::generic_category(),
                            path + ": " + error.what());
  }
}

Sql open_or_begin(const std::string& path, const StoreDb::Report& report) {
  try {
    return open(path);
  } catch (const NotAStore& why) {
    const std::string name = name_aside(path);
    report("store " + path + " cannot be opened, it is " + why.what() + "; set aside as " + name +
           ", and a new one is begun");
    set_aside(path, name);
  }
  return open(path);
}

// The key with its terminator, which keeps it apart from the tree.
uint32_t checksum_of(const std::string& key, std::span<const std::byte> tree) {
  return checksum(tree, checksum(std::as_bytes(std::span(key.c_str(), key.size() + 1))));
}

}  // namespace

StoreDb::StoreDb(const std::string& path, const Report& report)
    : path_(with_folder(real_path(path))), lock_(path_), sql_(open_or_begin(path_, report)) {}

void StoreDb::roll_back() noexcept {
  try {
    if (in_transaction()) sql_->run("ROLLBACK");
  } catch (const std::exception&) {
    // SQLite ends the transaction whatever it says.
  }
}

void StoreDb::save(const std::string& key, std::span<const std::byte> tree) {
  Query(*sql_, "INSERT OR REPLACE INTO trees VALUES(?1, ?2, ?3)")
      .bind(1, key)
      .bind(2, tree)
      .bind(3, int64_t{checksum_of(key, tree)})
      .next();
}

StoreDb::Found StoreDb::load(const std::string& key, Bytes& tree) {
  Query query(*sql_, "SELECT tree, checksum FROM trees WHERE key = ?1");
  if (!query.bind(1, key).next()) return Found::kNothing;
  const std::span<const std::byte> bytes = query.bytes(0);
  if (query.number(1) != int64_t{checksum_of(key, bytes)}) return Found::kDamaged;
  tree.assign(bytes.begin(), bytes.end());
  return Found::kTree;
}

bool StoreDb::remove(const std::string& key) {
  Query(*sql_, "DELETE FROM trees WHERE key = ?1").bind(1, key).next();
  return sql_->changes() != 0;
}

void StoreDb::erase() { Query(*sql_, "DELETE FROM trees").next(); }

void StoreDb::shrink_log() noexcept {
  try {
    sql_->text("PRAGMA wal_checkpoint(TRUNCATE)");
  } catch (const std::exception&) {
    // The erasing is committed; the log is written over in time.
  }
}

}  // namespace vesk::core

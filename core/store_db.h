#pragma once

// The database of the store: one table of trees by key, each with a checksum over both. Everything
// but the opening may throw `SqlError`, and `std::bad_alloc` where bytes are copied; a change
// counts once the transaction that it is made in is committed.
//
// The database is in exclusive locking mode: nobody else reads or writes it while it is open, and
// its write-ahead log needs no shared memory, which not every flash file system can give.

#include <functional>
#include <optional>
#include <span>
#include <string>

#include "core/call.h"
#include "core/store_file.h"
#include "core/store_sql.h"

namespace vesk::core {

class StoreDb {
 public:
  using Report = std::function<void(const std::string& text)>;

  /// Takes the store's lock and opens the database; sets aside what is no store of this version and
  /// of this machine's byte order, or is damaged, reports that before it does, and begins a new
  /// one. Throws `std::system_error` for everything else that is in the way, and leaves the files
  /// alone.
  StoreDb(const std::string& path, const Report& report);

  void begin() { sql_->run("BEGIN IMMEDIATE"); }
  void commit() { sql_->run("COMMIT"); }
  bool in_transaction() const { return sql_->in_transaction(); }

  /// Ends the transaction, if one is open, and takes back what was done in it.
  void roll_back() noexcept;

  void save(const std::string& key, std::span<const std::byte> tree);

  enum class Found { kNothing, kTree, kDamaged };

  /// The tree is set only if one was found whole.
  Found load(const std::string& key, Bytes& tree);

  /// False if there was nothing.
  bool remove(const std::string& key);

  void erase();

  /// Has nothing that was erased remain in the write-ahead log.
  void shrink_log() noexcept;

 private:
  std::string path_;
  StoreLock lock_;
  std::optional<Sql> sql_;
};

}  // namespace vesk::core

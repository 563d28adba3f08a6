#include "history/SQLiteFile.h"

#include <sqlite3.h>

namespace vale {

void SQLiteFile::Close::operator()(sqlite3* database) const { sqlite3_close_v2(database); }

void SQLiteFile::Rows::Finish::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

SQLiteFile::SQLiteFile(const std::filesystem::path& file) {
  sqlite3* database = nullptr;
  const int code =
      sqlite3_open_v2(file.c_str(), &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  database_.reset(database);
  if (code != SQLITE_OK) throw SQLiteError(sqlite3_errstr(code), code);
  // As SQLite advises for files from elsewhere (https://sqlite.org/security.html).
  sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_exec(database, "PRAGMA cell_size_check=ON; PRAGMA mmap_size=0", nullptr, nullptr, nullptr);
}

SQLiteFile::Rows SQLiteFile::select(const std::string& statement) {
  Rows rows;
  sqlite3_stmt* prepared = nullptr;
  const int code = sqlite3_prepare_v2(database_.get(), statement.c_str(), -1, &prepared, nullptr);
  if (code != SQLITE_OK) throw SQLiteError(sqlite3_errmsg(database_.get()), code);
  rows.statement_.reset(prepared);
  return rows;
}

bool SQLiteFile::Rows::next() {
  const int code = sqlite3_step(statement_.get());
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  throw SQLiteError(sqlite3_errmsg(sqlite3_db_handle(statement_.get())), code);
}

std::int64_t SQLiteFile::Rows::number(int column) const {
  return sqlite3_column_int64(statement_.get(), column);
}

std::string SQLiteFile::Rows::text(int column) const {
  const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
  return bytes ? std::string(bytes, std::size_t(sqlite3_column_bytes(statement_.get(), column)))
               : std::string();
}

}  // namespace vale

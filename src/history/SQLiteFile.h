#pragma once

#include "common/Error.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace vale {

/// What SQLite refused; the message is its own text, no sentence.
struct SQLiteError : Error {
  SQLiteError(std::string message, int code) : Error(std::move(message)), code(code) {}

  int code;  ///< SQLITE_CORRUPT and the like
};

/// One database file of another program, to be read: nothing that its schema says is run beyond what the
/// statements given here need. For one thread.
class SQLiteFile {
 public:
  class Rows;

  /// Finishes what its journal or write-ahead log holds, and hence may write to it. Throws SQLiteError.
  explicit SQLiteFile(const std::filesystem::path& file);

  /// The rows of one SELECT. Throws SQLiteError.
  Rows select(const std::string& statement);

 private:
  struct Close {
    void operator()(sqlite3* database) const;
  };
  std::unique_ptr<sqlite3, Close> database_;
};

class SQLiteFile::Rows {
 public:
  /// Steps to the next row; false behind the last. Throws SQLiteError.
  bool next();

  /// The values of the row; 0 and the empty text for what is NULL.
  std::int64_t number(int column) const;
  std::string text(int column) const;

 private:
  friend class SQLiteFile;
  struct Finish {
    void operator()(sqlite3_stmt* statement) const;
  };
  std::unique_ptr<sqlite3_stmt, Finish> statement_;
};

}  // namespace vale

#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace limes::host {

/// A prepared SQL statement. Throws CStoreError.
class CStatement {
 public:
  CStatement(sqlite3* database, const std::string& sql);
  ~CStatement();
  CStatement(const CStatement&) = delete;
  CStatement& operator=(const CStatement&) = delete;

  CStatement& Bind(std::int64_t value);
  CStatement& Bind(std::string_view text);
  CStatement& Bind(const std::string& text) { return Bind(std::string_view(text)); }
  CStatement& Bind(const char* text) { return Bind(std::string_view(text)); }
  CStatement& Bind(std::optional<double> value);
  CStatement& Bind(const std::optional<std::string>& text);
  CStatement& Bind(std::optional<std::int64_t> value);
  CStatement& Bind(std::span<const std::uint8_t> bytes);

  /// True when there is a row.
  bool Step();

  /// Runs to the end and makes ready for the next use.
  void Run();
  void Reset();

  std::int64_t Int(int column) const;
  std::optional<double> Real(int column) const;
  std::string Text(int column) const;
  std::optional<std::string> OptionalText(int column) const;
  std::optional<std::int64_t> OptionalInt(int column) const;
  bool IsNull(int column) const;
  std::vector<std::uint8_t> Bytes(int column) const;

 private:
  void Check(int code) const;

  sqlite3* database_;
  sqlite3_stmt* statement_ = nullptr;
  int bound_ = 0;
};

/// An open SQLite file. Waits up to ten minutes for other processes. Throws CStoreError.
class CDatabase {
 public:
  /// Only for reading; for both; for both, and made when there is none.
  enum class Mode { kReading, kExisting, kCreate };

  CDatabase(const std::string& path, Mode mode);
  ~CDatabase();
  CDatabase(const CDatabase&) = delete;
  CDatabase& operator=(const CDatabase&) = delete;

  void Execute(const std::string& sql);
  std::int64_t QueryInt(const std::string& sql);

  /// Closing carries nothing over from the log.
  void LeaveLog();

  /// Whether the file was renamed or removed since it was opened.
  bool HasMoved() const;

  /// Differs when another connection has changed the file.
  std::int64_t Changes() { return QueryInt("PRAGMA data_version"); }
  std::int64_t LastRowId() const;
  sqlite3* Handle() const { return database_; }

 private:
  void Open(const std::string& name, int flags);
  bool NeedsFiles() const;

  sqlite3* database_ = nullptr;
  std::string path_;
};

}  // namespace limes::host

#include "apps/limes/store/database.h"

#include <sqlite3.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>

#include "apps/limes/errors.h"
#include "apps/limes/store/checked_pages.h"

namespace limes::host {
namespace {

/// Polls often: another learner leaves only a few milliseconds between two of its transactions.
int WaitForOthers(void*, int tries) {
  constexpr int kMilliseconds = 1;
  constexpr int kMost = 600'000;
  if (tries >= kMost) {
    return 0;
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(kMilliseconds));
  return 1;
}

/// A file name for a URI.
std::string Escaped(const std::string& name) {
  std::string text;
  for (const char c : name) {
    text += c == '?' ? "%3f" : c == '#' ? "%23" : c == '%' ? "%25" : std::string(1, c);
  }
  return text;
}

/// Whether nobody may write a file.
bool IsProtected(const std::string& path) {
  using std::filesystem::perms;
  std::error_code error;
  const perms write = perms::owner_write | perms::group_write | perms::others_write;
  return (std::filesystem::status(path, error).permissions() & write) == perms::none;
}

/// The last error, with the name of the store.
std::string Failure(sqlite3* database) {
  const char* path = sqlite3_db_filename(database, "main");
  return std::filesystem::path(path != nullptr ? path : "").filename().string() + ": " +
         ReasonOf(database);
}

}  // namespace

CStatement::CStatement(sqlite3* database, const std::string& sql) : database_(database) {
  Check(sqlite3_prepare_v2(database, sql.c_str(), -1, &statement_, nullptr));
}

CStatement::~CStatement() { sqlite3_finalize(statement_); }

void CStatement::Check(int code) const {
  if (code != SQLITE_OK) {
    throw CStoreError(Failure(database_));
  }
}

CStatement& CStatement::Bind(std::int64_t value) {
  Check(sqlite3_bind_int64(statement_, ++bound_, value));
  return *this;
}

CStatement& CStatement::Bind(std::string_view text) {
  Check(sqlite3_bind_text64(statement_, ++bound_, text.empty() ? "" : text.data(), text.size(),
                            SQLITE_TRANSIENT, SQLITE_UTF8));
  return *this;
}

CStatement& CStatement::Bind(std::optional<double> value) {
  ++bound_;
  Check(value ? sqlite3_bind_double(statement_, bound_, *value)
              : sqlite3_bind_null(statement_, bound_));
  return *this;
}

CStatement& CStatement::Bind(const std::optional<std::string>& text) {
  if (text) {
    return Bind(std::string_view(*text));
  }
  Check(sqlite3_bind_null(statement_, ++bound_));
  return *this;
}

CStatement& CStatement::Bind(std::optional<std::int64_t> value) {
  Check(value ? sqlite3_bind_int64(statement_, bound_ + 1, *value)
              : sqlite3_bind_null(statement_, bound_ + 1));
  ++bound_;
  return *this;
}

CStatement& CStatement::Bind(std::span<const std::uint8_t> bytes) {
  Check(sqlite3_bind_blob64(statement_, ++bound_, bytes.data(), bytes.size(), SQLITE_TRANSIENT));
  return *this;
}

bool CStatement::Step() {
  const int code = sqlite3_step(statement_);
  if (code != SQLITE_ROW && code != SQLITE_DONE) {
    const std::string message = Failure(database_);
    Reset();
    throw CStoreError(message);
  }
  return code == SQLITE_ROW;
}

void CStatement::Run() {
  while (Step()) {
  }
  Reset();
}

void CStatement::Reset() {
  sqlite3_reset(statement_);
  bound_ = 0;
}

std::optional<std::string> CStatement::OptionalText(int column) const {
  return IsNull(column) ? std::nullopt : std::optional(Text(column));
}

std::optional<std::int64_t> CStatement::OptionalInt(int column) const {
  return IsNull(column) ? std::nullopt : std::optional(Int(column));
}

std::int64_t CStatement::Int(int column) const { return sqlite3_column_int64(statement_, column); }

std::optional<double> CStatement::Real(int column) const {
  return IsNull(column) ? std::nullopt : std::optional(sqlite3_column_double(statement_, column));
}

std::string CStatement::Text(int column) const {
  const unsigned char* text = sqlite3_column_text(statement_, column);
  const int size = sqlite3_column_bytes(statement_, column);
  return text == nullptr
             ? std::string()
             : std::string(reinterpret_cast<const char*>(text), static_cast<std::size_t>(size));
}

bool CStatement::IsNull(int column) const {
  return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

std::vector<std::uint8_t> CStatement::Bytes(int column) const {
  const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement_, column));
  const int size = sqlite3_column_bytes(statement_, column);
  return bytes == nullptr ? std::vector<std::uint8_t>()
                          : std::vector<std::uint8_t>(bytes, bytes + size);
}

CDatabase::CDatabase(const std::string& path, Mode mode) : path_(path) {
  if (path.empty()) {
    throw CUsageError("the name of the store is empty");
  }
  // A name with a colon would be one of SQLite's own, such as :memory:
  const std::string name = path[0] == ':' ? "./" + path : path;
  std::error_code error;
  // A reader opens for writing too, else it would leave -wal and -shm behind; a file that must not
  // be written is then opened for reading.
  Open(name, SQLITE_OPEN_READWRITE | (mode == Mode::kCreate ? SQLITE_OPEN_CREATE : 0));
  if (mode != Mode::kReading && sqlite3_db_readonly(database_, "main") == 1) {
    sqlite3_close(database_);
    throw CStoreError(path + ": the store must not be written");
  }
  if (mode == Mode::kReading && !std::filesystem::exists(path + "-wal", error) &&
      (IsProtected(path) || NeedsFiles())) {
    // In a folder that must not be written, or a file whose -wal, made with the rights of the file,
    // would stand in the way of later writers; and nobody else is writing.
    sqlite3_close(database_);
    Open("file:" + Escaped(name) + "?immutable=1", SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
  }
}

void CDatabase::Open(const std::string& name, int flags) {
  const int code =
      sqlite3_open_v2(name.c_str(), &database_, flags | SQLITE_OPEN_NOMUTEX, CheckedPages());
  if (code != SQLITE_OK) {
    std::string reason = database_ != nullptr ? sqlite3_errmsg(database_) : "no memory";
    if (const int cause = database_ != nullptr ? sqlite3_system_errno(database_) : 0; cause != 0) {
      reason += std::string(": ") + std::strerror(cause);
    }
    sqlite3_close(database_);
    database_ = nullptr;
    throw CStoreError(path_ + ": the store cannot be opened: " + reason);
  }
  sqlite3_busy_handler(database_, WaitForOthers, nullptr);
  ReserveChecks(database_);
}

/// Whether reading fails because -wal and -shm cannot be made.
bool CDatabase::NeedsFiles() const {
  const int code =
      sqlite3_exec(database_, "SELECT 1 FROM sqlite_master", nullptr, nullptr, nullptr);
  return (code & 0xFF) == SQLITE_READONLY || (code & 0xFF) == SQLITE_CANTOPEN;
}

CDatabase::~CDatabase() { sqlite3_close(database_); }

void CDatabase::LeaveLog() {
  sqlite3_db_config(database_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

void CDatabase::Execute(const std::string& sql) {
  if (sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw CStoreError(path_ + ": " + ReasonOf(database_));
  }
}

std::int64_t CDatabase::QueryInt(const std::string& sql) {
  CStatement statement(database_, sql);
  return statement.Step() ? statement.Int(0) : 0;
}

bool CDatabase::HasMoved() const {
  int moved = 0;
  const int code = sqlite3_file_control(database_, "main", SQLITE_FCNTL_HAS_MOVED, &moved);
  return code == SQLITE_OK && moved != 0;
}

std::int64_t CDatabase::LastRowId() const { return sqlite3_last_insert_rowid(database_); }

}  // namespace limes::host

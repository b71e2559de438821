#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace limes::host {

/// Whether a text is the address of a database, postgresql://..., rather than a file.
bool NamesDatabase(std::string_view text);

/// The text with *** for each password in it: in an address of a database, and behind "password=".
std::string WithoutPasswords(std::string_view text);

/// A connection to a PostgreSQL database. Throws CStoreError, whose message never holds a password,
/// when the connection or a query fails; nothing of its transaction is kept then.
class CPlantConnection {
 public:
  using Value = std::optional<std::string>;
  using Row = std::vector<Value>;

  /// An address or "key=value ..." as libpq takes it, with all its options; what it does not say
  /// comes from the environment. Throws CUsageError when it cannot be read, and when the program
  /// was built without libpq.
  explicit CPlantConnection(const std::string& text);
  CPlantConnection(const CPlantConnection&) = delete;
  CPlantConnection& operator=(const CPlantConnection&) = delete;
  ~CPlantConnection();

  /// Statements without values, one behind the other.
  void Execute(const std::string& sql);

  /// One statement with $1, $2, ...
  std::vector<Row> Query(const std::string& sql, const Row& values = {});

  /// Appends rows (CCopyRows) to "table(columns)".
  void Copy(const std::string& into, const std::string& rows);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// "\x00ff" of bytes, and back; empty for what is no such text.
std::string HexText(std::span<const std::uint8_t> bytes);
std::vector<std::uint8_t> BytesOfHex(std::string_view text);

}  // namespace limes::host

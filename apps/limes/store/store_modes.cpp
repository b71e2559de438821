// Common modes in the store.
#include "apps/limes/store/store.h"

namespace limes::host {

std::vector<std::uint8_t> CStore::ReadModes(std::int64_t row) {
  constexpr std::int64_t kSince = 8;  // version of the tables
  if (version_ < kSince) {
    return {};
  }
  CStatement find(database_->Handle(), "SELECT record FROM modes WHERE id = ? AND " + IsChosen());
  return find.Bind(row).Step() ? find.Bytes(0) : std::vector<std::uint8_t>();
}

void CStore::WriteModes(std::int64_t row, const std::vector<std::uint8_t>& record) {
  CStatement(database_->Handle(), "DELETE FROM modes WHERE id = ? AND " + IsChosen())
      .Bind(row)
      .Run();
  if (!record.empty()) {
    CStatement(database_->Handle(), "INSERT INTO modes VALUES(chosen_variant(), ?, ?)")
        .Bind(row)
        .Bind(std::span(record))
        .Run();
  }
}

}  // namespace limes::host

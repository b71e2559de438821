// What was measured of judged parts, so that they can be drawn.
#include "apps/limes/store/store.h"

namespace limes::host {
namespace {

constexpr std::int64_t kCurvesSince = 9;  ///< version of the tables

}  // namespace

void CStore::KeepCurves(std::int64_t part, bool stays, std::span<const std::uint8_t> record) {
  CStatement(database_->Handle(), "INSERT INTO curve VALUES(?, ?, ?, ?)")
      .Bind(part)
      .Bind(static_cast<std::int64_t>(record.size()))
      .Bind(std::int64_t{stays ? 1 : 0})
      .Bind(record)
      .Run();
}

void CStore::DropCurves(std::int64_t newest, std::int64_t most) {
  CStatement(database_->Handle(),
             "DELETE FROM curve WHERE stays = 0 AND part <= "
             "(SELECT part FROM curve ORDER BY part DESC LIMIT 1 OFFSET ?)")
      .Bind(newest)
      .Run();
  std::int64_t over = CurveBytes() - most;
  if (over <= 0) {
    return;
  }
  std::int64_t last = 0;
  {
    CStatement oldest(database_->Handle(), "SELECT part, bytes FROM curve ORDER BY part");
    while (over > 0 && oldest.Step()) {
      last = oldest.Int(0);
      over -= oldest.Int(1);
    }
  }
  CStatement(database_->Handle(), "DELETE FROM curve WHERE part <= ?").Bind(last).Run();
}

std::vector<std::uint8_t> CStore::CurvesOf(std::int64_t part) {
  if (version_ < kCurvesSince) {
    return {};
  }
  CStatement find(database_->Handle(), "SELECT record FROM curve WHERE part = ?");
  return find.Bind(part).Step() ? find.Bytes(0) : std::vector<std::uint8_t>();
}

std::int64_t CStore::CurveBytes() {
  return version_ < kCurvesSince ? 0 : database_->QueryInt("SELECT curve_bytes FROM store");
}

}  // namespace limes::host

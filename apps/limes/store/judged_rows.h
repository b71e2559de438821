#pragma once

#include <cstdint>
#include <map>

#include "apps/limes/measurement/verdict.h"
#include "apps/limes/store/database.h"

namespace limes::host {

/// The stored verdicts and defects of judged parts, read beside their parts in one go. The parts
/// are asked for in the order of their numbers. Throws CStoreError.
class CJudgedRows {
 public:
  /// version: of the store's tables; withDefects: else parts have none; first: no part before this
  /// one will be asked for.
  CJudgedRows(sqlite3* database, std::int64_t version, bool withDefects, std::int64_t first);

  /// Adds those of a part.
  void Read(std::int64_t part, SPartVerdict& verdict);

 private:
  struct SMeasured {
    std::string name;
    std::string unit;
    std::string xUnit;
  };

  void AddVerdict(SPartVerdict& verdict);
  void AddDefect(SPartVerdict& verdict);

  std::map<std::int64_t, SMeasured> quantities_;
  CStatement verdicts_;
  CStatement defects_;
  bool hasVerdict_ = false;  ///< the statement stands on a row
  bool hasDefect_ = false;
};

}  // namespace limes::host

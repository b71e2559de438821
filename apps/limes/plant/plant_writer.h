#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "apps/limes/plant/connection.h"
#include "apps/limes/plant/copy_rows.h"
#include "apps/limes/store/store.h"

namespace limes::host {

/// What a push added.
struct SPushed {
  std::int64_t learnt = 0;  ///< parts that are learnt now
  std::int64_t judged = 0;
};

/// Copies what a store holds to its bench in a database, from where the last push ended. What is
/// learnt is replaced as a whole, judged parts are added a block at a time: each transaction says
/// how far it came, so that every row is there once, wherever a push ends. Pushes of one bench
/// wait for each other. Throws CStoreError.
class CPlantWriter {
 public:
  /// Waits for another push of this bench, a minute at most.
  CPlantWriter(CPlantConnection& plant, const std::string& bench);

  /// anew: what another store has pushed to the bench is put aside. Throws CUsageError where that
  /// is not asked for.
  SPushed Push(CStore& store, bool anew);

 private:
  struct SBlock {
    CCopyRows parts, verdicts, defects, alarms;
    std::int64_t count = 0;
    std::string mark;  ///< of the last part
    std::int64_t last = 0;
  };

  void Find(CStore& store, bool anew);
  std::string Foreign(CStore& store);
  void WriteRuns(CStore& store);
  void WriteLearnt(CStore& store);
  void WriteStates(CStore& store);
  std::int64_t WriteJudged(CStore& store);
  void Add(const SPartVerdict& part);
  void Flush();

  /// The number of a quantity, which is added when it is new.
  std::int64_t Quantity(const std::string& name, const std::string& xUnit, const std::string& unit);
  void ReadQuantities();

  CPlantConnection& plant_;
  std::string bench_;
  std::string id_;  ///< of the bench; empty: new
  std::int64_t stateVersion_ = -1;
  std::int64_t lastRun_ = 0;
  std::int64_t lastJudged_ = 0;
  std::string runMark_;
  std::string judgedMark_;
  std::map<std::string, std::int64_t> quantities_;
  SBlock block_;
};

}  // namespace limes::host

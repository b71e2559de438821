#pragma once

#include <string>
#include <vector>

#include "apps/limes/plant/connection.h"
#include "apps/limes/store/stored_model.h"

namespace limes::host {

/// The benches of a database that learn states can be taken from, all of one moment. Throws
/// CStoreError.
class CPlantReader {
 public:
  explicit CPlantReader(CPlantConnection& plant);

  /// In the order of their names. names: of those that are wanted, each of which must be there;
  /// empty: all.
  std::vector<std::string> Benches(const std::vector<std::string>& names);

  /// What a bench has learnt, as its store had it when it was pushed last.
  SLearntState Read(const std::string& bench);

 private:
  CPlantConnection& plant_;
};

}  // namespace limes::host

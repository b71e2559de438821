#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apps/limes/measurement/drift.h"

namespace limes::host {

/// The drift alarms of all quantities for one stream of parts.
class CDriftWatch {
 public:
  /// Parts between two false alarms of all quantities together, on average; 0: no alarm.
  explicit CDriftWatch(double partsBetween) : partsBetween_(partsBetween) {}

  /// Goes on where a store is. Throws CStoreError.
  void Load(const std::vector<SStoredDrift>& stored, const std::string& store);
  std::vector<SStoredDrift> Stored() const;

  /// Takes how a part moved some of so many quantities; the alarms that it gives.
  std::vector<SDriftFound> Add(const std::string& part, const std::vector<SShift>& shifts,
                               std::size_t quantities);

  /// Joins what another bench has gathered; alarms of another threshold stay as they are here.
  void Join(const CDriftWatch& other);

 private:
  CDriftAlarm& Of(const std::string& quantity, std::size_t quantities);

  double partsBetween_;
  std::optional<CDriftAlarm> fresh_;  ///< without parts; its threshold takes a while
  std::map<std::string, CDriftAlarm> alarms_;
};

}  // namespace limes::host

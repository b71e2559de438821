#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "apps/limes/bench/curve_keeper.h"
#include "apps/limes/measurement/settings.h"
#include "apps/limes/model/model.h"
#include "apps/limes/store/store.h"

namespace limes::host {

/// Judges parts by what a store has learnt and stores the verdicts: one run of one command. Nothing
/// may be reported before it was stored. Throws CStoreError and CUsageError.
class CJudging {
 public:
  /// Is called in the transaction of the verdicts, to write what belongs to them.
  using Also = std::function<void(const std::vector<SPartVerdict>& verdicts)>;

  /// storing: else the store is only read. given: options that hold for this run; throws
  /// CUsageError where they contradict the store.
  CJudging(const std::string& path, const SGivenSettings& given, std::string command, bool storing);

  CStore& Store() { return store_; }
  const SSettings& Settings() const { return settings_; }
  CModel& Model() { return model_; }
  const SPromise& Promise() const { return promise_; }

  /// Judges a part, converted to the units of what was learnt, which note is told; the verdict
  /// waits for Write. Throws CInputError when it does not fit what was learnt.
  const SPartVerdict& Judge(SPart& part, const NoteTaker& note);

  /// The verdicts that wait.
  const std::vector<SPartVerdict>& Pending() const { return pending_; }

  /// Stores what was judged in one transaction and hands it out, with the drift alarms that it
  /// gave. When it throws, nothing is stored and all of it still waits.
  std::vector<SPartVerdict> Write(const Also& also = {});

  /// Gives up the verdicts behind the first ones.
  void Drop(std::size_t kept);

  /// Takes over what others have changed in the store since: rule, limits. True when they have.
  bool Renew();

 private:
  SSettings Resolved();
  void Load();
  void LoadWatch();
  void Watch();

  std::string path_;
  SGivenSettings given_;
  std::string command_;
  bool storing_;
  CStore store_;
  std::string rule_;  ///< of the store, as it was read
  SSettings settings_;
  CModel model_;
  CDriftWatch watch_;  ///< over the parts judged
  SPromise promise_;
  std::vector<SPartVerdict> pending_;        ///< judged, not yet stored
  std::vector<std::vector<SShift>> shifts_;  ///< of each of them
  CCurveKeeper curves_;                      ///< of them
  std::int64_t run_ = 0;
  std::int64_t stateVersion_ = 0;
  std::int64_t changes_ = 0;  ///< of others, when the store was read
};

}  // namespace limes::host

#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "apps/limes/bench/curve_keeper.h"
#include "apps/limes/measurement/settings.h"
#include "apps/limes/model/model.h"
#include "apps/limes/store/store.h"
#include "apps/limes/store/stored_model.h"

namespace limes::host {

/// Judges parts by what a store has learnt, each by its variant where variants are told apart, and
/// stores the verdicts: one run of one command. Nothing may be reported before it was stored.
/// Throws CStoreError and CUsageError.
class CJudging {
 public:
  /// Is called in the transaction of the verdicts, to write what belongs to them.
  using Also = std::function<void(const std::vector<SPartVerdict>& verdicts)>;

  /// storing: else the store is only read. given: options that hold for this run; throws
  /// CUsageError where they contradict the store.
  CJudging(const std::string& path, const SGivenSettings& given, std::string command, bool storing);

  CStore& Store() { return store_; }

  /// By which parts are read; those of the store where variants have rules of their own.
  const SSettings& Settings() const { return settings_; }
  bool HasVariants() const { return !settings_.variant.empty(); }

  /// The limits that judge parts of a variant.
  struct SLimits {
    SSettings settings;
    std::string rule;               ///< the settings as text
    std::shared_ptr<CModel> model;  ///< null: parts are not judged
    SPromise promise;
    std::string limitOf;     ///< see SPartVerdict
    std::string reason;      ///< why parts are not judged
    CDriftWatch watch{0.0};  ///< over the parts judged
    bool watches = true;     ///< the limits are the variant's own
  };

  /// Those of the part judged last, at first of the first variant.
  std::shared_ptr<const SLimits> Limits() const { return limits_; }
  CModel& Model() { return *limits_->model; }
  const SPromise& Promise() const { return limits_->promise; }

  /// Judges a part, converted to the units of what was learnt, which note is told; the verdict
  /// waits for Write. A part of an unknown variant is not judged. Throws CInputError when it does
  /// not fit what was learnt.
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

  /// How often that was done.
  std::int64_t Renewals() const { return renewals_; }

 private:
  /// What a part that waits tells of its variant.
  struct SWaiting {
    std::vector<SShift> shifts;
    std::shared_ptr<SLimits> limits;
  };

  void Open();
  SSettings Resolved();
  std::shared_ptr<SLimits> Loaded(const std::string& variant);
  void TakeParent(SLimits& limits, const std::string& young);
  const std::shared_ptr<SLimits>& LimitsFor(const std::string& variant);
  void LoadWatch(SLimits& limits);
  void Watch(bool storing);
  std::int64_t RunOf(const SLimits& limits);

  std::string path_;
  SGivenSettings given_;
  std::string command_;
  bool storing_;
  CStore store_;
  SSettings settings_;
  std::map<std::string, std::shared_ptr<SLimits>> known_;  ///< by variant
  std::map<std::string, SParentModel> parents_;            ///< by rule
  std::shared_ptr<SLimits> limits_;
  std::vector<SPartVerdict> pending_;         ///< judged, not yet stored
  std::vector<SWaiting> waiting_;             ///< of each of them
  CCurveKeeper curves_;                       ///< of them
  std::map<std::string, std::int64_t> runs_;  ///< by rule
  std::string rule_;                          ///< of the store, as it was read
  std::int64_t stateVersion_ = 0;
  std::int64_t renewals_ = 0;
  std::int64_t changes_ = 0;  ///< of others, when the store was read
};

}  // namespace limes::host

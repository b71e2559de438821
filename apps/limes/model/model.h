#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "apps/limes/measurement/learnt.h"
#include "apps/limes/measurement/settings.h"
#include "apps/limes/measurement/verdict.h"
#include "apps/limes/model/alignment.h"
#include "apps/limes/model/drift_watch.h"
#include "apps/limes/model/model_modes.h"
#include "apps/limes/model/model_scores.h"
#include "limes/learning/part_score.h"
#include "recordings/measurement.h"
#include "recordings/part_reader.h"

namespace limes::host {

class CQuantityModel;

/// What a part tells against what was learnt before it, in the sign of the measurement.
struct SScoredPart {
  SScores scores;                        ///< of the whole part
  std::vector<SPartScoring> quantities;  ///< in the order of the model
};

/// Where a part lies furthest out, on a limited side.
struct SFurthest {
  std::string quantity;
  Side side = Side::kUpper;
  double score = kLowestScore;
  std::optional<double> x;  ///< empty for a single value
};

/// Names of the quantities that two models have both, or one alone.
struct SJoined {
  std::vector<std::string> both;
  std::vector<std::string> onlyHere;
  std::vector<std::string> onlyThere;
};

/// All learnt limits of a store. The first part fixes which quantities there are.
class CModel {
 public:
  explicit CModel(SSettings settings);
  CModel(CModel&&) noexcept;
  CModel& operator=(CModel&&) noexcept;
  ~CModel();

  /// Takes over what a store holds, which is named in messages. Throws CStoreError when a learn
  /// state cannot be read; scores that cannot be read, when they are needed.
  void Load(const std::vector<SStoredQuantity>& quantities,
            const std::optional<SStoredCalibration>& calibration, const std::string& store,
            const std::vector<std::uint8_t>& modes = {});

  /// Joins with what another store has learnt, as if learnt later: the quantities of this model,
  /// or all when it has none. Throws CUsageError, with no quantity in common or when one of them
  /// is measured or learnt otherwise; discard the model then. The other one is used up.
  SJoined Join(CModel other);

  /// Converts quantities to the units in which they are learnt, where that is exact, and tells it
  /// once each. Others stay, and are refused later.
  void ConvertUnits(SPart& part, const recordings::NoteTaker& note);

  /// Prepares a part for Score and LearnPrepared. Empty, or why it is refused: it covers too
  /// little, unless that is allowed, or has no signal. Throws CInputError when it is another
  /// measurement.
  std::string Prepare(const SPart& part, bool allowShort);

  /// Why the part that was prepared or scored last is not to be learnt though it fits: with --align
  /// it lies too far off. Empty when all is well.
  std::string FarOff() const;

  /// Scores the part that was prepared, by what is learnt now or was at Freeze.
  const SScoredPart& Score();

  /// The part that was scored or judged last.
  const SScoredPart& Scored() const { return scored_; }

  /// Where it lies furthest out.
  SFurthest Furthest() const;

  /// The scores of the parts learnt, and of one as they count there. Throws CStoreError.
  const CLimitCalibration& Scores() const { return scores_.Calibration(); }
  SPartScores InSides(const SScores& scores) const { return scores_.InSides(scores); }

  /// All points of a part as it would be judged, of all quantities one behind the other, NaN where
  /// it has none; single values as their distance from those of another part. The same points for
  /// all parts while nothing is learnt. Throws CInputError when it does not fit.
  std::vector<float> Points(const SPart& part, const SPart& about);

  /// How the part that was scored or judged last moves the quantities; none of those that have
  /// learnt too little.
  std::vector<SShift> Shifts() const;

  /// Learns the part that was prepared, and adds its scores to the calibration and its shifts to
  /// the drift alarms.
  void LearnPrepared(const SScores& scores);

  /// All of these, without scores where the part is known already; wholly or not at all.
  std::string Learn(const SPart& part, bool allowShort, bool scored = true);

  /// Pieces of one recording resemble each other: all are scored by what is learnt now, until
  /// Thaw.
  void Freeze();
  void Thaw();

  /// Judges one part. Throws CInputError when it does not fit what was learnt.
  SPartVerdict Judge(const SPart& part);

  /// The part judged last: the values of a quantity at the points of its summary, NaN where it has
  /// none; empty for a single value.
  std::vector<float> Judged(const std::string& quantity);

  /// Scores of a further good part by what is learnt. Throws CInputError when it does not fit or
  /// would not be learnt.
  SScores ScoreFurther(const SPart& part);

  /// The values of a good part at all points that are learnt, one quantity behind the other, NaN
  /// where it has none; as many for each part. Throws CInputError when it does not fit or would
  /// not be learnt.
  std::vector<float> ValuesOf(const SPart& part);

  /// The part that was prepared or scored last, as its modes are learnt; with modes only.
  const std::vector<double>& Measured() { return modes_.Values(); }

  /// Begins the scores anew.
  void ReplaceScores(ScoreSource source, std::optional<std::int64_t> groups);
  void AddScores(const SScores& scores);

  /// Takes over the scores of a model of the same rule.
  void TakeScores(const CModel& other);
  ScoreSource Source() const { return scores_.Source(); }

  /// All that is to be stored. Throws CStoreError, the second one also for scores that could not be
  /// read.
  std::vector<SStoredQuantity> States();
  SStoredCalibration Calibration() const;

  /// The smallest deviation of a good part at a single point, in spreads of the good parts, that
  /// limits for a rate reject: the geometric mean over the points, the arithmetic one over the
  /// sides. Empty where the rate cannot be promised.
  std::optional<double> Distance(double rate);
  const CModelModes& Modes() const { return modes_; }

  /// How much of a mode is still good, in spreads; empty without a limit.
  std::optional<double> AmountLimit();

  /// How far all points of a good part lie out together; empty without such a limit.
  std::optional<double> WholeLimit();

  /// Tells which points of the modes are whose: call(name, first, number).
  void ForEachStretch(
      const std::function<void(const std::string&, std::size_t, std::size_t)>& call) const;

  /// The drift alarms of the parts learnt; Load leaves them as they are.
  CDriftWatch& Drift() { return drift_; }

  /// The alarms that the parts learnt since have given.
  std::vector<SDriftFound> TakeAlarms() { return std::exchange(found_, {}); }

  /// Parts, mean and limit of each quantity and side, without a run.
  std::vector<SHistory> Moment();

  std::vector<SLearntSummary> Summaries();

  /// What the limits do to good parts. Throws CStoreError for scores that could not be read.
  SPromise Promise();

  /// What the engineer should know about the learnt limits; one text each. recordings: that were
  /// cut into the parts, where they were.
  std::vector<std::string> Warnings(std::optional<std::int64_t> recordings = std::nullopt);

  /// Which quantity loses its spread in single precision, where --precise would keep it, and at how
  /// many points; empty: none.
  std::string NeedsDouble();

  const SSettings& Settings() const { return settings_; }
  bool IsEmpty() const { return quantities_.empty(); }

  /// Parts learnt.
  std::int64_t Parts() const;
  std::size_t Quantities() const { return quantities_.size(); }

 private:
  /// Calls prepare(model, quantity) for each quantity of the part, which must be the known ones.
  template <class Call>
  void ForEachQuantity(const SPart& part, Call prepare);

  void CheckModeNames() const;

  std::unique_ptr<CQuantityModel> MakeModel(const std::string& name, const SUnit& xUnit,
                                            const SUnit& unit, bool single) const;

  /// The part as it is learnt and judged: with --align moved along x.
  const SPart& Aligned(const SPart& part);

  const CQuantityModel* Find(const std::string& name) const;
  bool IsShift(const CQuantityModel& model) const;
  void HoldUnknownShifts();

  /// Throws CUsageError where curves were moved to elsewhere there.
  void CheckPlaces(const CModel& other) const;
  std::vector<std::string> UnknownShifts() const;

  /// Hands the values of the part that was prepared to the modes.
  void GatherForModes();

  /// Tells the quantities what is expected of the part, or why it cannot be judged.
  bool TellExpected();

  /// Calls call(quantity, first, number) with the stretch of each quantity in the modes' points.
  template <class Call>
  void ForEachModel(Call call) const;

  /// Forms the rule for the rate where it is older than what is learnt.
  void UpdateRule();

  /// The factor by another rule than a rate: given, or to cover a share.
  std::optional<double> OtherFactor(const CQuantityModel& model);

  SSettings settings_;
  std::vector<std::unique_ptr<CQuantityModel>> quantities_;
  std::set<std::string> told_;      ///< conversions of units
  std::vector<std::size_t> order_;  ///< position in the part of each quantity
  CModelScores scores_;
  std::optional<CAlignment> alignment_;
  CModelModes modes_;
  CDriftWatch drift_;
  std::vector<SDriftFound> found_;
  std::string part_;                    ///< that was prepared
  SScoredPart scored_;                  ///< the part that was prepared or judged last
  SCalibratedLimit limit_;              ///< for the rate
  std::pair<double, double> covering_;  ///< parts, and the factor that covers with them
  std::optional<double> tooWide_;       ///< the factor it would take, where that is no limit
  bool frozen_ = false;
  bool ruleStale_ = true;
};

}  // namespace limes::host

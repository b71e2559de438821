#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "apps/limes/measurement/learnt.h"
#include "apps/limes/measurement/settings.h"
#include "apps/limes/measurement/verdict.h"
#include "apps/limes/model/alignment.h"
#include "limes/learning/part_score.h"
#include "limes/learning/tolerance.h"
#include "limes/results/protocol_item_list.h"
#include "recordings/measurement.h"

namespace limes::host {

/// The learnt limits of one quantity, one learner per side.
///
/// A part is first prepared, which refuses it when it does not fit, then learnt or judged, which
/// cannot fail: so a part of several quantities is learnt wholly or not at all.
class CQuantityModel {
 public:
  virtual ~CQuantityModel() = default;

  /// Checks unit and grid and keeps the quantity for Learn. Empty, or why it must not be learnt.
  /// Throws CInputError when it is another measurement.
  virtual std::string PrepareLearning(const SQuantity& quantity, const std::string& part,
                                      bool allowShort) = 0;

  /// The same for Judge.
  virtual void PrepareJudging(const SQuantity& quantity, const std::string& part) = 0;

  /// Takes the limiting scores for a rate, or the factor where it does not follow from one, before
  /// anything is judged or shown; after learning again, as it depends on how much is learnt.
  virtual void TakeLimit(const SCalibratedLimit& limit, std::optional<double> factor) = 0;

  /// With common modes, before TakeLimit: parts that the factor is told by, and the spread about
  /// what is expected, one number a point. Nothing: without modes.
  void TakeModes(std::optional<double> effective, std::span<const double> spread);

  /// What is expected of the next part that is judged, in place of the mean.
  void TakeExpected(std::span<const double> expected);

  /// The next part is not judged, for this reason.
  void Hold(const std::string& reason) { held_ = reason; }

  /// Takes the signal that the part that was prepared was formed of; where nothing was formed, how
  /// strong its values are, levels as amplitudes: what is about 0 everywhere is a sensor that came
  /// off. Tracks have no such strength, as each covers another range.
  void TakeRecorded(const SQuantity& quantity);

  /// Shortest time that a learnt part was recorded, and the rms of the quietest one; 0 where none
  /// is known.
  const SRecorded& LeastRecorded() const { return leastRecorded_; }

  /// Why the part is too short for an OK beside those learnt; empty when it is not.
  std::string TooShort() const;

  /// Why it is too quiet to be learnt: a cable came off, or a gain is 0.1 instead of 1; empty when
  /// it is not. Single values may be about 0.
  std::string TooQuiet() const;

  /// Why the signal it was formed of is so quiet that nothing can be judged; empty when it is not.
  std::string NoSignal() const;

  /// Counts the part that was prepared as learnt; with Learn.
  void LearnRecorded();

  /// The factor in the limit of a side; empty when there is none for the rule.
  virtual std::optional<double> Factor(Side side) const = 0;

  /// Parts that the factor is told by.
  virtual double Effective() const = 0;

  /// The factor with which the limit covers a share, at the judged point learnt least often.
  virtual double FactorToCover(double cover, double sure) const {
    return ToleranceFactor(Effective(), cover, sure);
  }

  /// Scores of the part that was prepared, before it is learnt.
  virtual SPartScoring Score() = 0;

  /// Appends the values of the part that was prepared at all points of the grid, NaN where it has
  /// none; of a single value how far it lies from the mean, which a float tells better.
  virtual void AppendValues(std::vector<float>& values) = 0;

  /// The same as they were measured, in double.
  virtual void AppendMeasured(std::vector<double>& values) = 0;

  /// The mean in the sign of the measurement; nothing for a value.
  virtual SLearntMean LearntMean() const { return {}; }

  /// Points of the grid, and where one lies; 1 and nothing for a value.
  virtual std::size_t Points() const = 0;
  virtual std::optional<double> PlaceOf(std::size_t point) const = 0;

  /// Scores by what is learnt now, whatever is learnt then; until Thaw.
  virtual void Freeze() = 0;
  virtual void Thaw() = 0;

  virtual void Learn() = 0;

  /// Adds a verdict per side to the part's, and to its protocol: an item when it is passed or not
  /// judged, else one per region beyond the limit.
  virtual void Judge(SPartVerdict& verdict, CProtocolItemList& items) = 0;

  virtual std::int64_t Learnt() const = 0;
  virtual std::span<const Side> Limited() const = 0;
  virtual std::vector<std::uint8_t> State(Side side) const = 0;

  /// Takes over a learn state; empty when it could be read, else what is wrong with it.
  virtual std::string SetState(const SStoredQuantity::SState& state) = 0;

  /// Joins with what another store has learnt of the same quantity; empty, or why not.
  std::string Join(CQuantityModel& other);

  virtual SLearntSummary Summary(Side side) = 0;

  /// The part judged last at the points of Summary, NaN where it has none; empty for a value. With
  /// modes without what they explain, so that it compares with the limit of Summary.
  virtual std::vector<float> Judged() { return {}; }

  /// How sure a side's limit is.
  virtual SLimitSureness Sureness(Side side) = 0;

  /// What the engineer should know; empty when all is well.
  virtual std::string Warning() { return ""; }

  /// Where the spread is lost in the rounding of single precision, and --precise would keep it.
  virtual std::string NeedsDouble() { return ""; }

  const std::string& Name() const { return name_; }
  const SUnit& XUnit() const { return xUnit_; }
  const SUnit& Unit() const { return unit_; }
  bool IsSingle() const { return single_; }

 protected:
  CQuantityModel(const SSettings& settings, std::string name, SUnit xUnit, SUnit unit, bool single);

  void CheckUnits(const SQuantity& quantity, const std::string& part) const;

  /// Joins the learn states of a model of the same kind.
  virtual std::string JoinStates(CQuantityModel& other) = 0;

  bool EnoughLearnt() const { return Learnt() >= settings_.minParts; }

  /// Whether the part that was prepared is far weaker than all that were learnt, and what is said.
  bool IsFarWeaker() const;
  std::string WeakerText() const;

  std::optional<double> modesEffective_;  ///< with modes: parts that the factor is told by
  std::vector<double> around_;            ///< with modes: the spread about what is expected
  std::vector<double> expected_;          ///< of the next part
  std::vector<double> judgedBy_;          ///< what was expected of the part judged last
  std::string held_;
  SRecorded recorded_;
  SRecorded leastRecorded_;
  bool isFormed_ = false;  ///< recorded_ is of a signal, not of the values themselves

  SSettings settings_;
  std::string name_;
  SUnit xUnit_;
  SUnit unit_;
  bool single_;
};

/// A model without anything learnt: of curves or tracks, as the settings say, or of single values.
std::unique_ptr<CQuantityModel> MakeAxisModel(const SSettings& settings, const std::string& name,
                                              const SUnit& xUnit, const SUnit& unit);
std::unique_ptr<CQuantityModel> MakeValueModel(const SSettings& settings, const std::string& name,
                                               const SUnit& unit);

/// The same of shifts, which are NaN where they cannot be told: such ones are neither learnt nor
/// judged.
std::unique_ptr<CQuantityModel> MakeShiftModel(const SSettings& settings, const std::string& name,
                                               const SUnit& unit);

}  // namespace limes::host

#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "apps/limes/errors.h"
#include "apps/limes/measurement/learnt.h"
#include "apps/limes/measurement/settings.h"
#include "apps/limes/measurement/verdict.h"
#include "limes/learning/learn_state.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/text.h"
#include "limes/results/protocol_item_list.h"
#include "recordings/measurement.h"

namespace limes::host {

/// The learnt limits of one quantity, one learner per side. The library learns upper limits only:
/// a lower one is learnt from the values with their sign changed.
///
/// A part is first prepared, which refuses it when it does not fit, then learnt or judged, which
/// cannot fail: so a part of several quantities is learnt wholly or not at all.
class CQuantityModel {
 public:
  virtual ~CQuantityModel() = default;

  /// Checks unit and grid and keeps the quantity for Learn and Judge. Throws CInputError.
  virtual void Prepare(const SQuantity& quantity, const std::string& part) = 0;

  virtual void Learn() = 0;

  /// Fills in verdict and numbers for a side, and adds to the part's protocol: an item when it is
  /// passed or not judged, else one per region beyond the limit.
  virtual void Judge(Side side, SQuantityVerdict& verdict, CProtocolItemList& items) = 0;

  virtual std::int64_t Learnt() const = 0;
  virtual std::vector<std::uint8_t> State(Side side) const = 0;

  /// Takes over a learn state; empty when it could be read, else what is wrong with it.
  virtual std::string SetState(Side side, const SStoredQuantity::SState& state) = 0;

  /// Joins with what another store has learnt of the same quantity; empty, or why not.
  std::string Join(CQuantityModel& other);

  virtual SLearntSummary Summary(Side side) = 0;

  /// The part judged last at the points of Summary, NaN where it has none; empty for a value.
  virtual std::vector<float> Judged() { return {}; }

  /// How sure a side's limit is.
  virtual SLimitSureness Sureness(Side side) = 0;

  /// What the engineer should know; empty when all is well.
  virtual std::string Warning() { return ""; }

  const std::string& Name() const { return name_; }
  const SUnit& XUnit() const { return xUnit_; }
  const SUnit& Unit() const { return unit_; }
  bool IsSingle() const { return single_; }
  const std::vector<Side>& Sides() const { return sides_; }

 protected:
  CQuantityModel(const SSettings& settings, std::string name, SUnit xUnit, SUnit unit, bool single);

  void CheckUnits(const SQuantity& quantity, const std::string& part) const;
  /// Joins the learn states of a model of the same kind.
  virtual std::string JoinStates(CQuantityModel& other) = 0;

  /// The library's record of a learner.
  template <class Tool>
  std::vector<std::uint8_t> Record(const Tool& tool) const {
    CMemoryStream stream;
    if (!tool.WriteState(stream)) {
      throw CStoreError("the learn state of " + name_ + " cannot be written");
    }
    const auto bytes = stream.Bytes();
    return {bytes.begin(), bytes.end()};
  }

  /// Reads it; empty, or what is wrong with it.
  template <class Tool>
  static std::string Take(const std::vector<std::uint8_t>& record, Tool& tool) {
    CMemoryStream stream{std::span<const std::uint8_t>(record)};
    const LearnStateStatus status = tool.ReadState(stream);
    return status == LearnStateStatus::kOk ? "" : WideToUtf8(Text(status));
  }

  bool EnoughLearnt() const { return Learnt() >= settings_.minParts; }

  SSettings settings_;
  std::string name_;
  SUnit xUnit_;
  SUnit unit_;
  bool single_;
  std::vector<Side> sides_;
};

/// A model without anything learnt.
std::unique_ptr<CQuantityModel> MakeCurveModel(const SSettings& settings, const std::string& name,
                                               const SUnit& xUnit, const SUnit& unit);
std::unique_ptr<CQuantityModel> MakeTrackModel(const SSettings& settings, const std::string& name,
                                               const SUnit& xUnit, const SUnit& unit);
std::unique_ptr<CQuantityModel> MakeValueModel(const SSettings& settings, const std::string& name,
                                               const SUnit& unit);

/// A limit computed in float may lie a few rounding steps beside the values it was learnt from; an
/// excess within this is none.
bool IsRounding(double excess, double value, double limit);

}  // namespace limes::host

#pragma once

#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "apps/limes/model/quantity_model.h"
#include "limes/learning/judgement.h"
#include "limes/signals/extended_curve.h"

namespace limes::host {

/// Limits along an axis: what curves and tracks have in common.
class CAxisModel : public CQuantityModel {
 public:
  void Judge(Side side, SQuantityVerdict& verdict, CProtocolItemList& items) override;
  SLearntSummary Summary(Side side) override;
  std::vector<float> Judged() override;
  std::string Warning() override;
  SLimitSureness Sureness(Side side) override;

 protected:
  /// What was learnt and formed for a side, all on the learnt grid.
  struct SCurves {
    const CSigCurveExt& mean;
    const CSigCurveExt& meanSquare;
    const CSigCurveExt& spread;
    const CSigCurveExt& limit;
  };

  using CQuantityModel::CQuantityModel;

  /// Forms limit and spread of a side.
  virtual void Form(Side side) = 0;
  virtual SCurves Curves(Side side) const = 0;
  virtual SCurveJudgement JudgeFitted(Side side) = 0;

  /// The regions of the fitted curve beyond the limit, in order of x.
  virtual std::vector<SCurveExcess> FindRegions(Side side) = 0;
  virtual SLimitSureness FormSureness(Side side) const = 0;

  /// How many parts a point has learnt.
  virtual std::int64_t LearntAt(std::int32_t i) const = 0;

  /// Whether the limit holds at a point.
  virtual bool HasLimit(std::int32_t i) const = 0;

  /// Forms limits and spreads when they are older than the means.
  void Update();

  /// After a change of means or rule.
  void SetStale();

  template <class Tool>
  static std::vector<SCurveExcess> RegionsOf(const Tool& tool, const CSigCurveExt& curve) {
    std::vector<SCurveExcess> regions;
    if (!tool.Excesses(curve, regions)) {
      throw std::bad_alloc();
    }
    return regions;
  }

  static float Sign(Side side) { return side == Side::kUpper ? 1.0F : -1.0F; }

  /// Fills raw_. A grid that is the given one but for rounding becomes that one.
  void TakeValues(const SQuantity& quantity, const std::string& part, const CSigCurveExt* grid);

  /// The quantity itself, or when its steps are not equal what is drawn of it on the grid, on one
  /// of its own without a grid.
  const SQuantity& AtEqualSteps(const SQuantity& quantity, const std::string& part,
                                const CSigCurveExt* grid);

  /// Throws when the quantity's step is another one than the grid's.
  void CheckStep(const SQuantity& quantity, const std::string& part,
                 const CSigCurveExt& grid) const;

  /// A place on the x axis with its unit.
  std::string Place(double x) const;

  /// What the quantity covers, for messages.
  std::string Covered() const;

  /// The prepared curve in the sign of a side.
  CSigCurveExt& Fitted(Side side);

  SQuantity drawn_;      ///< by AtEqualSteps
  CSigCurveExt raw_;     ///< the quantity on its own grid
  CSigCurveExt fitted_;  ///< the same on the learnt grid
  float fittedSign_ = 1.0F;

 private:
  /// First and last point that has learnt.
  std::pair<std::int32_t, std::int32_t> LearntRange() const;
  std::vector<SCurveExcess> Regions(Side side);
  void AddRegions(const std::vector<SCurveExcess>& regions, const SQuantityVerdict& verdict,
                  CProtocolItemList& items) const;

  bool stale_ = false;  ///< limits are older than the means
  std::optional<SLimitSureness> sureness_[2];
};

}  // namespace limes::host

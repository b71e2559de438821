#include <algorithm>
#include <cmath>
#include <limits>

#include "apps/limes/errors.h"
#include "apps/limes/model/axis_model.h"
#include "limes/learning/curve_assistant.h"
#include "limes/learning/track_learning_tool.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/text.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

constexpr double kMostPoints = 1 << 24;  ///< of the grid that all parts lie on
constexpr double kSamePlace = 0.01;      ///< of a step

/// A curve of which each part covers a range of its own. The grid is the first part's and grows
/// with the ranges seen, so every part lies on it as a whole.
class CTrackModel : public CAxisModel {
 public:
  CTrackModel(const SSettings& settings, const std::string& name, const SUnit& xUnit,
              const SUnit& unit)
      : CAxisModel(settings, name, xUnit, unit, false) {}

  void Prepare(const SQuantity& measured, const std::string& part) override {
    const SQuantity& quantity = AtEqualSteps(measured, part, Grid());
    CheckUnits(quantity, part);
    TakeValues(quantity, part, nullptr);
    if (Grid() == nullptr) {
      Begin();
    }
    CheckStep(quantity, part, *Grid());
    // One point is left free before and behind: the tool judges nothing at the first point of all
    // and learns nothing at the last valid one.
    const double first = (double{raw_.XMin()} - Grid()->XMin()) / Step();
    if (!Grow(1.0 - std::floor(first + kSamePlace),
              std::ceil(first - kSamePlace) + raw_.DLen() + 1.0 - Grid()->DLen(), kReserve)) {
      throw CInputError(part, Covered() + "; a grid from there to the learnt range has more than " +
                                  NumberText(kMostPoints) + " points");
    }
    whole_.MakeSameSize(*Grid());
    whole_.ResetVMinMax();
    if (!CSigCurveAssistent::FitTo(raw_, whole_, fitted_)) {
      throw CInputError(part, "quantity " + Quoted(name_) + " cannot be fitted to the learnt grid");
    }
    fittedSign_ = 1.0F;
  }

  void Learn() override {
    fitted_.SetVIMinMax(fitted_.IMin(), fitted_.IMax() + 1);
    for (const Side side : sides_) {
      Tool(side).NeueMessung(&Fitted(side));
    }
    ++learnt_;
    SetStale();
  }

  std::int64_t Learnt() const override { return learnt_; }

  std::vector<std::uint8_t> State(Side side) const override { return Record(Tool(side)); }

  std::string SetState(Side side, const SStoredQuantity::SState& state) override;

 protected:
  std::string JoinStates(CQuantityModel& other) override;
  void Form(Side side) override;

  SCurves Curves(Side side) const override {
    const CTrackLernWerkzeug& tool = Tool(side);
    return {*tool.Mittelwert(), *tool.QuadratMW(), *spreads_[side == Side::kUpper ? 0 : 1],
            *tool.Grenzkurve()};
  }

  SCurveJudgement JudgeFitted(Side side) override;
  std::vector<SCurveExcess> FindRegions(Side side) override {
    return RegionsOf(Tool(side), Fitted(side));
  }
  SLimitSureness FormSureness(Side side) const override { return SurenessOf(Tool(side)); }

  std::int64_t LearntAt(std::int32_t i) const override {
    const auto counts = Tool(sides_[0]).LearnCounts();
    const auto at = static_cast<std::size_t>(std::max(i, 0));
    return at < counts.size() ? counts[at] : 0;
  }
  bool HasLimit(std::int32_t i) const override { return LearntAt(i) >= settings_.minParts; }

 private:
  static constexpr double kReserve = 0.125;  ///< of the grid, so that it seldom grows

  CTrackLernWerkzeug& Tool(Side side) { return tools_[side == Side::kUpper ? 0 : 1]; }
  const CTrackLernWerkzeug& Tool(Side side) const { return tools_[side == Side::kUpper ? 0 : 1]; }
  const CSigCurveExt* Grid() const { return Tool(sides_[0]).Mittelwert(); }
  double Step() const { return (double{Grid()->XMax()} - Grid()->XMin()) / Grid()->DLen(); }

  void Begin();
  void SetRule(CTrackLernWerkzeug& tool) const;
  bool Grow(double before, double behind, double reserve);

  CTrackLernWerkzeug tools_[2];
  const CSigCurveExt* spreads_[2] = {};
  CSigCurveExt whole_;  ///< the learnt grid, valid everywhere
  std::int64_t learnt_ = 0;
};

/// Takes the part's grid, with nothing learnt.
void CTrackModel::Begin() {
  raw_.SetName(Utf8ToWide(name_).c_str());
  raw_.SetXUnit(xUnit_.unit);
  raw_.SetYUnit(unit_.unit);
  for (const Side side : sides_) {
    SetRule(Tool(side));
    Tool(side).Vorlage(&raw_);
    if (Tool(side).Mittelwert() == nullptr) {
      throw std::bad_alloc();
    }
  }
}

void CTrackModel::SetRule(CTrackLernWerkzeug& tool) const {
  tool.Bildungsregel(static_cast<float>(settings_.base), static_cast<float>(settings_.factor));
  tool.BasisLernenAnzahl(static_cast<std::uint32_t>(settings_.minParts));
}

/// Adds as many points, where they are above 0, and some more; false when that is too many.
bool CTrackModel::Grow(double before, double behind, double reserve) {
  if (!(before > 0.0) && !(behind > 0.0)) {
    return true;
  }
  const double n = Grid()->DLen();
  const auto points = [&](double wanted) {
    return wanted > 0.0 ? wanted + std::floor(reserve * n) : 0.0;
  };
  if (!(n + points(before) + points(behind) <= std::max(kMostPoints, n))) {
    return false;
  }
  for (const Side side : sides_) {
    if (!Tool(side).ExtendGrid(static_cast<std::uint32_t>(points(before)),
                               static_cast<std::uint32_t>(points(behind)))) {
      throw std::bad_alloc();
    }
  }
  SetStale();
  return true;
}

std::string CTrackModel::SetState(Side side, const SStoredQuantity::SState& state) {
  if (std::string fault = Take(state.record, Tool(side)); !fault.empty()) {
    return fault;
  }
  const CSigCurveExt& grid = *Tool(side).Mittelwert();
  const auto same = [&](const CSigCurveExt& other) {
    return grid.DLen() == other.DLen() && grid.XMin() == other.XMin() &&
           grid.XMax() == other.XMax();
  };
  if (grid.DLen() == 0 || !Tool(side).HatGelernt() || !same(*Grid())) {
    return WideToUtf8(Text(LearnStateStatus::kContent));
  }
  SetRule(Tool(side));
  learnt_ = std::max<std::int64_t>(state.learnt, 0);
  SetStale();
  return "";
}

std::string CTrackModel::JoinStates(CQuantityModel& other) {
  auto& theirs = static_cast<CTrackModel&>(other);
  // Both grids become the range of both, unless they lie between each other's points.
  const double first = (double{theirs.Grid()->XMin()} - Grid()->XMin()) / Step();
  const double shift = std::nearbyint(first);
  const double more = shift + theirs.Grid()->DLen() - Grid()->DLen();
  const bool fits = std::fabs(first - shift) <= kSamePlace;
  if (!fits || !Grow(-shift, more, 0.0) || !theirs.Grow(shift, -more, 0.0)) {
    return WideToUtf8(Text(MergeStatus::kGrid));
  }
  for (const Side side : sides_) {
    theirs.Tool(side).BasisLernenAnzahl(Tool(side).BasisLernenAnzahl());
    if (const MergeStatus status = Tool(side).Merge(theirs.Tool(side));
        status != MergeStatus::kOk) {
      return WideToUtf8(Text(status));
    }
  }
  learnt_ += theirs.learnt_;
  SetStale();
  return "";
}

void CTrackModel::Form(Side side) {
  const CSigCurveExt*& spread = spreads_[side == Side::kUpper ? 0 : 1];
  spread = Tool(side).StdAbwKurve();
  if (spread == nullptr || !Tool(side).GrenzeBilden()) {
    throw std::bad_alloc();
  }
}

/// The share is that of the limit or of the part, whichever is smaller: a track is as little judged
/// where nothing was learnt as where it was not measured.
SCurveJudgement CTrackModel::JudgeFitted(Side side) {
  SCurveJudgement result = Tool(side).Judge(Fitted(side));
  std::int32_t judged = 0;
  for (std::int32_t i = fitted_.IMin(); i <= fitted_.IMax(); ++i) {
    judged += HasLimit(i) ? 1 : 0;
  }
  result.share = std::min(
      result.share, static_cast<float>(judged) / static_cast<float>(std::max(fitted_.ILen(), 1)));
  return result;
}

}  // namespace

std::unique_ptr<CQuantityModel> MakeTrackModel(const SSettings& settings, const std::string& name,
                                               const SUnit& xUnit, const SUnit& unit) {
  return std::make_unique<CTrackModel>(settings, name, xUnit, unit);
}

}  // namespace limes::host

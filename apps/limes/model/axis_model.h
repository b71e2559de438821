#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "apps/limes/model/axis_part.h"
#include "apps/limes/model/coarse_spread.h"
#include "apps/limes/model/sided_model.h"
#include "limes/learning/precise_curve_tool.h"
#include "limes/learning/track_learning_tool.h"

namespace limes::host {

/// Limits along an axis: curves that all parts cover alike, in single precision or in double, or
/// tracks, of which each part covers a range of its own, on a grid that grows with the ranges seen.
template <class Tool>
class CAxisModel : public CSidedModel<Tool> {
 public:
  static constexpr bool kTrack = std::is_same_v<Tool, CTrackLernWerkzeug>;
  static constexpr bool kPrecise = std::is_same_v<Tool, CPreciseCurveTool>;

  CAxisModel(const SSettings& settings, const std::string& name, const SUnit& xUnit,
             const SUnit& unit)
      : CSidedModel<Tool>(settings, name, xUnit, unit, false),
        part_(name, xUnit, unit, settings.spectrum) {
    for (const Side side : tools_.Limited()) {
      if constexpr (!kTrack && !kPrecise) {
        tools_[side].Zeitskala(settings.timeScale);
      }
    }
  }

  std::string PrepareLearning(const SQuantity& quantity, const std::string& part,
                              bool allowShort) override {
    Take(quantity, part);
    this->fits_ = true;
    const SPartRule rule{settings_.minShare, allowShort};
    const PartStatus status = tools_.PrepareLearning(part_.Part(), rule);
    CheckPlace(status, part);
    return this->Refusal(status, part);
  }

  void PrepareJudging(const SQuantity& quantity, const std::string& part) override {
    Take(quantity, part);
    const PartStatus status = tools_.PrepareJudging(part_.Part());
    if constexpr (kTrack) {
      this->fits_ = status != PartStatus::kNoCommonPoint;
    }
    if (!kTrack || this->fits_) {
      CheckPlace(status, part);
      this->Refusal(status, part);
    }
  }

  SPartScoring Score() override { return this->ScoreOf(part_.Part()); }

  void AppendValues(std::vector<float>& values) override { Append(values); }
  void AppendMeasured(std::vector<double>& values) override { Append(values); }
  std::size_t Points() const override { return Grid().DLen(); }
  std::optional<double> PlaceOf(std::size_t point) const override {
    return Show(double{Grid().GetPoint(static_cast<int>(point))});
  }

  SLearntMean LearntMean() const override {
    if (Learnt() == 0) {
      return {};
    }
    const CSigCurveExt& grid = Grid();
    const float sign = tools_.Limited()[0] == Side::kLower ? -1.0F : 1.0F;
    const double n = grid.DLen();
    SLearntMean mean{grid.XMin(), (double{grid.XMax()} - grid.XMin()) / n,
                     std::vector<float>(grid.DLen(), kNone)};
    for (std::int32_t i = grid.IMin(); i <= grid.IMax(); ++i) {
      mean.values[static_cast<std::size_t>(i)] = sign * grid.ValArray()[i];
    }
    return mean;
  }

  template <class Number>
  void Append(std::vector<Number>& values) {
    const auto& fitted = tools_.Fitted(Side::kUpper);
    const CSigCurveExt& curve = fitted.Curve();
    const auto covered = fitted.Covered();
    for (std::int32_t i = 0; i < static_cast<std::int32_t>(Grid().DLen()); ++i) {
      const bool has = this->fits_ && i >= curve.IMin() && i <= curve.IMax() &&
                       i >= Grid().IMin() && i <= Grid().IMax() &&
                       (covered.empty() || covered[static_cast<std::size_t>(i)] != 0);
      values.push_back(has ? Number{curve.ValArray()[i]} : Number{kNone});
    }
  }

  void Learn() override {
    CSidedModel<Tool>::Learn();
    ++learnt_;
  }

  std::int64_t Learnt() const override {
    if constexpr (kTrack) {
      return learnt_;
    } else {
      return tools_.First().NrGelernt();
    }
  }

  std::vector<float> Judged() override;
  SLearntSummary Summary(Side side) override;
  std::string Warning() override;
  std::string NeedsDouble() override;

 protected:
  using CSidedModel<Tool>::settings_;
  using CSidedModel<Tool>::tools_;
  using CSidedModel<Tool>::name_;

  double Show(double number) const override { return Shown(static_cast<float>(number)); }
  void AddItems(const SQuantityVerdict& q, const SPartJudgement& judgement,
                const std::vector<SCurveExcess>& regions, CProtocolItemList& items) const override;
  void JudgeExpected() override;
  std::string TakeState(const SStoredQuantity::SState& state) override;
  std::string JoinStates(CQuantityModel& other) override;

 private:
  static constexpr float kNone = std::numeric_limits<float>::quiet_NaN();

  const CSigCurveExt& Grid() const {
    if constexpr (kPrecise) {
      return *tools_.First().Grid();
    } else {
      return *tools_.First().Mittelwert();
    }
  }

  void Take(const SQuantity& quantity, const std::string& part) {
    this->CheckUnits(quantity, part);
    part_.Take(quantity, part, Learnt() > 0 ? &Grid() : nullptr, !kTrack);
  }

  void CheckPlace(PartStatus status, const std::string& part) const {
    if (status == PartStatus::kNoCommonPoint) {
      throw CInputError(part, part_.Covered() + ", nothing of the learnt range " +
                                  part_.Place(Grid().GetPoint(Grid().IMin())) + " to " +
                                  part_.Place(Grid().GetPoint(Grid().IMax())));
    }
    if (status == PartStatus::kTooLong) {
      throw CInputError(part, part_.Covered() + "; a grid from there to the learnt range has too " +
                                  "many points");
    }
  }

  /// Of tracks where most was learnt.
  double Effective() const override {
    if constexpr (kTrack) {
      const auto counts = tools_.First().LearnCounts();
      const std::uint32_t most =
          counts.empty() ? 0 : *std::max_element(counts.begin(), counts.end());
      return EffectiveParts(static_cast<std::int32_t>(std::min<std::uint32_t>(most, INT32_MAX)),
                            CTrackLernWerkzeug::kTimeScale);
    } else {
      return EffectiveParts(tools_.First());
    }
  }

  double FactorToCover(double cover, double sure) const override {
    if constexpr (kTrack) {
      std::uint32_t least = INT32_MAX;
      for (const std::uint32_t count : tools_.First().LearnCounts()) {
        least = count < static_cast<std::uint32_t>(LeastLearnt()) ? least : std::min(least, count);
      }
      const double n =
          std::min(EffectiveParts(static_cast<std::int32_t>(least), CTrackLernWerkzeug::kTimeScale),
                   Effective());
      // The spread of tracks is unbiased, the factor is for the divisor n.
      return ToleranceFactor(n, cover, sure) * std::sqrt((n - 1.0) / n);
    } else {
      return CSidedModel<Tool>::FactorToCover(cover, sure);
    }
  }

  double FactorOfScore(double score) const override {
    const double factor = CSidedModel<Tool>::FactorOfScore(score);
    const double n = Effective();
    // The spread of tracks is unbiased, that of a score has the divisor n.
    return kTrack && n > 1.0 ? factor * std::sqrt((n - 1.0) / n) : factor;
  }

  void SetRule() override {
    const auto base = static_cast<float>(settings_.base);
    for (const Side side : tools_.Limited()) {
      const float factor = this->FactorInTool(side);
      if constexpr (kTrack) {
        tools_[side].Bildungsregel(base, factor);
        tools_[side].BasisLernenAnzahl(static_cast<std::uint32_t>(LeastLearnt()));
        if (settings_.reject && this->HasRule()) {
          tools_[side].LimitScore(this->LimitScore(side));
        }
      } else if constexpr (kPrecise) {
        tools_[side].Bildungsregel(double{base}, double{factor});
      } else {
        // The library takes the width as a place on the x axis.
        const double width = settings_.width;
        tools_[side].Bildungsregel(base, factor,
                                   width > 0.0 ? static_cast<float>(Grid().XMin() + width) : 0.0F);
      }
    }
  }

  /// Adds as many points to the grid, where they are above 0; false when that is too many.
  bool Grow(double before, double behind) {
    const double n = Grid().DLen();
    if (!(n + std::max(before, 0.0) + std::max(behind, 0.0) <=
          std::max(double{CTrackLernWerkzeug::kMostPoints}, n))) {
      return false;
    }
    for (const Side side : tools_.Limited()) {
      if (!tools_[side].ExtendGrid(static_cast<std::uint32_t>(std::max(before, 0.0)),
                                   static_cast<std::uint32_t>(std::max(behind, 0.0)))) {
        throw std::bad_alloc();
      }
    }
    return true;
  }

  /// Forms limits and spreads when they are older than the means.
  void Update();
  const CSigCurveExt& Spread(Side side) const;
  std::int64_t LearntAt(std::int32_t i) const;

  /// Parts from which on a point is judged: none that takes no part in the scores is promised.
  std::int32_t LeastLearnt() const {
    return kTrack && settings_.reject ? std::max(settings_.minParts, kPartsBeforeScores)
                                      : settings_.minParts;
  }
  bool HasLimit(std::int32_t i) const {
    return this->HasRule() && (!kTrack || LearntAt(i) >= LeastLearnt());
  }

  /// First and last point that has learnt.
  std::pair<std::int32_t, std::int32_t> LearntRange() const;
  SCoarseSpread Coarse();

  CAxisPart part_;
  std::array<const CSigCurveExt*, 2> spreads_{};
  std::array<CSigCurveExt, 2> rounded_;  ///< spreads that are held in double
  std::int64_t learnt_ = 0;
};

}  // namespace limes::host

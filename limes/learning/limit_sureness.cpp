#include "limes/learning/limit_sureness.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "limes/kernels/averaging_factors.h"
#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/distributions.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/learning/precise_curve_tool.h"
#include "limes/learning/track_learning_tool.h"
#include "limes/signals/extended_curve.h"

namespace limes {
namespace {

/// Spreads that lie between mean and limit; without spread a positive base is any number of them.
double Spreads(double base, double factor, double spread) {
  return base == 0.0 ? factor : factor + base / spread;
}

/// Gathers the shares of the points of a curve.
class PointShares {
 public:
  /// A point learnt from n effective parts. Without a base many points have the same share.
  void Add(double n, double spreads) {
    if (n != n_ || spreads != spreads_) {
      n_ = n;
      spreads_ = spreads;
      share_ = ChanceRejection(n, spreads);
    }
    worst_ = std::max(worst_, share_);
    sum_ += share_;
  }

  void Into(SLimitSureness& sureness) const {
    sureness.rejectedPerPoint = worst_;
    sureness.rejectedBound = std::min(sum_, 1.0);
  }

 private:
  double n_ = 0.0;
  double spreads_ = 0.0;
  double share_ = 0.5;  ///< of no part
  double worst_ = 0.0;
  double sum_ = 0.0;
};

/// S with divisor n as it stands in the limit.
double SpreadAt(const CSigCurveExt& mean, const CSigCurveExt& meanSquare, std::int64_t i) {
  const float m = mean.ValArray()[i];
  const float square = meanSquare.ValArray()[i] - m * m;
  return square > 0.0F ? std::sqrt(square) : 0.0F;
}

/// An external count may lie above the weights' steps.
std::int32_t Steps(std::int32_t count, const CExpAverFacGenerator& generator) {
  return std::min(count, generator.GetTime());
}

}  // namespace

namespace detail {

double StudentTail(double t, double degrees) {
  if (std::isnan(t) || !(degrees > 0.0)) {
    return std::numeric_limits<double>::quiet_NaN();
  }
  constexpr double kNormal = 1e5;
  if (degrees > kNormal) {
    return 0.5 * std::erfc(t / std::numbers::sqrt2);
  }
  if (std::isinf(t)) {
    return t > 0.0 ? 0.0 : 1.0;
  }
  const double square = t * t;
  const double x = degrees / (degrees + square);
  const double y = square / (degrees + square);
  const double tail = 0.5 * IncompleteBeta(x, std::isnan(y) ? 1.0 : y, 0.5 * degrees, 0.5);
  return t >= 0.0 ? tail : 1.0 - tail;
}

}  // namespace detail

double EffectiveParts(std::int32_t n, std::int32_t timeScale) {
  const bool forgets = timeScale < CExpAverFacGenerator::kNoForgetting ||
                       n > CExpAverFacGenerator::kSaturated * std::int64_t{timeScale};
  if (n <= 1 || !forgets) {
    return std::max(n, 0);
  }
  if (timeScale <= 0) {
    return 1.0;
  }
  const double twice = 2.0 * timeScale;
  return std::tanh(n / twice) / std::tanh(1.0 / twice);
}

double EffectiveParts(const CLernenderGrenzwert& limit) {
  return EffectiveParts(Steps(limit.NrGelernt(), limit.Generator()),
                        limit.Generator().GetTimeScale());
}

double EffectiveParts(const CKurvenLernWerkzeug& tool) {
  return EffectiveParts(Steps(tool.NrGelernt(), tool.Generator()), tool.Generator().GetTimeScale());
}

double EffectiveParts(const CPreciseCurveTool& tool) {
  return static_cast<double>(tool.NrGelernt());
}

double ChanceRejection(double n, double spreads) {
  if (n <= 1.0) {
    return std::isnan(spreads) ? spreads : 0.5;
  }
  return detail::StudentTail(spreads * std::sqrt((n - 1.0) / (n + 1.0)), n - 1.0);
}

SLimitSureness SurenessOf(const CLernenderGrenzwert& limit) {
  SLimitSureness sureness;
  if (limit.NrGelernt() <= 0) {
    return sureness;
  }
  sureness.parts = limit.NrGelernt();
  sureness.effectiveParts = EffectiveParts(limit);
  PointShares shares;
  shares.Add(sureness.effectiveParts, Spreads(limit.Sockel(), limit.Faktor(), limit.StdDev()));
  shares.Into(sureness);
  return sureness;
}

SLimitSureness SurenessOf(const CKurvenLernWerkzeug& tool) {
  SLimitSureness sureness;
  const CSigCurveExt* const mean = tool.Mittelwert();
  const CSigCurveExt* const meanSquare = tool.QuadratMW();
  if (tool.NrGelernt() <= 0 || mean == nullptr || meanSquare == nullptr || !mean->IsValid()) {
    return sureness;
  }
  sureness.parts = tool.NrGelernt();
  sureness.effectiveParts = EffectiveParts(tool);
  const SIndexRange valid = mean->ValidIndices();
  const std::int64_t last = std::min(valid.last, std::int64_t{meanSquare->DLen()} - 1);
  PointShares shares;
  for (std::int64_t i = valid.first; i <= last; ++i) {
    shares.Add(sureness.effectiveParts,
               Spreads(tool.Sockel(), tool.Faktor(), SpreadAt(*mean, *meanSquare, i)));
  }
  shares.Into(sureness);
  return sureness;
}

SLimitSureness SurenessOf(const CPreciseCurveTool& tool) {
  SLimitSureness sureness;
  const CSigCurveExt* const mean = tool.Mittelwert();
  if (mean == nullptr || !mean->IsValid()) {
    return sureness;
  }
  sureness.parts = static_cast<std::int32_t>(std::min<std::int64_t>(tool.NrGelernt(), INT32_MAX));
  sureness.effectiveParts = EffectiveParts(tool);
  const SIndexRange valid = mean->ValidIndices();
  PointShares shares;
  for (std::int64_t i = valid.first; i <= valid.last; ++i) {
    shares.Add(sureness.effectiveParts, Spreads(tool.Sockel(), tool.Faktor(), tool.SpreadAt(i)));
  }
  shares.Into(sureness);
  return sureness;
}

SLimitSureness SurenessOf(const CTrackLernWerkzeug& tool) {
  SLimitSureness sureness;
  const CSigCurveExt* const mean = tool.Mittelwert();
  const CSigCurveExt* const meanSquare = tool.QuadratMW();
  if (!tool.HatGelernt() || mean == nullptr || meanSquare == nullptr) {
    return sureness;
  }
  const auto counts = tool.LearnCounts();
  const std::size_t points =
      std::min({counts.size(), std::size_t{mean->DLen()}, std::size_t{meanSquare->DLen()}});
  const std::uint32_t least = std::max(tool.BasisLernenAnzahl(), 1U);
  PointShares shares;
  const auto end = counts.begin() + static_cast<std::ptrdiff_t>(points);
  const bool others = points > 0 && std::any_of(counts.begin() + 1, end,
                                                [least](auto count) { return count >= least; });
  for (std::size_t i = others ? 1 : 0; i < points; ++i) {  // point 0 is judged without others only
    if (counts[i] < least) {
      continue;
    }
    const auto n = static_cast<std::int32_t>(std::min<std::uint32_t>(counts[i], INT32_MAX));
    const double effective = EffectiveParts(n, CTrackLernWerkzeug::kTimeScale);
    // This learner takes the bias from its spread, so each of its spreads is sqrt(r) of the
    // others'.
    const double unbiased = std::sqrt(effective > 1.0 ? effective / (effective - 1.0) : 1.0);
    const double spread = SpreadAt(*mean, *meanSquare, static_cast<std::int64_t>(i));
    shares.Add(effective, Spreads(tool.Sockel(), tool.FactorAt(counts[i]) * unbiased, spread));
    if (sureness.parts == 0 || n < sureness.parts) {
      sureness.parts = n;
      sureness.effectiveParts = effective;
    }
  }
  shares.Into(sureness);
  return sureness;
}

}  // namespace limes

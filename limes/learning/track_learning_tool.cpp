#include "limes/learning/track_learning_tool.h"

#include <algorithm>
#include <array>
#include <limits>

#include "limes/kernels/averaging_factors.h"
#include "limes/learning/curve_assistant.h"
#include "limes/learning/curve_overlap.h"
#include "limes/learning/learning_loops.h"
#include "limes/platform/memory_errors.h"
#include "limes/signals/extended_curve.h"

namespace limes {
namespace {

constexpr std::u16string_view kFirstName = u"Limes";
constexpr std::size_t kBlock = 4096;  ///< points between counting and learning, to stay in cache

/// Weights and correction factors of a count n, which are the same from 45 time scales on.
class CFactors {
 public:
  static const CFactors& Get() {
    static const CFactors factors;
    return factors;
  }

  float Weight(std::uint32_t n) const { return weights_[std::min<std::size_t>(n, kLast)]; }
  double Correction(std::uint32_t n) const { return corrections_[std::min<std::size_t>(n, kLast)]; }

 private:
  static constexpr std::size_t kLast =
      std::size_t{CExpAverFacGenerator::kSaturated} * CTrackLernWerkzeug::kTimeScale + 1;

  CFactors() {
    for (std::size_t n = 0; n <= kLast; ++n) {
      const auto count = static_cast<std::int32_t>(n);
      weights_[n] = CExpAverFacGenerator::GetFactor(count, CTrackLernWerkzeug::kTimeScale);
      corrections_[n] = CExpAverFacGenerator::GetCorrFactor(count, CTrackLernWerkzeug::kTimeScale);
    }
  }

  std::array<float, kLast + 1> weights_;
  std::array<float, kLast + 1> corrections_;
};

bool IsJoined(std::u16string_view text, std::u16string_view a, std::u16string_view b) {
  return text.size() == a.size() + b.size() && text.starts_with(a) && text.ends_with(b);
}

/// Allocates only when the name is another one.
void SetJoinedName(CSigCurveExt& curve, std::u16string_view name, std::u16string_view suffix) {
  if (!IsJoined(curve.Name(), name, suffix)) {
    curve.SetName(wide_string(name).append(suffix));
  }
}

template <class Unit>
void SetYUnitTo(CSigCurveExt& curve, const Unit& unit) {
  if (!(curve.YUnit() == unit)) {
    curve.SetYUnit(unit);
  }
}

/// The grid of the mean with zero values; false when memory is short.
bool TakeGrid(CSigCurveExt& curve, const CSigCurveExt& mean) {
  curve.MakeSameSize(mean);
  return curve.DLen() == mean.DLen();
}

std::unique_ptr<CSigCurveExt> NewCurve(std::size_t n) {
  return std::make_unique<CSigCurveExt>(
      static_cast<int>(std::min<std::size_t>(n, std::numeric_limits<std::int32_t>::max())));
}

/// The curve on a grid of n points, as many as given of them before its own; null when memory is
/// short.
std::shared_ptr<CSigCurveExt> Extended(const CSigCurveExt& curve, std::uint32_t before,
                                       std::uint32_t n) {
  auto result = std::make_shared<CSigCurveExt>(curve);
  if (result->DLen() != curve.DLen() || !result->Resize(n)) {
    return nullptr;
  }
  const auto own = static_cast<std::ptrdiff_t>(curve.DLen());
  float* const values = result->ValArray();
  std::copy(curve.ValArray(), curve.ValArray() + own, values + before);
  std::fill(values, values + before, 0.0F);
  std::fill(values + before + own, values + n, 0.0F);
  const double step = (double{curve.XMax()} - curve.XMin()) / curve.DLen();
  const std::uint32_t behind = n - before - curve.DLen();
  result->SetXMinMax(static_cast<float>(curve.XMin() - step * before),
                     static_cast<float>(curve.XMax() + step * behind));
  const auto shift = static_cast<std::int32_t>(before);
  result->SetVIMinMax(curve.IMin() + shift, curve.IMax() + shift);
  return result;
}

}  // namespace

CTrackLernWerkzeug::CTrackLernWerkzeug() = default;
CTrackLernWerkzeug::CTrackLernWerkzeug(CTrackLernWerkzeug&& other) noexcept = default;
CTrackLernWerkzeug& CTrackLernWerkzeug::operator=(CTrackLernWerkzeug&& other) noexcept = default;
CTrackLernWerkzeug::~CTrackLernWerkzeug() = default;

bool CTrackLernWerkzeug::GrowCounts(std::size_t n) {
  return detail::IfMemoryAllows([&] { state_.counts.resize(std::max(state_.counts.size(), n)); });
}

/// A tool without a name of its own takes that of the first curve; false when memory is short.
bool CTrackLernWerkzeug::TakeFirstName(std::u16string_view name) {
  return state_.name != kFirstName || detail::IfMemoryAllows([&] { state_.name = name; });
}

void CTrackLernWerkzeug::Vorlage(const CSigCurveExt* vorlage) {
  if (vorlage == nullptr) {
    return;
  }
  const bool taken = detail::IfMemoryAllows(false, [&] {
    auto mean = std::make_shared<CSigCurveExt>(*vorlage);
    auto meanSquare = std::make_shared<CSigCurveExt>(*vorlage);
    auto limit = std::make_unique<CSigCurveExt>(*vorlage);
    wide_string name = vorlage->Name();
    for (const auto& [curve, suffix] :
         {std::pair(mean.get(), u"-avg"), {meanSquare.get(), u"-sqa"}, {limit.get(), u"-lim"}}) {
      if (curve->DLen() != vorlage->DLen()) {
        return false;
      }
      curve->SetName(wide_string(name).append(suffix));
    }
    if (!GrowCounts(vorlage->DLen())) {
      return false;
    }
    state_.mean = std::move(mean);
    state_.meanSquare = std::move(meanSquare);
    limit_ = std::move(limit);
    state_.name = std::move(name);
    return true;
  });
  if (taken) {
    Neustart();
    qualified_ = false;
  }
}

void CTrackLernWerkzeug::Neustart() {
  for (CSigCurveExt* const curve : {state_.mean.get(), state_.meanSquare.get(), limit_.get()}) {
    if (curve != nullptr) {
      curve->Nullsetzen();
    }
  }
  std::fill(state_.counts.begin(), state_.counts.end(), 0U);
  state_.learnt = 0;
  formed_ = false;
  current_ = false;
}

void CTrackLernWerkzeug::Bildungsregel(float base, float factor) {
  state_.base = base;
  state_.factor = factor;
  limitScore_.reset();
  current_ = false;
}

void CTrackLernWerkzeug::LimitScore(double score) {
  limitScore_ = score;
  current_ = false;
}

wide_string CTrackLernWerkzeug::GrenzParameterText() const {
  return Format(u"%5.2f + M + %5.2f * S", state_.base, state_.factor);
}

void CTrackLernWerkzeug::NeueMessung(const CSigCurveExt* k) {
  if (state_.mean == nullptr || state_.meanSquare == nullptr) {
    throw int{NotInitializedException};
  }
  if (k == nullptr) {
    return;
  }
  if (!k->FitTogether(state_.mean.get())) {
    throw int{CurvesDontFitException};
  }
  const std::size_t n = std::min(state_.mean->DLen(), state_.meanSquare->DLen());
  if (!GrowCounts(n) || !TakeFirstName(k->Name())) {
    return;
  }
  const CFactors& factors = CFactors::Get();
  float* const m = state_.mean->ValArray();
  float* const q = state_.meanSquare->ValArray();
  const float* const values = k->ValArray();
  const std::size_t end = std::min(n, static_cast<std::size_t>(std::max(k->IMax(), 0)));
  for (std::size_t i0 = static_cast<std::size_t>(std::max(k->IMin(), 0)); i0 < end; i0 += kBlock) {
    const std::size_t i1 = std::min(end, i0 + kBlock);
    detail::CountUp(state_.counts.data() + i0, i1 - i0);
    detail::ForEachRun(state_.counts, i0, i1,
                       [&](std::size_t i, std::size_t points, std::uint32_t count) {
                         if (count == 1) {
                           detail::StartTrackValues(m + i, q + i, values + i, points);
                         } else {
                           const float a = factors.Weight(count);
                           detail::LearnTrackValues(m + i, q + i, values + i, points, a, 1.0F - a);
                         }
                       });
  }
  state_.mean->Expandieren(k->VMin(), k->VMax());
  state_.meanSquare->Expandieren(k->VMin(), k->VMax());
  state_.learnt = 1;
  current_ = false;
}

/// What is learnt, on a longer grid; false, with nothing in the other one, when that cannot be.
bool CTrackLernWerkzeug::Extend(std::uint32_t before, std::uint32_t behind,
                                CTrackLernWerkzeug& into) const {
  if (!state_.IsCounted() || state_.mean->DLen() == 0) {
    return false;
  }
  const std::uint64_t n = std::uint64_t{before} + behind + state_.mean->DLen();
  if (n > std::uint64_t{std::numeric_limits<std::int32_t>::max()}) {
    return false;
  }
  return detail::IfMemoryAllows(false, [&] {
    const auto points = static_cast<std::uint32_t>(n);
    std::vector<std::uint32_t> counts(points);
    auto mean = Extended(*state_.mean, before, points);
    auto meanSquare = Extended(*state_.meanSquare, before, points);
    if (mean == nullptr || meanSquare == nullptr) {
      return false;
    }
    std::copy_n(state_.counts.begin(), state_.mean->DLen(), counts.begin() + before);
    into.state_.counts = std::move(counts);
    into.state_.mean = std::move(mean);
    into.state_.meanSquare = std::move(meanSquare);
    return true;
  });
}

bool CTrackLernWerkzeug::ExtendGrid(std::uint32_t before, std::uint32_t behind) {
  if (!Extend(before, behind, *this)) {
    return false;
  }
  formed_ = false;
  current_ = false;
  return true;
}

void CTrackLernWerkzeug::SetLimitRange() {
  const auto enough = [this](std::uint32_t count) { return count >= state_.baseCount; };
  const auto begin = state_.counts.begin();
  const auto end = begin + static_cast<std::ptrdiff_t>(state_.mean->DLen());
  const auto last = std::find_if(std::make_reverse_iterator(end), state_.counts.rend(), enough);
  qualified_ = last != state_.counts.rend();
  if (!qualified_) {
    limit_->Invalidate();
    return;
  }
  // kept: point 0 gives way to the next one that qualifies
  const auto second = std::find_if(begin + 1, end, enough);
  limit_->SetVIMinMax(second == end ? 0 : static_cast<std::int32_t>(second - begin),
                      static_cast<std::int32_t>(last.base() - begin) - 1);
}

bool CTrackLernWerkzeug::GrenzeBilden() {
  if (state_.learnt == 0 || state_.mean == nullptr || state_.meanSquare == nullptr) {
    return false;
  }
  const std::size_t n = state_.mean->DLen();
  const bool room = detail::IfMemoryAllows(false, [&] {
    if (limit_ == nullptr) {
      limit_ = NewCurve(n);
    }
    if (state_.meanSquare->DLen() != n || !GrowCounts(n)) {
      return false;
    }
    mask_.reserve(n);
    formed_ = current_ = false;  // from here on the limit is not the one that was formed
    if (!TakeGrid(*limit_, *state_.mean)) {
      return false;
    }
    if (limit_->XUnit().empty()) {
      SetJoinedName(*limit_, state_.name, u"-lim");
      if (!(limit_->XUnit() == state_.mean->XUnit())) {
        limit_->SetXUnit(state_.mean->XUnit());
      }
      SetYUnitTo(*limit_, state_.mean->YUnit());
    }
    return true;
  });
  if (!room) {
    return false;
  }
  mask_.resize(n);
  // Without a base count every point counts that was learnt at all.
  const std::uint32_t atLeast = std::max(state_.baseCount, 1U);
  const CFactors& factors = CFactors::Get();
  const float* const m = state_.mean->ValArray();
  const float* const q = state_.meanSquare->ValArray();
  float* const y = limit_->ValArray();
  detail::ForEachRun(
      state_.counts, 0, n, [&](std::size_t i, std::size_t points, std::uint32_t count) {
        const auto begin = mask_.begin() + static_cast<std::ptrdiff_t>(i);
        std::fill_n(begin, points, static_cast<std::uint8_t>(count >= atLeast ? 1 : 0));
        if (count > 1) {
          detail::TrackLimitValues(y + i, m + i, q + i, points, factors.Correction(count),
                                   FactorAt(count), state_.base);
        } else {  // kept: what the limit held there, 0 after taking over the grid, is added
          detail::AddMeanAndBase(y + i, m + i, points, state_.base);
        }
      });
  if (n > 0) {
    SetLimitRange();
  } else {
    limit_->Invalidate();
    qualified_ = false;
  }
  formed_ = true;
  current_ = true;
  return true;
}

/// A curve to show, with values of 0 on the grid of the mean where there is one; false when memory
/// is short.
bool CTrackLernWerkzeug::MakeShown(std::unique_ptr<CSigCurveExt>& curve, bool onGrid,
                                   const wide_char* name, const wide_char* unit) {
  return detail::IfMemoryAllows(false, [&] {
    if (curve == nullptr) {
      curve = NewCurve(state_.counts.size());
    }
    if (!onGrid) {
      return true;
    }
    if (!GrowCounts(state_.mean->DLen()) || !TakeGrid(*curve, *state_.mean)) {
      return false;
    }
    SetYUnitTo(*curve, unit);
    SetJoinedName(*curve, name, u"");
    curve->ResetVMinMax();
    return true;
  });
}

const CSigCurveExt* CTrackLernWerkzeug::StdAbwKurve() {
  const bool learns = state_.mean != nullptr && state_.meanSquare != nullptr;
  if (!MakeShown(spread_, learns, u"StdDev", u"")) {
    return nullptr;
  }
  if (learns) {
    Spreads(0, std::min(state_.mean->DLen(), state_.meanSquare->DLen()), spread_->ValArray());
  }
  return spread_.get();
}

const CSigCurveExt* CTrackLernWerkzeug::LernzahlKurve() {
  if (!MakeShown(countCurve_, state_.mean != nullptr, u"n-Learn", u"n")) {
    return nullptr;
  }
  if (state_.mean != nullptr) {
    std::copy_n(state_.counts.begin(), countCurve_->DLen(), countCurve_->ValArray());
  }
  return countCurve_.get();
}

float CTrackLernWerkzeug::MaxAbweichung(const CSigCurveExt* k, float* result) const {
  if (k == nullptr || limit_ == nullptr || !qualified_ || limit_->IMax() == limit_->IMin() - 1) {
    return 0.0F;
  }
  return CSigCurveAssistent::MaxAbweichung(*k, *limit_, result);
}

SCurveJudgement CTrackLernWerkzeug::Judge(const CSigCurveExt& k) const {
  if (!formed_ || !qualified_ || limit_ == nullptr || state_.mean == nullptr ||
      state_.meanSquare == nullptr || mask_.size() != limit_->DLen() ||
      state_.mean->DLen() != limit_->DLen() || state_.meanSquare->DLen() != limit_->DLen() ||
      !limit_->IsValid()) {
    return {};
  }
  const detail::CurveOverlap overlap(&k, limit_.get());
  const detail::SComparison comparison = detail::Compare(overlap, mask_);
  SCurveJudgement judgement = detail::JudgementOf(overlap, comparison);
  if (judgement.verdict == Verdict::kNotJudged) {
    return judgement;
  }
  const SIndexRange valid = limit_->ValidIndices();
  const auto judgeable = std::count(mask_.begin() + valid.first, mask_.begin() + valid.last + 1, 1);
  judgement.share =
      static_cast<float>(static_cast<double>(comparison.points) / static_cast<double>(judgeable));
  judgement.mean = (*state_.mean)[comparison.index];
  judgement.spread = SpreadAt(comparison.index);
  return judgement;
}

bool CTrackLernWerkzeug::Excesses(const CSigCurveExt& k, std::vector<SCurveExcess>& regions) const {
  const bool judged = Judge(k).verdict != Verdict::kNotJudged;
  const detail::CurveOverlap overlap(judged ? &k : nullptr, limit_.get());
  if (!detail::FindExcess(overlap, regions, mask_)) {
    return false;
  }
  for (SCurveExcess& region : regions) {
    region.mean = (*state_.mean)[region.index];
    region.spread = SpreadAt(region.index);
  }
  return true;
}

/// The spreads as they stand in the limit.
void CTrackLernWerkzeug::Spreads(std::int64_t first, std::size_t n, float* out) const {
  const auto begin = static_cast<std::size_t>(first);
  detail::ForEachRun(state_.counts, begin, begin + n,
                     [&](std::size_t i, std::size_t points, std::uint32_t count) {
                       float* const y = out + (i - begin);
                       if (count > 1) {
                         detail::TrackSpreadValues(y, state_.mean->ValArray() + i,
                                                   state_.meanSquare->ValArray() + i, points,
                                                   CFactors::Get().Correction(count));
                       } else {
                         std::fill_n(y, points, 0.0F);
                       }
                     });
}

float CTrackLernWerkzeug::SpreadAt(std::int64_t i) const {
  float spread = 0.0F;
  Spreads(i, 1, &spread);
  return spread;
}

}  // namespace limes

#include "limes/learning/curve_learning_tool.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <limits>

#include "limes/learning/curve_fit.h"
#include "limes/learning/learning_loops.h"
#include "limes/platform/memory_errors.h"
#include "limes/signals/extended_curve.h"

namespace limes {
namespace {

constexpr std::u16string_view kMeanSuffix = u"-avg";
constexpr std::u16string_view kMeanSquareSuffix = u"-sqa";
constexpr std::u16string_view kSpreadSuffix = u"-stdv";
constexpr std::u16string_view kLimitSuffix = u"-lim";

wide_string Joined(std::u16string_view name, std::u16string_view suffix) {
  wide_string joined(name);
  joined.append(suffix);
  return joined;
}

/// Units, grid and valid range of the mean, the latter as MakeSameSize; without zero the values of
/// a curve that has its size are left for the caller to overwrite. False when memory is short.
bool TakeGrid(CSigCurveExt& curve, const CSigCurveExt& mean, bool zero) {
  return detail::IfMemoryAllows(false, [&] {
    curve.TakeUnits(mean);
    if (zero || curve.DLen() != mean.DLen() || !curve.OwnsData()) {
      curve.MakeSameSize(mean);
      return curve.DLen() == mean.DLen();
    }
    const float date = curve.Date();
    curve.InitHeader(mean);
    curve.Date(date);
    return true;
  });
}

bool Overlap(const CSigCurve& a, const CSigCurve& b) {
  const std::less<> before;
  return before(a.ValArray(), b.ValArray() + b.DLen()) &&
         before(b.ValArray(), a.ValArray() + a.DLen());
}

/// Learns k in one pass when the three curves are apart and k is added index by index; false, with
/// nothing done, when the separate steps are needed.
bool LearnInOnePass(CSigCurveExt& mean, CSigCurveExt& meanSquare, const CSigCurve& k, float a,
                    float v) {
  const std::int64_t n = mean.DLen();
  if (v == 0.0F || k.DLen() == 0 || meanSquare.DLen() != mean.DLen() ||
      mean.XDelta() != k.XDelta() || Overlap(mean, k) || Overlap(meanSquare, k) ||
      Overlap(mean, meanSquare)) {
    return false;
  }
  const CSigCurveExt* const extended = AsExtended(&k);
  const std::int64_t source = extended != nullptr ? extended->IMin() : 0;
  const std::int64_t count =
      extended != nullptr ? std::int64_t{extended->IMax()} - source + 1 : std::int64_t{k.DLen()};
  const std::int64_t kLast = std::int64_t{k.DLen()} - 1;
  if (source < 0 || source > kLast || count < 0 || source + count - 1 > kLast) {
    return false;
  }
  mean.Schrumpfen(extended != nullptr ? extended->VMin() : k.XMin(),
                  extended != nullptr ? extended->VMax() : k.XMax());
  meanSquare.SetVIMinMax(mean.IMin(), mean.IMax());
  // SetVIMinMax and Schrumpfen leave indices inside the values.
  const std::int64_t first = mean.IMin();
  const std::int64_t room = std::int64_t{mean.IMax()} - first + 1;
  const std::int64_t both = std::clamp<std::int64_t>(std::min(room, count), 0, n - first);
  float* const m = mean.ValArray();
  float* const q = meanSquare.ValArray();
  const auto scale = [&](std::int64_t from, std::int64_t to) {
    for (std::int64_t i = from; i < to; ++i) {
      m[i] *= a;
      q[i] *= a;
    }
  };
  scale(0, first);
  detail::LearnValues(m + first, q + first, k.ValArray() + source, static_cast<std::size_t>(both),
                      a, v);
  scale(first + both, n);
  if (room > count) {  // kept: the mean takes one value more than the mean square
    m[first + count] += v * k.ValArray()[std::min(source + count, kLast)];
  }
  return true;
}

}  // namespace

CKurvenLernWerkzeug::SState::SState() : generator(std::make_shared<CExpAverFacGenerator>()) {}

CKurvenLernWerkzeug::CKurvenLernWerkzeug() = default;

CKurvenLernWerkzeug::CKurvenLernWerkzeug(CKurvenLernWerkzeug&& other) noexcept
    : state_(std::move(other.state_)),
      spread_(std::move(other.spread_)),
      limit_(std::move(other.limit_)),
      ownLimit_(std::move(other.ownLimit_)),
      formed_(std::move(other.formed_)),
      fitted_(std::move(other.fitted_)) {
  other.state_.count = 0;
  other.state_.generator = detail::IfMemoryAllows(
      state_.generator, [] { return std::make_shared<CExpAverFacGenerator>(); });
}

CKurvenLernWerkzeug& CKurvenLernWerkzeug::operator=(CKurvenLernWerkzeug&& other) noexcept {
  if (this != &other) {
    CKurvenLernWerkzeug taken(std::move(other));
    std::swap(state_, taken.state_);
    spread_.swap(taken.spread_);
    limit_.swap(taken.limit_);
    ownLimit_.swap(taken.ownLimit_);
    formed_.swap(taken.formed_);
    fitted_.swap(taken.fitted_);
  }
  return *this;
}

CKurvenLernWerkzeug::~CKurvenLernWerkzeug() = default;

bool CKurvenLernWerkzeug::Make(Curve& curve, int n) {
  return curve != nullptr ||
         detail::IfMemoryAllows([&] { curve = std::make_shared<CSigCurveExt>(n); });
}

bool CKurvenLernWerkzeug::MakeLimit(int n) {
  return (limit_ != nullptr ||
          detail::IfMemoryAllows([&] { formed_ = std::make_shared<SFormed>(); })) &&
         Make(limit_, n);
}

bool CKurvenLernWerkzeug::MakeCurves(int n) {
  return Make(state_.mean, n) && Make(state_.meanSquare, n) && Make(spread_, n) && MakeLimit(n);
}

template <class Set>
void CKurvenLernWerkzeug::SetCurves(int n, const wide_char* name, Set set) {
  const bool ok = detail::IfMemoryAllows(false, [&] {
    if (name != nullptr) {
      state_.name = wide_string(name);  // once: it may be the text of a curve that is named below
    }
    return MakeCurves(n) && set(*state_.mean, kMeanSuffix) &&
           set(*state_.meanSquare, kMeanSquareSuffix) && set(*spread_, kSpreadSuffix) &&
           set(*limit_, kLimitSuffix);
  });
  if (ok) {
    *formed_ = {};
  } else {
    state_.mean = state_.meanSquare = spread_ = limit_ = nullptr;
  }
}

void CKurvenLernWerkzeug::Vorlage(const CSigCurve* vorlage) {
  if (vorlage == nullptr) {
    return;
  }
  const CSigCurveExt* const extended = AsExtended(vorlage);
  SetCurves(static_cast<int>(vorlage->DLen()), vorlage->Name(),
            [&](CSigCurveExt& curve, std::u16string_view suffix) {
              if (extended != nullptr) {
                curve = *extended;
              } else {
                curve = *vorlage;
              }
              return curve.DLen() == vorlage->DLen() && curve.SetName(Joined(state_.name, suffix));
            });
}

void CKurvenLernWerkzeug::Vorlage(int n, float x0, float x1, const wide_char* name) {
  SetCurves(n, name, [&](CSigCurveExt& curve, std::u16string_view suffix) {
    curve.SetXMinMax(x0, x1);
    curve.ResetVMinMax();
    return curve.SetName(Joined(curve.Name(), suffix));
  });
}

void CKurvenLernWerkzeug::Bildungsregel(float base, float factor, float width) {
  state_.base = base;
  state_.factor = factor;
  state_.width = width;
}

wide_string CKurvenLernWerkzeug::GrenzParameterText() const {
  return Format(u"%5.2f + M + %5.2f * S", state_.base, state_.factor);
}

void CKurvenLernWerkzeug::Neustart(std::int32_t timeScale) {
  for (const Curve& curve : {state_.mean, state_.meanSquare, spread_, limit_}) {
    if (curve != nullptr) {
      curve->Nullsetzen();
    }
  }
  if (formed_ != nullptr) {
    *formed_ = {};
  }
  state_.count = 0;
  state_.stale = 0;
  state_.generator->SetTimeScale(timeScale >= 1 ? timeScale : CExpAverFacGenerator::kNoForgetting);
  state_.generator->ResetTime();
}

void CKurvenLernWerkzeug::ExterneLernzahl(int count) {
  if (state_.mean != nullptr) {
    state_.count = count;
    Outdate();
  }
}

void CKurvenLernWerkzeug::ExternerLernFaktor(float a) {
  state_.externalOn = a >= 0.0F ? 1 : 0;
  if (state_.externalOn != 0) {
    state_.external = a;
  }
}

void CKurvenLernWerkzeug::Outdate() {
  if (formed_ != nullptr) {
    formed_->current = false;
  }
}

void CKurvenLernWerkzeug::NeueMessung(const CSigCurve* k) {
  if (k == nullptr || state_.mean == nullptr || state_.meanSquare == nullptr) {
    return;
  }
  ++*state_.generator;
  if (state_.count < std::numeric_limits<std::int32_t>::max()) {
    ++state_.count;
  }
  state_.stale = 1;
  Outdate();
  const float a = state_.externalOn != 0 ? state_.external : state_.generator->CurrentFactor();
  const float v = 1.0F - a;
  if (!LearnInOnePass(*state_.mean, *state_.meanSquare, *k, a, v)) {
    static_cast<CSigCurve&>(*state_.mean) *= a;
    static_cast<CSigCurve&>(*state_.meanSquare) *= a;
    CSigCurveAssistent::AddierenMitQuadrat(*state_.mean, *state_.meanSquare, *k, v);
  }
}

int CKurvenLernWerkzeug::StandardAbwBilden() {
  if (!HasLearnt() || !Make(spread_, 0) || !TakeGrid(*spread_, *state_.mean, state_.count < 2)) {
    return 0;
  }
  if (state_.count >= 2) {
    detail::SpreadValues(spread_->ValArray(), state_.mean->ValArray(),
                         state_.meanSquare->ValArray(),
                         std::min(state_.mean->DLen(), state_.meanSquare->DLen()));
  }
  return 1;
}

bool CKurvenLernWerkzeug::FormLimit() {
  CSigCurveExt& limit = *limit_;
  const CSigCurveExt& mean = *state_.mean;
  const std::size_t n = std::min(mean.DLen(), state_.meanSquare->DLen());
  const bool spread = state_.count > 1 && state_.factor > 0.0F;
  const bool onePass = spread && n == mean.DLen();
  if (!TakeGrid(limit, mean, !onePass)) {
    return false;
  }
  const float* const m = mean.ValArray();
  const float* const q = state_.meanSquare->ValArray();
  if (onePass) {
    const SIndexRange valid = limit.ValidIndices();
    const auto i0 = static_cast<std::size_t>(valid.first);
    const std::size_t end = i0 + valid.Size();
    float* const y = limit.ValArray();
    detail::SpreadValues(y, m, q, i0, state_.factor);
    detail::LimitValues(y + i0, m + i0, q + i0, end - i0, state_.factor, state_.base);
    detail::SpreadValues(y + end, m + end, q + end, n - end, state_.factor);
  } else {
    if (spread) {
      detail::SpreadValues(limit.ValArray(), m, q, n, state_.factor);
    }
    limit += mean;
    limit += state_.base;
  }
  Widen(limit, Widening());
  *formed_ = {true, true, state_.base, state_.factor, state_.width};
  return true;
}

void CKurvenLernWerkzeug::Widen(CSigCurveExt& limit, int points) {
  const std::span<float> values = limit.ValidValues();
  if (points >= 1 && values.size() > 1) {
    // kept: the last valid point is neither widened nor looked at
    detail::WidenValues(values.data(), values.size() - 1, static_cast<std::size_t>(points));
  }
}

/// By how many points the limit is widened.
int CKurvenLernWerkzeug::Widening() const {
  const int points = state_.width > 0.0F ? limit_->GetIndex(state_.width) : 0;
  return std::clamp(points, 0, static_cast<int>(detail::kMostWidening));
}

int CKurvenLernWerkzeug::GrenzeBilden() {
  const bool named = HasLearnt() && MakeLimit(0) && detail::IfMemoryAllows([&] {
                       state_.name.append(kLimitSuffix);
                       limit_->SetName(state_.name);
                     });
  return named && FormLimit() ? 1 : 0;
}

int CKurvenLernWerkzeug::UpdateLimit() {
  return HasLearnt() && MakeLimit(0) && FormLimit() ? 1 : 0;
}

}  // namespace limes

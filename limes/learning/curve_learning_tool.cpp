#include "limes/learning/curve_learning_tool.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <limits>
#include <new>

#include "limes/core/object_archive.h"
#include "limes/learning/curve_fit.h"
#include "limes/learning/learning_loops.h"
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

/// Grid and valid range of the mean, as MakeSameSize; without zero the values of a curve that has
/// its size are left for the caller to overwrite. False when memory is short.
bool TakeGrid(CSigCurveExt& curve, const CSigCurveExt& mean, bool zero) {
  if (zero || curve.DLen() != mean.DLen() || !curve.OwnsData()) {
    curve.MakeSameSize(mean);
    return curve.DLen() == mean.DLen();
  }
  const float date = curve.Date();
  curve.InitHeader(mean);
  curve.Date(date);
  return true;
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

CKurvenLernWerkzeug::CKurvenLernWerkzeug() : generator_(std::make_shared<CExpAverFacGenerator>()) {}

CKurvenLernWerkzeug::~CKurvenLernWerkzeug() = default;

bool CKurvenLernWerkzeug::Make(Curve& curve, int n) {
  if (curve != nullptr) {
    return true;
  }
  try {
    curve = std::make_shared<CSigCurveExt>(n);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

bool CKurvenLernWerkzeug::MakeLimit(int n) {
  try {
    if (limit_ == nullptr) {
      formed_ = std::make_shared<SFormed>();
    }
  } catch (const std::bad_alloc&) {
    return false;
  }
  return Make(limit_, n);
}

bool CKurvenLernWerkzeug::MakeCurves(int n) {
  return Make(mean_, n) && Make(meanSquare_, n) && Make(spread_, n) && MakeLimit(n);
}

template <class Set>
void CKurvenLernWerkzeug::SetCurves(int n, const wide_char* name, Set set) {
  bool ok = false;
  try {
    if (name != nullptr) {
      name_ = wide_string(name);  // once, as it may be the text of a curve that is named below
    }
    ok = MakeCurves(n) && set(*mean_, kMeanSuffix) && set(*meanSquare_, kMeanSquareSuffix) &&
         set(*spread_, kSpreadSuffix) && set(*limit_, kLimitSuffix);
  } catch (const std::bad_alloc&) {
    ok = false;
  }
  if (ok) {
    *formed_ = {};
  } else {
    mean_ = meanSquare_ = spread_ = limit_ = nullptr;
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
              return curve.DLen() == vorlage->DLen() && curve.SetName(Joined(name_, suffix));
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
  base_ = base;
  factor_ = factor;
  width_ = width;
}

wide_string CKurvenLernWerkzeug::GrenzParameterText() const {
  return Format(u"%5.2f + M + %5.2f * S", base_, factor_);
}

void CKurvenLernWerkzeug::Neustart(std::int32_t timeScale) {
  for (const Curve& curve : {mean_, meanSquare_, spread_, limit_}) {
    if (curve != nullptr) {
      curve->Nullsetzen();
    }
  }
  if (formed_ != nullptr) {
    *formed_ = {};
  }
  count_ = 0;
  stale_ = 0;
  generator_->SetTimeScale(timeScale >= 1 ? timeScale : CExpAverFacGenerator::kNoForgetting);
  generator_->ResetTime();
}

void CKurvenLernWerkzeug::ExterneLernzahl(int count) {
  if (mean_ != nullptr) {
    count_ = count;
    Outdate();
  }
}

void CKurvenLernWerkzeug::ExternerLernFaktor(float a) {
  externalOn_ = a >= 0.0F ? 1 : 0;
  if (externalOn_ != 0) {
    external_ = a;
  }
}

void CKurvenLernWerkzeug::Outdate() {
  if (formed_ != nullptr) {
    formed_->current = false;
  }
}

void CKurvenLernWerkzeug::NeueMessung(const CSigCurve* k) {
  if (k == nullptr || mean_ == nullptr || meanSquare_ == nullptr) {
    return;
  }
  ++*generator_;
  if (count_ < std::numeric_limits<std::int32_t>::max()) {
    ++count_;
  }
  stale_ = 1;
  Outdate();
  const float a = externalOn_ != 0 ? external_ : generator_->CurrentFactor();
  const float v = 1.0F - a;
  if (!LearnInOnePass(*mean_, *meanSquare_, *k, a, v)) {
    static_cast<CSigCurve&>(*mean_) *= a;
    static_cast<CSigCurve&>(*meanSquare_) *= a;
    CSigCurveAssistent::AddierenMitQuadrat(*mean_, *meanSquare_, *k, v);
  }
}

int CKurvenLernWerkzeug::StandardAbwBilden() {
  if (!HasLearnt() || !Make(spread_, 0) || !TakeGrid(*spread_, *mean_, count_ < 2)) {
    return 0;
  }
  if (count_ >= 2) {
    detail::SpreadValues(spread_->ValArray(), mean_->ValArray(), meanSquare_->ValArray(),
                         std::min(mean_->DLen(), meanSquare_->DLen()));
  }
  spread_->TakeUnits(*mean_);  // what the roots of squares made of them is of no use
  return 1;
}

bool CKurvenLernWerkzeug::FormLimit() {
  CSigCurveExt& limit = *limit_;
  const CSigCurveExt& mean = *mean_;
  const std::size_t n = std::min(mean.DLen(), meanSquare_->DLen());
  const bool spread = count_ > 1 && factor_ > 0.0F;
  const bool onePass = spread && n == mean.DLen();
  if (!TakeGrid(limit, mean, !onePass)) {
    return false;
  }
  const float* const m = mean.ValArray();
  const float* const q = meanSquare_->ValArray();
  if (onePass) {
    const SIndexRange valid = limit.ValidIndices();
    const auto i0 = static_cast<std::size_t>(valid.first);
    const std::size_t end = i0 + valid.Size();
    float* const y = limit.ValArray();
    detail::SpreadValues(y, m, q, i0, factor_);
    detail::LimitValues(y + i0, m + i0, q + i0, end - i0, factor_, base_);
    detail::SpreadValues(y + end, m + end, q + end, n - end, factor_);
  } else {
    if (spread) {
      detail::SpreadValues(limit.ValArray(), m, q, n, factor_);
    }
    limit += mean;
    limit += base_;
  }
  const std::span<float> values = limit.ValidValues();
  if (const int w = Widening(); w >= 1 && values.size() > 1) {
    // kept: the last valid point is neither widened nor looked at
    detail::WidenValues(values.data(), values.size() - 1, static_cast<std::size_t>(w));
  }
  limit.TakeUnits(mean);
  *formed_ = {true, true, base_, factor_, width_};
  return true;
}

/// By how many points the limit is widened.
int CKurvenLernWerkzeug::Widening() const {
  const int points = width_ > 0.0F ? limit_->GetIndex(width_) : 0;
  return std::clamp(points, 0, static_cast<int>(detail::kMostWidening));
}

int CKurvenLernWerkzeug::GrenzeBilden() {
  if (!HasLearnt() || !MakeLimit(0)) {
    return 0;
  }
  try {
    name_.append(kLimitSuffix);
    limit_->SetName(name_);
  } catch (const std::bad_alloc&) {
    return 0;
  }
  return FormLimit() ? 1 : 0;
}

int CKurvenLernWerkzeug::UpdateLimit() {
  if (!HasLearnt() || !MakeLimit(0)) {
    return 0;
  }
  return FormLimit() ? 1 : 0;
}

int CKurvenLernWerkzeug::InArchivSchreiben(CSerializer* archive) const {
  if (archive == nullptr || mean_ == nullptr || meanSquare_ == nullptr) {
    return 0;
  }
  std::uint32_t words[] = {static_cast<std::uint32_t>(count_),
                           static_cast<std::uint32_t>(generator_->GetTimeScale())};
  return archive->StoreData(words, 2) == 2 && archive->StoreObject(mean_.get()) != 0 &&
                 archive->StoreObject(meanSquare_.get()) != 0
             ? 1
             : 0;
}

int CKurvenLernWerkzeug::AusArchivLaden(CSerializer* archive) {
  std::uint32_t words[2];
  if (archive == nullptr || archive->LoadData(words, 2) != 2) {
    return 0;
  }
  count_ = static_cast<std::int32_t>(words[0]);
  generator_->SetTimeScale(static_cast<std::int32_t>(words[1]));
  generator_->SetTime(count_);
  if (!Make(mean_, 0) || !Make(meanSquare_, 0) || archive->ReloadObject(mean_.get()) == 0 ||
      archive->ReloadObject(meanSquare_.get()) == 0) {
    return 0;
  }
  GrenzeBilden();
  return 1;
}

}  // namespace limes

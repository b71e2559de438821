#include "limes/display/vis_axis.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace limes {

void SVisRange::Add(double value) {
  if (std::isfinite(value)) {
    low = std::min(low, value);
    high = std::max(high, value);
  }
}

void SVisRange::Add(const SVisRange& other) {
  Add(other.low);
  Add(other.high);
}

void SVisRange::Widen(double share) {
  if (!(low <= high) || !std::isfinite(low) || !std::isfinite(high)) {
    low = 0.0;
    high = 1.0;
  }
  constexpr double kMost = std::numeric_limits<double>::max();
  const double margin =
      high > low ? share * std::min(high - low, kMost) : std::max(1.0, std::fabs(low) * 0.1);
  low = std::max(low - margin, -kMost);
  high = std::min(high + margin, kMost);
}

namespace {

constexpr double kLeastShare = 1e-6;  ///< of a logarithmic axis that would begin at 0
constexpr double kLeastStep = 1e-15;  ///< of the numbers, that doubles tell apart

/// m 10^exponent with m = 1, 2 or 5.
struct SRoundStep {
  int m = 1;
  int exponent = 0;

  double Value() const { return TimesTen(m, exponent); }

  /// count 10^exponent, correctly rounded.
  static double TimesTen(std::int64_t count, int exponent) {
    const std::string text = std::to_string(count) + "e" + std::to_string(exponent);
    double value = 0.0;
    if (std::from_chars(text.data(), text.data() + text.size(), value).ec ==
        std::errc::result_out_of_range) {
      return exponent < 0 ? 0.0 : std::numeric_limits<double>::infinity();
    }
    return value;
  }
};

/// The nearest round step from a rough one on.
SRoundStep StepFrom(double rough) {
  const int exponent = static_cast<int>(std::floor(std::log10(rough)));
  const double share = rough / SRoundStep::TimesTen(1, exponent);
  return share > 5.0 ? SRoundStep{1, exponent + 1} : SRoundStep{share > 2.0 ? 5 : 2, exponent};
}

constexpr std::size_t kShort = 7;  ///< characters of a number

std::string TextOf(double value, bool plain) {
  char text[400];  // the smallest doubles have 300 zeros
  const auto end =
      plain ? std::to_chars(text, text + sizeof(text), value, std::chars_format::fixed).ptr
            : std::to_chars(text, text + sizeof(text), value).ptr;
  return {text, end};
}

/// The shortest texts of numbers; without exponents where that makes none of them much longer.
template <class Ticks>
void SetTexts(Ticks first, Ticks last, const std::vector<double>& shown) {
  std::size_t plain = 0;
  std::size_t shortest = kShort;
  for (const double value : shown) {
    plain = std::max(plain, TextOf(value, true).size());
    shortest = std::max(shortest, TextOf(value, false).size());
  }
  for (std::size_t i = 0; first != last; ++first, ++i) {
    first->text = TextOf(shown[i], plain <= shortest);
  }
}

std::string TextOf(double value) {
  const std::string plain = TextOf(value, true);
  return plain.size() <= kShort ? plain : TextOf(value, false);
}

}  // namespace

CVisAxis::CVisAxis(const SVisRange& range, double first, double last, VisScale scale)
    : range_(range), first_(first), last_(last), scale_(scale) {
  if (scale_ != VisScale::kLinear) {
    if (!(range_.high > 0.0) || !std::isfinite(range_.high)) {
      range_ = {1.0, 10.0};
    }
    if (!(range_.low > 0.0)) {
      range_.low = std::max(range_.high * kLeastShare, std::numeric_limits<double>::min());
    }
    if (!(range_.high > range_.low)) {
      range_ = {range_.low / 2.0, range_.low * 2.0};
    }
  } else if (!(range_.high > range_.low) || !std::isfinite(range_.high) ||
             !std::isfinite(range_.low)) {
    range_.Widen(0.0);
  }
  spread_ = {Spread(range_.low), Spread(range_.high)};
}

void CVisAxis::SetReference(double reference, double factor) {
  if (reference > 0.0 && std::isfinite(reference) && factor > 0.0 && std::isfinite(factor)) {
    reference_ = reference;
    factor_ = factor;
    spread_ = {Spread(range_.low), Spread(range_.high)};
  }
}

void CVisAxis::SetTitle(std::string name, std::string unit) {
  name_ = std::move(name);
  unit_ = std::move(unit);
}

std::string CVisAxis::Title() const {
  if (scale_ == VisScale::kDecibel) {
    const std::string unit = unit_.empty() ? "" : " " + unit_;
    return name_ + " [dB re " + TextOf(reference_) + unit + "]";
  }
  return unit_.empty() ? name_ : name_ + " [" + unit_ + "]";
}

/// What lies evenly along the axis: the value, its logarithm or its level.
double CVisAxis::Spread(double value) const {
  if (scale_ == VisScale::kLinear) {
    return value;
  }
  if (!(value > 0.0)) {
    return std::numeric_limits<double>::quiet_NaN();
  }
  return scale_ == VisScale::kLogarithmic ? std::log10(value)
                                          : factor_ * (std::log10(value) - std::log10(reference_));
}

double CVisAxis::Gathered(double spread) const {
  switch (scale_) {
    case VisScale::kLogarithmic:
      return std::pow(10.0, spread);
    case VisScale::kDecibel:
      return std::pow(10.0, spread / factor_ + std::log10(reference_));
    default:
      return spread;
  }
}

double CVisAxis::PlaceOfSpread(double spread) const {
  // Halves, so that the width of the whole range of doubles is one of them.
  return first_ + (spread / 2.0 - spread_.low / 2.0) / (spread_.high / 2.0 - spread_.low / 2.0) *
                      (last_ - first_);
}

double CVisAxis::PlaceOf(double value) const { return PlaceOfSpread(Spread(value)); }

double CVisAxis::PlaceInside(double value) const {
  return PlaceOf(std::clamp(value, range_.low, range_.high));
}

double CVisAxis::ValueAt(double place) const {
  const double share = (place - first_) / (last_ - first_);
  const double half = spread_.low / 2.0 + share * (spread_.high / 2.0 - spread_.low / 2.0);
  return Gathered(2.0 * half);
}

/// Ticks at equal steps of values or levels.
void CVisAxis::AddEvenTicks(const SVisRange& range, bool levels, unsigned about,
                            std::vector<STick>& ticks) const {
  const double half = std::max(about, 1U) / 2.0;
  const double size = std::max(std::fabs(range.low), std::fabs(range.high));
  const double rough = std::max((range.high / 2.0 - range.low / 2.0) / half, kLeastStep * size);
  if (!(rough > 0.0)) {
    return;
  }
  const SRoundStep step = StepFrom(rough);
  const double width = step.Value();
  if (!(width > 0.0) || !std::isfinite(width)) {
    return;
  }
  std::vector<double> shown;
  const auto first = static_cast<std::int64_t>(std::ceil(range.low / width));
  for (std::int64_t i = 0; i < 3 * std::int64_t{std::max(about, 1U)}; ++i) {
    const double at = SRoundStep::TimesTen((first + i) * step.m, step.exponent);
    if (!(at <= range.high)) {
      break;
    }
    ticks.push_back({levels ? Gathered(at) : at, levels ? PlaceOfSpread(at) : PlaceOf(at), ""});
    shown.push_back(at);
  }
  SetTexts(ticks.begin(), ticks.end(), shown);
}

/// At powers of ten, with 2 and 5 times them where there are few.
std::vector<CVisAxis::STick> CVisAxis::DecadeTicks(unsigned about) const {
  std::vector<STick> ticks;
  const int first = static_cast<int>(std::floor(spread_.low));
  const int last = static_cast<int>(std::floor(spread_.high));
  const int most = static_cast<int>(std::clamp(about, 1U, 1000U));
  const int each = (last - first) / most + 1;
  const bool between = last - first < most / 2 + 1;
  for (int decade = first; decade <= last; decade += each) {
    for (const int m : {1, 2, 5}) {
      const double value = SRoundStep::TimesTen(m, decade);
      if ((m == 1 || between) && value >= range_.low && value <= range_.high) {
        ticks.push_back({value, PlaceOf(value), TextOf(value)});
      }
    }
  }
  return ticks;
}

std::vector<CVisAxis::STick> CVisAxis::Ticks(unsigned about) const {
  std::vector<STick> ticks;
  if (scale_ == VisScale::kLogarithmic) {
    ticks = DecadeTicks(about);
  } else {
    AddEvenTicks(spread_, scale_ == VisScale::kDecibel, about, ticks);
  }
  if (scale_ == VisScale::kLogarithmic && ticks.size() < 2) {
    ticks.clear();
    AddEvenTicks(range_, false, about, ticks);
  }
  return ticks;
}

}  // namespace limes

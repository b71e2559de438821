#include "recordings/forming/former.h"

#include <algorithm>
#include <cmath>

#include "recordings/errors.h"
#include "recordings/forming/level_over_time.h"
#include "recordings/forming/time_signal.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

void RequireFinite(const SPart& part, const SQuantity& q) {
  if (q.single && !std::isfinite(q.value)) {
    throw CInputError(part.name, "quantity " + Quoted(q.name) + " is not finite");
  }
  const auto bad =
      std::find_if_not(q.values.begin(), q.values.end(), [](float v) { return std::isfinite(v); });
  if (bad != q.values.end()) {
    throw CInputError(part.name, "quantity " + Quoted(q.name) + ", value " +
                                     std::to_string(bad - q.values.begin() + 1) + " is not finite");
  }
}

void RemoveMean(std::vector<float>& values) {
  double sum = 0.0;
  for (const float v : values) {
    sum += v;
  }
  const double mean = sum / static_cast<double>(values.size());
  for (float& v : values) {
    v = static_cast<float>(v - mean);
  }
}

double MeanSquare(const std::vector<float>& values) {
  double sum = 0.0;
  for (const float v : values) {
    sum += double{v} * v;
  }
  return sum / static_cast<double>(values.size());
}

/// Fourth moment about the mean over the square of the second: 3 for noise that is Normal.
double Kurtosis(const std::vector<float>& values) {
  double mean = 0.0;
  for (const float v : values) {
    mean += v / static_cast<double>(values.size());
  }
  double second = 0.0;
  double fourth = 0.0;
  for (const float v : values) {
    const double square = (v - mean) * (v - mean);
    second += square;
    fourth += square * square;
  }
  return fourth * static_cast<double>(values.size()) / (second * second);
}

float Level(double meanSquare, double reference) {
  return static_cast<float>(20.0 * std::log10(std::max(std::sqrt(meanSquare), 1e-12) / reference));
}

constexpr double kUsualResolution = 5.0;  ///< of bands, in Hz

}  // namespace

std::optional<std::pair<double, double>> RangeOf(std::string_view text) {
  const auto colon = text.find(':');
  std::pair<double, double> range;
  if (colon == std::string_view::npos || !ParseNumber(text.substr(0, colon), range.first) ||
      !ParseNumber(text.substr(colon + 1), range.second) || !(range.first >= 0.0) ||
      !(range.second > range.first)) {
    return std::nullopt;
  }
  return range;
}

double CFormer::Reference(const SUnit& unit) const {
  return settings_.ref.value_or(unit.Display() == "Pa" ? 2e-5 : 1.0);
}

CLevelSpectrum& CFormer::Spectrum(std::uint32_t n, double reference) {
  auto& made = spectra_[{n, reference}];
  if (!made) {
    made = std::make_unique<CLevelSpectrum>(n, reference);
  }
  return *made;
}

/// Samples of a segment: as the length is given, or by the resolution, given or usual.
std::uint32_t CFormer::SegmentOf(const std::string& part, const SQuantity& q, double usual) const {
  if (settings_.spectrum > 0) {
    return settings_.spectrum;
  }
  const double step = q.dx * Seconds(part, q);
  const double samples = 1.0 / (settings_.resolution.value_or(usual) * step);
  const double even = 2.0 * std::round(0.5 * samples);
  const bool exact = std::fabs(even - samples) <= 1e-4 * samples || !settings_.resolution;
  if (!(even >= 4.0 && even <= kMostSegment) || !exact) {
    Refuse(part, q,
           ": a resolution of " + NumberText(settings_.resolution.value_or(usual)) +
               " Hz takes segments of " + NumberText(samples) + " samples at " +
               NumberText(1.0 / step) + " Hz, and these must be an even number from 4 on");
  }
  return static_cast<std::uint32_t>(even);
}

void CFormer::FormSpectrum(const std::string& part, SQuantity& q) {
  const std::uint32_t n = SegmentOf(part, q);
  const double reference = Reference(q.unit);
  Spectrum(n, reference).Form(q.values, levels_);
  if (levels_.empty()) {
    Refuse(part, q,
           ": " + std::to_string(q.values.size()) + " samples, fewer than " +
               (settings_.spectrum > 0 ? "--spectrum " : "a segment of ") + std::to_string(n));
  }
  q.dx = settings_.resolution.value_or(1.0 / (n * q.dx));
  q.values = levels_;
  q.x0 = q.dx;
  q.xUnit = settings_.resolution ? ParseUnit("Hz") : ReciprocalUnit(q.xUnit);
  q.unit = LevelUnit(q.unit, reference);
}

CBandPower& CFormer::Power(const std::string& part, const SQuantity& q) {
  const std::uint32_t n = SegmentOf(part, q, kUsualResolution);
  const double rate = 1.0 / (q.dx * Seconds(part, q));
  auto& made = powers_[{n, rate}];
  if (!made) {
    made = std::make_unique<CBandPower>(n, rate);
  }
  if (!made->Take(q.values)) {
    Refuse(part, q,
           ": " + std::to_string(q.values.size()) + " samples, fewer than a segment of " +
               std::to_string(n));
  }
  return *made;
}

void CFormer::FormBands(const std::string& part, SQuantity& q) {
  const CBandPower& power = Power(part, q);
  const std::vector<SBand> bands = BandsOf(settings_.bands, power);
  if (bands.size() < 2) {
    Refuse(part, q, ": fewer than two bands lie below half the sampling rate");
  }
  const double reference = Reference(q.unit);
  q.values.clear();
  for (const SBand& band : bands) {
    q.values.push_back(Level(power.Between(band.low, band.high), reference));
  }
  q.x0 = bands.front().number;
  q.dx = bands[1].number - bands[0].number;
  q.xUnit = ParseUnit("band");
  q.unit = LevelUnit(q.unit, reference);
}

void CFormer::FormLevel(const std::string& part, SQuantity& q) {
  const double seconds = Seconds(part, q);
  const double reference = Reference(q.unit);
  SLevelOverTime level = LevelOverTime(q.values, q.dx * seconds, *settings_.level, reference);
  if (level.levels.size() < 2) {
    Refuse(part, q,
           ": " + std::to_string(q.values.size()) + " samples are fewer than two time " +
               "constants of " + NumberText(*settings_.level) + " s");
  }
  q.values = std::move(level.levels);
  q.x0 = q.x0 * seconds + level.x0;
  q.dx = level.dx;
  q.xUnit = ParseUnit("s");
  q.unit = LevelUnit(q.unit, reference);
}

void CFormer::FormSingle(const std::string& part, const SQuantity& q, std::vector<SQuantity>& to) {
  if (q.health == SignalHealth::kSilent || q.health == SignalHealth::kConstant ||
      q.health == SignalHealth::kClipped) {
    Refuse(part, q,
           q.health == SignalHealth::kClipped
               ? " ran at full scale: no single values are formed of it"
               : " is constant: no single values are formed of it");
  }
  const double rms = std::sqrt(MeanSquare(q.values));
  const double peak =
      std::fabs(*std::max_element(q.values.begin(), q.values.end(),
                                  [](float a, float b) { return std::fabs(a) < std::fabs(b); }));
  for (const std::string& wanted : settings_.single) {
    SQuantity& value = to.emplace_back();
    value.single = true;
    value.name = q.name + " " + wanted;
    value.health = q.health;
    value.recorded = q.recorded;
    const auto range = RangeOf(wanted);
    if (range) {
      const CBandPower& power = Power(part, q);
      if (range->first < power.Lowest() || range->second > power.Highest()) {
        Refuse(part, q,
               ": the band " + wanted + " Hz does not lie between " + NumberText(power.Lowest()) +
                   " and " + NumberText(power.Highest()) + " Hz, which its spectrum tells");
      }
      value.name += " Hz";
      value.value = Level(power.Between(range->first, range->second), Reference(q.unit));
      value.unit = LevelUnit(q.unit, Reference(q.unit));
      continue;
    }
    value.value = wanted == "rms"     ? rms
                  : wanted == "peak"  ? peak
                  : wanted == "crest" ? peak / rms
                                      : Kurtosis(q.values);
    if (!std::isfinite(value.value)) {
      Refuse(part, q, " has no " + wanted);
    }
    if (wanted == "rms" || wanted == "peak") {
      value.unit = q.unit;
    }
  }
}

/// What is done to a signal before something is formed of it.
void CFormer::FormSignal(const std::string& part, SQuantity& q) {
  if (q.values.empty()) {
    Refuse(part, q, " holds no samples");
  }
  if (!q.x.empty()) {
    Refuse(part, q,
           " is not at equal steps, as " +
               std::string(settings_.spectrum > 0 ? "--spectrum needs it" : "forming needs it"));
  }
  if (q.unit.IsDecibel()) {
    Refuse(part, q,
           " is a level in " + q.unit.Display() + "; " +
               (settings_.spectrum > 0 ? "--spectrum takes time signals"
                                       : "forming takes time signals"));
  }
  q.recorded = {RecordedTime(q, q.values), RmsAboutMean(q.values)};
  if (settings_.weighting) {
    filter_.Weight(q.values, q.dx * Seconds(part, q),
                   *settings_.weighting == "A" ? WeightingA : WeightingC);
  }
  if (settings_.envelope) {
    const auto range = RangeOf(*settings_.envelope).value_or(std::pair(0.0, 0.0));
    const double step = q.dx * Seconds(part, q);
    if (range.second > 0.5 / step) {
      Refuse(part, q,
             ": --envelope " + *settings_.envelope + " reaches beyond half the sampling " +
                 "rate of " + NumberText(1.0 / step) + " Hz");
    }
    filter_.Envelope(q.values, step, range.first, range.second);
    RemoveMean(q.values);
  }
}

/// Scale, unit and checks, before anything is formed.
void CFormer::Prepare(const SPart& part, SQuantity& q, bool wave) {
  ScaleBy(settings_.scale, q.values);
  q.value *= settings_.scale;
  if (settings_.unit && !(settings_.speed && q.name == *settings_.speed)) {
    q.unit = ParseUnit(*settings_.unit);
  }
  RequireFinite(part, q);
  q.health = HealthOf(q.values);
  if (q.health == SignalHealth::kClipped && !wave && !settings_.Forms()) {
    q.health = SignalHealth::kHealthy;  // a curve of a process may rest where it is largest
  }
  if (settings_.detrend && !q.single && !(settings_.speed && q.name == *settings_.speed)) {
    RemoveMean(q.values);
  }
}

void CFormer::Form(SPart& part, bool wave) {
  for (SQuantity& q : part.quantities) {
    Prepare(part, q, wave);
  }
  if (settings_.orders) {
    FormOrders(part);
    return;
  }
  std::vector<SQuantity> singles;
  for (SQuantity& q : part.quantities) {
    if (settings_.Forms() && !q.single) {
      FormSignal(part.name, q);
    } else if (wave) {
      q.recorded = {RecordedTime(q, q.values), RmsAboutMean(q.values)};
    }
    if (q.single || !(settings_.FormsLevels() || !settings_.single.empty())) {
      if (settings_.ref && !SetReference(q.unit, *settings_.ref)) {
        throw CInputError(part.name, "--ref is for decibels, but quantity " + Quoted(q.name) +
                                         " is in " +
                                         (q.unit.IsNone() ? "no unit" : q.unit.Display()));
      }
    } else if (settings_.bands > 0) {
      FormBands(part.name, q);
    } else if (!settings_.single.empty()) {
      FormSingle(part.name, q, singles);
    } else if (settings_.level) {
      FormLevel(part.name, q);
    } else {
      FormSpectrum(part.name, q);
    }
  }
  if (!settings_.single.empty()) {
    part.quantities = std::move(singles);
  }
}

}  // namespace limes::recordings

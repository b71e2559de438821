#include "recordings/forming/former.h"

#include <algorithm>
#include <cmath>

#include "recordings/errors.h"
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

void Scale(std::vector<float>& values, double factor) {
  if (factor != 1.0) {
    for (float& v : values) {
      v = static_cast<float>(v * factor);
    }
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

}  // namespace

void CFormer::FormSpectrum(const std::string& part, SQuantity& q) {
  const std::uint32_t n = settings_.spectrum;
  if (!q.x.empty()) {
    throw CInputError(
        part, "quantity " + Quoted(q.name) + " is not at equal steps, as --spectrum needs it");
  }
  if (q.unit.IsDecibel()) {
    throw CInputError(part, "quantity " + Quoted(q.name) + " is a level in " + q.unit.Display() +
                                "; --spectrum takes time signals");
  }
  const bool pressure = q.unit.Display() == "Pa";
  const double reference = settings_.ref.value_or(pressure ? 2e-5 : 1.0);
  std::size_t at = 0;
  while (at < references_.size() && references_[at] != reference) {
    ++at;
  }
  if (at == references_.size()) {
    references_.push_back(reference);
    spectra_.push_back(std::make_unique<CLevelSpectrum>(n, reference));
  }
  spectra_[at]->Form(q.values, levels_);
  if (levels_.empty()) {
    throw CInputError(part, "quantity " + Quoted(q.name) + ": " + std::to_string(q.values.size()) +
                                " samples, fewer than --spectrum " + std::to_string(n));
  }
  const double step = 1.0 / (n * q.dx);
  q.values = levels_;
  q.x0 = step;
  q.dx = step;
  q.xUnit = ReciprocalUnit(q.xUnit);
  q.unit = LevelUnit(q.unit, reference);
}

void CFormer::Form(SPart& part, bool wave) {
  const std::uint32_t n = settings_.spectrum;
  for (SQuantity& q : part.quantities) {
    Scale(q.values, settings_.scale);
    q.value *= settings_.scale;
    if (settings_.unit) {
      q.unit = ParseUnit(*settings_.unit);
    }
    RequireFinite(part, q);
    q.health = HealthOf(q.values);
    if (q.health == SignalHealth::kClipped && !wave && n == 0) {
      q.health = SignalHealth::kHealthy;  // a curve of a process may rest where it is largest
    }
    if (settings_.detrend && !q.single) {
      RemoveMean(q.values);
    }
    if (n > 0 && !q.single) {
      FormSpectrum(part.name, q);
    } else if (settings_.ref && !SetReference(q.unit, *settings_.ref)) {
      throw CInputError(part.name, "--ref is for decibels, but quantity " + Quoted(q.name) +
                                       " is in " +
                                       (q.unit.IsNone() ? "no unit" : q.unit.Display()));
    }
  }
}

}  // namespace limes::recordings

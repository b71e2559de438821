#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "recordings/forming/bands.h"
#include "recordings/forming/orders.h"
#include "recordings/forming/spectral_filter.h"
#include "recordings/forming/spectrum.h"
#include "recordings/measurement.h"
#include "recordings/read_settings.h"

namespace limes::recordings {

/// "LOW:HIGH", two numbers from 0 on of which the second is larger; nothing for anything else.
std::optional<std::pair<double, double>> RangeOf(std::string_view text);

/// Makes quantities to be learnt or judged of what was measured: scale, unit, mean removed, and
/// what the settings form of time signals. Throws CInputError for values that are not finite, and
/// for signals of which that cannot be formed.
class CFormer {
 public:
  explicit CFormer(const SReadSettings& settings) : settings_(settings) {}

  /// wave: the values are samples of a sound, as those that something is formed of always are.
  void Form(SPart& part, bool wave);

 private:
  void Prepare(const SPart& part, SQuantity& quantity, bool wave);
  void FormSignal(const std::string& part, SQuantity& quantity);
  void FormSpectrum(const std::string& part, SQuantity& quantity);
  void FormBands(const std::string& part, SQuantity& quantity);
  void FormLevel(const std::string& part, SQuantity& quantity);
  void FormSingle(const std::string& part, const SQuantity& quantity, std::vector<SQuantity>& to);
  void FormOrders(SPart& part);
  void FormOrderSpectrum(const std::string& part, const SAngleSignal& angle, SQuantity& quantity);
  void FormOrderCuts(const std::string& part, const SAngleSignal& angle, double rate,
                     const SQuantity& quantity, std::vector<SQuantity>& to);
  SRevolutions TakeSpeed(SPart& part);
  std::uint32_t SegmentOf(const std::string& part, const SQuantity& quantity,
                          double usual = 0.0) const;
  double Reference(const SUnit& unit) const;
  CLevelSpectrum& Spectrum(std::uint32_t n, double reference);
  CBandPower& Power(const std::string& part, const SQuantity& quantity);

  SReadSettings settings_;
  std::map<std::pair<std::uint32_t, double>, std::unique_ptr<CLevelSpectrum>> spectra_;
  std::map<std::pair<std::uint32_t, double>, std::unique_ptr<CBandPower>> powers_;
  CSpectralFilter filter_;
  std::vector<float> levels_;
};

}  // namespace limes::recordings

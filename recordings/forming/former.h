#pragma once

#include <memory>
#include <string>
#include <vector>

#include "recordings/forming/spectrum.h"
#include "recordings/measurement.h"
#include "recordings/read_settings.h"

namespace limes::recordings {

/// Makes quantities to be learnt or judged of what was measured: scale, unit, mean removed, level
/// spectrum. Throws CInputError for values that are not finite.
class CFormer {
 public:
  explicit CFormer(const SReadSettings& settings) : settings_(settings) {}

  /// wave: the values are samples of a sound, as those that a spectrum is formed of always are.
  void Form(SPart& part, bool wave);

 private:
  void FormSpectrum(const std::string& part, SQuantity& quantity);

  SReadSettings settings_;
  std::vector<std::unique_ptr<CLevelSpectrum>> spectra_;  ///< one per reference in use
  std::vector<double> references_;
  std::vector<float> levels_;
};

}  // namespace limes::recordings

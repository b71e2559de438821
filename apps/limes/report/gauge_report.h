#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>

#include "limes/learning/gauge_study.h"

namespace limes::host {

/// What a study of a gauge is about.
struct SGaugeHead {
  std::string name;  ///< of the values
  std::string unit;
  std::size_t measurements = 0;
  STolerance tolerance;
};

/// A study of one part of known value, for people, and as a JSON object.
void PrintGaugeCheck(std::ostream& out, const SGaugeHead& head, double reference,
                     const SGaugeCheck& check);
void PrintGaugeCheckJson(std::ostream& out, const SGaugeHead& head, double reference,
                         const SGaugeCheck& check);

/// A study of several parts.
void PrintGaugeStudy(std::ostream& out, const SGaugeHead& head, const SGaugeStudy& study);
void PrintGaugeStudyJson(std::ostream& out, const SGaugeHead& head, const SGaugeStudy& study);

}  // namespace limes::host

#pragma once

#include <cstdint>
#include <span>

#include "limes/export.h"
#include "limes/learning/tolerance.h"

namespace limes {

/// Is one gauge good enough: one part of known value measured again and again.
struct SGaugeCheck {
  double bias = 0.0;    ///< mean - reference
  double spread = 0.0;  ///< with the divisor n - 1
  double cg = 0.0;      ///< 0.2 tolerance / 6 s
  double cgk = 0.0;     ///< (0.1 tolerance - |bias|) / 3 s
  double chance = 0.0;  ///< that a bias this large comes of the spread alone (two-sided t)
};

/// Type 1 study. Cg and Cgk are NaN without a finite tolerance, infinite without spread; chance is
/// NaN for fewer than 2 values or no spread. O(n).
LIMES_EXPORT SGaugeCheck CheckGauge(std::span<const double> values, double reference,
                                    const STolerance& tolerance);

/// One measurement of a study.
struct SGaugeReading {
  std::uint32_t part = 0;
  std::uint32_t person = 0;
  double value = 0.0;
};

/// What became of a study's table.
enum class GaugeStatus {
  kOk,
  kTooFew,      ///< fewer than 2 parts or 2 measurements of each part by each person
  kUnbalanced,  ///< not each person measured each part equally often
  kNotFinite,
  kMemory,
};

/// Where the variance of measurements comes from, as standard deviations.
struct SGaugeStudy {
  std::uint32_t parts = 0;
  std::uint32_t persons = 0;
  std::uint32_t trials = 0;      ///< of each part by each person
  double repeatability = 0.0;    ///< the same person, the same part
  double reproducibility = 0.0;  ///< between persons, interaction included
  double interaction = 0.0;      ///< of persons with parts; 0 when pooled
  double gauge = 0.0;            ///< both together: GRR
  double partToPart = 0.0;
  double total = 0.0;
  double categories = 0.0;         ///< of parts that can be told apart: sqrt(2) part / gauge
  double interactionChance = 1.0;  ///< that the interaction comes of the repeatability alone
  bool pooled = false;             ///< the interaction counts as repeatability: chance above 0.25
};

/// Repeatability and reproducibility by the analysis of variance of a balanced table with parts and
/// persons as random effects; negative components become 0 (Burdick, Borror, Montgomery, Journal of
/// Quality Technology 35, 2003, 342). One person gives no reproducibility. study is unchanged
/// unless kOk. O(n log n).
LIMES_EXPORT GaugeStatus StudyGauge(std::span<const SGaugeReading> readings, SGaugeStudy& study);

}  // namespace limes

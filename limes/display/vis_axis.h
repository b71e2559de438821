#pragma once

#include <limits>
#include <string>
#include <vector>

#include "limes/export.h"

namespace limes {

/// Values from low to high, both included; empty at first.
struct LIMES_EXPORT SVisRange {
  double low = std::numeric_limits<double>::infinity();
  double high = -std::numeric_limits<double>::infinity();

  bool IsEmpty() const { return !(low <= high); }

  /// Grows to a value; leaves out what is not finite.
  void Add(double value);
  void Add(const SVisRange& other);

  /// Opens what is empty (0 to 1) or a point, and leaves room of this share of the width at both
  /// ends.
  void Widen(double share);
};

/// How values are spread along an axis.
enum class VisScale {
  kLinear,
  kLogarithmic,
  kDecibel,  ///< evenly in levels: factor lg(value / reference)
};

/// An axis of a view: which value lies at which place, in whatever unit the view counts places
/// (pixels), and its ticks at round values. Draws nothing.
///
/// Any two places will do, also a first one that lies to the right of, or below, the last. Any
/// range will do: what is empty, a point or not finite is opened as by SVisRange::Widen; where
/// values are spread by their logarithm, a lower end that is not above 0 becomes a millionth of
/// the upper end, and a range without values above 0 goes from 1 to 10.
class LIMES_EXPORT CVisAxis {
 public:
  struct STick {
    double value;
    double place;
    std::string text;  ///< of the value, of a decibel axis of its level; without unit
  };

  /// first, last: places of the lowest and the highest value.
  CVisAxis(const SVisRange& range, double first, double last, VisScale scale = VisScale::kLinear);

  /// Of a decibel axis: value of the level 0, above 0, and 20 for amplitudes or 10 for powers;
  /// others leave it as it is, 1 and 20 at first.
  void SetReference(double reference, double factor = 20.0);

  /// What is drawn along it, and its unit, both UTF-8.
  void SetTitle(std::string name, std::string unit);

  /// "name [unit]", of a decibel axis "name [dB re 2e-05 Pa]".
  std::string Title() const;

  /// Place of a value, beyond the ends of the axis, too; NaN where it has none: for NaN, and by a
  /// logarithm for what is not above 0.
  double PlaceOf(double value) const;

  /// The same at the nearer end for what is outside; at the lower end for what a logarithm leaves
  /// out; NaN for NaN.
  double PlaceInside(double value) const;

  /// The value at a place, which is beyond the ends outside of the axis.
  double ValueAt(double place) const;

  /// About so many ticks inside the axis, at 1, 2 or 5 times powers of ten, never more than 3
  /// times as many. None where the numbers of the axis are too near to each other for round ones
  /// between them.
  std::vector<STick> Ticks(unsigned about = 5) const;

  const SVisRange& Range() const { return range_; }
  double First() const { return first_; }
  double Last() const { return last_; }
  VisScale Scale() const { return scale_; }

 private:
  double Spread(double value) const;
  double Gathered(double spread) const;
  double PlaceOfSpread(double spread) const;
  void AddEvenTicks(const SVisRange& range, bool levels, unsigned about,
                    std::vector<STick>& ticks) const;
  std::vector<STick> DecadeTicks(unsigned about) const;

  SVisRange range_;
  SVisRange spread_;  ///< what lies evenly along the axis
  double first_;
  double last_;
  VisScale scale_;
  double reference_ = 1.0;
  double factor_ = 20.0;
  std::string name_;
  std::string unit_;
};

}  // namespace limes

#pragma once

#include <cstdint>
#include <vector>

#include "limes/export.h"

namespace limes {

class CSigCurve;
class CSigCurveArray;

/// Brings samples to another number for display and comparison: shorter by one value a bin, longer
/// by holding, ramping or interpolating, a curve array to a grid of rows over its T axis.
///
/// For display: bins are centred on their outputs, so the last samples may be in no bin, and a peak
/// there is not seen. Never judge on the result. The static routines take plain buffers, which must
/// not overlap unless both lengths are equal, and count positions in float. The buffers grow, and
/// are kept from call to call. One thread at a time.
class LIMES_EXPORT CResampleTool {
 public:
  /// Option set: a mode in the low three bits, and kContinue.
  ///
  /// | mode | a bin becomes | k outputs of one sample, 2 / more |
  /// |---|---|---|
  /// | 0, 6, 7 | its first sample | sample |
  /// | 1 | maximum | max(previous, sample), sample / sample |
  /// | 2 | minimum | min(previous, sample), sample / sample |
  /// | 3 | mean | midpoint, sample / ramp from the previous sample to this one |
  /// | 4 | (minimum + maximum) / 2 | midpoint, sample / half midpoints, half samples |
  /// | 5 | maximum | Resample1dUpInterpol; with kContinue as mode 3 |
  ///
  /// Maxima and minima: strict comparisons from the first on, so a leading NaN stays and another
  /// one is passed over.
  using InterpOpts = std::int32_t;
  static constexpr InterpOpts kFirst = 0;
  static constexpr InterpOpts kMaximum = 1;
  static constexpr InterpOpts kMinimum = 2;
  static constexpr InterpOpts kMean = 3;
  static constexpr InterpOpts kMidRange = 4;
  static constexpr InterpOpts kInterpolate = 5;
  static constexpr InterpOpts kModeMask = 7;

  /// Upsampling goes on from the last sample of the process's previous upsampling, so that blocks
  /// of one signal join without a step. Only for one signal and one thread at a time.
  static constexpr InterpOpts kContinue = 16;

  /// Buffers null, counts 0, section from 0 to 1 for x and z, not enabled.
  CResampleTool() = default;

  // Copies have buffers of their own. O(buffers).
  CResampleTool(const CResampleTool&) = default;
  CResampleTool& operator=(const CResampleTool&) = default;
  virtual ~CResampleTool();

  /// nIn samples to nOut values: a copy when both are equal, else Resample1dDown or Resample1dUp.
  /// Nothing when a count is not above 0 or a pointer is null. O(nIn + nOut).
  static void Resample1d(const float* src, int nIn, float* dst, int nOut, InterpOpts opts);

  /// The source's values to as many as the target has. Of an extended curve only the valid ones
  /// are taken. Target and source must not be the same curve unless their counts are equal. The
  /// target keeps its header. Nothing for null, or when either has no values. O(values).
  static void Resample1d(const CSigCurve* src, CSigCurve* dst, InterpOpts opts);

  /// All values of the source to n, converted by IntConversion over the range that the source
  /// reports. False, with nothing written, for null, without values or n, and when memory is short.
  /// O(values + n).
  bool Resample1d(const CSigCurve* src, std::int32_t* dst, unsigned n, int maxValue,
                  InterpOpts opts);

  /// Bins of nIn samples to nOut < nIn values. Outputs for which no sample is left take the last
  /// one. O(nIn + nOut).
  static void Resample1dDown(const float* src, int nIn, float* dst, int nOut, InterpOpts opts);

  /// nIn samples spread over nOut > nIn values. O(nIn + nOut).
  static void Resample1dUp(const float* src, int nIn, float* dst, int nOut, InterpOpts opts);

  /// Straight lines between nIn samples at nOut > nIn values, from the first to the last. O(nOut).
  static void Resample1dUpInterpol(const float* src, int nIn, float* dst, int nOut);

  /// Maxima of the bins of Resample1dDown; nOut may be up to nIn. O(nIn).
  static void Resample1dDownMaxi(const float* src, int nIn, float* dst, int nOut);

  /// dst = clamp(trunc((x - lo) s + 0.5), 0, maxValue), s = maxValue / (hi - lo), or maxValue when
  /// hi = lo; NaN gives 0. Product in float, sum in double. O(n).
  static void IntConversion(const float* src, unsigned n, float lo, float hi, std::int32_t* dst,
                            int maxValue);

  /// Grid of height rows of width points: row r combines the curves whose T lies in step r of the
  /// array's T range, by their element-wise maximum (a NaN takes the next curve's value), brought
  /// to the width by bin maxima, or by interpolation when it is longer. Rows between two filled
  /// ones take the same interpolated values, at the start between row 0 as it is and the first
  /// filled one. Rows behind the last curve of the array take the values of the last filled row;
  /// where curves follow behind the section, they stay as they are. Samples that no curve of a row
  /// has are 0.
  ///
  /// False, with the grid unchanged, with fewer than two curves, without a first curve or its
  /// values, for an empty grid, a T range or section that is not rising, and when memory is short.
  /// Reads each value once: O(values + width height).
  bool Resample2d(const CSigCurveArray* array, unsigned width, unsigned height);

  /// Section of x and T that Resample2d takes, when enabled: the samples of the first curve from
  /// xFrom to xTo, rows from zFrom to zTo.
  void Setze2dAusschnitt(bool enabled, float xFrom, float xTo, float zFrom, float zTo);

  /// First point of a row of the grid; null when there is none.
  float* PZeile(unsigned row) { return PPunkt(0, row); }
  const float* PZeile(unsigned row) const { return PPunkt(0, row); }

  /// Point (x, y) of the grid; null when there is none.
  float* PPunkt(unsigned x, unsigned y) {
    return x < width_ && y < height_ ? grid_.data() + Offset(x, y) : nullptr;
  }
  const float* PPunkt(unsigned x, unsigned y) const {
    return x < width_ && y < height_ ? grid_.data() + Offset(x, y) : nullptr;
  }

  unsigned Width() const { return width_; }
  unsigned Height() const { return height_; }

  /// Makes the line buffer hold n floats; when it must grow, it takes 2 n and loses its content.
  /// False, with nothing changed, when memory is short.
  bool Adjust1dPuffer(unsigned n);

  /// Sets the size of the grid; when its buffer must grow, it takes twice the size and becomes 0.
  /// False, with nothing changed, when memory is short.
  bool Adjust2dPuffer(unsigned width, unsigned height);

  /// Work vector of the one-dimensional operations; null at first.
  const float* LineBuffer() const { return line_.empty() ? nullptr : line_.data(); }

  /// Fills the rows strictly between two rows of the grid with row0 + (row1 - row0) / (r1 - r0).
  /// Nothing when there is no such row. O(values filled).
  // kept: all of them get these same values, the first step of a ramp; displays rely on it
  void Interpol2dy(unsigned r0, unsigned r1);

 private:
  struct Section {
    float xFrom = 0.0F;
    float xTo = 1.0F;
    float zFrom = 0.0F;
    float zTo = 1.0F;
  };
  struct GridPlan;

  static void Resample1dDmUi(const float* src, int nIn, float* dst, int nOut);

  std::size_t Offset(unsigned x, unsigned y) const { return std::size_t{y} * width_ + x; }
  bool PlanGrid(const CSigCurveArray& array, GridPlan& plan) const;
  void FillRows(const CSigCurveArray& array, const GridPlan& plan);
  bool FillRow(const CSigCurveArray& array, const GridPlan& plan, float boundary, int& curve,
               float* row);

  std::vector<float> line_;  ///< its size is the capacity
  std::vector<float> grid_;  ///< its size is the capacity, rows first
  unsigned width_ = 0;
  unsigned height_ = 0;
  Section section_;
  bool sectionEnabled_ = false;
};

}  // namespace limes

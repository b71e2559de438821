#pragma once

#include <cstdint>

#include "limes/export.h"

/// Loops over plain buffers of floats and a few of integers: fills, arithmetic, conversions, sums,
/// extremes, filters, resampling. Free functions without state; the caller owns every buffer.
///
/// n counts elements. An increment (inc, srcInc, ...) is the distance of neighbouring elements in
/// elements, so that a row, a column or every k-th sample is worked on in place; 0 repeats one
/// element. "Ip" in a name: in place. The order of the arguments differs from kernel to kernel and
/// must stay: a call in another order compiles and works on other elements. Pointers must not be
/// null unless said; n = 0 writes nothing and reduces to 0.0 unless said. Nothing allocates or
/// throws. O(n) unless said.
///
/// Arithmetic is single precision in ascending order of the elements, sums included, so that
/// results are the same bits on every processor and for every increment and alignment. Only which
/// NaN a computation gives is open. Buffers may overlap in any way where nothing else is said: the
/// result is that of the plain loop. Floats become integers by rounding to the nearest, ties to
/// even, unless said.
namespace limes::DVL {

// --- Buffers ----------------------------------------------------------------------------------

/// Block of n floats or integers, uninitialised, its address a multiple of 16 at least (here of
/// 64); null when memory is short or n is negative. Released only by the functions below.
[[nodiscard]] LIMES_EXPORT float* NewAlignedFloat(unsigned n) noexcept;
[[nodiscard]] LIMES_EXPORT int* NewAlignedInt(int n) noexcept;
[[nodiscard]] LIMES_EXPORT unsigned* NewAlignedUnsigned(unsigned n) noexcept;

/// Release a block of any function above; null is allowed.
LIMES_EXPORT void DeleteAlignedFloat(float* block) noexcept;
LIMES_EXPORT void DeleteAlignedInt(int* block) noexcept;
LIMES_EXPORT void DeleteAlignedUnsigned(unsigned* block) noexcept;

// --- Fills and element operations ---------------------------------------------------------------

/// x = value
LIMES_EXPORT void SetConstant(int* p, std::uint32_t n, std::uint32_t inc, int value);
LIMES_EXPORT void SetConstant(float* p, std::uint32_t n, std::uint32_t inc, float value);
LIMES_EXPORT void SetConstant(double* p, std::uint32_t n, std::uint32_t inc, double value);

/// x + c; for c = 0 (of either sign) the buffer is not even read.
LIMES_EXPORT void AddFloatIp(float* p, std::uint32_t n, std::uint32_t inc, float c);

/// x - c; for c = 0 (of either sign) the buffer is not even read.
LIMES_EXPORT void SubFloatIp(float* p, std::uint32_t n, std::uint32_t inc, float c);

/// x * c; for c = 1 the buffer is not even read.
LIMES_EXPORT void MulFloatIp(float* p, std::uint32_t n, std::uint32_t inc, float c);

/// x * a + b; for a = 1 and b = 0 the buffer is not even read.
LIMES_EXPORT void LinTransfromIp(float* p, std::uint32_t n, std::uint32_t inc, float a, float b);

/// x * x
LIMES_EXPORT void SquareIp(float* p, std::uint32_t n, std::uint32_t inc);

/// Root of x; 0 for x not above 0 and for NaN.
LIMES_EXPORT void SquareRootIp(float* p, std::uint32_t n, std::uint32_t inc);

/// 1 / x, divided exactly. A zero or NaN becomes the result of the last other element before it in
/// this call, 0.0 when there is none.
LIMES_EXPORT void ReciprocalIp(float* p, std::uint32_t n, std::uint32_t inc);

/// |x|: the sign bit is cleared.
LIMES_EXPORT void VectorAbsValIp(float* p, std::uint32_t n, std::uint32_t inc);

/// min(max(x, lo), hi): NaN becomes lo, and hi wins where lo > hi.
LIMES_EXPORT void ClipVectorIp(float* p, std::uint32_t n, std::uint32_t inc, float lo, float hi);

/// Element i = (float)i * step + start, each computed afresh; i counts as a signed 32-bit integer.
LIMES_EXPORT void FloatRowIp(float* p, std::uint32_t n, std::uint32_t inc, float start, float step);

/// Element i = start + i * step, modulo 2^32.
LIMES_EXPORT void Int32RowIp(int* p, std::uint32_t n, std::uint32_t inc, int start, int step);

// --- Two vectors --------------------------------------------------------------------------------

/// dst + src * f
LIMES_EXPORT void VectorAddVector(float* dst, std::uint32_t dstInc, const float* src,
                                  std::uint32_t srcInc, std::uint32_t n, float f);

/// dst * wDst + src * wSrc
LIMES_EXPORT void VectorWeightedSum(float* dst, std::uint32_t dstInc, const float* src,
                                    std::uint32_t srcInc, std::uint32_t n, float wDst, float wSrc);

/// dst = a * fa for all elements, then dst + b * fb. With both factors 0, dst keeps its values.
LIMES_EXPORT void VectorLinCombi(const float* a, float fa, const float* b, float fb, float* dst,
                                 std::uint32_t n, std::uint32_t incA, std::uint32_t incB,
                                 std::uint32_t incDst);

/// Copies src to dst, bit for bit.
LIMES_EXPORT void Interleave(int* dst, std::uint32_t dstInc, const int* src, std::uint32_t srcInc,
                             std::uint32_t n);
LIMES_EXPORT void Interleave(unsigned* dst, std::uint32_t dstInc, const unsigned* src,
                             std::uint32_t srcInc, std::uint32_t n);
LIMES_EXPORT void Interleave(float* dst, std::uint32_t dstInc, const float* src,
                             std::uint32_t srcInc, std::uint32_t n);

/// Rows of src (height of them, of width floats) become the columns of dst (width rows of height
/// floats), row by row. O(width * height).
LIMES_EXPORT void MatrixTanspose(float* dst, const float* src, std::uint32_t width,
                                 std::uint32_t height);

/// dst where dst > src (Minimize: dst < src), else src: src also on ties and for NaN in either.
LIMES_EXPORT void MaximizeVectors(float* dst, const float* src, std::uint32_t n);
LIMES_EXPORT void MinimizeVectors(float* dst, const float* src, std::uint32_t n);
LIMES_EXPORT void MaximizeVectorsWithInc(float* dst, std::uint32_t dstInc, const float* src,
                                         std::uint32_t srcInc, std::uint32_t n);
LIMES_EXPORT void MinimizeVectorsWithInc(float* dst, std::uint32_t dstInc, const float* src,
                                         std::uint32_t srcInc, std::uint32_t n);

/// v[i0..i1], both ends included, becomes the line from y0 to y1 (its maximum, its minimum with
/// the line, ties and NaN by the rule above). The line grows by the slope, formed in double and
/// rounded, from element to element, so it may miss y1 in the last bits. For i1 <= i0 only v[i1]
/// is set to y1 (where y1 is larger, smaller). O(i1 - i0).
LIMES_EXPORT void SetVectorToPolygon(float* v, std::int32_t i0, std::int32_t i1, float y0,
                                     float y1);
LIMES_EXPORT void MaximizeVectorAndPolygon(float* v, std::int32_t i0, std::int32_t i1, float y0,
                                           float y1);
LIMES_EXPORT void MinimizeVectorAndPolygon(float* v, std::int32_t i0, std::int32_t i1, float y0,
                                           float y1);

// --- Conversions --------------------------------------------------------------------------------

/// (float)src * scale
LIMES_EXPORT void Int32ToFloat(float* dst, std::uint32_t dstInc, const std::int32_t* src,
                               std::uint32_t srcInc, std::uint32_t n, float scale);

/// The 32-bit integer in each slot is replaced by the float (float)value * scale.
LIMES_EXPORT void Int32ToFloatIp(void* p, std::uint32_t inc, std::uint32_t n, float scale);

/// src * scale rounded; NaN gives the smallest integer, what is out of range the nearest end.
LIMES_EXPORT void FloatToInt32(std::int32_t* dst, std::uint32_t dstInc, const float* src,
                               std::uint32_t srcInc, std::uint32_t n, float scale);

/// (float)src * scale from the last element back to the first, so that the floats may begin where
/// the 16-bit integers begin that they replace.
LIMES_EXPORT void Int16ToFloat(float* dst, std::uint32_t dstInc, const std::int16_t* src,
                               std::uint32_t srcInc, std::uint32_t n, float scale);

/// The low 16 bits of the integer part of src * scale, formed in double: truncated, not rounded,
/// and wrapped, not saturated. NaN and infinities give 0.
LIMES_EXPORT void FloatToInt16(std::int16_t* dst, std::uint32_t dstInc, const float* src,
                               std::uint32_t srcInc, std::uint32_t n, float scale);

/// The 32-bit integer in each slot is replaced by the float (float)value * scale + offset.
LIMES_EXPORT void I2FOffsetIp(void* p, float scale, float offset, std::uint32_t n,
                              std::uint32_t inc);

/// [lo, hi] to the bytes 0 to levels - 1: x is clipped (NaN to lo), (x - lo) * scale is rounded,
/// its low 8 bits count; scale = (levels - 1) / (hi - lo), all 0 where that is not finite. For
/// hi <= lo or one level the first n bytes, without increment, become 0. No effect for 0 levels.
LIMES_EXPORT void Float2ByteVector(const float* src, std::uint32_t n, float lo, float hi,
                                   std::uint8_t* dst, std::uint32_t levels, std::uint32_t srcInc,
                                   std::uint32_t dstInc);

/// All n colours become palette[k], the same for all: k is (count - 1) / (hi - lo), rounded and at
/// most count - 1; 0 for hi <= lo and for NaN. No effect for an empty palette. src is not read.
LIMES_EXPORT void Float2ColorVector(const float* src, std::uint32_t n, float lo, float hi,
                                    std::uint32_t* dst, const std::uint32_t* palette,
                                    std::uint32_t count, std::uint32_t srcInc);

// --- Sums and moments ---------------------------------------------------------------------------

/// Sum of x, of |x|, of x * x; the same over n.
LIMES_EXPORT float VectorSum(const float* p, std::uint32_t n, std::uint32_t inc);
LIMES_EXPORT float VectorAbsSum(const float* p, std::uint32_t n, std::uint32_t inc);
LIMES_EXPORT float VectorSqrSum(const float* p, std::uint32_t n, std::uint32_t inc);
LIMES_EXPORT float VectorMean(const float* p, std::uint32_t n, std::uint32_t inc);
LIMES_EXPORT float VectorAbsMean(const float* p, std::uint32_t n, std::uint32_t inc);
LIMES_EXPORT float VectorSqrMean(const float* p, std::uint32_t n, std::uint32_t inc);

/// Root of VectorSqrMean.
LIMES_EXPORT float VectorRMS(const float* p, std::uint32_t n, std::uint32_t inc);

/// Root of VectorSqrSum.
LIMES_EXPORT float VectorL2Norm(const float* p, std::uint32_t n, std::uint32_t inc);

/// Scalar product: the sum of a * b.
LIMES_EXPORT float VectorSkalarprodukt(const float* a, std::uint32_t incA, const float* b,
                                       std::uint32_t incB, std::uint32_t n);

/// Variance of the population: the sum of (x - mean)^2, over n; the mean goes to meanOut unless it
/// is null. Two passes.
LIMES_EXPORT float VectorVarianz(const float* p, std::uint32_t n, std::uint32_t inc,
                                 float* meanOut);

/// Root of VectorVarianz.
LIMES_EXPORT float VectorStdDev(const float* p, std::uint32_t n, std::uint32_t inc, float* meanOut);

/// Covariance: the sum of (a - mean of a) * (b - mean of b), over n; the mean of a goes to meanOut
/// unless it is null. Two passes.
LIMES_EXPORT float VectorKovarianz(const float* a, std::uint32_t incA, const float* b,
                                   std::uint32_t incB, std::uint32_t n, float* meanOut);

/// Level sum and level mean of levels x in dB: 10 lg of the sum, or of the mean, of 10^(x / 10),
/// formed relative to the first level. A single level is returned as it is. 0.0 when the sum is not
/// above 1e-9 of the first level's power, or that power is no float (above 385 dB), or for NaN.
LIMES_EXPORT float VectorLogSum(const float* p, std::uint32_t n, std::uint32_t inc);
LIMES_EXPORT float VectorLogMean(const float* p, std::uint32_t n, std::uint32_t inc);

/// Kurtosis n * sum(d^4) / sum(d^2)^2 with d = x - mean; 3 for a normal distribution, NaN for a
/// constant one. Sums in four lanes from element 0 on, wherever the buffer lies.
LIMES_EXPORT float Kurtosis(const float* p, std::uint32_t n);

/// What VectorStatistics gathers. One thread at a time.
struct LIMES_EXPORT StatisticsData_t {
  float min = 0.0F;
  float max = 0.0F;
  float mean = 0.0F;
  float meanSquare = 0.0F;  ///< mean of the squares
  float stdDev = 0.0F;      ///< set by calc_stddev alone
  std::uint32_t count = 0;  ///< samples so far, modulo 2^32

  StatisticsData_t() = default;
  StatisticsData_t(const StatisticsData_t&) = default;
  StatisticsData_t& operator=(const StatisticsData_t& other);

  /// All fields 0.
  void reset();

  /// min < max and at least one sample: equal samples alone, and NaN, do not count as valid.
  [[nodiscard]] bool valid() const;

  /// Deviation of the population from both moments; NaN where rounding makes its square negative.
  void calc_stddev();
};

/// Extremes (strictly smaller, larger, from the first on), mean and mean square of n samples. With
/// a null count, or a count of 0, they replace the outputs, which are 0.0 for n = 0; otherwise they
/// are joined with them by weight. A count that is not null grows by n. The outputs may be four
/// floats in this order.
LIMES_EXPORT void VectorStatistics(const float* p, std::uint32_t n, std::uint32_t inc, float& min,
                                   float& max, float& mean, float& meanSquare,
                                   std::uint32_t* count);
LIMES_EXPORT void VectorStatistics(const float* p, std::uint32_t n, std::uint32_t inc, float* out,
                                   std::uint32_t* count);
LIMES_EXPORT void VectorStatistics(const float* p, std::uint32_t n, std::uint32_t inc,
                                   StatisticsData_t& s);

/// Extremes, sum, mean and root mean square of the width * height elements from column x0 and row
/// y0 on, of a matrix with pitch floats a row. They replace the outputs with reset, otherwise they
/// are joined with them, count elements so far. False where pitch, rows, width or height is 0: the
/// outputs are then 0 with reset, else untouched. rows serves that test alone. O(width * height).
LIMES_EXPORT bool MatrixElementStats(const float* data, std::uint32_t pitch, std::uint32_t rows,
                                     std::uint32_t x0, std::uint32_t y0, std::uint32_t width,
                                     std::uint32_t height, float& min, float& max, float& sum,
                                     float& mean, float& rms, std::uint32_t& count, bool reset);

/// Soft maximum of the same elements: with g = 1 / first element, meanOfLogMeans is
/// ln(mean of exp(x * g)) / g, logMean ln(sum of exp(x * g)) / g. Without reset the earlier logMean
/// is one more term of the sum, meanOfLogMeans the mean weighted by elements, and count grows by 1.
/// Result as above. O(width * height).
LIMES_EXPORT bool MatrixElementLogStats(const float* data, std::uint32_t pitch, std::uint32_t rows,
                                        std::uint32_t x0, std::uint32_t y0, std::uint32_t width,
                                        std::uint32_t height, float& logMean, float& meanOfLogMeans,
                                        std::uint32_t& count, bool reset);

// --- Extremes -----------------------------------------------------------------------------------
// By strict comparisons from the first element on: a NaN there stays, another one is passed over.

/// Both extremes; untouched for n = 0.
LIMES_EXPORT void VectorMinMax(const float* p, std::uint32_t n, std::uint32_t inc, float& min,
                               float& max);

/// The first smallest (largest) element and its index in steps; 0.0 and 0 for n = 0.
LIMES_EXPORT void VectorMinIdx(const float* p, std::uint32_t n, std::uint32_t inc, float& value,
                               std::uint32_t& index);
LIMES_EXPORT void VectorMaxIdx(const float* p, std::uint32_t n, std::uint32_t inc, float& value,
                               std::uint32_t& index);

/// max(|min|, |max|)
LIMES_EXPORT float VectorAbsMax(const float* p, std::uint32_t n, std::uint32_t inc);

/// Largest a - b and, unless pos is null, the last index that has it. n = 0 counts as 1, but with
/// the result's index 0; then null buffers give 0.0.
LIMES_EXPORT float MaxDifference(const float* a, const float* b, std::uint32_t n,
                                 std::uint32_t* pos);

/// Place of the largest excess in the first region from start on in which a exceeds b. The region
/// begins where a > b and ends before the first a < b; end becomes the index behind that element,
/// n + 1 when there is none. pos is the first largest excess, 65535 when there is no region. True
/// when pos is not 65535. For start >= n both outputs are untouched.
LIMES_EXPORT bool LocalMaxDifferencePosition(const float* a, const float* b, std::uint32_t n,
                                             std::uint32_t start, std::uint32_t& end,
                                             std::uint32_t& pos);

// --- Filters ------------------------------------------------------------------------------------
// First order; the state goes from block to block of a signal.

/// Low pass: s = s * alpha + x * (1 - alpha), x = s. init: s begins at the mean of the block.
LIMES_EXPORT void VectorTiefpass(float* p, std::uint32_t n, std::uint32_t inc, float alpha,
                                 float& state, bool init);

/// High pass: s as in the low pass, x = x - s.
LIMES_EXPORT void VectorHochpass(float* p, std::uint32_t n, std::uint32_t inc, float alpha,
                                 float& state, bool init);

/// s = s * b + x * a, x = x - s
LIMES_EXPORT void AcFilterIp(float* p, float a, float b, float* state, std::uint32_t n);

/// The 32-bit integer in each slot is replaced by the float that AcFilterIp makes of
/// (float)value * scale.
LIMES_EXPORT void I2FAcFilterIp(void* p, float scale, float a, float b, float* state,
                                std::uint32_t n, std::uint32_t inc);

// --- Resampling ---------------------------------------------------------------------------------
// nIn samples of src become nOut values of dst, which lie side by side; each is multiplied by
// factor. Positions are float, so beyond some 5000 samples a bin may be off by one, and beyond some
// 1e5 the last samples may be in no bin. Exactly nOut values are written: where samples are left
// they are dropped, where values are missing the last one is repeated. Nothing happens when nIn or
// nOut is 0; for nIn = nOut src is copied. O(nIn + nOut).

/// Options of Resamling.
inline constexpr unsigned kResampleMean = 2;    ///< shorter by bin means, else by bin maxima
inline constexpr unsigned kResampleLinear = 4;  ///< longer by lines, else by the nearest sample

/// Shorter by DownsamlingMean or DownsamlingMax. Longer: every interval between two samples becomes
/// as many values as fall into it, from the left sample on; the last sample only ends the last one.
/// Two samples become a row that begins at the first and has nOut + 1 steps to the second, which is
/// read right behind the first whatever srcInc is.
LIMES_EXPORT void Resamling(unsigned flags, const float* src, std::uint32_t nIn,
                            std::uint32_t srcInc, float* dst, std::uint32_t nOut, float factor);

/// Means of nOut bins; a bin that has no sample takes the next one.
LIMES_EXPORT void DownsamlingMean(const float* src, std::uint32_t nIn, std::uint32_t srcInc,
                                  float* dst, std::uint32_t nOut, float factor);

/// Maxima of nOut bins, by strict comparisons from the bin's first sample on.
LIMES_EXPORT void DownsamlingMax(const float* src, std::uint32_t nIn, std::uint32_t srcInc,
                                 float* dst, std::uint32_t nOut, float factor);

/// Minimum and maximum of each of nOut / 2 bins; an odd nOut ends with the mean of the last pair.
/// One value: the mean. Three: minimum and maximum of all, and their midpoint, which gets the
/// factor twice. Where pairs are missing, the last pair is repeated.
LIMES_EXPORT void DownsamlingMinMax(const float* src, std::uint32_t nIn, std::uint32_t srcInc,
                                    float* dst, std::uint32_t nOut, float factor);

}  // namespace limes::DVL

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "limes/display/vis_data_array.h"
#include "limes/export.h"

namespace limes {

/// A colour in sRGB.
struct LIMES_EXPORT SVisColour {
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;

  bool operator==(const SVisColour&) const = default;
};

/// An array as a picture of colours: of each cell the largest value, as one of 255 levels.
class LIMES_EXPORT CVisDataGrid {
 public:
  static constexpr std::uint32_t kLevels = 255;
  static constexpr std::uint8_t kNone = 255;  ///< level of a cell without a value

  /// The colour of a level: from dark blue to light yellow along a straight line in CIELAB, so that
  /// equal steps look equal, brightness always rises, and those who do not tell red from green see
  /// the same order; light grey for none.
  static SVisColour ColourOf(std::uint8_t level);

  /// Forms the levels of an array over the axes x and t: level 0 at the lower end of the axis of
  /// values and below, 254 at its upper end and above, between them as the axis spreads them. Its
  /// places do not count. False, with nothing changed, for an empty picture and when memory is
  /// short. O(values + cells).
  [[nodiscard]] bool Set(const CVisDataArray& array, const CVisAxis& x, const CVisAxis& t,
                         const CVisAxis& values, std::size_t width, std::size_t height);

  std::size_t Width() const { return width_; }
  std::size_t Height() const { return height_; }

  /// Levels of the cells, row by row from the first place of t.
  std::span<const std::uint8_t> Levels() const { return levels_; }

  /// All values of a cell; empty outside and where there is none.
  SVisExtremes At(std::size_t column, std::size_t row) const;

 private:
  std::size_t width_ = 0;
  std::size_t height_ = 0;
  std::vector<SVisExtremes> cells_;
  std::vector<std::uint8_t> levels_;
};

}  // namespace limes

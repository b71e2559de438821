#include "limes/display/vis_data_grid.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

#include "limes/kernels/vector_kernels.h"
#include "limes/platform/memory_errors.h"

namespace limes {

namespace {

/// From L* 14, a* 36, b* -55 to L* 95, a* -20, b* 90 in equal steps.
constexpr std::uint32_t kColours[] = {
    0x071274, 0x211873, 0x2F1E73, 0x3A2472, 0x442B71, 0x4D3171, 0x563770, 0x5E3E6F, 0x65456F,
    0x6C4B6E, 0x73526D, 0x7A596C, 0x81606A, 0x876769, 0x8E6E68, 0x947566, 0x9B7D65, 0xA18463,
    0xA78B61, 0xAD935F, 0xB39A5D, 0xB9A25A, 0xBFA957, 0xC5B154, 0xCBB951, 0xD1C04D, 0xD7C849,
    0xDDD045, 0xE3D840, 0xE9E039, 0xEEE832, 0xF4F029, 0xFAF81C};
constexpr SVisColour kNoColour{0xE8, 0xE8, 0xE8};

}  // namespace

SVisColour CVisDataGrid::ColourOf(std::uint8_t level) {
  if (level == kNone) {
    return kNoColour;
  }
  constexpr std::uint32_t kSteps = std::size(kColours) - 1;
  const std::uint32_t at = level * kSteps;  // in parts of kLevels - 1
  const std::uint32_t step = std::min(at / (kLevels - 1), kSteps - 1);
  const std::uint32_t share = at - step * (kLevels - 1);
  const auto channel = [&](unsigned shift) {
    const std::uint32_t from = kColours[step] >> shift & 255U;
    const std::uint32_t to = kColours[step + 1] >> shift & 255U;
    return static_cast<std::uint8_t>(
        (from * (kLevels - 1 - share) + to * share + (kLevels - 1) / 2) / (kLevels - 1));
  };
  return {channel(16), channel(8), channel(0)};
}

bool CVisDataGrid::Set(const CVisDataArray& array, const CVisAxis& x, const CVisAxis& t,
                       const CVisAxis& values, std::size_t width, std::size_t height) {
  if (width == 0 || height == 0 || height > std::numeric_limits<std::uint32_t>::max() / width) {
    return false;
  }
  return detail::IfMemoryAllows([&] {
    std::vector<SVisExtremes> cells = array.Cells(x, t, width, height);
    const double low = values.PlaceInside(values.Range().low);
    const double span = values.PlaceInside(values.Range().high) - low;
    std::vector<float> shares(cells.size());
    std::transform(cells.begin(), cells.end(), shares.begin(), [&](const SVisExtremes& cell) {
      return static_cast<float>((values.PlaceInside(double{cell.high}) - low) / span);
    });
    std::vector<std::uint8_t> levels(cells.size());
    DVL::Float2ByteVector(shares.data(), static_cast<std::uint32_t>(shares.size()), 0.0F, 1.0F,
                          levels.data(), kLevels, 1, 1);
    for (std::size_t i = 0; i < cells.size(); ++i) {
      levels[i] = cells[i].IsEmpty() ? kNone : levels[i];
    }
    cells_.swap(cells);
    levels_.swap(levels);
    width_ = width;
    height_ = height;
  });
}

SVisExtremes CVisDataGrid::At(std::size_t column, std::size_t row) const {
  return column < width_ && row < height_ ? cells_[row * width_ + column] : SVisExtremes();
}

}  // namespace limes

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "apps/limes/measurement/verdict.h"
#include "apps/limes/report/plot.h"
#include "apps/limes/report/top_items.h"

namespace limes::host {

/// The NOK parts that a page shows one by one: those furthest beyond a limit, with the parts judged
/// just before and behind them.
class CNokParts {
 public:
  static constexpr std::size_t kMost = 20;
  static constexpr std::size_t kMostQuantities = 3;  ///< that are drawn of a part
  static constexpr std::size_t kMostDefects = 6;     ///< that are listed of a part

  /// The curve of a part in the columns of the page; empty where there is none.
  using DrawnOf = std::function<std::vector<SVisExtremes>(const std::string& quantity)>;
  using MarksOf = std::function<std::vector<SPlotMark>(const std::string& quantity)>;

  struct SNeighbour {
    std::string part;
    Verdict verdict = Verdict::kNotJudged;
    std::string worst;  ///< its largest deviation, in words
    std::map<std::string, std::vector<SVisExtremes>> curves{};
  };

  struct SNokPart {
    std::string part;
    std::string label;
    std::uint64_t number = 0;  ///< among all parts judged, from 1 on
    std::optional<std::int64_t> at;
    std::vector<SDefect> defects;  ///< most important first
    std::size_t allDefects = 0;
    std::vector<std::pair<std::string, SPlotPart>> quantities;  ///< furthest beyond first
    std::shared_ptr<const SNeighbour> before;
    std::shared_ptr<const SNeighbour> behind;
  };

  /// Takes the next part that was judged; the functions are called at once.
  void Add(const SPartVerdict& verdict, std::uint64_t number, const MarksOf& marksOf,
           const DrawnOf& drawnOf);

  /// All NOK parts that came.
  std::size_t Count() const { return parts_.Count(); }

  /// Furthest beyond a limit first.
  std::vector<std::shared_ptr<const SNokPart>> Items() const { return parts_.Items(); }

 private:
  CTop<std::shared_ptr<const SNokPart>> parts_{kMost};
  std::shared_ptr<const SNeighbour> last_;  ///< the part that came last
  std::shared_ptr<SNokPart> waiting_;       ///< for the one behind it
};

}  // namespace limes::host

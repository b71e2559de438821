#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "apps/limes/measurement/drift.h"
#include "apps/limes/measurement/settings.h"
#include "apps/limes/report/margin_run.h"
#include "apps/limes/report/nok_parts.h"
#include "apps/limes/report/plot.h"
#include "apps/limes/report/report.h"
#include "apps/limes/report/report_texts.h"
#include "apps/limes/report/top_items.h"

namespace limes::host {

/// Where a judged part lies beyond the limits of a quantity, most important first; else where it
/// comes closest to each. With common modes without what they explain: at the place as far from the
/// learnt mean as from what was expected.
std::vector<SPlotMark> MarksOfPart(const SPartVerdict& verdict, const SLearntSummary& learnt,
                                   bool modes);

/// What a report shows of the parts judged by learnt limits. Of the parts only what may be shown is
/// kept, so that memory does not grow with their number.
class CJudgedParts {
 public:
  // What is kept at most.
  static constexpr std::size_t kMostPlots = 100;
  static constexpr std::size_t kMostParts = 300;
  static constexpr std::size_t kMostDefects = 200;
  static constexpr std::size_t kWorstParts = 5;     ///< per quantity
  static constexpr int kSections = 16;              ///< of an axis, in which defects are counted
  static constexpr std::size_t kMostMargins = 400;  ///< points of a run of them

  /// Values of a quantity of a part at the points of its summary, empty for a single value.
  using CurveOf = std::function<std::vector<float>(const std::string& quantity)>;

  struct SPartLine {
    std::string part;
    std::string label;
    Verdict verdict = Verdict::kNotJudged;
    std::string worst;
    std::string modes{};  ///< amounts of the common modes
  };

  struct SFoundDefect {
    std::string part;
    SDefect defect;
  };

  struct SQuantity {
    std::vector<const SLearntSummary*> sides;
    CTop<SPlotPart> worst{kWorstParts};
    std::size_t nok = 0;
    CMarginRun margins{kMostMargins};
    std::optional<SQuantityVerdict> first;  ///< of the upper side, or the only one
    std::optional<SQuantityVerdict> last;
  };

  /// Defects of a quantity, a side and a section of the axis.
  struct SDefectKind {
    std::size_t parts = 0;
    std::size_t leading = 0;  ///< parts whose most important defect is of this kind
    std::uint64_t lastPart = 0;
    std::int32_t priority = std::numeric_limits<std::int32_t>::min();
    SVisRange places;

    /// The more parts it leads in, then the more parts have it at all.
    double Rank() const { return static_cast<double>(leading) * 1e9 + static_cast<double>(parts); }

    bool leads = false;  ///< of the part that is shown
    SPlotPart shown{};   ///< the part whose defect of this kind has the highest priority, of those
                         ///< that it leads in, where there are any
  };
  using DefectKey = std::tuple<std::string, Side, int>;

  CJudgedParts(const SSettings& settings, std::vector<SLearntSummary> summaries);
  CJudgedParts(const CJudgedParts&) = delete;
  CJudgedParts& operator=(const CJudgedParts&) = delete;

  /// The curves are asked for at once, and only when they may be drawn.
  void Add(const SPartVerdict& verdict, const CurveOf& curveOf);

  /// A file that could not be used: a part that was not judged.
  void AddUnusable(const std::string& file, const std::string& reason);

  const SSettings& Settings() const { return settings_; }
  const std::vector<SLearntSummary>& Summaries() const { return summaries_; }

  /// Of the quantities, as stored.
  const std::vector<std::string>& Names() const { return names_; }
  const SQuantity& Quantity(const std::string& name) const { return quantities_.at(name); }

  /// What the plot of a quantity is called on a page; empty where there is none.
  std::string IdOf(const std::string& quantity) const;

  /// Empty for a quantity that is not learnt.
  std::string XUnitOf(const std::string& quantity) const;

  /// The quantities with the most NOK parts, as many as are drawn.
  std::vector<std::string> PlottedQuantities() const;

  /// The parts that a plot of the quantity shows: one for each of its most frequent kinds of
  /// defects, then those furthest beyond a limit; where none is, the one that comes closest.
  std::vector<SPlotPart> ShownParts(const std::string& quantity) const;

  /// A drift alarm at one of the parts that came last.
  void AddDrift(const SDriftFound& drift);

  /// Of the whole parts: their quantity nearest to or furthest beyond its limit.
  const CMarginRun& Margins() const { return margins_; }
  const CNokParts& Nok() const { return nok_; }

  const std::map<DefectKey, SDefectKind>& Kinds() const { return kinds_; }
  const CTop<SFoundDefect>& Defects() const { return defects_; }
  const CTop<SPartLine>& Parts() const { return parts_; }
  const CCommonFolder& Folder() const { return folder_; }
  const SCounts& Counts() const { return counts_; }
  bool HaveLabels() const { return labels_; }

  /// Columns of each plot, so that all of them fit the page.
  std::size_t Columns() const { return columns_; }

  /// Of these, in the drawings without scripts: of the plot of a quantity, and of a part.
  std::size_t DrawnColumns(bool ofPart) const;

 private:
  void SetColumns(std::size_t parts, std::size_t nok);
  void TakeQuantities(const SPartVerdict& verdict, const CurveOf& curveOf);
  void TakeMargins(const SPartVerdict& verdict);
  void TakeDefects(const SPartVerdict& verdict, const CurveOf& curveOf);
  SPlotPart Drawn(const SPartVerdict& verdict, const SQuantity& quantity,
                  const CurveOf& curveOf) const;

  SSettings settings_;
  std::vector<SLearntSummary> summaries_;
  std::vector<std::string> names_;
  std::map<std::string, SQuantity> quantities_;
  std::map<DefectKey, SDefectKind> kinds_;
  CTop<SFoundDefect> defects_{kMostDefects};
  CTop<SPartLine> parts_{kMostParts};
  CMarginRun margins_{2 * kMostMargins};
  CNokParts nok_;
  std::deque<std::pair<std::string, std::uint64_t>> latest_;  ///< names and numbers of parts
  std::size_t marksPerPart_ = 1;
  std::size_t columns_ = SPlot::kMostColumns;
  bool curves_ = false;
  bool labels_ = false;
  CCommonFolder folder_;
  SCounts counts_;
};

}  // namespace limes::host

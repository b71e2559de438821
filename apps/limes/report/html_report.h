#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "apps/limes/measurement/settings.h"
#include "apps/limes/report/report.h"
#include "apps/limes/report/svg_plot.h"
#include "apps/limes/store/store.h"

namespace limes::host {

/// Where a judged part lies beyond the limits of a quantity, most important first; else where it
/// comes closest to each.
std::vector<SPlotMark> MarksOfPart(const SPartVerdict& verdict, const std::string& quantity);

/// Learnt limits and the parts judged by them as one page of HTML below 2 MB that needs no other
/// file: counts, most frequent and most important defects, plots of the quantities with their
/// worst parts, runs. What is too much is cut, and the page says so. Of the parts only what is
/// shown is kept.
class CHtmlReport {
 public:
  /// Values of a quantity of a part at the points of its summary, empty for a single value.
  using CurveOf = std::function<std::vector<float>(const std::string& quantity)>;

  CHtmlReport(const SSettings& settings, std::vector<SLearntSummary> summaries);
  CHtmlReport(const CHtmlReport&) = delete;
  CHtmlReport& operator=(const CHtmlReport&) = delete;
  ~CHtmlReport();

  /// Takes a judged part. The curves are asked for at once, and only when they may be drawn.
  void Add(const SPartVerdict& verdict, const CurveOf& curveOf = {});

  /// The page, with the runs of the store. The store must be in a transaction.
  std::string Page(CStore& store);

 private:
  class CContent;

  std::unique_ptr<CContent> content_;
};

/// All that a store holds as a page. Reads a moment of the store.
std::string HtmlReport(CStore& store);

}  // namespace limes::host

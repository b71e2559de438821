#pragma once

#include <string>
#include <vector>

#include "apps/limes/measurement/settings.h"
#include "apps/limes/model/model.h"
#include "apps/limes/report/judged_parts.h"
#include "apps/limes/store/store.h"

namespace limes::host {

/// Learnt limits and the parts judged by them as one page of HTML below 5 MB that needs no other
/// file: counts, distances to the limits over the parts, kinds of defects, plots of the quantities
/// with examples, NOK parts one by one, drift, runs. What is too much is cut, and the page says so.
class CHtmlReport {
 public:
  using CurveOf = CJudgedParts::CurveOf;

  explicit CHtmlReport(CModel& model);

  /// Takes a judged part. The curves are asked for at once, and only when they may be drawn.
  void Add(const SPartVerdict& verdict, const CurveOf& curveOf = {});

  /// Takes a file that could not be used, as a part that was not judged.
  void AddUnusable(const std::string& file, const std::string& reason);

  /// Takes an alarm at one of the parts that came last; stored: the store holds it, too.
  void AddDrift(const SDriftFound& drift, bool stored);

  /// The page, with the alarms and runs of the store. The store must be in a transaction.
  std::string Page(CStore& store) const;

 private:
  CJudgedParts judged_;
  SPromise promise_;
  std::vector<SLearntSummary> modes_;  ///< as curves
  std::string modesText_;
  std::vector<SDriftFound> drifts_;
};

/// All that a store holds as a page: the latest verdict of each part, or those of all runs. Reads a
/// moment of the store.
std::string HtmlReport(CStore& store, bool allRuns);

}  // namespace limes::host

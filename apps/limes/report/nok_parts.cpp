#include "apps/limes/report/nok_parts.h"

#include <algorithm>

#include "apps/limes/report/report_texts.h"

namespace limes::host {
namespace {

/// The quantities of a part that lie beyond a limit, furthest first, each once.
std::vector<std::string> BeyondLimits(const SPartVerdict& verdict, std::size_t most) {
  std::vector<const SQuantityVerdict*> found;
  for (const SQuantityVerdict& q : verdict.quantities) {
    if (q.verdict == Verdict::kFail && !IsMode(q)) {
      found.push_back(&q);
    }
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const auto* a, const auto* b) { return InSpreads(*a) > InSpreads(*b); });
  std::vector<std::string> names;
  for (const SQuantityVerdict* q : found) {
    if (names.size() < most && std::find(names.begin(), names.end(), q->name) == names.end()) {
      names.push_back(q->name);
    }
  }
  return names;
}

}  // namespace

void CNokParts::Add(const SPartVerdict& verdict, std::uint64_t number, const MarksOf& marksOf,
                    const DrawnOf& drawnOf) {
  const SQuantityVerdict* const worst = Worst(verdict);
  auto now = std::make_shared<SNeighbour>(
      SNeighbour{verdict.part, verdict.verdict,
                 worst == nullptr ? "" : worst->name + ": " + DeviationText(*worst)});
  for (const SQuantityVerdict& q : verdict.quantities) {
    if (drawnOf && !now->curves.contains(q.name)) {
      now->curves[q.name] = drawnOf(q.name);
    }
  }
  if (waiting_) {
    waiting_->behind = now;
    waiting_.reset();
  }
  const double excess = worst == nullptr ? 0.0 : InSpreads(*worst);
  if (verdict.verdict == Verdict::kFail) {
    auto part = std::make_shared<SNokPart>();
    if (parts_.Takes(excess)) {
      part->part = verdict.part;
      part->label = verdict.label.value_or("");
      part->number = number;
      part->at = verdict.at;
      part->allDefects = verdict.defects.size();
      part->defects.assign(verdict.defects.begin(),
                           verdict.defects.begin() + static_cast<std::ptrdiff_t>(std::min(
                                                         verdict.defects.size(), kMostDefects)));
      for (const std::string& name : BeyondLimits(verdict, kMostQuantities)) {
        part->quantities.push_back({name, {verdict.part, marksOf(name), now->curves[name]}});
      }
      part->before = last_;
      waiting_ = part;
    }
    parts_.Add(excess, std::move(part));
  }
  last_ = std::move(now);
}

}  // namespace limes::host

#include "apps/limes/bench/curve_keeper.h"

#include <algorithm>
#include <utility>

namespace limes::host {

void CCurveKeeper::Add(std::size_t place, const SPart& part, Verdict verdict,
                       std::vector<std::uint8_t> record) {
  const bool drawn = std::any_of(part.quantities.begin(), part.quantities.end(),
                                 [](const SQuantity& q) { return !q.single; });
  const auto size = static_cast<std::int64_t>(record.size());
  if (!drawn || size > most_) {
    return;
  }
  const bool stays = verdict == Verdict::kFail;
  waiting_.push_back({place, stays, std::move(record)});
  bytes_ += size;
  passing_ += stays ? 0 : 1;
  if (passing_ > kNewest) {
    Remove(std::find_if(waiting_.begin(), waiting_.end(),
                        [](const SWaiting& waiting) { return !waiting.stays; }));
  }
  while (bytes_ > most_) {
    Remove(waiting_.begin());
  }
}

void CCurveKeeper::Remove(const std::deque<SWaiting>::iterator& waiting) {
  bytes_ -= static_cast<std::int64_t>(waiting->record.size());
  passing_ -= waiting->stays ? 0 : 1;
  waiting_.erase(waiting);
}

void CCurveKeeper::Drop(std::size_t place) {
  while (!waiting_.empty() && waiting_.back().place >= place) {
    Remove(waiting_.end() - 1);
  }
}

void CCurveKeeper::Write(CStore& store, const std::vector<SPartVerdict>& verdicts) const {
  for (const SWaiting& waiting : waiting_) {
    store.KeepCurves(verdicts[waiting.place].id, waiting.stays, waiting.record);
  }
  if (!waiting_.empty() || store.CurveBytes() > most_) {
    store.DropCurves(kNewest, most_);
  }
}

}  // namespace limes::host

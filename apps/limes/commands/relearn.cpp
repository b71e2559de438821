#include "apps/limes/commands/relearn.h"

#include <utility>
#include <vector>

#include "apps/limes/errors.h"
#include "apps/limes/measurement/part_record.h"

namespace limes::host {
namespace {

constexpr std::size_t kAtOnce = 64;  ///< parts read at a time

/// Learns kept parts in their order while take says so; returns the last one taken.
template <class Take>
std::int64_t LearnKept(CStore& store, CModel& model, Take take) {
  const std::vector<SStoredQuantity> quantities = store.Quantities();
  std::int64_t last = 0;
  for (;;) {
    const std::vector<SLearntPart> parts = store.KeptParts(last, kAtOnce);
    for (const SLearntPart& kept : parts) {
      const auto [goesOn, learns] = take(kept);
      if (!goesOn) {
        return last;
      }
      last = kept.id;
      if (learns) {
        SPart part = PartFromRecord(kept.record, quantities);
        part.name = kept.name;
        if (const std::string reason = model.Learn(part, true); !reason.empty()) {
          throw CStoreError(part.name + " does not fit what is left: " + reason);
        }
      }
    }
    if (parts.empty()) {
      return last;
    }
  }
}

}  // namespace

CModel Relearn(CStore& store, const SSettings& settings, const std::set<std::int64_t>& leftOut) {
  CModel model(settings);
  model.Load(store.Base(), store.Path());
  LearnKept(store, model,
            [&](const SLearntPart& part) { return std::pair(true, !leftOut.contains(part.id)); });
  return model;
}

void SaveModel(CStore& store, CModel& model, std::int64_t run) {
  store.SetQuantities(model.States());
  store.SetHistory(run, model.Moment());
  store.NextStateVersion();
}

void LimitKept(CStore& store, const SSettings& settings, std::int64_t most) {
  std::int64_t left = store.KeptBytes();
  if (left <= most) {
    return;
  }
  CModel model(settings);
  model.Load(store.Base(), store.Path());
  const std::int64_t last = LearnKept(store, model, [&](const SLearntPart& part) {
    const bool goesOn = left > most / 2;
    left -= static_cast<std::int64_t>(part.record.size());
    return std::pair(goesOn, true);
  });
  store.SetBase(model.States());
  store.DropKept(last);
}

}  // namespace limes::host

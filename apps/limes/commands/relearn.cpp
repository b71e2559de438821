#include "apps/limes/commands/relearn.h"

#include <vector>

#include "apps/limes/errors.h"
#include "apps/limes/measurement/part_record.h"

namespace limes::host {
namespace {

/// Learns a kept part.
void LearnAgain(CModel& model, const SLearntPart& kept,
                const std::vector<SStoredQuantity>& quantities) {
  SPart part = PartFromRecord(kept.record, quantities);
  part.name = kept.name;
  if (const std::string reason = model.Learn(part, true); !reason.empty()) {
    throw CStoreError(part.name + " does not fit what is left: " + reason);
  }
}

}  // namespace

void ForEachKept(CStore& store, const std::function<bool(const SLearntPart&)>& take) {
  constexpr std::size_t kAtOnce = 64;  // parts read at a time
  std::int64_t last = 0;
  for (;;) {
    const std::vector<SLearntPart> parts = store.KeptParts(last, kAtOnce);
    for (const SLearntPart& kept : parts) {
      if (!take(kept)) {
        return;
      }
      last = kept.id;
    }
    if (parts.empty()) {
      return;
    }
  }
}

CModel Relearn(CStore& store, const SSettings& settings, const std::set<std::int64_t>& leftOut) {
  CModel model(settings);
  model.Load(store.Base(), store.Path());
  const std::vector<SStoredQuantity> quantities = store.Quantities();
  ForEachKept(store, [&](const SLearntPart& kept) {
    if (!leftOut.contains(kept.id)) {
      LearnAgain(model, kept, quantities);
    }
    return true;
  });
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
  const std::vector<SStoredQuantity> quantities = store.Quantities();
  std::int64_t last = 0;
  ForEachKept(store, [&](const SLearntPart& kept) {
    if (left <= most / 2) {
      return false;
    }
    left -= static_cast<std::int64_t>(kept.record.size());
    last = kept.id;
    LearnAgain(model, kept, quantities);
    return true;
  });
  store.SetBase(model.States());
  store.DropKept(last);
}

}  // namespace limes::host

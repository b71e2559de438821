#pragma once

#include <cstdint>
#include <functional>
#include <set>

#include "apps/limes/measurement/settings.h"
#include "apps/limes/model/model.h"
#include "apps/limes/store/store.h"

namespace limes::host {

/// Most bytes of learnt parts that a store keeps; the oldest beyond go into its base.
inline constexpr std::int64_t kMostKeptBytes = std::int64_t{64} << 20;

/// Hands out the parts whose values the store keeps, in the order of learning, while take says so.
void ForEachKept(CStore& store, const std::function<bool(const SLearntPart&)>& take);

/// Is told the scores of each part that is learnt again.
using TakeLearnt = std::function<void(std::int64_t id, const SScores& scores)>;

/// What the store's base and the parts kept since give, without some of them: bit for bit as if
/// these had never been learnt. Throws CStoreError.
CModel Relearn(CStore& store, const SSettings& settings, const std::set<std::int64_t>& leftOut,
               const TakeLearnt& tell = nullptr);

/// The settings of a store with --precise, which must fit them. Throws CUsageError.
SSettings Precisely(SSettings settings);

/// Learns curves in double from now on, of all variants: the kept parts anew, on top of what was
/// learnt before them, which is taken over as it is. Limits and scores are formed of that; those
/// of limes calibrate are given up, then true. Tells of a run of its own. Needs an open
/// transaction and something learnt; leaves no variant chosen. Throws CUsageError, CStoreError.
bool TurnPrecise(CStore& store);

/// Stores what a model has learnt in a run. Needs an open transaction.
void SaveModel(CStore& store, CModel& model, std::int64_t run);

/// Stores a model as what was learnt before the parts that are kept. Needs an open transaction.
void SaveBase(CStore& store, CModel& model);

/// Moves the oldest kept parts into the base when there are more than most bytes, until half of
/// them is left. Needs an open transaction.
void LimitKept(CStore& store, const SSettings& settings, std::int64_t most = kMostKeptBytes);

}  // namespace limes::host

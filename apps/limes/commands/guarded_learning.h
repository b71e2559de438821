#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "apps/limes/measurement/settings.h"
#include "apps/limes/model/model.h"
#include "apps/limes/store/store.h"
#include "limes/learning/hold_back.h"

namespace limes::host {

/// Whether too few parts were scored for the guard to decide on single ones: they are looked at
/// together then.
bool IsStart(const CModel& model);

/// The part that was scored, if the guard holds it back; it must not be learnt then.
std::optional<SHeldPart> HeldBack(CModel& model, CLearnGuard& guard);

/// Parts, learnt or held, up to which they are looked at together whenever their number doubles. A
/// limit of few scores holds too much where good parts have heavy tails.
inline constexpr std::int64_t kLookedAt = 512;
inline constexpr std::int64_t kMostLookedAtBytes = std::int64_t{16} << 20;

/// Whether the parts that come next may be looked at together with those before them.
bool MayLookTogether(CStore& store, const CModel& model);

/// Looks at all kept and held parts together, holds back those that the others cannot explain and
/// releases those that they can. Where anything changes, the model is what the others give, as if
/// they alone had been learnt. True when it does. Needs an open transaction.
bool LookTogether(CStore& store, CModel& model, const SSettings& settings, std::int64_t run);

/// The held parts with one of the names; all when there are none. Throws CUsageError.
std::vector<SHeldPart> NamedHeld(CStore& store, const std::vector<std::string>& names);

/// "score 8.1, good parts up to 4.2: noise, above, at 120 Hz".
std::string HeldText(const SHeldPart& held);

/// A JSON object and a line end; with a guard also whether the process has moved.
void PrintHeldJson(std::ostream& out, const SHeldPart& held, const CLearnGuard* guard);

/// What to do when the process has moved.
std::string SteppedText(const std::string& store);

}  // namespace limes::host

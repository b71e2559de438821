#include <algorithm>
#include <ostream>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/meant_variants.h"
#include "apps/limes/commands/output_file.h"
#include "apps/limes/errors.h"
#include "apps/limes/report/tuning_text.h"
#include "limes/learning/tolerance.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

/// The store's rule with what is given instead.
STrial GivenTrial(const SOptions& options, CTuning& tuning) {
  const SSettings& stored = tuning.Settings();
  const SSettings settings = Resolve(options.settings, stored, false);
  constexpr double kClassic = 3.0;  ///< where the store has no rule that can be tried
  const std::optional<double> covers =
      settings.cover
          ? std::optional(ToleranceFactor(tuning.EffectiveParts(), *settings.cover, *settings.sure))
          : settings.factor;
  STrial trial{settings.base, stored.WhichSides(), std::max(covers.value_or(kClassic), 0.0)};
  if (!options.tunedSides.empty()) {
    SSettings wanted = stored;
    wanted.sides = options.tunedSides;
    trial.sides = wanted.WhichSides();
    if (stored.sides != "both" && stored.sides != options.tunedSides) {
      throw CUsageError("the parts were judged by their " + stored.sides + " limit alone");
    }
  }
  if (settings.reject) {
    if (const auto ofRate = tuning.ForRate(*settings.reject, trial.base, trial.sides)) {
      trial = *ofRate;
      trial.factor =
          tuning.IsTooWide(trial) ? kClassic : trial.limit.FactorAbove(tuning.EffectiveParts());
    }
  }
  return trial;
}

}  // namespace

int RunTune(const SOptions& options, SConsole& console) {
  CStore store(options.store, CStore::Mode::kReading);
  store.BeginReading();
  ChooseOne(store, options, "tune");
  CTuning tuning(store);
  store.Rollback();
  if (tuning.Parts() == 0) {
    throw CUsageError(
        "no part was judged in this store: limes test judges parts, with "
        "--label-column or folders of good and bad ones");
  }
  const STuned tuned = Tune(tuning, GivenTrial(options, tuning));
  if (!options.output.empty()) {
    RefuseStore(options.output, options.store);
    WriteOutput(options.output, DrawTuned(tuning, tuned), options.force);
  }
  (options.json ? PrintTunedJson : PrintTuned)(console.out, tuning, tuned);
  if (!options.output.empty()) {
    (options.json ? console.err : console.out) << "wrote " << Escaped(options.output) << '\n';
  }
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host

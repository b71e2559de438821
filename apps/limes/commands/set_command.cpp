#include <ostream>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/relearn.h"
#include "apps/limes/errors.h"
#include "apps/limes/model/model.h"
#include "apps/limes/store/store.h"
#include "apps/limes/store/stored_model.h"
#include "recordings/text.h"

namespace limes::host {

/// What was learnt stays; limits are formed of it by the new rule.
int RunSet(const SOptions& options, SConsole& console) {
  CStore store(options.store, CStore::Mode::kExisting);
  store.Begin();
  const auto stored = store.Settings();
  if (!stored) {
    throw CStoreError(options.store + ": nothing is learnt in this store");
  }
  const SSettings settings = Resolve(options.settings, stored, false);
  const std::string text = SettingsToText(settings);
  if (text == SettingsToText(*stored)) {
    throw CUsageError(
        "set changes nothing: give another --base, --factor, --width, --min-parts, "
        "--min-share or --one-per-curve");
  }
  CModel model = LoadedModel(store, settings);
  store.SetSettings(settings);
  SaveModel(store, model, store.AddRun("set", settings));
  store.Commit();
  console.out << Escaped(options.store) << " judges by the new rule\n";
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host

#include <algorithm>
#include <ostream>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/guarded_learning.h"
#include "apps/limes/commands/meant_variants.h"
#include "apps/limes/commands/relearn.h"
#include "apps/limes/errors.h"
#include "apps/limes/measurement/part_record.h"
#include "apps/limes/store/stored_model.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

SSettings StoredSettings(CStore& store) {
  const auto settings = store.Settings();
  if (!settings) {
    throw CStoreError(store.Path() + ": nothing is learnt in this store");
  }
  return *settings;
}

/// Learns held parts, which leave the held ones; pieces of a recording are scored alike.
void LearnHeld(CStore& store, CModel& model, std::int64_t run, std::vector<SHeldPart>& parts,
               const std::vector<SStoredQuantity>& quantities) {
  CMovedRecordings recordings;
  std::optional<std::int64_t> recording;
  for (SHeldPart& held : parts) {
    if (held.part.recording != recording) {
      recording = held.part.recording;
      recording ? model.Freeze() : model.Thaw();
    }
    SPart part = PartFromRecord(held.part.record, quantities);
    part.name = held.part.name;
    if (const std::string reason = model.Learn(part, true); !reason.empty()) {
      throw CUsageError(Quoted(part.name) + " cannot be learnt: " + reason);
    }
    held.part.scores = model.Scored().scores;
    recordings.Move(held.part, [&] { return store.AddLearnt(run, held.part); });
    store.DropHeld(held.part.id);
  }
  model.Thaw();
}

void Finish(CStore& store, CModel& model, const SSettings& settings, std::int64_t run) {
  SaveModel(store, model, run);
  LimitKept(store, settings);
  store.SetGuardRecent(0);
  store.Commit();
}

std::vector<std::string> NamesOf(const std::vector<SHeldPart>& parts) {
  std::vector<std::string> names;
  for (const SHeldName& held : HeldNames(parts)) {
    names.push_back(held.name);
  }
  return names;
}

/// Chooses the variant that the held parts are of.
void ChooseOfHeld(CStore& store, const SOptions& options) {
  std::vector<std::string> having;
  ForEachVariant(store, options, [&](const SStoredVariant& variant) {
    const std::vector<SHeldPart> parts = store.HeldParts(false);
    const std::vector<SHeldName> held = HeldNames(parts);
    const bool has = std::any_of(held.begin(), held.end(), [&](const SHeldName& part) {
      return options.files.empty() ||
             std::any_of(options.files.begin(), options.files.end(),
                         [&](const std::string& name) { return IsCalled(part.name, name); });
    });
    if (has) {
      having.push_back(variant.name);
    }
  });
  if (having.size() > 1) {
    throw CUsageError("parts of " + Quoted(having[0]) + " and of " + Quoted(having[1]) +
                      " are held back: --variant must say which are meant");
  }
  store.Choose(having.empty() ? "" : having[0]);
}

void PrintLearnt(CStore& store, const std::vector<std::string>& names, SConsole& console) {
  for (const std::string& name : names) {
    console.out << "learnt " << Escaped(name) << '\n';
  }
  console.out << store.CountParts(true) << " learnt in " << Escaped(store.Path()) << '\n';
}

}  // namespace

int RunAccept(const SOptions& options, SConsole& console) {
  CStore store(options.store, CStore::Mode::kExisting);
  store.Begin();
  ChooseOfHeld(store, options);
  const SSettings settings = StoredSettings(store);
  std::vector<SHeldPart> parts = NamedHeld(store, options.files);
  const std::vector<std::string> names = NamesOf(parts);
  CModel model = LoadedModel(store, settings);
  store.SetReason(options.reason);
  const std::int64_t run = store.AddRun("accept", settings, names);
  for (SHeldPart& held : parts) {
    held.part.accepted = true;
  }
  LearnHeld(store, model, run, parts, model.States());
  store.AddAlarms(run, model.TakeAlarms(), std::nullopt);
  Finish(store, model, settings, run);
  PrintLearnt(store, names, console);
  return static_cast<int>(ExitCode::kAllGood);
}

int RunRebase(const SOptions& options, SConsole& console) {
  CStore store(options.store, CStore::Mode::kExisting);
  store.Begin();
  ChooseOfHeld(store, options);
  const SSettings settings = StoredSettings(store);
  std::vector<SHeldPart> parts = NamedHeld(store, options.files);
  if (parts.empty()) {
    throw CUsageError(
        "no part is held back: a new state begins with parts that the old one does not explain");
  }
  const std::vector<std::string> names = NamesOf(parts);
  const std::int64_t before = store.CountParts(true);
  const std::vector<SStoredQuantity> quantities = store.Quantities();
  store.SetReason(options.reason);
  const std::int64_t run = store.AddRun("rebase", settings, NamesOf(parts));
  store.PutAside(run);
  CModel model(settings);
  LearnHeld(store, model, run, parts, quantities);
  if (settings.guard) {
    LookTogether(store, model, settings, run);
  }
  Finish(store, model, settings, run);
  PrintLearnt(store, names, console);
  console.out << "put aside what was learnt of " << before << (before == 1 ? " part" : " parts")
              << " before (limes show --past)\n";
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host

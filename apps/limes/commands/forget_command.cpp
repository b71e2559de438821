#include <algorithm>
#include <ostream>
#include <set>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/guarded_learning.h"
#include "apps/limes/commands/relearn.h"
#include "apps/limes/errors.h"
#include "apps/limes/model/model.h"
#include "apps/limes/store/store.h"
#include "apps/limes/store/stored_model.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

/// The parts with one of the names, or of the run. Throws CUsageError.
std::vector<SLearntPart> Chosen(const std::vector<SLearntPart>& parts, const SOptions& options) {
  if (options.files.empty() == !options.run) {
    throw CUsageError("forget needs names of parts, or --run N (limes show --runs lists the runs)");
  }
  std::vector<SLearntPart> chosen;
  for (const std::string& name : options.files) {
    const std::size_t before = chosen.size();
    std::copy_if(parts.begin(), parts.end(), std::back_inserter(chosen),
                 [&](const SLearntPart& part) { return IsCalled(part.name, name); });
    if (chosen.size() == before) {
      throw CUsageError("no part " + Quoted(name) + " is learnt in this store");
    }
    if (chosen.size() > before + 1) {
      throw CUsageError(std::to_string(chosen.size() - before) + " learnt parts are called " +
                        Quoted(name) + ", the last one in run " +
                        std::to_string(chosen.back().run) + "; forget that with --run");
    }
  }
  std::copy_if(parts.begin(), parts.end(), std::back_inserter(chosen),
               [&](const SLearntPart& part) { return part.run == options.run; });
  if (chosen.empty()) {
    throw CUsageError("run " + std::to_string(*options.run) + " has no learnt part");
  }
  return chosen;
}

/// Whether the parts can be taken out exactly; throws CUsageError with the reason where not.
void CheckKept(const std::vector<SLearntPart>& chosen, const std::vector<SLearntPart>& parts) {
  const auto lost = std::find_if(chosen.begin(), chosen.end(),
                                 [](const SLearntPart& part) { return !part.kept; });
  if (lost != chosen.end()) {
    const auto kept = std::count_if(parts.begin(), parts.end(),
                                    [](const SLearntPart& part) { return part.kept; });
    throw CUsageError(Quoted(lost->name) +
                      " cannot be forgotten exactly: its values are not kept " +
                      "any more (it was learnt by an older program, before a merge, or too many "
                      "parts ago; " +
                      std::to_string(kept) + " parts are kept)");
  }
  if (chosen.size() == parts.size()) {
    throw CUsageError("nothing would be left; to begin anew, learn into another store");
  }
}

bool SameStates(CModel& a, CModel& b) {
  const auto one = a.States();
  const auto other = b.States();
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [](const SStoredQuantity& x, const SStoredQuantity& y) {
                      return x.name == y.name && x.states == y.states;
                    });
}

/// Drops the held parts among the named ones, whose names are taken out; gives how they are named.
std::vector<std::string> DropHeld(CStore& store, std::vector<std::string>& names,
                                  const std::vector<SLearntPart>& learnt) {
  std::vector<std::string> dropped;
  const std::vector<SHeldPart> all = store.HeldParts(false);
  const std::vector<SHeldName> known = HeldNames(all);
  std::erase_if(names, [&](const std::string& name) {
    const bool isLearnt = std::any_of(learnt.begin(), learnt.end(), [&](const SLearntPart& part) {
      return IsCalled(part.name, name);
    });
    const bool isHeld = std::any_of(known.begin(), known.end(), [&](const SHeldName& held) {
      return IsCalled(held.name, name);
    });
    if (isLearnt || !isHeld) {
      return false;
    }
    const std::vector<SHeldPart> parts = NamedHeld(store, {name});
    dropped.push_back(HeldNames(parts).at(0).name);
    for (const SHeldPart& held : parts) {
      store.DropHeld(held.part.id);
    }
    return true;
  });
  return dropped;
}

std::vector<std::string> NamesOf(std::vector<std::string> dropped,
                                 const std::vector<SLearntPart>& chosen) {
  for (const SLearntPart& part : chosen) {
    dropped.push_back(part.name);
  }
  return dropped;
}

/// Takes learnt parts out of the learn states. True when scores of another source were given up.
bool TakeOut(CStore& store, const SSettings& settings, const std::vector<SLearntPart>& parts,
             const std::vector<SLearntPart>& chosen, std::int64_t run) {
  CheckKept(chosen, parts);
  CModel now = LoadedModel(store, settings);
  CModel again = Relearn(store, settings, {});
  again.TakeScores(now);
  if (!SameStates(now, again)) {
    throw CStoreError(store.Path() +
                      ": the kept parts do not give the learnt state again, nothing is forgotten");
  }
  std::vector<std::int64_t> ids;
  std::transform(chosen.begin(), chosen.end(), std::back_inserter(ids),
                 [](const SLearntPart& part) { return part.id; });
  CModel left =
      Relearn(store, settings, {ids.begin(), ids.end()},
              [&](std::int64_t id, const SScores& scores) { store.SetScores(id, scores); });
  store.RemoveLearnt(ids);
  SaveModel(store, left, run);
  return now.Source() != ScoreSource::kLearning;
}

}  // namespace

int RunForget(const SOptions& options, SConsole& console) {
  CStore store(options.store, CStore::Mode::kExisting);
  store.Begin();
  const auto settings = store.Settings();
  const std::vector<SLearntPart> parts = store.LearntParts();
  if (!settings || parts.empty()) {
    throw CStoreError(options.store + ": nothing is learnt in this store");
  }
  SOptions named = options;
  const std::vector<std::string> dropped = DropHeld(store, named.files, parts);
  std::vector<SLearntPart> chosen;
  bool gaveUpScores = false;
  const bool takesOut = dropped.empty() || !named.files.empty() || options.run;
  if (takesOut) {
    chosen = Chosen(parts, named);
  }
  store.SetReason(options.reason);
  const std::int64_t run = store.AddRun("forget", *settings, NamesOf(dropped, chosen));
  if (takesOut) {
    gaveUpScores = TakeOut(store, *settings, parts, chosen, run);
  }
  store.Commit();
  if (gaveUpScores) {
    Warn(console,
         "the scores of limes calibrate are given up for those of learning: calibrate again");
  }
  for (const std::string& name : dropped) {
    console.out << "forgot " << Escaped(name) << ", which was held back\n";
  }
  for (const SLearntPart& part : chosen) {
    console.out << "forgot " << Escaped(part.name) << '\n';
  }
  console.out << store.CountParts(true) << " learnt in " << Escaped(options.store) << '\n';
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host

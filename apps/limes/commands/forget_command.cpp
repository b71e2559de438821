#include <algorithm>
#include <map>
#include <ostream>
#include <set>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/guarded_learning.h"
#include "apps/limes/commands/meant_variants.h"
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

/// What was taken out of a variant.
struct SForgotten {
  std::vector<std::string> held;
  std::vector<SLearntPart> learnt;
  bool gaveUpScores = false;
};

/// Takes out what is named of the variant that is chosen.
SForgotten Forget(CStore& store, const SOptions& options) {
  SForgotten forgotten;
  const auto settings = store.Settings();
  const std::vector<SLearntPart> parts = store.LearntParts();
  if (!settings || parts.empty()) {
    throw CStoreError(options.store + ": nothing is learnt in this store");
  }
  SOptions named = options;
  forgotten.held = DropHeld(store, named.files, parts);
  const bool takesOut = forgotten.held.empty() || !named.files.empty() || options.run;
  if (takesOut) {
    forgotten.learnt = Chosen(parts, named);
  }
  const std::int64_t run =
      store.AddRun("forget", *settings, NamesOf(forgotten.held, forgotten.learnt));
  if (takesOut) {
    forgotten.gaveUpScores = TakeOut(store, *settings, parts, forgotten.learnt, run);
  }
  return forgotten;
}

bool Has(CStore& store, const std::string& name) {
  const auto isCalled = [&](const SLearntPart& part) { return IsCalled(part.name, name); };
  const std::vector<SLearntPart> learnt = store.LearntParts();
  const std::vector<SHeldPart> held = store.HeldParts(false);
  const std::vector<SHeldName> names = HeldNames(held);
  return std::any_of(learnt.begin(), learnt.end(), isCalled) ||
         std::any_of(names.begin(), names.end(),
                     [&](const SHeldName& h) { return IsCalled(h.name, name); });
}

/// What is to be forgotten of each variant: the names that it has, the parts of a run.
std::map<std::string, SOptions> ByVariant(CStore& store, const SOptions& options) {
  std::map<std::string, SOptions> wishes;
  std::map<std::string, std::string> places;  // by name
  ForEachVariant(store, options, [&](const SStoredVariant& variant) {
    SOptions wish = options;
    wish.files.clear();
    for (const std::string& name : options.files) {
      if (!Has(store, name)) {
        continue;
      }
      wish.files.push_back(name);
      const auto [place, isNew] = places.emplace(name, variant.name);
      if (!isNew && place->second != variant.name) {
        throw CUsageError(Quoted(name) + " is a part of " + Quoted(place->second) + " and of " +
                          Quoted(variant.name) + ": --variant must say which");
      }
    }
    const std::vector<SLearntPart> learnt = store.LearntParts();
    const bool hasRun = std::any_of(learnt.begin(), learnt.end(), [&](const SLearntPart& part) {
      return part.run == options.run;
    });
    if (!wish.files.empty() || hasRun) {
      wish.run = hasRun ? wish.run : std::nullopt;
      wishes.emplace(variant.name, std::move(wish));
    }
  });
  for (const std::string& name : options.files) {
    if (!places.contains(name)) {
      throw CUsageError("no part " + Quoted(name) + " is learnt in this store");
    }
  }
  return wishes;
}

}  // namespace

int RunForget(const SOptions& options, SConsole& console) {
  CStore store(options.store, CStore::Mode::kExisting);
  store.Begin();
  store.SetReason(options.reason);
  const auto settings = store.Settings();
  std::map<std::string, SOptions> wishes{{"", options}};
  if (settings && !settings->variant.empty()) {
    wishes = ByVariant(store, options);
    if (wishes.empty()) {
      throw CUsageError("forget needs names of parts, or --run N (limes show --runs lists them)");
    }
  } else {
    MeantVariants(store, options);  // refuses --variant
  }
  std::vector<SForgotten> forgotten;
  std::int64_t left = 0;
  for (const auto& [variant, wish] : wishes) {
    store.Choose(variant);
    forgotten.push_back(Forget(store, wish));
    left += store.CountParts(true);
  }
  store.Commit();
  for (const SForgotten& f : forgotten) {
    if (f.gaveUpScores) {
      Warn(console,
           "the scores of limes calibrate are given up for those of learning: calibrate again");
    }
    for (const std::string& name : f.held) {
      console.out << "forgot " << Escaped(name) << ", which was held back\n";
    }
    for (const SLearntPart& part : f.learnt) {
      console.out << "forgot " << Escaped(part.name) << '\n';
    }
  }
  console.out << left << " learnt in " << Escaped(options.store) << '\n';
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host

#include "apps/limes/commands/guarded_learning.h"

#include <algorithm>
#include <map>
#include <new>
#include <nlohmann/json.hpp>
#include <ostream>
#include <set>
#include <utility>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/relearn.h"
#include "apps/limes/errors.h"
#include "apps/limes/measurement/number_text.h"
#include "apps/limes/measurement/part_record.h"
#include "apps/limes/report/json_line.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

constexpr SScores kUnknown{kLowestScore, kLowestScore};  ///< to be scored when learnt again

/// A part at the start, learnt or held.
struct SCandidate {
  SHeldPart held;
  bool isHeld = false;
  SPart part;
  std::vector<float> points;
};

/// What is kept and what is held; parts that do not fit the learnt ones are left as they are.
std::vector<SCandidate> Candidates(CStore& store, CModel& model) {
  std::vector<SCandidate> candidates;
  ForEachKept(store, [&](const SLearntPart& kept) {
    candidates.emplace_back().held.part = kept;
    return true;
  });
  const std::int64_t begun = store.BegunInRun();  // what was left behind then stays held
  for (SHeldPart& held : store.HeldParts(true)) {
    if (held.part.run < begun) {
      continue;
    }
    candidates.emplace_back().held = std::move(held);
    candidates.back().isHeld = true;
  }
  const std::vector<SStoredQuantity> quantities = model.States();
  for (SCandidate& c : candidates) {
    c.part = PartFromRecord(c.held.part.record, quantities);
    c.part.name = c.held.part.name;
    try {
      c.points = model.Points(c.part, candidates[0].part);
    } catch (const CInputError&) {
    }
  }
  std::erase_if(candidates, [](const SCandidate& c) { return c.points.empty(); });
  return candidates;
}

/// For each the number of its group: pieces of a recording, learnt or held, are one.
std::vector<std::size_t> Groups(const std::vector<SCandidate>& candidates) {
  std::map<std::pair<bool, std::int64_t>, std::size_t> recordings;
  std::vector<std::size_t> groups;
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    const auto& recording = candidates[i].held.part.recording;
    groups.push_back(
        recording ? recordings.try_emplace({candidates[i].isHeld, *recording}, i).first->second
                  : i);
  }
  return groups;
}

/// Which of them the others cannot explain.
SHeldParts LookAt(std::vector<SCandidate>& candidates, const SSettings& settings) {
  const Sides sides = settings.WhichSides();
  for (SCandidate& c : candidates) {
    for (float& point : c.points) {
      point = sides == Sides::kLower ? -point : point;
    }
  }
  const float base[] = {static_cast<float>(settings.base)};
  SHeldParts held;
  const auto points = [&](std::size_t i) { return std::span<const float>(candidates[i].points); };
  if (!HoldBack(candidates.size(), points, base,
                sides == Sides::kBoth ? ScoreSides::kBoth : ScoreSides::kOne, held,
                Groups(candidates))) {
    throw std::bad_alloc();
  }
  return held;
}

void Describe(const SFurthest& furthest, SHeldPart& held) {
  held.quantity = furthest.quantity;
  held.side = furthest.side;
  held.x = furthest.x;
}

}  // namespace

bool IsStart(CStore& store, const CModel& model, const SSettings& settings) {
  return (settings.cut > 0 ? store.ScoredRecordings() : model.Scores().Scores()) <
         CLearnGuard::kStart;
}

std::optional<SHeldPart> HeldBack(CModel& model, CLearnGuard& guard) {
  const SScores scores = model.Scored().scores;
  const SPartScores inSides = model.InSides(scores);
  const double limit = model.Scores().HoldLimit();
  if (!guard.Holds(model.Scores(), inSides)) {
    return std::nullopt;
  }
  SHeldPart held;
  held.part.scores = scores;
  held.score = std::max(inSides.above, inSides.below);
  held.limit = limit;
  Describe(model.Furthest(), held);
  return held;
}

void CGuardedRecording::Begin(const CModel& model) {
  before_ = model.Scores();
  largest_ = {};
  furthest_ = {};
  pieces_ = 0;
}

void CGuardedRecording::Take(const CModel& model) {
  ++pieces_;
  largest_ = Larger(largest_, model.InSides(model.Scored().scores));
  if (const SFurthest furthest = model.Furthest(); furthest.score > furthest_.score) {
    furthest_ = furthest;
  }
}

std::optional<SHeldPart> CGuardedRecording::HeldBack(CLearnGuard& guard) const {
  if (!guard.Holds(*before_, largest_, std::max<std::int64_t>(pieces_, 1))) {
    return std::nullopt;
  }
  SHeldPart held;
  held.part.recording = SLearntPart::kNewRecording;
  held.score = std::max(largest_.above, largest_.below);
  held.limit = before_->HoldLimit(pieces_);
  Describe(furthest_, held);
  return held;
}

bool MayLookTogether(CStore& store, const CModel& model, const SSettings& settings) {
  const auto held = static_cast<std::int64_t>(store.HeldParts(false).size());
  return IsStart(store, model, settings) ||
         (store.CountParts(true) + held < kLookedAt && store.KeptBytes() < kMostLookedAtBytes);
}

bool LookTogether(CStore& store, CModel& model, const SSettings& settings, std::int64_t run) {
  store.SetQuantities(model.States());  // which names the kept parts' quantities
  std::vector<SCandidate> candidates = Candidates(store, model);
  const SHeldParts found = LookAt(candidates, settings);
  double limit = kLowestScore;
  bool changes = false;
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    limit = found.held[i] == 0 ? std::max(limit, found.scores[i]) : limit;
    changes |= (found.held[i] != 0) != candidates[i].isHeld && !candidates[i].held.part.accepted;
  }
  if (!changes) {
    return false;
  }
  const auto moves = [&](std::size_t i, bool toHeld) {
    return candidates[i].isHeld != toHeld && (found.held[i] != 0) == toHeld &&
           !candidates[i].held.part.accepted;
  };
  std::set<std::int64_t> leftOut;
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    if (moves(i, true)) {
      leftOut.insert(candidates[i].held.part.id);
    }
  }
  model = Relearn(store, settings, leftOut, nullptr);  // tells where the others lie
  CMovedRecordings toHeld;
  CMovedRecordings toLearnt;
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    SHeldPart& held = candidates[i].held;
    if (moves(i, true)) {
      model.Points(candidates[i].part, candidates[0].part);
      model.Score();
      held.score = found.scores[i];
      held.limit = limit;
      held.part.scores = model.Scored().scores;
      Describe(model.Furthest(), held);
      toHeld.Move(held.part, [&] { return store.HoldLearnt(held); });
    } else if (moves(i, false)) {
      store.DropHeld(held.part.id);
      held.part.scores = kUnknown;
      toLearnt.Move(held.part, [&] { return store.AddLearnt(run, held.part); });
    }
  }
  model = Relearn(store, settings, {},
                  [&](std::int64_t id, const SScores& scores) { store.SetScores(id, scores); });
  model.TakeAlarms();  // told before, or of parts that are held now
  return true;
}

std::vector<SHeldName> HeldNames(const std::vector<SHeldPart>& parts) {
  std::vector<SHeldName> names;
  std::map<std::int64_t, std::size_t> places;
  for (const SHeldPart& held : parts) {
    const auto& recording = held.part.recording;
    if (recording && places.contains(*recording)) {
      ++names[places[*recording]].pieces;
      continue;
    }
    if (recording) {
      places[*recording] = names.size();
    }
    const auto colon = recording ? held.part.name.rfind(':') : std::string::npos;
    names.push_back({held.part.name.substr(0, colon), &held});
  }
  return names;
}

std::vector<SHeldPart> NamedHeld(CStore& store, const std::vector<std::string>& names) {
  std::vector<SHeldPart> all = store.HeldParts(true);
  if (names.empty()) {
    return all;
  }
  const std::vector<SHeldName> known = HeldNames(all);
  std::vector<const SHeldPart*> chosen;
  for (const std::string& name : names) {
    const auto is = [&](const SHeldName& held) { return IsCalled(held.name, name); };
    const auto found = std::find_if(known.begin(), known.end(), is);
    if (found == known.end()) {
      throw CUsageError("no part " + Quoted(name) +
                        " is held back in this store (limes show --held lists them)");
    }
    if (const auto count = std::count_if(known.begin(), known.end(), is); count > 1) {
      throw CUsageError(std::to_string(count) + " held parts are called " + Quoted(name));
    }
    if (std::find(chosen.begin(), chosen.end(), found->part) == chosen.end()) {
      chosen.push_back(found->part);
    }
  }
  std::vector<SHeldPart> named;
  for (const SHeldPart* const first : chosen) {
    std::copy_if(all.begin(), all.end(), std::back_inserter(named), [&](const SHeldPart& held) {
      return held.part.id == first->part.id ||
             (held.part.recording && held.part.recording == first->part.recording);
    });
  }
  return named;
}

std::string HeldText(const SHeldName& name) {
  const SHeldPart& held = *name.part;
  std::string text = name.name;
  if (name.pieces > 1) {
    text += ", " + std::to_string(name.pieces) + " pieces";
  }
  text += "  score " + Brief(held.score) + ", good parts up to " + Brief(held.limit);
  if (!held.quantity.empty()) {
    text += ": " + held.quantity + (held.side == Side::kUpper ? ", above" : ", below");
    text += held.x ? ", at " + PlaceNumber(*held.x) : "";
  }
  return text;
}

void PrintHeldJson(std::ostream& out, const SHeldName& name, const std::string& variant,
                   const CLearnGuard* guard) {
  const SHeldPart& held = *name.part;
  nlohmann::ordered_json json;
  json["part"] = name.name;
  if (held.part.recording) {
    json["pieces"] = name.pieces;
  }
  if (held.part.label) {
    json["label"] = *held.part.label;
  }
  if (!variant.empty()) {
    json["variant"] = variant;
  }
  json["learnt"] = false;
  json["held"] = true;
  json["score"] = held.score;
  json["score_limit"] = held.limit;
  json["quantity"] = held.quantity;
  json["side"] = SideText(held.side);
  json["x"] = held.x ? nlohmann::ordered_json(*held.x) : nullptr;
  if (guard != nullptr) {
    json["process_moved"] = guard->HasStepped();
  }
  PrintJsonLine(out, json);
}

std::string SteppedText(const std::string& store) {
  return "the process has moved: 5 of the last 10 parts were held back. Look at them (limes show " +
         store + " --held); then learn them all the same (limes accept " + store +
         " PART...), or begin anew from them (limes rebase " + store + ")";
}

}  // namespace limes::host

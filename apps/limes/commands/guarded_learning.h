#pragma once

#include <cstdint>
#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apps/limes/measurement/settings.h"
#include "apps/limes/model/model.h"
#include "apps/limes/store/store.h"
#include "limes/learning/hold_back.h"

namespace limes::host {

/// Whether too few parts, or recordings that are cut, were scored for the guard to decide on single
/// ones: they are looked at together then.
bool IsStart(CStore& store, const CModel& model, const SSettings& settings);

/// The part that was scored, if the guard holds it back; it must not be learnt then.
std::optional<SHeldPart> HeldBack(CModel& model, CLearnGuard& guard);

/// The pieces of a recording, scored one after the other: it is learnt or held as a whole.
class CGuardedRecording {
 public:
  /// Before the first piece.
  void Begin(const CModel& model);

  /// The piece that was scored.
  void Take(const CModel& model);

  /// What all its pieces are held with; empty when they may be learnt.
  std::optional<SHeldPart> HeldBack(CLearnGuard& guard) const;

 private:
  std::optional<CLimitCalibration> before_;
  SPartScores largest_;
  SFurthest furthest_;
  std::int64_t pieces_ = 0;
};

/// Keeps pieces of recordings together on their way between what is learnt and what is held.
class CMovedRecordings {
 public:
  /// Stores a part, which gives its id, with the number that its recording has there.
  template <class Store>
  void Move(SLearntPart& part, Store store) {
    const std::optional<std::int64_t> was = part.recording;
    if (was) {
      const auto known = numbers_.find(*was);
      part.recording = known == numbers_.end() ? SLearntPart::kNewRecording : known->second;
    }
    const std::int64_t id = store();
    if (was) {
      numbers_.try_emplace(*was, id);
    }
  }

 private:
  std::map<std::int64_t, std::int64_t> numbers_;  ///< by those they had
};

/// Parts, learnt or held, up to which they are looked at together whenever their number doubles. A
/// limit of few scores holds too much where good parts have heavy tails.
inline constexpr std::int64_t kLookedAt = 512;
inline constexpr std::int64_t kMostLookedAtBytes = std::int64_t{16} << 20;

/// Whether the parts that come next may be looked at together with those before them.
bool MayLookTogether(CStore& store, const CModel& model, const SSettings& settings);

/// Looks at all kept and held parts together, holds back those that the others cannot explain and
/// releases those that they can. Where anything changes, the model is what the others give, as if
/// they alone had been learnt. True when it does. Needs an open transaction.
bool LookTogether(CStore& store, CModel& model, const SSettings& settings, std::int64_t run);

/// Held parts as they are named: each by itself, or a recording once, by its file, for all its
/// pieces.
struct SHeldName {
  std::string name;
  const SHeldPart* part = nullptr;  ///< the first piece
  std::int64_t pieces = 1;
};
std::vector<SHeldName> HeldNames(const std::vector<SHeldPart>& parts);

/// The held parts with one of the names, of a recording all pieces; all when there are none. Throws
/// CUsageError.
std::vector<SHeldPart> NamedHeld(CStore& store, const std::vector<std::string>& names);

/// "bad.csv, 12 pieces  score 8.1, good parts up to 4.2: noise, above, at 120 Hz".
std::string HeldText(const SHeldName& held);

/// A JSON object and a line end; with a guard also whether the process has moved. variant: of the
/// part; empty without variants.
void PrintHeldJson(std::ostream& out, const SHeldName& held, const std::string& variant,
                   const CLearnGuard* guard);

/// What to do when the process has moved.
std::string SteppedText(const std::string& store);

}  // namespace limes::host

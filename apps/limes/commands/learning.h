#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "apps/limes/commands/console.h"
#include "apps/limes/commands/guarded_learning.h"
#include "apps/limes/commands/options.h"
#include "apps/limes/commands/waiting_records.h"
#include "apps/limes/measurement/settings.h"
#include "apps/limes/model/model.h"
#include "apps/limes/store/store.h"

namespace limes::host {

/// A part that was not learnt, and why.
struct SRefusedPart {
  std::string part;
  std::string reason;
};

/// Learns the parts of one variant, or of a store without variants, in batches: each is learnt in
/// memory first, then written in a transaction of the caller, then told. Whoever calls has the
/// variant chosen in the store.
class CLearning {
 public:
  /// variant: see SVariant; waiting: where records of parts wait, which those of one content may
  /// share. The others must outlive the object.
  CLearning(const SOptions& options, SConsole& console, const SSettings& settings,
            std::string variant, CWaitingRecords& waiting);

  const std::string& Variant() const { return variant_; }
  CModel& Model() { return model_; }

  /// Begins a batch; store: null while there is none. isStale: what is learnt is loaded.
  void Begin(CStore* store, bool isStale);

  /// A file that is cut or guarded as a whole, around its parts.
  void BeginFile();
  void EndFile(CStore* store);

  /// Learns a part, or notes why it is refused.
  void Learn(CStore* store, const SPart& part);

  bool HasNews() const { return !pending_.empty() || !held_.empty(); }

  /// Writes the batch in a run.
  void Write(CStore& store, std::int64_t run);

  /// Drops what is kept beyond its most; behind Write.
  void LimitKept(CStore& store);

  /// Where single precision was found too coarse for the parts learnt; empty: nowhere.
  const std::string& NeedsDouble() const { return needsDouble_; }

  /// Takes over what is learnt in double now.
  void TakePrecise(CStore& store);

  /// Tells of the batch, which is over.
  void Report();

  /// With as many modes as good parts say. True when there are any.
  bool ChooseModes(CStore& store, std::int64_t run);

  std::vector<SRefusedPart>& Refused() { return refused_; }
  std::uint64_t Learnt() const { return learntBefore_; }
  std::uint64_t Held() const { return heldBefore_; }

 private:
  /// A part that is not stored yet.
  struct SPending {
    SLearntPart part;
    bool known = false;     ///< learnt before, too
    bool released = false;  ///< held before
  };

  bool IsGuardedAsWhole() const { return settings_.guard && settings_.cut > 0; }
  void HoldRecording(CStore* store);
  bool IsHeld(CStore* store, const SLearntPart& part) const;
  bool TakePart(const SPart& part, SLearntPart& learnt, bool known, bool guards);
  void Add(CStore& store, SLearntPart& learnt);
  void AddHeld(CStore& store);
  SPart PartOf(SLearntPart& waiting, const std::vector<SStoredQuantity>& quantities);
  void LearnStart(CStore& store);
  void StartRecording(CStore& store, const std::vector<SHeldPart>& before,
                      const std::vector<SStoredQuantity>& quantities);
  void Look(CStore& store);
  void Compare(CStore& store, const std::vector<SHeldPart>& before, std::vector<SPending> learnt);
  std::string Named(const std::string& text) const;

  const SOptions& options_;
  SConsole& console_;
  SSettings settings_;
  std::string variant_;
  CModel model_;
  std::int64_t run_ = 0;
  CWaitingRecords& waiting_;
  std::vector<SPending> pending_;                        ///< learnt, not yet stored
  std::unordered_map<std::int64_t, std::size_t> taken_;  ///< places in pending_ by content
  std::vector<SHeldPart> held_;                          ///< held back, not yet stored
  std::vector<SRefusedPart> refused_;
  std::vector<SDriftFound> alarms_;
  CLearnGuard guard_;
  CGuardedRecording cutRecording_;
  bool starting_ = false;  ///< the guard has not seen enough parts yet
  bool stepped_ = false;   ///< said that the process has moved
  std::optional<std::int64_t> recording_;
  std::uint64_t learntBefore_ = 0;
  std::uint64_t heldBefore_ = 0;
  std::string needsDouble_;
};

}  // namespace limes::host

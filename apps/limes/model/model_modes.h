#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "apps/limes/measurement/learnt.h"
#include "apps/limes/measurement/settings.h"
#include "apps/limes/measurement/verdict.h"
#include "limes/learning/common_modes.h"
#include "limes/results/protocol_item_list.h"

namespace limes::host {

/// Parts, or recordings that are cut into parts, of which the whole is learnt and its limit formed.
inline constexpr std::int64_t kRecordingsForWhole = 2 * kPartsBeforeScores;

/// The common modes of a model, all points of all quantities one behind the other: none unless
/// the settings ask for them.
class CModelModes {
 public:
  explicit CModelModes(const SSettings& settings);

  bool AreOn() const { return learner_.has_value(); }
  const CCommonModes& Learner() const { return *learner_; }

  /// Takes over what a store holds, which is named in messages; nothing when that is empty. Throws
  /// CStoreError.
  void Load(const std::vector<std::uint8_t>& record, const std::string& store);
  std::vector<std::uint8_t> Record() const;

  /// The values of the part that was prepared; kept for what follows.
  std::vector<double>& Values() { return values_; }

  /// How far it lies out by what is learnt, or was at Freeze; empty before modes are formed.
  const std::optional<SModesScoring>& Score();
  const std::optional<SModesScoring>& Scored() const { return scored_; }

  /// Throws CInputError when it cannot be learnt.
  void Learn(const std::string& part);

  void Freeze() { frozen_ = learner_; }
  void Thaw() { frozen_.reset(); }

  /// Throws CUsageError.
  void Join(const CModelModes& other);

  /// Tells what is expected of the part that was prepared. Empty, or why it cannot be judged.
  std::string Explain();
  const SModesOfPart& Told() const { return told_; }

  /// Adds a verdict for each mode and for the whole, and an item for each beyond its limit.
  void Judge(const SCalibratedLimit& limit, SPartVerdict& verdict, CProtocolItemList& items) const;

  /// Spread about what is expected, of all points.
  std::vector<double> Around();

  /// The amount that is still good, in spreads.
  double AmountLimit(const SCalibratedLimit& limit) const;

  static std::string NameOf(std::size_t mode) { return "mode " + std::to_string(mode + 1); }

  /// The modes as quantities that verdicts are of; without a learn state.
  std::vector<SStoredQuantity> Quantities() const;

  /// What the engineer should know of them; empty when all is well.
  std::string Warning(std::optional<std::int64_t> groups) const;

  /// "10 modes of all points need 40 parts, 30 are learnt".
  std::string WaitsFor() const;

 private:
  CCommonModes Fresh() const;
  void JudgeMode(std::size_t mode, double most, SPartVerdict& verdict,
                 CProtocolItemList& items) const;

  SSettings settings_;
  std::optional<CCommonModes> learner_;
  std::optional<CCommonModes> frozen_;
  std::vector<double> values_;
  std::optional<SModesScoring> scored_;
  SModesOfPart told_;
};

}  // namespace limes::host

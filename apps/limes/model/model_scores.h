#pragma once

#include <optional>
#include <string>

#include "apps/limes/measurement/learnt.h"
#include "apps/limes/measurement/verdict.h"
#include "limes/learning/calibration.h"
#include "limes/learning/sided.h"

namespace limes::host {

/// The scores of the good parts of a model, of which limits for a rate are formed.
class CModelScores {
 public:
  CModelScores(Sides sides, double base, bool whole);

  /// None when nothing was stored, or for another base. Scores that cannot be read are an error
  /// from then on, but for Replace.
  void Load(const std::optional<SStoredCalibration>& stored, const std::string& store);

  /// Throws CStoreError when they could not be read.
  SStoredCalibration Stored() const;
  const CLimitCalibration& Calibration() const;

  bool AreReadable() const { return fault_.empty(); }

  ScoreSource Source() const { return source_; }
  std::optional<std::int64_t> Groups() const { return groups_; }

  /// Adds those of a part, if there are any. In the sign of the measurement. Throws std::bad_alloc.
  void Add(const SScores& scores);

  /// Those of the limited sides, as the calibration takes them; the other one is the lowest.
  SPartScores InSides(const SScores& scores) const;

  /// Adds those of another store, learnt with the same base and sides.
  void Join(const CModelScores& other);

  /// No scores yet, of another source.
  void Replace(ScoreSource source, std::optional<std::int64_t> groups);

 private:
  void CheckReadable() const;

  Sides sides_;
  bool whole_;
  double base_;
  CLimitCalibration calibration_;
  ScoreSource source_ = ScoreSource::kLearning;
  std::optional<std::int64_t> groups_;
  std::string fault_;  ///< why the stored ones could not be read
};

}  // namespace limes::host

#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apps/limes/measurement/settings.h"
#include "apps/limes/report/report.h"
#include "apps/limes/store/store.h"
#include "limes/learning/calibration.h"

namespace limes::host {

/// A rule that stored parts are judged by once more.
struct STrial {
  double base = 0.0;
  Sides sides = Sides::kBoth;
  double factor = 0.0;           ///< without a rate
  std::optional<double> rate{};  ///< wanted; the factors follow from it
  SCalibratedLimit limit{};      ///< of the rate
};

/// What becomes of the parts.
struct STried {
  STrial trial;
  SCounts counts;
  std::int64_t unknown = 0;  ///< parts whose stored numbers do not tell, in no other count
};

/// A part as the limits of one base see it.
struct STunedPart {
  bool isKnown = true;
  bool isScored = true;                    ///< scores are known, too
  std::array<bool, 2> passes{true, true};  ///< above and below: within the limit it is OK
  std::array<double, 2> factors{};         ///< at which it just passes
  std::array<double, 2> scores{};          ///< of the same
  std::optional<double> whole{};           ///< score of all points together
};

/// The parts that a store has judged last, as limits of other rules see them: nothing is read or
/// formed anew. A widened limit tells of its own base alone, and so do scores of tracks.
class CTuning {
 public:
  /// Reads the parts; the store is in a transaction. Throws CStoreError.
  explicit CTuning(CStore& store);

  const SSettings& Settings() const { return settings_; }

  /// Parts judged, and of these the ones judged before the limits learnt more.
  std::size_t Parts() const { return parts_.size(); }
  std::int64_t Outdated() const { return outdated_; }

  const std::string& Name(std::size_t part) const { return parts_[part].name; }
  const std::optional<std::string>& Label(std::size_t part) const { return parts_[part].label; }

  /// As the limits of a base see them. O(parts).
  std::vector<STunedPart> AtBase(double base) const;

  STried Try(const STrial& trial, const std::vector<STunedPart>& parts) const;

  /// Whether the limits for the rate of a trial are none, as everything would pass.
  bool IsTooWide(const STrial& trial) const {
    return trial.rate && trial.limit.IsTooWide(effectiveParts_);
  }

  /// The trial of a rate; none where no scores are stored for base and sides, or too few.
  std::optional<STrial> ForRate(double rate, double base, Sides sides);

  /// Parts that count in the factors of a rate.
  double EffectiveParts() const { return effectiveParts_; }

  /// A few bases between none and one at which all parts pass.
  std::vector<double> Bases(double factor) const;

  /// The range of factors with the smallest sum of the shares of good parts rejected and bad parts
  /// passed; none without labels.
  struct SLeastError {
    double from = 0.0;
    double to = 0.0;
    SCounts counts;
  };
  std::optional<SLeastError> LeastError(const STrial& trial,
                                        const std::vector<STunedPart>& parts) const;

  /// Whether a part is labelled good, bad or not at all.
  std::optional<bool> IsGood(std::size_t part) const;

 private:
  /// A quantity of a part against one of its limits.
  struct SMargin {
    Side side;
    bool mayFail;   ///< a value beyond the limit makes it NOK
    bool mayPass;   ///< one within makes it OK
    double factor;  ///< at the base that it was judged with
    double n;
    TCorners corners;
  };
  struct SStored {
    std::string name;
    std::optional<std::string> label;
    double base;
    SScores scores;
    bool isMeasured = true;  ///< each quantity, so that the scores tell of the part
    std::vector<SMargin> margins;
  };

  void Add(const SPartVerdict& verdict);
  void ReadScores(CStore& store);
  STunedPart Tuned(const SStored& part, double base) const;

  SSettings settings_;
  std::vector<SStored> parts_;
  std::map<std::string, double> bases_;  ///< by the text of a rule
  std::map<std::string, std::int64_t> learnt_;
  std::int64_t outdated_ = 0;
  double effectiveParts_ = 0.0;
  double scoredBase_ = 0.0;
  std::map<Sides, CLimitCalibration> calibrations_;
};

}  // namespace limes::host

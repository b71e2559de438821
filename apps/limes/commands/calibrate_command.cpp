#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <ostream>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/meant_variants.h"
#include "apps/limes/commands/relearn.h"
#include "apps/limes/errors.h"
#include "apps/limes/measurement/number_text.h"
#include "apps/limes/measurement/part_record.h"
#include "apps/limes/measurement/promise_text.h"
#include "apps/limes/model/model.h"
#include "apps/limes/report/report.h"
#include "apps/limes/store/store.h"
#include "apps/limes/store/stored_model.h"
#include "limes/learning/other_parts.h"
#include "recordings/part_source.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

/// Forms the scores of good parts anew: of each part by all others at hand, or by what is learnt.
class CCalibration {
 public:
  /// Of one variant, or of a store without.
  CCalibration(const SOptions& options, std::string variant, SConsole& console)
      : options_(options),
        variant_(std::move(variant)),
        console_(console),
        store_(options.store, CStore::Mode::kExisting),
        settings_(ResolveWithStore()),
        model_(LoadedModel(store_, rule_)) {
    version_ = store_.StateVersion();
    known_ = store_.LearntParts();
    quantities_ = store_.Quantities();
  }

  int Run() {
    options_.files.empty() ? TakeKept() : TakeFiles();
    store_.Rollback();
    const bool grouped = groups_.size() < parts_.size();
    if (!options_.frozen) {
      model_.Modes().AreOn() ? ScoreByOtherModes() : ScoreByOthers();
      Replace(ScoreSource::kOthers, grouped ? std::optional(Groups()) : std::nullopt);
    } else {
      Replace(ScoreSource::kFrozen, std::nullopt);
    }
    Write();
    console_.out << (variant_.empty() ? "" : Escaped(variant_) + ": ") << "calibrated by "
                 << parts_.size() << (parts_.size() == 1 ? " part" : " parts");
    if (grouped && !options_.frozen) {
      console_.out << " in " << groups_.size() << (groups_.size() == 1 ? " group" : " groups");
    }
    console_.out << '\n';
    PrintPromise(console_.out, model_.Promise());
    return static_cast<int>(ExitCode::kAllGood);
  }

 private:
  struct SGoodPart {
    std::size_t group = 0;
    std::vector<float> values;     ///< at all points; empty when it is scored at once
    std::vector<double> measured;  ///< with common modes, in place of the values
    SScores scores;
  };

  /// How files are read; rule_ is how the store judges from now on.
  SSettings ResolveWithStore() {
    store_.BeginReading();
    store_.Choose(variant_);
    const auto stored = store_.Settings();
    if (!stored) {
      throw CStoreError(options_.store + ": nothing is learnt in this store");
    }
    SSettings settings = Resolve(options_.settings, stored, false);
    rule_ = *stored;
    newBase_ = rule_.base != settings.base;
    rule_.base = settings.base;
    rule_.reject = settings.reject;
    rule_.factor = settings.factor;
    rule_.cover = settings.cover;
    rule_.sure = settings.sure;
    if (options_.group) {
      where_ = options_.where;
      if (settings.labelColumn && settings.labelColumn != options_.group) {
        where_.push_back({*settings.labelColumn, settings.good});
        settings.skip.push_back(*settings.labelColumn);
      }
      settings.labelColumn = options_.group;  // is read as the label of each part
    }
    return settings;
  }

  std::int64_t Groups() const { return static_cast<std::int64_t>(groups_.size()); }

  void Take(const SPart& part, const std::string& group) {
    SGoodPart& good = parts_.emplace_back();
    good.group = groups_.try_emplace(group, groups_.size()).first->second;
    if (options_.frozen) {
      good.scores = model_.ScoreFurther(part);
    } else {
      good.values = model_.ValuesOf(part);
      if (model_.Modes().AreOn()) {
        good.measured = model_.Measured();
        good.values = {};
      }
    }
  }

  void TakeFiles() {
    CPartSource source(
        options_.files,
        CPartSource::SConfig{settings_, options_.selection,
                             options_.group ? where_ : options_.where, !options_.group, false,
                             [this](const std::string& text) { Warn(console_, text); },
                             JobsOf(options_), options_.variant});
    source.CheckFiles();
    SPart part;
    for (std::size_t file = 0; source.OpenNext(); ++file) {
      while (source.Next(part)) {
        if (!settings_.variant.empty() && part.variant.name != variant_) {
          continue;
        }
        model_.ConvertUnits(part, [this](const std::string& text) { Warn(console_, text); });
        CheckIsNew(part);
        Take(part, options_.group      ? part.label.value_or("")
                   : settings_.cut > 0 ? std::to_string(file)
                                       : std::to_string(parts_.size()));
        if (const std::string why = model_.FarOff(); !why.empty()) {
          throw CInputError(part.name, why);
        }
      }
    }
    if (parts_.empty()) {
      throw CHostError(ExitCode::kBadInput, source.WhyNone() + "; nothing is calibrated");
    }
  }

  /// A part lies nearer to itself than to any other: one that was learnt, or is given twice.
  void CheckIsNew(const SPart& part) {
    const std::int64_t content = ContentOf(part, RecordOf(part));
    if (const auto [same, isNew] = taken_.try_emplace(content, part.name); !isNew) {
      throw CUsageError(part.name + " is given twice" +
                        (same->second == part.name ? "" : ", as " + same->second));
    }
    if (options_.frozen && std::any_of(known_.begin(), known_.end(), [&](const SLearntPart& known) {
          return known.content == content;
        })) {
      throw CUsageError(part.name + " is learnt: --frozen takes further good parts");
    }
  }

  void TakeKept() {
    if (options_.frozen || options_.group) {
      throw CUsageError("--frozen and --group need files of good parts");
    }
    ForEachKept(store_, [&](const SLearntPart& kept) {
      SPart part = PartFromRecord(kept.record, quantities_);
      part.name = kept.name;
      Take(part, std::to_string(kept.recording.value_or(kept.id)));
      return true;
    });
    if (parts_.size() < known_.size()) {
      Warn(console_, std::to_string(parts_.size()) + " of " + std::to_string(known_.size()) +
                         " learnt parts are kept and take part");
    }
  }

  void ScoreByOthers() {
    COtherParts all;
    for (const SGoodPart& part : parts_) {
      RequireAdded(all.Add(part.values));
    }
    std::stable_sort(parts_.begin(), parts_.end(),
                     [](const SGoodPart& a, const SGoodPart& b) { return a.group < b.group; });
    const float base = static_cast<float>(settings_.base);
    COtherParts group = all.NewGroup();
    for (auto first = parts_.begin(); first != parts_.end();) {
      const auto last = std::find_if(
          first, parts_.end(), [&](const SGoodPart& part) { return part.group != first->group; });
      group.Clear();
      for (auto part = first; part != last; ++part) {
        RequireAdded(group.Add(part->values));
      }
      for (; first != last; ++first) {
        const SPartScores scores = all.Score(first->values, std::span(&base, 1), group);
        first->scores = {scores.above, scores.below};
      }
    }
  }

  /// By the modes of the parts of other groups, so many of which are left out together that no more
  /// than kMostFolds times modes are formed.
  void ScoreByOtherModes() {
    constexpr std::size_t kMostFolds = 32;
    FillWhatNoneHas();
    const std::size_t folds = std::min(groups_.size(), kMostFolds);
    for (std::size_t fold = 0; fold < folds; ++fold) {
      CCommonModes others(rule_.modes.value_or(0), CExpAverFacGenerator::kNoForgetting,
                          rule_.whole);
      for (const bool gaps : {false, true}) {  // the first part has none
        for (const SGoodPart& part : parts_) {
          if (part.group % folds != fold && HasGaps(part) == gaps) {
            const LearnStatus status = others.Learn(part.measured);
            if (status == LearnStatus::kGaps) {
              throw CUsageError("calibrate: none of the parts covers all that the others do");
            }
            RequireAdded(status == LearnStatus::kOk);
          }
        }
      }
      others.Form();
      if (!others.IsFormed()) {
        throw CUsageError("calibrate: " + Count(rule_.modes.value_or(0), "mode") + " need " +
                          std::to_string(others.PartsNeeded()) +
                          " parts beside those of a group that is left out, " +
                          std::to_string(others.Learnt()) + " are there");
      }
      SModesOfPart told;
      for (SGoodPart& part : parts_) {
        if (part.group % folds == fold && others.Explain(part.measured, told) == JudgeReason::kOk) {
          const SPartScores scores =
              others.Score(part.measured, told, static_cast<float>(settings_.base)).scores;
          part.scores = {scores.above, scores.below,
                         rule_.whole ? std::optional(scores.whole) : std::nullopt};
        }
      }
    }
  }

  /// Where no part was measured, as all were moved or are shorter than the first, nothing varies.
  void FillWhatNoneHas() {
    for (std::size_t i = 0; i < parts_[0].measured.size(); ++i) {
      const auto lacks = [&](const SGoodPart& part) { return std::isnan(part.measured[i]); };
      if (std::all_of(parts_.begin(), parts_.end(), lacks)) {
        std::for_each(parts_.begin(), parts_.end(),
                      [&](SGoodPart& part) { part.measured[i] = 0.0; });
      }
    }
  }

  static bool HasGaps(const SGoodPart& part) {
    return std::any_of(part.measured.begin(), part.measured.end(),
                       [](double value) { return std::isnan(value); });
  }

  static void RequireAdded(bool added) {
    if (!added) {
      throw std::bad_alloc();
    }
  }

  void Replace(ScoreSource source, std::optional<std::int64_t> groups) {
    constexpr std::size_t kLeast = 4;  // of which a limit is formed
    const auto scored = std::count_if(parts_.begin(), parts_.end(), [](const SGoodPart& part) {
      return part.scores.above.has_value();
    });
    if (static_cast<std::size_t>(scored) < kLeast || (groups && *groups < 2)) {
      throw CUsageError("calibrate needs 4 good parts at least, and 2 groups of them" +
                        std::string(options_.frozen ? ", and 10 learnt before" : ""));
    }
    model_.ReplaceScores(source, groups);
    for (const SGoodPart& part : parts_) {
      model_.AddScores(part.scores);
    }
  }

  void Write() {
    store_.Begin();
    store_.Choose(variant_);
    if (store_.StateVersion() != version_) {
      throw CStoreError(options_.store + ": was changed meanwhile; calibrate again");
    }
    if (newBase_) {  // the scores of learning are of no use any more
      std::for_each(known_.begin(), known_.end(),
                    [&](const SLearntPart& part) { store_.SetScores(part.id, SScores()); });
    }
    if (SettingsToText(rule_) != SettingsToText(*store_.Settings())) {
      store_.SetSettings(rule_);  // of a variant it is its own from now on
    }
    store_.SetReason(options_.reason);
    SaveModel(store_, model_, store_.AddRun("calibrate", rule_));
    store_.Commit();
  }

  const SOptions& options_;
  std::string variant_;
  SConsole& console_;
  CStore store_;
  SSettings rule_;
  std::vector<SCondition> where_;
  bool newBase_ = false;
  SSettings settings_;
  CModel model_;
  std::int64_t version_ = 0;
  std::vector<SLearntPart> known_;
  std::vector<SStoredQuantity> quantities_;
  std::vector<SGoodPart> parts_;
  std::map<std::string, std::size_t> groups_;
  std::map<std::int64_t, std::string> taken_;  ///< names of the parts by their content
};

}  // namespace

int RunCalibrate(const SOptions& options, SConsole& console) {
  std::vector<SStoredVariant> variants;
  {
    CStore store(options.store, CStore::Mode::kReading);
    store.BeginReading();
    variants = MeantVariants(store, options);
  }
  for (const SStoredVariant& variant : variants) {
    CCalibration(options, variant.name, console).Run();
  }
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host

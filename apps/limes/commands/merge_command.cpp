#include <algorithm>
#include <filesystem>
#include <limits>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <set>
#include <utility>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/meant_variants.h"
#include "apps/limes/commands/relearn.h"
#include "apps/limes/errors.h"
#include "apps/limes/model/model.h"
#include "apps/limes/plant/plant_reader.h"
#include "apps/limes/report/json_line.h"
#include "apps/limes/store/store.h"
#include "apps/limes/store/stored_model.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

/// Joins other stores into one: all of them or, when one does not fit, none. The others are read
/// first, so that a store that does not exist yet is made only for a result.
class CMergeRun {
 public:
  CMergeRun(const SOptions& options, SConsole& console) : options_(options), console_(console) {}

  void Run() {
    CheckPaths();
    OpenStore();
    for (const std::string& path : options_.files) {
      CStore other(path, CStore::Mode::kReading);
      other.BeginReading();
      if (const auto theirs = other.Settings(); theirs && !settings_) {
        settings_ = theirs;
        first_ = path;
      }
      ForEachVariant(other, options_, [&](const SStoredVariant& variant) {
        Join(path, variant.name, LearntStateOf(other));
      });
    }
    JoinPlant();
    CheckCommon();
    Write();
    Report();
  }

 private:
  struct SOther {
    std::string path;
    std::string variant;
    std::vector<SLearntPart> parts;
    SJoined quantities;
  };

  /// A store that is joined with itself would count its parts twice.
  void CheckPaths() const {
    std::vector<std::string> paths = options_.files;
    for (const std::string& path : paths) {
      if (NamesDatabase(path)) {
        throw CUsageError("benches of a database are joined by --from " + path);
      }
    }
    if (options_.plant.empty() && (paths.empty() || !options_.benches.empty())) {
      throw CUsageError(paths.empty() ? "other stores, or --from DATABASE, are needed"
                                      : "--bench needs --from DATABASE");
    }
    paths.push_back(options_.store);
    for (std::size_t i = 0; i < paths.size(); ++i) {
      for (std::size_t k = 0; k < i; ++k) {
        std::error_code error;
        if (paths[i] == paths[k] || std::filesystem::equivalent(paths[i], paths[k], error)) {
          throw CUsageError(paths[k] + " and " + paths[i] + " are the same store");
        }
      }
    }
  }

  /// Locks the store for the whole run; nothing is made yet.
  void OpenStore() {
    std::error_code error;
    if (!std::filesystem::exists(options_.store, error) ||
        std::filesystem::file_size(options_.store, error) == 0) {
      return;
    }
    store_ = std::make_unique<CStore>(options_.store, CStore::Mode::kExisting);
    store_->Begin();
    settings_ = store_->Settings();
  }

  /// What a variant has learnt here.
  CModel& ModelOf(const std::string& variant) {
    auto& model = models_[variant];
    if (!model && store_ && store_->Choose(variant)) {
      model = std::make_unique<CModel>(LoadedModel(*store_, store_->Settings().value()));
    } else if (!model) {
      model = std::make_unique<CModel>(*settings_);
    }
    return *model;
  }

  /// The benches of a database.
  void JoinPlant() {
    if (options_.plant.empty()) {
      return;
    }
    CPlantConnection connection(options_.plant);
    CPlantReader plant(connection);
    for (const std::string& bench : plant.Benches(options_.benches)) {
      Join("bench " + bench, "", plant.Read(bench));
    }
  }

  void Join(const std::string& path, const std::string& variant,
            std::optional<SLearntState> state) {
    if (!state) {
      throw CStoreError(path + ": nothing is learnt in this store");
    }
    if (!settings_) {
      settings_ = state->settings;
      first_ = path;
    }
    if (state->settings.IsPrecise() && !settings_->IsPrecise()) {
      throw CUsageError(path + " was learnt with --precise, " + Here() + " without: limes set " +
                        Here() + " --precise, or merge into a copy of " + path);
    }
    if (settings_->IsPrecise() && !state->settings.IsPrecise()) {
      state->settings.precise = true;
      Warn(console_, path + " was learnt in single precision and is taken over as it is held");
    }
    CModel theirs = LoadedModel(*state, path);
    try {
      if (const std::string differs = Difference(*settings_, state->settings, {"--variant"});
          !differs.empty()) {
        throw CUsageError(differs);
      }
      SJoined joined = ModelOf(variant).Join(std::move(theirs));
      others_.push_back({path, variant, std::move(state->parts), std::move(joined)});
    } catch (const CUsageError& e) {
      throw CUsageError(path + " does not fit " + Here() + ": " + e.what());
    }
  }

  /// What the others are joined with.
  const std::string& Here() const { return first_.empty() ? options_.store : first_; }

  /// Refuses parts that two of the stores have learnt; those of older programs can be told by
  /// their names only.
  void CheckCommon() {
    struct SKnown {
      std::map<std::int64_t, std::string> contents;
      std::set<std::string> names;
    };
    std::map<std::string, SKnown> knownOf;  // by variant
    for (const auto& [variant, model] : models_) {
      if (!store_ || !store_->Choose(variant)) {
        continue;
      }
      for (const SLearntPart& part : store_->LearntParts()) {
        knownOf[variant].contents.emplace(part.content.value_or(0), part.name);
        knownOf[variant].names.insert(part.name);
      }
    }
    for (const SOther& other : others_) {
      auto& [contents, names] = knownOf[other.variant];
      for (const SLearntPart& part : other.parts) {
        const bool known = part.content && !contents.emplace(*part.content, part.name).second;
        if (known && !options_.again) {
          throw CUsageError(other.path + ": " + part.name + " is learnt already, as " +
                            contents.at(*part.content) +
                            "; the same parts count twice then (--again joins all the same)");
        }
        twice_ += names.insert(part.name).second || known ? 0 : 1;
      }
    }
  }

  void Write() {
    if (!store_) {
      store_ = std::make_unique<CStore>(options_.store, CStore::Mode::kCreate);
      store_->Begin();
      if (store_->Settings()) {
        throw CStoreError(options_.store + ": another process made the store meanwhile");
      }
    }
    store_->Choose("");
    if (!first_.empty()) {
      store_->SetSettings(*settings_);
    }
    store_->SetReason(options_.reason);
    std::vector<std::string> names;
    for (const SOther& other : others_) {
      if (names.empty() || names.back() != other.path) {
        names.push_back(other.path);
      }
    }
    const std::int64_t run = store_->AddRun("merge", *settings_, names);
    for (const SOther& other : others_) {
      store_->ChooseOrMake(other.variant);
      for (SLearntPart part : other.parts) {
        part.recording.reset();  // a number of the other store
        store_->AddLearnt(run, part);
      }
    }
    for (const auto& [variant, model] : models_) {
      store_->ChooseOrMake(variant);
      SaveModel(*store_, *model, run);
      SaveBase(*store_, *model);  // the joint state is not that of parts learnt in a row
      store_->DropKept(std::numeric_limits<std::int64_t>::max());
    }
    store_->Commit();
  }

  void Report() {
    for (const SOther& other : others_) {
      options_.json ? ReportJson(other) : ReportText(other);
    }
    std::ostream& out = options_.json ? console_.err : console_.out;
    std::int64_t parts = 0;
    for (const SStoredVariant& variant : store_->Variants()) {
      store_->Choose(variant.name);
      parts += store_->CountParts(true);
    }
    out << parts << (parts == 1 ? " part" : " parts") << " learnt in " << Escaped(options_.store)
        << '\n';
    if (twice_ > 0) {
      console_.err << "warning: " << twice_
                   << (twice_ == 1 ? " part has the name" : " parts have names")
                   << " of another one; the same parts must not be learnt twice\n";
    }
    for (const auto& [variant, model] : models_) {
      for (const std::string& warning : model->Warnings()) {
        Warn(console_, (variant.empty() ? "" : variant + ": ") + warning);
      }
    }
  }

  void ReportText(const SOther& other) {
    console_.out << "joined " << other.parts.size()
                 << (other.parts.size() == 1 ? " part of " : " parts of ") << Escaped(other.path)
                 << (other.variant.empty() ? "" : ", " + Escaped(other.variant)) << ": "
                 << other.quantities.both.size()
                 << (other.quantities.both.size() == 1 ? " quantity\n" : " quantities\n");
    for (const std::string& name : other.quantities.onlyThere) {
      console_.out << "  " << Quoted(name) << " is only in " << Escaped(other.path)
                   << " and is left out\n";
    }
    for (const std::string& name : other.quantities.onlyHere) {
      console_.out << "  " << Quoted(name) << " is not in " << Escaped(other.path)
                   << " and stays as it is\n";
    }
  }

  void ReportJson(const SOther& other) {
    nlohmann::ordered_json json;
    json["store"] = other.path;
    if (!other.variant.empty()) {
      json["variant"] = other.variant;
    }
    json["parts"] = other.parts.size();
    json["joined"] = other.quantities.both;
    json["left_out"] = other.quantities.onlyThere;
    json["unchanged"] = other.quantities.onlyHere;
    PrintJsonLine(console_.out, json);
  }

  const SOptions& options_;
  SConsole& console_;
  std::unique_ptr<CStore> store_;                          ///< null while there is none
  std::map<std::string, std::unique_ptr<CModel>> models_;  ///< by variant, of those that are joined
  std::optional<SSettings> settings_;  ///< of the store; of the first other one for a new one
  std::string first_;                  ///< that one
  std::vector<SOther> others_;
  std::size_t twice_ = 0;  ///< parts with names that were there already
};

}  // namespace

int RunMerge(const SOptions& options, SConsole& console) {
  CMergeRun(options, console).Run();
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host

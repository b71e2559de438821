#include <algorithm>
#include <filesystem>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <set>

#include "apps/limes/commands/commands.h"
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
      Join(path, LearntStateOf(other));
    }
    JoinPlant();
    CheckCommon();
    Write();
    Report();
  }

 private:
  struct SOther {
    std::string path;
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
    if (auto settings = store_->Settings()) {
      model_ = std::make_unique<CModel>(LoadedModel(*store_, *settings));
    }
  }

  /// The benches of a database.
  void JoinPlant() {
    if (options_.plant.empty()) {
      return;
    }
    CPlantConnection connection(options_.plant);
    CPlantReader plant(connection);
    for (const std::string& bench : plant.Benches(options_.benches)) {
      Join("bench " + bench, plant.Read(bench));
    }
  }

  void Join(const std::string& path, std::optional<SLearntState> state) {
    if (!state) {
      throw CStoreError(path + ": nothing is learnt in this store");
    }
    if (!model_) {
      model_ = std::make_unique<CModel>(state->settings);
      newSettings_ = state->settings;
      first_ = path;
    }
    CModel theirs = LoadedModel(*state, path);
    try {
      others_.push_back({path, std::move(state->parts), model_->Join(std::move(theirs))});
    } catch (const CUsageError& e) {
      throw CUsageError(path + " does not fit " + Here() + ": " + e.what());
    }
  }

  /// What the others are joined with.
  const std::string& Here() const { return newSettings_ ? first_ : options_.store; }

  /// Refuses parts that two of the stores have learnt; those of older programs can be told by
  /// their names only.
  void CheckCommon() {
    std::map<std::int64_t, std::string> contents;
    std::set<std::string> names;
    const auto take = [&](const SLearntPart& part, const std::string& path) {
      const bool known = part.content && !contents.emplace(*part.content, part.name).second;
      if (known && !options_.again) {
        throw CUsageError(path + ": " + part.name + " is learnt already, as " +
                          contents.at(*part.content) +
                          "; the same parts count twice then (--again joins all the same)");
      }
      twice_ += names.insert(part.name).second || known ? 0 : 1;
    };
    if (store_) {
      for (const SLearntPart& part : store_->LearntParts()) {
        contents.emplace(part.content.value_or(0), part.name);
        names.insert(part.name);
      }
    }
    for (const SOther& other : others_) {
      std::for_each(other.parts.begin(), other.parts.end(),
                    [&](const SLearntPart& part) { take(part, other.path); });
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
    if (newSettings_) {
      store_->SetSettings(*newSettings_);
    }
    store_->SetReason(options_.reason);
    std::vector<std::string> names;
    std::transform(others_.begin(), others_.end(), std::back_inserter(names),
                   [](const SOther& other) { return other.path; });
    const std::int64_t run = store_->AddRun("merge", model_->Settings(), names);
    for (const SOther& other : others_) {
      for (SLearntPart part : other.parts) {
        part.recording.reset();  // a number of the other store
        store_->AddLearnt(run, part);
      }
    }
    SaveModel(*store_, *model_, run);
    SaveBase(*store_, *model_);  // the joint state is not that of parts learnt in a row
    store_->DropKept(std::numeric_limits<std::int64_t>::max());
    store_->Commit();
  }

  void Report() {
    for (const SOther& other : others_) {
      options_.json ? ReportJson(other) : ReportText(other);
    }
    std::ostream& out = options_.json ? console_.err : console_.out;
    const std::int64_t parts = store_->CountParts(true);
    out << parts << (parts == 1 ? " part" : " parts") << " learnt in " << Escaped(options_.store)
        << '\n';
    if (twice_ > 0) {
      console_.err << "warning: " << twice_
                   << (twice_ == 1 ? " part has the name" : " parts have names")
                   << " of another one; the same parts must not be learnt twice\n";
    }
    for (const std::string& warning : model_->Warnings()) {
      Warn(console_, warning);
    }
  }

  void ReportText(const SOther& other) {
    console_.out << "joined " << other.parts.size()
                 << (other.parts.size() == 1 ? " part of " : " parts of ") << Escaped(other.path)
                 << ": " << other.quantities.both.size()
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
    json["parts"] = other.parts.size();
    json["joined"] = other.quantities.both;
    json["left_out"] = other.quantities.onlyThere;
    json["unchanged"] = other.quantities.onlyHere;
    PrintJsonLine(console_.out, json);
  }

  const SOptions& options_;
  SConsole& console_;
  std::unique_ptr<CStore> store_;  ///< null while there is none
  std::unique_ptr<CModel> model_;
  std::optional<SSettings> newSettings_;  ///< of the first other store, for a new one
  std::string first_;                     ///< that one
  std::vector<SOther> others_;
  std::size_t twice_ = 0;  ///< parts with names that were there already
};

}  // namespace

int RunMerge(const SOptions& options, SConsole& console) {
  CMergeRun(options, console).Run();
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host

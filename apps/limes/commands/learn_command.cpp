#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <thread>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/relearn.h"
#include "apps/limes/errors.h"
#include "apps/limes/measurement/part_record.h"
#include "apps/limes/model/model.h"
#include "apps/limes/report/json_line.h"
#include "apps/limes/store/store.h"
#include "apps/limes/store/stored_model.h"
#include "recordings/part_source.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

using Clock = std::chrono::steady_clock;

/// Parts are learnt in batches, one transaction each: files that hold one part are gathered for
/// this long, a file that can hold several is a batch of its own, so that a bad row in it leaves
/// the store as it was.
constexpr auto kBatchTime = std::chrono::milliseconds(200);

/// Another process made the store that this run was about to make.
struct CBegunElsewhere {};

class CLearnRun {
 public:
  CLearnRun(const SOptions& options, SConsole& console) : options_(options), console_(console) {
    std::error_code error;
    const bool exists = std::filesystem::exists(options.store, error) &&
                        std::filesystem::file_size(options.store, error) > 0;
    std::optional<SSettings> stored;
    if (exists) {
      store_ = std::make_unique<CStore>(options.store, CStore::Mode::kCreate);
      stored = store_->Settings();
    }
    const NoteTaker note = [&console](const std::string& text) { Warn(console, text); };
    settings_ = Resolve(stored ? options.settings : SettingsWithSkip(options, note), stored, true);
    model_ = std::make_unique<CModel>(settings_);
    source_ = std::make_unique<CPartSource>(
        options.files,
        CPartSource::SConfig{settings_, options.selection, options.where, true, false, note});
    source_->CheckFiles();
  }

  int Run() {
    CProgressBar bar(console_);
    while (source_->OpenNext()) {
      LearnFile(bar);
    }
    Commit();
    bar.Clear();
    ReportRefused();
    if (learntBefore_ == 0 && !refused_.empty()) {
      throw CHostError(ExitCode::kBadInput, "nothing is learnt");
    }
    if (learntBefore_ == 0) {
      throw CHostError(ExitCode::kBadInput, source_->WhyNone() + "; nothing is learnt");
    }
    for (const std::string& warning : model_->Warnings()) {
      Warn(console_, warning);
    }
    (options_.json ? console_.err : console_.out)
        << "learnt " << learntBefore_ << (learntBefore_ == 1 ? " part; " : " parts; ")
        << store_->CountParts(true) << " in " << Escaped(options_.store) << '\n';
    return static_cast<int>(refused_.empty() ? ExitCode::kAllGood : ExitCode::kBadInput);
  }

 private:
  void LearnFile(CProgressBar& bar) {
    const bool several = source_->MayHoldSeveral();
    if (several) {
      Commit();
    }
    Begin();
    if (settings_.cut > 0) {
      model_->Freeze();
    }
    try {
      while (source_->Next(part_)) {
        LearnPart();
        if (bar.IsDue()) {
          bar.Show(source_->Progress());
        }
      }
    } catch (const CInputError&) {
      if (!several) {
        Commit();  // what came before is whole
      }
      throw;
    }
    if (several || Clock::now() - begun_ > kBatchTime) {
      Commit();
    }
  }

  /// Learns the part, or notes why it is refused.
  void LearnPart() {
    SLearntPart learnt{part_.name, part_.label, std::nullopt, RecordOf(part_)};
    learnt.content = ContentOf(part_, learnt.record);
    const auto same = std::find_if(pending_.begin(), pending_.end(), [&](const SLearntPart& p) {
      return p.content == learnt.content;
    });
    auto known = same == pending_.end() ? std::nullopt : std::optional(same->name);
    if (!known && store_) {
      known = store_->FindLearnt(*learnt.content);
    }
    if (known && !options_.again) {
      refused_.push_back({part_.name, "is learnt already" +
                                          (*known == part_.name ? "" : ", as " + *known) +
                                          " (--again learns it once more)"});
      return;
    }
    // What is known already tells nothing of other parts.
    if (std::string reason = model_->Learn(part_, options_.allowShort, !known); !reason.empty()) {
      refused_.push_back({part_.name, std::move(reason)});
      return;
    }
    learnt.scores = known ? SScores() : model_->Scored().scores;
    pending_.push_back(std::move(learnt));
  }

  void Begin() {
    if (inBatch_) {
      return;
    }
    inBatch_ = true;
    begun_ = Clock::now();
    if (store_) {
      BeginWriting();
    }
  }

  /// Starts the transaction and takes over what other processes have learnt meanwhile.
  void BeginWriting() {
    store_->Begin();
    if (store_->Settings()) {
      const std::int64_t version = store_->StateVersion();
      if (version != stateVersion_) {
        LoadModel(*store_, *model_);
        stateVersion_ = version;
      }
    }
  }

  void Commit() {
    if (!inBatch_) {
      return;
    }
    inBatch_ = false;
    if (!pending_.empty()) {
      Write();
    } else if (store_) {
      store_->Rollback();
    }
  }

  void Write() {
    if (!store_) {  // a run that learns nothing makes no store
      store_ = std::make_unique<CStore>(options_.store, CStore::Mode::kCreate);
      store_->Begin();
      if (store_->Settings()) {
        throw CBegunElsewhere();
      }
    }
    if (!store_->Settings()) {
      store_->SetSettings(settings_);
    }
    if (run_ == 0) {
      run_ = store_->AddRun("learn", settings_);
    }
    std::optional<std::int64_t> recording;
    for (SLearntPart& learnt : pending_) {
      if (settings_.cut > 0) {  // a file that is cut is a batch of its own
        learnt.recording = recording.value_or(SLearntPart::kNewRecording);
      }
      const std::int64_t id = store_->AddLearnt(run_, learnt);
      recording = recording.value_or(id);
    }
    SaveModel(*store_, *model_, run_);
    LimitKept(*store_, settings_);
    stateVersion_ = store_->StateVersion();
    store_->Commit();
    Report();
    // Leaves others time to get in; they look every millisecond.
    const auto pause = (Clock::now() - begun_) / 20;
    std::this_thread::sleep_for(std::min<Clock::duration>(pause, std::chrono::milliseconds(3)));
  }

  struct SRefused {
    std::string part;
    std::string reason;
  };

  /// Names every part that was not learnt.
  void ReportRefused() {
    for (const SRefused& refused : refused_) {
      if (options_.json) {
        PrintJsonLine(console_.out,
                      {{"part", refused.part}, {"learnt", false}, {"reason", refused.reason}});
      }
      console_.err << "not learnt  " << Escaped(refused.part + "  " + refused.reason) << '\n';
    }
  }

  void Report() {
    if (options_.json) {
      for (const SLearntPart& learnt : pending_) {
        nlohmann::ordered_json json;
        json["part"] = learnt.name;
        if (learnt.label) {
          json["label"] = *learnt.label;
        }
        json["learnt"] = true;
        PrintJsonLine(console_.out, json);
      }
      console_.out.flush();
    }
    learntBefore_ += pending_.size();
    pending_.clear();
  }

  const SOptions& options_;
  SConsole& console_;
  SSettings settings_;
  std::unique_ptr<CStore> store_;  ///< null until there is something to store
  std::unique_ptr<CModel> model_;
  std::unique_ptr<CPartSource> source_;
  SPart part_;
  std::vector<SLearntPart> pending_;  ///< learnt, not yet stored
  std::vector<SRefused> refused_;
  std::uint64_t learntBefore_ = 0;
  std::int64_t stateVersion_ = -1;
  std::int64_t run_ = 0;
  bool inBatch_ = false;
  Clock::time_point begun_;
};

}  // namespace

int RunLearn(const SOptions& options, SConsole& console) {
  for (;;) {
    try {
      return CLearnRun(options, console).Run();
    } catch (const CBegunElsewhere&) {
      // nothing was stored yet: begin again, on top of the other's store
    }
  }
}

}  // namespace limes::host

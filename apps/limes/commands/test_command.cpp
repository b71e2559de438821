#include <chrono>
#include <memory>
#include <new>
#include <nlohmann/json.hpp>
#include <ostream>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/output_file.h"
#include "apps/limes/errors.h"
#include "apps/limes/measurement/part_record.h"
#include "apps/limes/model/model.h"
#include "apps/limes/report/html_report.h"
#include "apps/limes/report/json_line.h"
#include "apps/limes/report/json_text.h"
#include "apps/limes/report/report.h"
#include "apps/limes/report/report_texts.h"
#include "apps/limes/store/store.h"
#include "apps/limes/store/stored_model.h"
#include "recordings/part_source.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostPending = 4096;  ///< parts judged that wait to be stored

/// A file that could not be used.
struct SUnusable {
  std::string name;
  std::string text;  ///< name and reason
};

class CTestRun {
 public:
  CTestRun(const SOptions& options, SConsole& console)
      : options_(options),
        console_(console),
        store_(options.store, options.noStore ? CStore::Mode::kReading : CStore::Mode::kExisting),
        settings_(ResolveWithStore()),
        model_(settings_),
        watch_(settings_.drift),
        source_(options.files,
                CPartSource::SConfig{settings_, options.selection, options.where, false,
                                     !options.settings.labelColumn,
                                     [&console](const std::string& text) { Warn(console, text); },
                                     JobsOf(options)}) {
    if (!options.keepGoing) {
      source_.CheckFiles();
    }
    LoadModel(store_, model_);
    LoadWatch();
    promise_ = PromiseOf(store_, model_);
    store_.Rollback();
    if (!options.output.empty()) {
      RefuseStore(options.output, options.store);
      reportFile_ = std::make_unique<COutputFile>(options.output, options.force);
      report_ = std::make_unique<CHtmlReport>(model_);
    }
  }

  int Run() {
    CProgressBar bar(console_);
    while (JudgeNext(bar)) {
    }
    Store();
    bar.Clear();
    if (counts_.parts == 0 && unusable_.empty()) {
      throw CHostError(ExitCode::kBadInput, source_.WhyNone() + "; nothing is judged");
    }
    TakeUnusable();
    PrintCounts(options_.json ? console_.err : console_.out, counts_);
    if (!options_.json) {
      PrintSureness(console_.out, last_);
      PrintPromise(console_.out, promise_);
    }
    ListUnusable();
    WriteReport();
    return static_cast<int>(!unusable_.empty()            ? ExitCode::kBadInput
                            : counts_.ok == counts_.parts ? ExitCode::kAllGood
                                                          : ExitCode::kNotGood);
  }

 private:
  /// The alarm goes on where judging left it, at first where learning did: so it knows what good
  /// parts look like, and parts that have moved from the first one on are a drift.
  void LoadWatch() {
    std::vector<SStoredDrift> drift = store_.Drift(CStore::DriftSource::kJudging);
    if (drift.empty()) {
      drift = store_.Drift(CStore::DriftSource::kLearning);
    }
    watch_.Load(drift, store_.Path());
  }

  /// Opens a transaction, so that settings and learn states are of one moment.
  SSettings ResolveWithStore() {
    store_.BeginReading();
    const auto stored = store_.Settings();
    if (!stored) {
      throw CStoreError(options_.store + ": nothing is learnt in this store");
    }
    const SSettings settings = Resolve(options_.settings, stored, false);
    if (settings.reject && settings.base != stored->base) {
      throw CUsageError(
          "a rate is promised for the --base that parts were scored with, " +
          NumberText(stored->base) +
          ": give --factor with another one, or change it by limes set or limes calibrate");
    }
    return settings;
  }

  /// Judges the parts of the next file; false behind the last. What was judged before a failure is
  /// stored and printed first.
  bool JudgeNext(CProgressBar& bar) {
    try {
      if (!source_.OpenNext()) {
        return false;
      }
      JudgeFile(bar);
    } catch (const CReadError& e) {
      bar.Clear();
      Store();
      if (!options_.keepGoing) {
        throw;
      }
      const std::string text = e.what();
      unusable_.push_back({text.substr(0, text.find(": ")), text});
    } catch (const std::bad_alloc&) {
      Store();
      throw;
    }
    return true;
  }

  void JudgeFile(CProgressBar& bar) {
    SPart part;
    while (source_.Next(part)) {
      model_.ConvertUnits(part, [this](const std::string& text) { Warn(console_, text); });
      pending_.push_back(model_.Judge(part));
      shifts_.push_back(model_.Shifts());
      pending_.back().content = ContentOf(part, RecordOf(part));
      if (report_) {
        report_->Add(pending_.back(), [&](const std::string& name) { return model_.Judged(name); });
      }
      if (bar.IsDue()) {
        bar.Show(source_.Progress());
      }
      if (pending_.size() == kMostPending) {
        bar.Clear();
        Store();
      }
    }
    if (source_.MayHoldSeveral() || Clock::now() - stored_ > std::chrono::milliseconds(200)) {
      bar.Clear();
      Store();
    }
  }

  /// Files that could not be used are not judged, and none is passed over in silence.
  void TakeUnusable() {
    for (const SUnusable& file : unusable_) {
      counts_.Add(Verdict::kNotJudged, std::nullopt);
      if (report_) {
        report_->AddUnusable(file.name, file.text);
      }
    }
  }

  void ListUnusable() {
    for (const SUnusable& file : unusable_) {
      if (options_.json) {
        PrintJsonLine(console_.out,
                      {{"part", file.name}, {"verdict", "not judged"}, {"reason", file.text}});
      } else {
        console_.out << "not judged  " << Escaped(file.text) << '\n';
      }
    }
  }

  /// Stores what was judged in one transaction and only then reports it.
  void Store() {
    stored_ = Clock::now();
    if (pending_.empty()) {
      return;
    }
    if (options_.noStore) {
      Watch();
    } else {
      WriteVerdicts();
    }
    for (const SPartVerdict& verdict : pending_) {
      counts_.Add(verdict, settings_.good);
      if (options_.json) {
        PrintVerdictJson(console_.out, json_, verdict);
      } else {
        PrintVerdict(console_.out, verdict, console_.colours);
      }
      for (const SDriftFound& drift : verdict.drifts) {
        Warn(console_, DriftText(drift));
        if (report_ && options_.noStore) {
          report_->AddDrift(drift);
        }
      }
    }
    console_.out.flush();
    last_ = std::move(pending_.back());
    pending_.clear();
    shifts_.clear();
  }

  /// Parts that are NOK or not judged tell of themselves, not of the process.
  void Watch() {
    for (std::size_t i = 0; i < pending_.size(); ++i) {
      if (pending_[i].verdict == Verdict::kPass) {
        pending_[i].drifts = watch_.Add(pending_[i].part, shifts_[i], model_.Quantities());
      }
    }
  }

  void WriteVerdicts() {
    store_.Begin();
    LoadWatch();  // others judge, too
    Watch();
    store_.SetDrift(CStore::DriftSource::kJudging, watch_.Stored());
    if (run_ == 0) {
      run_ = store_.AddRun("test", settings_);
    }
    for (const SPartVerdict& verdict : pending_) {
      const std::int64_t id = store_.AddJudged(run_, verdict);
      store_.AddAlarms(run_, verdict.drifts, id);
    }
    store_.Commit();
  }

  /// A page is written when all files could be read, or those that could not are on it.
  void WriteReport() {
    if (report_) {
      store_.BeginReading();
      const std::string page = report_->Page(store_);
      store_.Rollback();
      reportFile_->Write(page);
      reportFile_->Finish();
      (options_.json ? console_.err : console_.out) << "wrote " << Escaped(options_.output) << '\n';
    }
  }

  const SOptions& options_;
  SConsole& console_;
  CStore store_;
  SSettings settings_;
  CModel model_;
  CDriftWatch watch_;  ///< over the parts judged
  CPartSource source_;
  std::unique_ptr<COutputFile> reportFile_;  ///< null when no page is wanted
  std::unique_ptr<CHtmlReport> report_;
  CJsonText json_;
  std::vector<SPartVerdict> pending_;        ///< judged, not yet stored
  std::vector<std::vector<SShift>> shifts_;  ///< of each of them
  std::vector<SUnusable> unusable_;
  SPromise promise_;
  SPartVerdict last_;  ///< all parts of a run are judged by the same limits
  SCounts counts_;
  std::int64_t run_ = 0;
  Clock::time_point stored_ = Clock::now();
};

}  // namespace

int RunTest(const SOptions& options, SConsole& console) { return CTestRun(options, console).Run(); }

}  // namespace limes::host

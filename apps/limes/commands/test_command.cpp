#include <chrono>
#include <map>
#include <memory>
#include <new>
#include <nlohmann/json.hpp>
#include <ostream>

#include "apps/limes/bench/judging.h"
#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/output_file.h"
#include "apps/limes/errors.h"
#include "apps/limes/report/html_report.h"
#include "apps/limes/report/json_line.h"
#include "apps/limes/report/json_text.h"
#include "apps/limes/report/report.h"
#include "apps/limes/report/report_texts.h"
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
        judging_(options.store, options.settings, "test", !options.noStore),
        source_(options.files,
                CPartSource::SConfig{judging_.Settings(), options.selection, options.where, false,
                                     !options.settings.labelColumn,
                                     [&console](const std::string& text) { Warn(console, text); },
                                     JobsOf(options), options.variant}) {
    if (!options.keepGoing) {
      source_.CheckFiles();
    }
    if (!options.output.empty()) {
      if (judging_.HasVariants()) {
        throw CUsageError(
            "--report shows limits of one variant; limes report --html --variant does it");
      }
      RefuseStore(options.output, options.store);
      reportFile_ = std::make_unique<COutputFile>(options.output, options.force);
      report_ = std::make_unique<CHtmlReport>(judging_.Model());
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
    if (!options_.json && judging_.HasVariants()) {
      PrintVariants();
    } else if (!options_.json) {
      PrintSureness(console_.out, last_);
      PrintPromise(console_.out, judging_.Promise());
    }
    ListUnusable();
    WriteReport();
    return static_cast<int>(!unusable_.empty()            ? ExitCode::kBadInput
                            : counts_.ok == counts_.parts ? ExitCode::kAllGood
                                                          : ExitCode::kNotGood);
  }

 private:
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
      const SPartVerdict& verdict =
          judging_.Judge(part, [this](const std::string& text) { Warn(console_, text); });
      if (report_) {
        report_->Add(verdict,
                     [&](const std::string& name) { return judging_.Model().Judged(name); });
      }
      if (bar.IsDue()) {
        bar.Show(source_.Progress());
      }
      if (judging_.Pending().size() == kMostPending) {
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
    if (judging_.Pending().empty()) {
      return;
    }
    std::vector<SPartVerdict> written = judging_.Write();
    for (const SPartVerdict& verdict : written) {
      ++(verdict.limitOf.empty() ? unknown_ : byVariant_[verdict.variant][verdict.limitOf]);
      counts_.Add(verdict, judging_.Settings().good);
      if (options_.json) {
        PrintVerdictJson(console_.out, json_, verdict);
      } else {
        PrintVerdict(console_.out, verdict, console_.colours);
      }
      for (const SDriftFound& drift : verdict.drifts) {
        Warn(console_, DriftText(drift));
        if (report_) {
          report_->AddDrift(drift, !options_.noStore);
        }
      }
    }
    console_.out.flush();
    last_ = std::move(written.back());
  }

  /// How many parts of each variant were judged, and by which limits.
  void PrintVariants() {
    for (const auto& [variant, limits] : byVariant_) {
      for (const auto& [limitOf, parts] : limits) {
        console_.out << Escaped(variant) << ": " << parts << (parts == 1 ? " part" : " parts")
                     << (limitOf == variant ? " by its own limit" : " by the limit of all variants")
                     << '\n';
      }
    }
    if (unknown_ > 0) {
      console_.out << unknown_ << (unknown_ == 1 ? " part" : " parts")
                   << " of no variant that was learnt, not judged\n";
    }
  }

  /// A page is written when all files could be read, or those that could not are on it.
  void WriteReport() {
    if (report_) {
      judging_.Store().BeginReading();
      const std::string page = report_->Page(judging_.Store());
      judging_.Store().Rollback();
      reportFile_->Write(page);
      reportFile_->Finish();
      (options_.json ? console_.err : console_.out) << "wrote " << Escaped(options_.output) << '\n';
    }
  }

  const SOptions& options_;
  SConsole& console_;
  CJudging judging_;
  CPartSource source_;
  std::unique_ptr<COutputFile> reportFile_;  ///< null when no page is wanted
  std::unique_ptr<CHtmlReport> report_;
  CJsonText json_;
  std::vector<SUnusable> unusable_;
  SPartVerdict last_;  ///< all parts of a run are judged by the same limits
  std::map<std::string, std::map<std::string, std::uint64_t>> byVariant_;  ///< parts by limit
  std::uint64_t unknown_ = 0;  ///< parts of no known variant
  SCounts counts_;
  Clock::time_point stored_ = Clock::now();
};

}  // namespace

int RunTest(const SOptions& options, SConsole& console) { return CTestRun(options, console).Run(); }

}  // namespace limes::host

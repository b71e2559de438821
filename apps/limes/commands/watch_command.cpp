#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <ostream>
#include <thread>

#include "apps/limes/bench/judging.h"
#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/ending.h"
#include "apps/limes/commands/part_learner.h"
#include "apps/limes/errors.h"
#include "apps/limes/report/report.h"
#include "apps/limes/report/report_texts.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

void RequireFolder(const std::string& folder) {
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error)) {
    throw CHostError(ExitCode::kStore, folder + ": there is no such folder");
  }
}

void CheckFolders(const SWatchSettings& watch) {
  RequireFolder(watch.folder);
  std::error_code error;
  if (!watch.done.empty()) {
    RequireFolder(watch.done);
    if (std::filesystem::equivalent(watch.folder, watch.done, error)) {
      throw CUsageError("--done names the folder that is watched");
    }
  }
}

class CWatchRun {
 public:
  CWatchRun(const SOptions& options, SConsole& console)
      : options_(options), console_(console), judging_(options.store, {}, "watch", true) {
    CheckFolders(options.watch);
    if (!options.mqtt.broker.empty()) {
      publisher_ = MakeMqttPublisher(options.mqtt);
    }
    SWatchHooks hooks;
    hooks.report = [this](const auto&, const auto& verdicts, const auto& lines) {
      Report(verdicts, lines);
    };
    hooks.learn = [this](const SPart& part) {
      WithLearner([&](CPartLearner& learner) { learner.Learn(part); });
    };
    hooks.learnt = [this] { WithLearner([](CPartLearner& learner) { learner.Store(); }); };
    hooks.tell = [this](const std::string& text) { Warn(console_, text); };
    watching_ = std::make_unique<CWatching>(judging_, options.watch, hooks, publisher_.get());
  }

  int Run() {
    const CEnding ending;
    std::string failure;
    while (!CEnding::IsWanted()) {
      try {
        watching_->Step(std::chrono::milliseconds(500));
        if (!std::exchange(failure, "").empty()) {
          Warn(console_, "it goes on");
        }
      } catch (const CStoreMoved&) {
        throw;
      } catch (const CStoreError& e) {
        if (std::exchange(failure, e.what()) != e.what()) {
          Warn(console_, std::string(e.what()) + "; nothing is judged, it is tried again");
        }
        CEnding::Pause(std::chrono::seconds(2));
      }
    }
    PrintCounts(console_.err, counts_);
    return static_cast<int>(ExitCode::kAllGood);
  }

 private:
  /// One that failed is given up with what it had not stored.
  template <class Use>
  void WithLearner(Use use) {
    const std::string rule = SettingsToText(judging_.Settings());
    if (!learner_ || rule != rule_) {
      learner_ = MakePartLearner(options_.store, true, console_);
      rule_ = rule;
    }
    try {
      use(*learner_);
    } catch (const CHostError&) {
      learner_.reset();
      throw;
    }
  }

  void Report(const std::vector<SPartVerdict>& verdicts, const std::vector<std::string>& lines) {
    for (const SPartVerdict& verdict : verdicts) {
      counts_.Add(verdict, judging_.Settings().good);
      for (const SDriftFound& drift : verdict.drifts) {
        Warn(console_, DriftText(drift));
      }
    }
    if (lines.size() > verdicts.size()) {
      counts_.Add(Verdict::kNotJudged, std::nullopt);
    }
    for (const std::string& line : lines) {
      console_.out << line << '\n';
    }
    console_.out.flush();
    if (!console_.out) {
      throw CHostError(ExitCode::kStore, "the output could not be written");
    }
  }

  const SOptions& options_;
  SConsole& console_;
  CJudging judging_;
  std::unique_ptr<CPublisher> publisher_;
  std::unique_ptr<CPartLearner> learner_;
  std::string rule_;  ///< that the learner was made for
  std::unique_ptr<CWatching> watching_;
  SCounts counts_;
};

}  // namespace

int RunWatch(const SOptions& options, SConsole& console) {
  return CWatchRun(options, console).Run();
}

}  // namespace limes::host

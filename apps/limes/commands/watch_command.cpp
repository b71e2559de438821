#include <chrono>
#include <ostream>
#include <utility>

#include "apps/limes/bench/mqtt_publisher.h"
#include "apps/limes/commands/bench_hooks.h"
#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/ending.h"
#include "apps/limes/errors.h"
#include "apps/limes/report/report.h"
#include "apps/limes/report/report_texts.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

class CWatchRun {
 public:
  CWatchRun(const SOptions& options, SConsole& console)
      : console_(console),
        judging_(options.store, options.settings, "watch", true),
        learning_(options.store, console) {
    CheckFolders(options.watch);
    if (!options.mqtt.broker.empty()) {
      publisher_ = MakeMqttPublisher(options.mqtt);
    }
    SWatchHooks hooks = HooksOf(
        learning_, [this] { return judging_.Settings(); }, console);
    hooks.report = [this](const auto&, const auto& verdicts, const auto& lines) {
      Report(verdicts, lines);
    };
    SWatchSettings watch = options.watch;
    watch.variant = options.variant;
    watching_ = std::make_unique<CWatching>(judging_, watch, hooks, publisher_.get());
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

  SConsole& console_;
  CJudging judging_;
  CBenchLearning learning_;
  std::unique_ptr<CPublisher> publisher_;
  std::unique_ptr<CWatching> watching_;
  SCounts counts_;
};

}  // namespace

int RunWatch(const SOptions& options, SConsole& console) {
  return CWatchRun(options, console).Run();
}

}  // namespace limes::host

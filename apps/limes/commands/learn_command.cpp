#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <thread>
#include <utility>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/learning.h"
#include "apps/limes/commands/part_learner.h"
#include "apps/limes/commands/relearn.h"
#include "apps/limes/commands/waiting_records.h"
#include "apps/limes/errors.h"
#include "apps/limes/measurement/promise_text.h"
#include "apps/limes/model/model.h"
#include "apps/limes/report/json_line.h"
#include "apps/limes/report/report_texts.h"
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
    if (options.modes && *options.modes == kAutoModes && stored) {
      throw CUsageError("--modes auto is for a new store; limes set --modes auto chooses anew");
    }
    if (options.modes == 0 && stored && stored->modes) {
      throw CUsageError("--modes 0 contradicts the store, which has " +
                        std::to_string(*stored->modes) + "; limes set --modes changes it");
    }
    if (options.whole == false && stored && stored->whole) {
      throw CUsageError("--no-whole contradicts the store; limes set --no-whole changes it");
    }
    const bool isPrecise = stored && stored->IsPrecise();
    if (options.precise == true && stored && !isPrecise) {
      throw CUsageError(
          "--precise contradicts the store, which was learnt without; limes set --precise turns "
          "it");
    }
    if (options.precise == false && isPrecise) {
      throw CUsageError("--no-precise contradicts the store; learn another store");
    }
    mayTurn_ = !stored && !options.precise;
    const NoteTaker note = [&console](const std::string& text) { Warn(console, text); };
    SGivenSettings given = stored ? options.settings : SettingsWithSkip(options, note);
    if (options.modes.value_or(0) > 0) {
      given.modes = options.modes;
    }
    if (options.whole == true) {
      given.whole = true;
    }
    if (options.precise == true) {
      given.precise = true;
    }
    settings_ = Resolve(given, stored, true);
    if (options.modes == kAutoModes && !settings_.variant.empty()) {
      throw CUsageError("--modes auto chooses for a store without variants; give a number");
    }
    if (options.files.empty()) {  // parts are handed over
      return;
    }
    source_ = std::make_unique<CPartSource>(
        options.files, CPartSource::SConfig{settings_, options.selection, options.where, true,
                                            false, note, JobsOf(options), options.variant});
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
    std::uint64_t learnt = 0;
    std::uint64_t held = 0;
    for (const auto& [variant, own] : ofVariants_) {
      learnt += own.learning->Learnt();
      held += own.learning->Held();
    }
    if (learnt + held == 0 && !refused_.empty()) {
      throw CHostError(ExitCode::kBadInput, "nothing is learnt");
    }
    if (learnt + held == 0) {
      throw CHostError(ExitCode::kBadInput, source_->WhyNone() + "; nothing is learnt");
    }
    TurnAtEnd();
    ChooseModes();
    WarnOfLimits();
    std::ostream& out = options_.json ? console_.err : console_.out;
    out << "learnt " << learnt << (learnt == 1 ? " part; " : " parts; ") << LearntInStore()
        << " in " << Escaped(options_.store);
    if (held > 0) {
      out << "; " << held << " held back (limes show --held)";
    }
    out << '\n';
    return static_cast<int>(refused_.empty() ? ExitCode::kAllGood : ExitCode::kBadInput);
  }

  /// Learns a part that was read elsewhere; it is stored by Store.
  void Take(const SPart& part) {
    Begin();
    part_ = part;
    LearnPart();
  }

  void Store() {
    Commit();
    refused_.clear();
  }

 private:
  void LearnFile(CProgressBar& bar) {
    const bool several = source_->MayHoldSeveral();
    if (several) {
      Commit();
    }
    Begin();
    inFile_.clear();
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
    for (CLearning* learning : inFile_) {
      Choose(*learning);
      learning->EndFile(store_.get());
    }
    if (several || Clock::now() - begun_ > kBatchTime) {
      Commit();
    }
  }

  void LearnPart() {
    if (!part_.variant.fault.empty()) {
      refused_.push_back({part_.name, part_.variant.fault});
      return;
    }
    CLearning& learning = LearningOf(part_.variant.name);
    if (std::find(inFile_.begin(), inFile_.end(), &learning) == inFile_.end()) {
      learning.BeginFile();
      inFile_.push_back(&learning);
    }
    learning.Model().ConvertUnits(part_, [this](const std::string& text) { Warn(console_, text); });
    learning.Learn(store_.get(), part_);
    auto& refused = learning.Refused();
    refused_.insert(refused_.end(), std::make_move_iterator(refused.begin()),
                    std::make_move_iterator(refused.end()));
    refused.clear();
  }

  /// The one of a variant, which takes part in the batch; the variant is chosen.
  CLearning& LearningOf(const std::string& variant) {
    SOfVariant& own = ofVariants_[variant];
    if (store_) {
      store_->ChooseOrMake(variant);
    }
    if (!own.learning) {
      const auto stored = store_ ? store_->Settings() : std::nullopt;
      own.learning = std::make_unique<CLearning>(
          options_, console_, stored ? Resolve(options_.settings, stored, true) : settings_,
          variant, waiting_);
    }
    if (std::find(inBatch_.begin(), inBatch_.end(), own.learning.get()) == inBatch_.end()) {
      own.learning->Begin(store_.get(), std::exchange(own.loadedAt, loads_) != loads_);
      inBatch_.push_back(own.learning.get());
    }
    return *own.learning;
  }

  void Choose(const CLearning& learning) {
    if (store_) {
      store_->ChooseOrMake(learning.Variant());
    }
  }

  void Begin() {
    if (isBegun_) {
      return;
    }
    isBegun_ = true;
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
      loads_ += std::exchange(stateVersion_, version) == version ? 0 : 1;
    }
  }

  void Commit() {
    if (!isBegun_) {
      return;
    }
    isBegun_ = false;
    const auto hasNews = [](const CLearning* learning) { return learning->HasNews(); };
    if (std::any_of(inBatch_.begin(), inBatch_.end(), hasNews)) {
      Write();
    } else if (store_) {
      store_->Rollback();
    }
    inBatch_.clear();
    inFile_.clear();
  }

  void Write() {
    if (!store_) {  // a run that learns nothing makes no store
      store_ = std::make_unique<CStore>(options_.store, CStore::Mode::kCreate);
      store_->Begin();
      if (store_->Settings()) {
        throw CBegunElsewhere();
      }
    }
    store_->Choose("");
    if (!store_->Settings()) {
      store_->SetSettings(settings_);
    }
    if (run_ == 0) {
      store_->SetReason(options_.reason);
      run_ = store_->AddRun("learn", settings_);
    }
    for (CLearning* learning : inBatch_) {
      if (learning->HasNews()) {
        Choose(*learning);
        learning->Write(*store_, run_);
      }
    }
    waiting_.Clear();
    for (CLearning* learning : inBatch_) {
      Turn(learning->NeedsDouble());
    }
    for (CLearning* learning : inBatch_) {
      Choose(*learning);
      learning->LimitKept(*store_);
    }
    stateVersion_ = store_->StateVersion();
    store_->Commit();
    for (CLearning* learning : inBatch_) {
      learning->Report();
    }
    // Leaves others time to get in; they look every millisecond.
    const auto pause = (Clock::now() - begun_) / 20;
    std::this_thread::sleep_for(std::min<Clock::duration>(pause, std::chrono::milliseconds(3)));
  }

  /// Spreads that are lost in single precision are learnt in double, where nothing was learnt
  /// before this run.
  void Turn(const std::string& why) {
    if (!mayTurn_ || why.empty()) {
      return;
    }
    mayTurn_ = false;
    TurnPrecise(*store_);
    settings_.precise = true;
    for (auto& [variant, own] : ofVariants_) {
      if (store_->Choose(variant)) {
        own.learning->TakePrecise(*store_);
      }
    }
    Warn(console_, why + ": curves are learnt in double precision (--precise)");
  }

  /// The same, where the limits were warned of at the end.
  void TurnAtEnd() {
    for (auto& [variant, own] : ofVariants_) {
      if (const std::string why = own.learning->Model().NeedsDouble(); mayTurn_ && !why.empty()) {
        store_->Begin();
        Turn(why);
        store_->Commit();
      }
    }
  }

  /// All parts are learnt, of which the number of modes follows.
  void ChooseModes() {
    if (options_.modes != kAutoModes) {
      return;
    }
    store_->Begin();
    if (ofVariants_.at("").learning->ChooseModes(*store_, run_)) {
      store_->Commit();
    } else {
      store_->Rollback();  // scores are as they were
    }
  }

  /// What the engineer should know about the limits, of each variant that has learnt.
  void WarnOfLimits() {
    for (const auto& [variant, own] : ofVariants_) {
      if (own.learning->Learnt() + own.learning->Held() == 0 || !store_->Choose(variant)) {
        continue;
      }
      CModel& model = own.learning->Model();
      const std::string before = variant.empty() ? "" : variant + ": ";
      const SPromise promise = PromiseOf(*store_, model);
      for (const std::string& warning : model.Warnings(promise.groups)) {
        Warn(console_, before + warning);
      }
      if (promise.lone) {
        Warn(console_, before + LoneText(promise));
      }
    }
    store_->Choose("");
  }

  /// How many parts are learnt in the store, and of how many variants.
  std::string LearntInStore() {
    if (settings_.variant.empty()) {
      return std::to_string(store_->CountParts(true));
    }
    std::int64_t parts = 0;
    const std::vector<SStoredVariant> variants = store_->Variants();
    for (const SStoredVariant& variant : variants) {
      parts += variant.learnt;
    }
    return std::to_string(parts) + " of " + std::to_string(variants.size()) +
           (variants.size() == 1 ? " variant" : " variants");
  }

  /// Names every part that was not learnt.
  void ReportRefused() {
    for (const SRefusedPart& refused : refused_) {
      if (options_.json) {
        PrintJsonLine(console_.out,
                      {{"part", refused.part}, {"learnt", false}, {"reason", refused.reason}});
      }
      console_.err << "not learnt  " << Escaped(refused.part + "  " + refused.reason) << '\n';
    }
  }

  struct SOfVariant {
    std::unique_ptr<CLearning> learning;
    std::int64_t loadedAt = 0;  ///< loads_ when it took over what is learnt
  };

  const SOptions& options_;
  SConsole& console_;
  SSettings settings_;
  std::unique_ptr<CStore> store_;  ///< null until there is something to store
  std::unique_ptr<CPartSource> source_;
  SPart part_;
  std::map<std::string, SOfVariant> ofVariants_;
  std::vector<CLearning*> inBatch_;
  std::vector<CLearning*> inFile_;
  std::vector<SRefusedPart> refused_;
  CWaitingRecords waiting_{options_.store};
  std::int64_t stateVersion_ = -1;
  std::int64_t loads_ = 0;  ///< how often others were seen to have changed the store
  std::int64_t run_ = 0;
  bool isBegun_ = false;
  bool mayTurn_ = false;  ///< nothing was learnt before, and nothing is said of --precise
  Clock::time_point begun_;
};

class CGivenParts : public CPartLearner {
 public:
  CGivenParts(SOptions options, SConsole& console)
      : options_(std::move(options)), run_(options_, console) {}

  void Learn(const SPart& part) override { run_.Take(part); }
  void Store() override { run_.Store(); }

 private:
  SOptions options_;
  CLearnRun run_;
};

}  // namespace

std::unique_ptr<CPartLearner> MakePartLearner(const std::string& store, bool guards,
                                              SConsole& console) {
  SOptions options;
  options.store = store;
  options.settings.guard = guards;
  return std::make_unique<CGivenParts>(std::move(options), console);
}

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

#include "apps/limes/bench/bench.h"

#include <algorithm>
#include <ctime>
#include <exception>
#include <utility>

#include "apps/limes/errors.h"
#include "apps/limes/measurement/number_text.h"
#include "apps/limes/measurement/promise_text.h"
#include "apps/limes/store/database.h"

namespace limes::host {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t kMostWaiting = 4096;  ///< jobs
constexpr std::size_t kMostTogether = 256;  ///< jobs in one transaction

/// The begin of the day on the clock on the wall, in ms since 1970 UTC.
std::int64_t BeginOfDay() {
  std::time_t now = std::time(nullptr);
  std::tm local{};
  if (localtime_r(&now, &local) != nullptr) {
    local.tm_hour = local.tm_min = local.tm_sec = 0;
    local.tm_isdst = -1;
    now = std::mktime(&local);
  }
  return std::int64_t{now} * 1000;
}

}  // namespace

CBench::CBench(const std::string& store, const SGivenSettings& given, CBenchState& state,
               HeldList heldList)
    : judging_(store, given, "serve", true), state_(state), heldList_(std::move(heldList)) {
  TakeLimits();
  TakeHeld();
  TakeUpDay();
}

/// What this store has judged today, with shifts in the last day, so that a page shows the same
/// after a restart.
void CBench::TakeUpDay() {
  constexpr std::int64_t kDay = 86'400'000;
  const std::int64_t since =
      state_.HasShifts() ? std::min(BeginOfDay(), std::int64_t{std::time(nullptr)} * 1000 - kDay)
                         : BeginOfDay();
  CDatabase database(judging_.Store().Path(), CDatabase::Mode::kReading);
  const std::int64_t first = database.QueryInt(
      "SELECT min(id) FROM part WHERE at >= " + std::to_string(since) + " AND verdict <> 'learnt'");
  if (first > 0) {
    const std::int64_t last = database.QueryInt("SELECT max(id) FROM part");
    judging_.Store().ForEachJudged(
        first, last, [&](const SPartVerdict& verdict) { state_.Add(verdict, {}, nullptr); });
  }
  state_.BeginTotals();
}

void CBench::TakeLimits() {
  shown_.clear();
  state_.SetLimits(LimitsNow());
  const std::lock_guard lock(mutex_);
  settings_ = std::make_shared<const SSettings>(judging_.Settings());
}

/// Those that judged the part judged last.
std::shared_ptr<const CBenchState::SLimits> CBench::LimitsNow() {
  constexpr std::size_t kMostShown = 256;
  const auto now = judging_.Limits();
  if (shown_.size() > kMostShown) {
    shown_.clear();
  }
  auto& shown = shown_[now];
  if (!shown) {
    shown = std::make_shared<const CBenchState::SLimits>(CBenchState::SLimits{
        now->settings, now->model ? now->model->Summaries() : std::vector<SLearntSummary>(),
        PromiseTexts(now->promise)});
  }
  return shown;
}

void CBench::TakeHeld() {
  CStore& store = judging_.Store();
  std::vector<CBenchState::SHeld> all;
  for (const SStoredVariant& variant : store.Variants()) {
    store.Choose(variant.name);
    for (CBenchState::SHeld& held : heldList_(store.HeldParts(false))) {
      held.text = (variant.name.empty() ? "" : variant.name + ": ") + held.text;
      all.push_back(std::move(held));
    }
  }
  store.Choose("");
  state_.SetHeld(std::move(all));
}

std::shared_ptr<const SSettings> CBench::Settings() const {
  const std::lock_guard lock(mutex_);
  return settings_;
}

void CBench::Watch(const SWatchSettings& settings, SWatchHooks hooks, CPublisher* publisher) {
  hooks.judged = [this](const SPartVerdict& verdict) {
    TakeCurves();
    curvesOf_ = verdict.content;
  };
  const auto report = hooks.report;
  hooks.report = [this, report](const SArrival& arrival, const Verdicts& verdicts,
                                const std::vector<std::string>& lines) {
    for (const SPartVerdict& verdict : verdicts) {
      state_.Add(verdict, CurvesOf(verdict), limits_);
    }
    if (arrival.reason) {
      state_.AddUnusable(arrival.name, *arrival.reason);
    }
    report(arrival, verdicts, lines);
  };
  watching_ = std::make_unique<CWatching>(judging_, settings, hooks, publisher);
}

std::optional<std::future<CBench::Verdicts>> CBench::Judge(std::vector<SPart> parts) {
  const std::lock_guard lock(mutex_);
  if (closed_ || jobs_.size() >= kMostWaiting) {
    return std::nullopt;
  }
  SJob& job = jobs_.emplace_back();
  job.parts = std::move(parts);
  job.since = Clock::now();
  come_.notify_one();
  return job.verdicts.get_future();
}

std::future<std::string> CBench::Act(std::function<std::string()> action) {
  const std::lock_guard lock(mutex_);
  SAction& wanted = actions_.emplace_back();
  wanted.run = std::move(action);
  std::future<std::string> result = wanted.result.get_future();
  if (closed_) {
    actions_.pop_back();  // the future tells that nothing comes
  }
  come_.notify_one();
  return result;
}

void CBench::RunActions() {
  for (;;) {
    std::unique_lock lock(mutex_);
    if (actions_.empty()) {
      return;
    }
    SAction action = std::move(actions_.front());
    actions_.pop_front();
    lock.unlock();
    try {
      action.result.set_value(action.run());
    } catch (const std::exception&) {
      action.result.set_exception(std::current_exception());
    }
    TakeHeld();
  }
}

/// Of the part judged last.
void CBench::TakeCurves() {
  limits_ = LimitsNow();
  curves_.clear();
  for (const SLearntSummary& summary : limits_->summaries) {
    if (curves_.empty() || curves_.back().first != summary.name) {
      curves_.emplace_back(summary.name, judging_.Model().Judged(summary.name));
    }
  }
}

/// Of this very measurement, if it was the last one judged.
const CBenchState::Curves& CBench::CurvesOf(const SPartVerdict& verdict) const {
  static const CBenchState::Curves kNone;
  return verdict.content && verdict.content == curvesOf_ ? curves_ : kNone;
}

/// False when it does not fit, and was told so.
bool CBench::JudgeJob(SJob& job) {
  job.first = judging_.Pending().size();
  try {
    for (SPart& part : job.parts) {
      curvesOf_ = judging_.Judge(part, nullptr).content;
      TakeCurves();
    }
  } catch (const CInputError&) {
    judging_.Drop(job.first);
    job.verdicts.set_exception(std::current_exception());
    return false;
  }
  return true;
}

/// True when something was stored.
bool CBench::JudgeJobs() {
  std::vector<SJob> jobs;
  {
    const std::lock_guard lock(mutex_);
    while (!jobs_.empty() && jobs.size() < kMostTogether) {
      jobs.push_back(std::move(jobs_.front()));
      jobs_.pop_front();
    }
  }
  std::erase_if(jobs, [this](SJob& job) { return !JudgeJob(job); });
  if (jobs.empty()) {
    return false;
  }
  try {
    const Verdicts verdicts = judging_.Write();
    for (std::size_t i = 0; i < jobs.size(); ++i) {
      const std::size_t behind = i + 1 < jobs.size() ? jobs[i + 1].first : verdicts.size();
      Verdicts own(verdicts.begin() + static_cast<std::ptrdiff_t>(jobs[i].first),
                   verdicts.begin() + static_cast<std::ptrdiff_t>(behind));
      for (const SPartVerdict& verdict : own) {
        state_.Add(verdict, CurvesOf(verdict), limits_);
      }
      state_.AddLatency(
          std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - jobs[i].since));
      jobs[i].verdicts.set_value(std::move(own));
    }
  } catch (const CStoreError&) {
    judging_.Drop(0);
    for (SJob& job : jobs) {
      job.verdicts.set_exception(std::current_exception());
    }
    throw;
  }
  return true;
}

/// Those that wait are told; they were not judged.
void CBench::Fail(const std::string& reason) {
  state_.SetTrouble(reason);
  const std::lock_guard lock(mutex_);
  for (SJob& job : jobs_) {
    job.verdicts.set_exception(std::make_exception_ptr(CStoreError(reason)));
  }
  jobs_.clear();
}

/// Nobody waits for what does not come any more.
void CBench::Close() {
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    actions_.clear();
  }
  Fail("the bench has ended");
}

void CBench::Run(const std::function<bool()>& isEndWanted,
                 const std::function<void(const std::string&)>& tell) {
  try {
    Loop(isEndWanted, tell);
  } catch (const std::exception&) {
    Close();
    throw;
  }
  Close();
}

void CBench::Loop(const std::function<bool()>& isEndWanted,
                  const std::function<void(const std::string&)>& tell) {
  constexpr milliseconds kStep{20};
  constexpr milliseconds kRenew{500};
  Clock::time_point next = Clock::now();
  Clock::time_point nextStep = next;
  while (!isEndWanted()) {
    try {
      {
        std::unique_lock lock(mutex_);
        come_.wait_for(lock, failing_ ? kRenew : kStep,
                       [this] { return !failing_ && (!jobs_.empty() || !actions_.empty()); });
      }
      if (Clock::now() >= next) {
        next = Clock::now() + kRenew;
        judging_.Renew();
        if (std::exchange(renewals_, judging_.Renewals()) != judging_.Renewals()) {
          TakeLimits();
        }
        TakeHeld();
      }
      bool stored = JudgeJobs();
      if (watching_ && Clock::now() >= nextStep) {
        stored |= watching_->Step(milliseconds::zero());
        nextStep = Clock::now() + kStep;
      }
      RunActions();
      if (stored && std::exchange(failing_, false)) {
        tell("it goes on");
        state_.SetTrouble("");
      }
    } catch (const CStoreMoved&) {
      throw;
    } catch (const CStoreError& e) {
      if (!std::exchange(failing_, true)) {
        tell(std::string(e.what()) + "; nothing is judged, it is tried again");
      }
      Fail(e.what());
    }
  }
}

}  // namespace limes::host

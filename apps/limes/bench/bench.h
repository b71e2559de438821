#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "apps/limes/bench/bench_state.h"
#include "apps/limes/bench/judging.h"
#include "apps/limes/bench/watching.h"

namespace limes::host {

/// Judges all day, in one thread: parts that are handed over, gathered for as long as the last
/// transaction took, and files that come to a folder.
class CBench {
 public:
  using Verdicts = std::vector<SPartVerdict>;

  using HeldList = std::function<std::vector<CBenchState::SHeld>(const std::vector<SHeldPart>&)>;

  /// heldList: names what is held back, and says why.
  CBench(const std::string& store, const SGivenSettings& given, CBenchState& state,
         HeldList heldList);

  /// Files that come are judged, too. hooks.report is told after the state.
  void Watch(const SWatchSettings& settings, SWatchHooks hooks, CPublisher* publisher);

  /// From any thread: the verdicts come when they are stored; none when too many parts wait. The
  /// future throws CInputError for a part that does not fit, CHostError when nothing can be stored.
  std::optional<std::future<Verdicts>> Judge(std::vector<SPart> parts);

  /// From any thread: runs something between two transactions.
  std::future<std::string> Act(std::function<std::string()> action);

  /// From any thread: how parts are read and formed.
  std::shared_ptr<const SSettings> Settings() const;

  /// Judges until the end is wanted, in the calling thread. tell: as in SWatchHooks. Throws
  /// CStoreMoved.
  void Run(const std::function<bool()>& isEndWanted,
           const std::function<void(const std::string&)>& tell);

 private:
  using Clock = std::chrono::steady_clock;
  struct SJob {
    std::vector<SPart> parts;
    std::promise<Verdicts> verdicts;
    std::size_t first = 0;  ///< of its verdicts among those that wait
    Clock::time_point since;
  };
  struct SAction {
    std::function<std::string()> run;
    std::promise<std::string> result;
  };

  void TakeUpDay();
  void TakeLimits();
  void TakeHeld();
  void RunActions();
  bool JudgeJobs();
  bool JudgeJob(SJob& job);
  std::shared_ptr<const CBenchState::SLimits> LimitsNow();
  void TakeCurves();
  const CBenchState::Curves& CurvesOf(const SPartVerdict& verdict) const;
  void Loop(const std::function<bool()>& isEndWanted,
            const std::function<void(const std::string&)>& tell);
  void Fail(const std::string& reason);
  void Close();

  CJudging judging_;
  CBenchState& state_;
  HeldList heldList_;
  std::map<std::shared_ptr<const CJudging::SLimits>, std::shared_ptr<const CBenchState::SLimits>>
      shown_;
  std::int64_t renewals_ = 0;                           ///< of what is judged by, that are shown
  std::shared_ptr<const CBenchState::SLimits> limits_;  ///< of the curves
  std::unique_ptr<CWatching> watching_;
  mutable std::mutex mutex_;
  std::condition_variable come_;
  std::deque<SJob> jobs_;
  std::deque<SAction> actions_;
  std::shared_ptr<const SSettings> settings_;
  CBenchState::Curves curves_;            ///< of the part judged last
  std::optional<std::int64_t> curvesOf_;  ///< its content
  bool closed_ = false;
  bool failing_ = false;  ///< since the last transaction that succeeded
};

}  // namespace limes::host

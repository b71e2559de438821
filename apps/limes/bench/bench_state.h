#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <utility>
#include <vector>

#include "apps/limes/measurement/learnt.h"
#include "apps/limes/report/judged_parts.h"

namespace limes::host {

/// What the page of a bench shows: the last part, the margins and defects of the day, what waits
/// for a person. Told by the thread that judges, read by others.
class CBenchState {
 public:
  /// The values of a quantity of a part at the points of its summary.
  using Curves = std::vector<std::pair<std::string, std::vector<float>>>;

  /// actions: whether pages may decide about held parts. shifts: see SServeSettings.
  CBenchState(std::string store, bool actions, std::vector<int> shifts)
      : store_(std::move(store)), actions_(actions), shiftsBegin_(std::move(shifts)) {}

  bool HasShifts() const { return !shiftsBegin_.empty(); }

  /// What parts are judged by.
  struct SLimits {
    SSettings settings;
    std::vector<SLearntSummary> summaries;
    std::vector<std::string> promise;
  };

  /// The limits that parts are judged by from now on.
  void SetLimits(std::shared_ptr<const SLimits> limits);

  /// A part that was judged and stored; its curves, where it is the last one for now, and their
  /// limits.
  void Add(const SPartVerdict& verdict, Curves curves, std::shared_ptr<const SLimits> limits);

  /// A file that could not be used.
  void AddUnusable(const std::string& name, const std::string& reason);

  struct SHeld {
    std::string part;
    std::string text;  ///< why
  };
  void SetHeld(std::vector<SHeld> held);

  /// Why nothing is judged now; empty: it is.
  void SetTrouble(const std::string& reason);

  /// All of it, as JSON; the drawings of the last part are texts of JSON in it. O(points).
  std::string Text() const;

  /// Counts parts from now on for Metrics.
  void BeginTotals();

  /// Waits until there is something newer than a version, at most as long as given. The version
  /// now.
  std::uint64_t WaitForNews(std::uint64_t version, std::chrono::milliseconds most) const;
  std::uint64_t Version() const;

  /// Figures since the program was begun, as Prometheus reads them.
  std::string Metrics() const;

  /// Time that a part took from its arrival at the program until it was stored.
  void AddLatency(std::chrono::microseconds time);

 private:
  static constexpr std::size_t kMargins = 200;
  static constexpr std::size_t kHours = 24;
  static constexpr std::size_t kShifts = 21;
  static constexpr std::size_t kAlarms = 5;
  static constexpr std::size_t kKinds = 8;
  static constexpr std::size_t kDrawn = 4;  ///< quantities of the last part

  struct SMargin {
    std::int64_t part = 0;
    std::string name;
    Verdict verdict = Verdict::kNotJudged;
    std::optional<double> inSpreads;  ///< distance to the limit, negative beyond it
    bool drift = false;
  };
  struct SHour {
    std::int64_t begins = 0;               ///< seconds since 1970 UTC
    std::array<std::uint64_t, 3> parts{};  ///< OK, NOK, not judged
  };
  struct SLast {
    SPartVerdict verdict;
    std::string reason;  ///< why it was not judged
    Curves curves;
    std::shared_ptr<const SLimits> limits;  ///< null: those of now
  };

  void Count(Verdict verdict, std::int64_t at);
  std::int64_t ShiftOf(std::int64_t at) const;
  void BeginDay(std::int64_t at);
  void Changed();
  nlohmann::ordered_json LastJson(const SLast& last, const SLimits& limits) const;
  nlohmann::ordered_json DefectsJson() const;

  std::string store_;
  bool actions_;
  mutable std::mutex mutex_;
  mutable std::condition_variable news_;
  std::uint64_t version_ = 1;
  std::shared_ptr<const SLimits> limits_;
  std::shared_ptr<const SLast> last_;
  std::int64_t day_ = 0;  ///< number of the local day
  std::unique_ptr<CJudgedParts> today_;
  std::uint64_t unusable_ = 0;  ///< today
  std::deque<SMargin> margins_;
  std::deque<SHour> hours_;
  std::vector<int> shiftsBegin_;
  std::deque<SHour> shifts_;
  std::deque<std::string> alarms_;
  std::vector<SHeld> held_;
  std::string trouble_;
  std::array<std::uint64_t, 3> all_{};  ///< parts, by verdict
  std::uint64_t drifts_ = 0;
  std::array<std::uint64_t, 8> latencies_{};  ///< up to 1, 2, 5, 10, 50, 100, 1000 ms, and more
  double latencySum_ = 0.0;                   ///< in s
};

}  // namespace limes::host

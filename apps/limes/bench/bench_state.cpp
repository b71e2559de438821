#include "apps/limes/bench/bench_state.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <nlohmann/json.hpp>
#include <sstream>

#include "apps/limes/bench/result_text.h"
#include "apps/limes/measurement/number_text.h"
#include "apps/limes/report/json_line.h"
#include "apps/limes/report/margin_run.h"
#include "apps/limes/report/plot_values.h"
#include "apps/limes/report/report.h"
#include "recordings/measurement.h"

namespace limes::host {
namespace {

using Json = nlohmann::ordered_json;

constexpr double kBounds[] = {0.001, 0.002, 0.005, 0.01, 0.05, 0.1, 1.0};

std::size_t Index(Verdict verdict) {
  return verdict == Verdict::kPass ? 0 : verdict == Verdict::kFail ? 1 : 2;
}

/// Seconds that the clock on the wall is ahead of UTC.
std::int64_t AheadOfUtc(std::int64_t seconds) {
  const std::time_t time = seconds;
  std::tm local{};
  return localtime_r(&time, &local) != nullptr ? local.tm_gmtoff : 0;
}

std::int64_t DayOf(std::int64_t at) { return (at / 1000 + AheadOfUtc(at / 1000)) / 86400; }

std::int64_t HourOf(std::int64_t at) {
  const std::int64_t local = at / 1000 + AheadOfUtc(at / 1000);
  return at / 1000 - local % 3600;
}

Json Parsed(const std::string& json) { return Json::parse(json, nullptr, false); }

Json CountsJson(const std::array<std::uint64_t, 3>& parts) {
  return {{"ok", parts[0]}, {"nok", parts[1]}, {"not_judged", parts[2]}};
}

}  // namespace

void CBenchState::Changed() {
  ++version_;
  news_.notify_all();
}

void CBenchState::SetLimits(std::shared_ptr<const SLimits> limits) {
  const std::lock_guard lock(mutex_);
  limits_ = std::move(limits);
  if (!today_) {
    today_ = std::make_unique<CJudgedParts>(limits_->settings, limits_->summaries);
  }
  Changed();
}

/// With mutex_ held.
void CBenchState::BeginDay(std::int64_t at) {
  const std::int64_t day = DayOf(at);
  if (day > day_) {  // a clock that is set back begins no day anew
    day_ = day;
    unusable_ = 0;
    today_ = std::make_unique<CJudgedParts>(limits_->settings, limits_->summaries);
  }
}

/// When the shift of a moment began, in seconds since 1970 UTC.
std::int64_t CBenchState::ShiftOf(std::int64_t at) const {
  constexpr std::int64_t kDay = 86400;
  const std::int64_t local = at / 1000 + AheadOfUtc(at / 1000);
  const std::int64_t ofDay = local % kDay;
  std::int64_t begun = std::int64_t{shiftsBegin_.back()} * 60 - kDay;  // the day before
  for (const int minutes : shiftsBegin_) {
    begun = std::int64_t{minutes} * 60 <= ofDay ? std::int64_t{minutes} * 60 : begun;
  }
  return at / 1000 - ofDay + begun;
}

/// With mutex_ held.
void CBenchState::Count(Verdict verdict, std::int64_t at) {
  BeginDay(at);
  const auto count = [verdict](std::deque<SHour>& list, std::int64_t begins, std::size_t most) {
    if (list.empty() || begins > list.back().begins) {
      list.push_back({begins, {}});
    }
    ++list.back().parts[Index(verdict)];
    while (list.size() > most) {
      list.pop_front();
    }
  };
  count(hours_, HourOf(at), kHours);
  if (HasShifts()) {
    count(shifts_, ShiftOf(at), kShifts);
  }
  ++all_[Index(verdict)];
}

void CBenchState::Add(const SPartVerdict& verdict, Curves curves,
                      std::shared_ptr<const SLimits> limits) {
  auto last = std::make_shared<SLast>(SLast{verdict, "", std::move(curves), std::move(limits)});
  if (verdict.verdict == Verdict::kNotJudged) {
    std::ostringstream reason;
    PrintReason(reason, verdict);
    last->reason = reason.str();
  }
  const std::lock_guard lock(mutex_);
  Count(verdict.verdict, verdict.at.value_or(0));
  today_->Add(verdict, {});
  margins_.push_back(
      {verdict.id, verdict.part, verdict.verdict, MarginOf(verdict), !verdict.drifts.empty()});
  while (margins_.size() > kMargins) {
    margins_.pop_front();
  }
  for (const SDriftFound& drift : verdict.drifts) {
    ++drifts_;
    alarms_.push_back(DriftText(drift));
  }
  while (alarms_.size() > kAlarms) {
    alarms_.pop_front();
  }
  last_ = std::move(last);
  Changed();
}

void CBenchState::AddUnusable(const std::string& name, const std::string& reason) {
  const std::int64_t at = std::chrono::duration_cast<std::chrono::milliseconds>(
                              std::chrono::system_clock::now().time_since_epoch())
                              .count();
  auto last = std::make_shared<SLast>();
  last->verdict.part = name;
  last->verdict.at = at;
  last->reason = reason;
  const std::lock_guard lock(mutex_);
  Count(Verdict::kNotJudged, at);
  ++unusable_;
  last_ = std::move(last);
  Changed();
}

void CBenchState::SetHeld(std::vector<SHeld> held) {
  const std::lock_guard lock(mutex_);
  const bool same = std::equal(held.begin(), held.end(), held_.begin(), held_.end(),
                               [](const SHeld& a, const SHeld& b) { return a.part == b.part; });
  if (!same) {
    held_ = std::move(held);
    Changed();
  }
}

void CBenchState::SetTrouble(const std::string& reason) {
  const std::lock_guard lock(mutex_);
  if (reason != trouble_) {
    trouble_ = reason;
    Changed();
  }
}

void CBenchState::AddLatency(std::chrono::microseconds time) {
  const double seconds = static_cast<double>(time.count()) * 1e-6;
  const auto bound = std::lower_bound(std::begin(kBounds), std::end(kBounds), seconds);
  const std::lock_guard lock(mutex_);
  ++latencies_[static_cast<std::size_t>(bound - std::begin(kBounds))];
  latencySum_ += seconds;
}

std::uint64_t CBenchState::Version() const {
  const std::lock_guard lock(mutex_);
  return version_;
}

std::uint64_t CBenchState::WaitForNews(std::uint64_t version,
                                       std::chrono::milliseconds most) const {
  std::unique_lock lock(mutex_);
  news_.wait_for(lock, most, [&] { return version_ > version; });
  return version_;
}

/// The part over the limits it was judged by: the worst quantities first.
Json CBenchState::LastJson(const SLast& last, const SLimits& limits) const {
  const SPartVerdict& verdict = last.verdict;
  Json json = {{"id", verdict.id},
               {"part", verdict.part},
               {"variant", verdict.variant},
               {"limit_of", verdict.limitOf},
               {"verdict", VerdictText(verdict.verdict)},
               {"at", verdict.at ? Json(*verdict.at) : Json(nullptr)},
               {"reason", last.reason},
               {"worst", nullptr},
               {"defects", Json::array()},
               {"drift", Json::array()},
               {"plots", Json::array()}};
  if (const SQuantityVerdict* const worst = Worst(verdict)) {
    json["worst"] = {{"quantity", worst->name}, {"text", DeviationText(*worst)}};
  }
  constexpr std::size_t kMostTexts = 5;
  for (std::size_t i = 0; i < std::min(verdict.defects.size(), kMostTexts); ++i) {
    json["defects"].push_back(verdict.defects[i].text);
  }
  for (const SDriftFound& drift : verdict.drifts) {
    json["drift"].push_back(DriftText(drift));
  }
  std::vector<const std::pair<std::string, std::vector<float>>*> order;
  for (const auto& curve : last.curves) {
    order.push_back(&curve);
  }
  const auto excess = [&](const std::string& name) {
    double most = -std::numeric_limits<double>::infinity();
    for (const SQuantityVerdict& q : verdict.quantities) {
      most = q.name == name && q.maxDeviation ? std::max(most, InSpreads(q)) : most;
    }
    return most;
  };
  std::stable_sort(order.begin(), order.end(), [&](const auto* a, const auto* b) {
    return excess(a->first) > excess(b->first);
  });
  order.resize(std::min(order.size(), kDrawn));
  for (const auto* curve : order) {
    SPlot plot;
    plot.columns = 240;
    for (const SLearntSummary& summary : limits.summaries) {
      if (summary.name == curve->first) {
        plot.sides.push_back(&summary);
      }
    }
    if (plot.sides.empty()) {
      continue;
    }
    plot.parts.push_back({verdict.part,
                          MarksOfPart(verdict, *plot.sides[0], limits.settings.modes.has_value()),
                          VisThinned(curve->second, plot.columns)});
    json["plots"].push_back(
        {{"quantity", curve->first}, {"plot", Parsed(PlotJson(SPlotContent(plot), 0.0, 1.0))}});
  }
  return json;
}

/// With mutex_ held: the most frequent ones of the day.
Json CBenchState::DefectsJson() const {
  Json list = Json::array();
  using Kind = std::pair<const CJudgedParts::DefectKey, CJudgedParts::SDefectKind>;
  CTop<const Kind*> top(kKinds);
  for (const Kind& kind : today_->Kinds()) {
    top.Add(static_cast<double>(kind.second.parts), &kind);
  }
  for (const Kind* const kind : top.Items()) {
    const auto& [name, side, section] = kind->first;
    const SVisRange& places = kind->second.places;
    const std::string place =
        places.low > places.high
            ? ""
            : (places.low < places.high ? PlaceNumber(places.low) + " … " : "") +
                  WithUnit(PlaceNumber(places.high), today_->XUnitOf(name));
    list.push_back({{"quantity", name},
                    {"side", SideText(side)},
                    {"place", place},
                    {"parts", kind->second.parts}});
  }
  return list;
}

void CBenchState::BeginTotals() {
  const std::lock_guard lock(mutex_);
  all_ = {};
  drifts_ = 0;
}

std::string CBenchState::Text() const {
  std::unique_lock lock(mutex_);
  const auto last = last_;
  const auto limits = last && last->limits ? last->limits : limits_;
  Json json = {
      {"version", version_}, {"store", store_}, {"trouble", trouble_}, {"actions", actions_}};
  json["today"] = CountsJson(
      {today_->Counts().ok, today_->Counts().nok, today_->Counts().notJudged + unusable_});
  for (const auto& [name, list] : {std::pair("hours", &hours_), std::pair("shifts", &shifts_)}) {
    json[name] = Json::array();
    for (const SHour& hour : *list) {
      Json entry = CountsJson(hour.parts);
      entry["begins"] = hour.begins;
      json[name].push_back(std::move(entry));
    }
  }
  json["margins"] = Json::array();
  for (const SMargin& margin : margins_) {
    json["margins"].push_back(
        {{"id", margin.part},
         {"part", margin.name},
         {"verdict", VerdictText(margin.verdict)},
         {"margin", margin.inSpreads ? Json(Rounded(*margin.inSpreads, 4)) : Json(nullptr)},
         {"drift", margin.drift}});
  }
  json["alarms"] = alarms_;
  json["defects"] = DefectsJson();
  json["held"] = Json::array();
  for (const SHeld& held : held_) {
    json["held"].push_back({{"part", held.part}, {"text", held.text}});
  }
  lock.unlock();
  json["promise"] = limits->promise;
  json["last"] = last ? LastJson(*last, *limits) : Json(nullptr);
  return Dumped(json);
}

std::string CBenchState::Metrics() const {
  std::ostringstream out;
  const std::lock_guard lock(mutex_);
  out << "# HELP limes_parts_total Parts judged since the program began, by verdict.\n"
         "# TYPE limes_parts_total counter\n";
  constexpr const char* kNames[] = {"ok", "nok", "not_judged"};
  for (std::size_t i = 0; i < all_.size(); ++i) {
    out << "limes_parts_total{verdict=\"" << kNames[i] << "\"} " << all_[i] << '\n';
  }
  out << "# HELP limes_drift_alarms_total Drift alarms since the program began.\n"
         "# TYPE limes_drift_alarms_total counter\nlimes_drift_alarms_total "
      << drifts_
      << "\n# HELP limes_held_parts Parts held back from learning that wait for a person.\n"
         "# TYPE limes_held_parts gauge\nlimes_held_parts "
      << held_.size()
      << "\n# HELP limes_judging Whether parts can be judged and stored.\n"
         "# TYPE limes_judging gauge\nlimes_judging "
      << (trouble_.empty() ? 1 : 0)
      << "\n# HELP limes_part_seconds Time of a part that was sent until it was stored.\n"
         "# TYPE limes_part_seconds histogram\n";
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < latencies_.size(); ++i) {
    sum += latencies_[i];
    out << "limes_part_seconds_bucket{le=\"";
    i < std::size(kBounds) ? out << kBounds[i] : out << "+Inf";
    out << "\"} " << sum << '\n';
  }
  out << "limes_part_seconds_sum " << latencySum_ << "\nlimes_part_seconds_count " << sum << '\n';
  return out.str();
}

}  // namespace limes::host

// The learn state of a precise curve learner.
#include <algorithm>
#include <cmath>

#include "limes/learning/learn_record.h"
#include "limes/learning/precise_curve_points.h"

namespace limes {
namespace {

/// Numbers in file order; the first part as a curve, with grid and range, and of each point shift,
/// variance and count follow.
struct SHead {
  double base = 0.0;
  double factor = 0.0;
  std::int64_t count = 0;

  static constexpr auto Fields(auto& h) { return std::tie(h.base, h.factor, h.count); }
};

}  // namespace

bool CPreciseCurveTool::SPoints::IsConsistent(std::int64_t count) const {
  const auto isCounted = [count](std::uint32_t n) { return n >= 1 && n <= count; };
  constexpr double kMost = std::numeric_limits<float>::max();
  const auto isInFloat = [](float first, double distance) {
    return std::isfinite(first) && std::fabs(double{first} + distance) <= kMost;
  };
  const auto isVariance = [](double x) { return std::isfinite(x) && x >= 0.0; };
  return !offset.empty() &&
         std::equal(offset.begin(), offset.end(), shift.begin(), shift.end(), isInFloat) &&
         std::all_of(variance.begin(), variance.end(), isVariance) &&
         std::all_of(counts.begin(), counts.end(), isCounted);
}

bool CPreciseCurveTool::WriteState(CFileStream& file) const {
  const auto put = [this](detail::RecordWriter& record) {
    CSigCurveExt first = points_->mean;
    if (first.DLen() != points_->offset.size()) {
      return false;
    }
    std::copy(points_->offset.begin(), points_->offset.end(), first.ValArray());
    record.PutFields(SHead{base_, factor_, count_});
    if (!detail::PutCurve(record, first)) {
      return false;
    }
    record.PutArray(std::span<const double>(points_->shift));
    record.PutArray(std::span<const double>(points_->variance));
    record.PutArray(std::span<const std::uint32_t>(points_->counts));
    return true;
  };
  return HasLearnt() && detail::WriteLearnState(file, detail::LearnStateKind::kPreciseCurve, put);
}

LearnStateStatus CPreciseCurveTool::ReadState(CFileStream& file) {
  const auto get = [](detail::RecordReader& in, CPreciseCurveTool& read,
                      std::uint16_t /*version*/) {
    SHead head;
    CSigCurveExt first;
    if (!in.GetFields(head) || !std::isfinite(head.base) || !std::isfinite(head.factor) ||
        head.count < 1 || head.count > SPoints::kMostLearnt) {
      return LearnStateStatus::kContent;
    }
    if (const LearnStateStatus status = detail::GetCurve(in, first);
        status != LearnStateStatus::kOk) {
      return status;
    }
    constexpr std::size_t kBytesOfPoint = 2 * sizeof(double) + sizeof(std::uint32_t);
    if (!in.Fits(first.DLen(), kBytesOfPoint)) {
      return LearnStateStatus::kContent;
    }
    auto points = std::make_shared<SPoints>(first);
    std::copy_n(first.ValArray(), first.DLen(), points->offset.begin());
    if (!in.GetSpan(std::span(points->shift)) || !in.GetSpan(std::span(points->variance)) ||
        !in.GetSpan(std::span(points->counts)) || !points->IsConsistent(head.count)) {
      return LearnStateStatus::kContent;
    }
    for (std::size_t i = 0; i < points->offset.size(); ++i) {
      points->RoundMean(i);
    }
    read.points_.swap(points);
    read.Bildungsregel(head.base, head.factor);
    read.count_ = head.count;
    return LearnStateStatus::kOk;
  };
  const auto commit = [this](CPreciseCurveTool& read) { *this = std::move(read); };
  return detail::ReadLearnState<CPreciseCurveTool>(file, detail::LearnStateKind::kPreciseCurve, get,
                                                   commit);
}

}  // namespace limes

#include "limes/c/limit_rows.h"

#include <algorithm>
#include <cstdint>
#include <type_traits>

namespace limes::c {

void TellCount(std::size_t wanted, std::size_t* count) {
  if (std::exchange(*count, wanted) < wanted) {
    throw SFailure{LIMES_BUFFER, limes_status_text(LIMES_BUFFER)};
  }
}

void SLimitRows::Put(std::size_t i, double atX, double itsMean, double itsSpread,
                     double itsBound) const {
  const auto put = [i](double* row, double value) {
    if (row != nullptr) {
      row[i] = value;
    }
  };
  put(x, atX);
  put(mean, itsMean);
  put(spread, itsSpread);
  put(bound, itsBound);
}

namespace {

void PutLimits(ValueLimit& limit, Side side, const SLimitRows& rows, std::size_t* count) {
  TellCount(1, count);
  CLernenderGrenzwert& tool = limit.Formed()[side];
  // A judgement tells them in double.
  SValuePart part(double{tool.Mittelwert()});
  part.unit = tool.Unit();
  const SPartJudgement of = tool.JudgePart(part);
  const double sign = side == Side::kUpper ? 1.0 : -1.0;
  rows.Put(0, 0.0, sign * of.mean, of.spread, limit.HasLimit() ? sign * of.limit : kNone);
}

void PutLimits(PreciseLimit& limit, Side side, const SLimitRows& rows, std::size_t* count) {
  const CPreciseCurveTool& tool = limit.Formed()[side];
  const CSigCurveExt& mean = *tool.Mittelwert();
  TellCount(static_cast<std::size_t>(std::max(mean.IMax() - mean.IMin() + 1, 0)), count);
  const double sign = side == Side::kUpper ? 1.0 : -1.0;
  for (std::size_t j = 0; j < *count; ++j) {
    const std::int32_t i = mean.IMin() + static_cast<std::int32_t>(j);
    rows.Put(j, double{mean.GetPoint(i)}, sign * tool.MeanAt(i), tool.SpreadAt(i),
             limit.HasLimit() ? sign * tool.LimitAt(i) : kNone);
  }
}

template <class Tool>
void PutLimits(CRatedLimit<Tool>& limit, Side side, const SLimitRows& rows, std::size_t* count) {
  constexpr bool kTrack = std::is_same_v<Tool, CTrackLernWerkzeug>;
  Tool& tool = limit.Formed()[side];
  const CSigCurveExt& mean = *tool.Mittelwert();
  std::int32_t first = mean.IMin();
  std::int32_t last = mean.IMax();
  if constexpr (kTrack) {  // the grid has room at its ends
    const auto isLearnt = [&](std::int32_t i) {
      return tool.LearnCounts()[static_cast<std::size_t>(i)] > 0;
    };
    for (; first < last && !isLearnt(first); ++first) {
    }
    for (; last > first && !isLearnt(last); --last) {
    }
  }
  TellCount(static_cast<std::size_t>(std::max(last - first + 1, 0)), count);
  const CSigCurveExt* spread = nullptr;
  bool formed = false;
  if constexpr (kTrack) {
    spread = tool.StdAbwKurve();
    formed = tool.GrenzeBilden();
  } else {
    formed = tool.UpdateLimit() != 0 && tool.StandardAbwBilden() != 0;
    spread = tool.StandardAbw();
  }
  if (!formed || spread == nullptr) {
    throw std::bad_alloc();
  }
  const double sign = side == Side::kUpper ? 1.0 : -1.0;
  for (std::size_t j = 0; j < *count; ++j) {
    const std::int32_t i = first + static_cast<std::int32_t>(j);
    bool has = limit.HasLimit();
    bool known = true;
    if constexpr (kTrack) {
      const std::uint32_t learnt = tool.LearnCounts()[static_cast<std::size_t>(i)];
      known = learnt > 0;
      has = has && learnt >= tool.BasisLernenAnzahl();
    }
    rows.Put(j, double{mean.GetPoint(i)}, known ? sign * double{mean[i]} : kNone,
             known ? double{(*spread)[i]} : kNone,
             has ? sign * double{(*tool.Grenzkurve())[i]} : kNone);
  }
}

}  // namespace

void PutLimits(AnyLimit& any, Side side, const SLimitRows& rows, std::size_t* count) {
  std::visit([&](auto& known) { PutLimits(known, side, rows, count); }, any);
}

}  // namespace limes::c

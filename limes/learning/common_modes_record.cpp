// The learn state of modes.
#include <algorithm>
#include <cmath>
#include <utility>

#include "limes/learning/common_modes.h"
#include "limes/learning/learn_record.h"
#include "limes/learning/mode_loops.h"

namespace limes {
namespace {

bool AllWithin(std::span<const double> values, double least, double most) {
  return std::all_of(values.begin(), values.end(),
                     [=](double value) { return value >= least && value <= most; });
}

constexpr double kMostSquare = 1e250;
constexpr std::uint16_t kPlain = 1;
constexpr std::uint16_t kWithWhole = 2;

}  // namespace

bool CCommonModes::SHead::IsConsistent(bool whole) const {
  constexpr std::int64_t kMostParts = std::int64_t{1} << 53;
  return wanted >= (whole ? 0 : 1) && wanted <= kMostModes && timeScale >= 0 && count >= 0 &&
         count <= kMostParts && formedAt >= 0 && formedAt <= count && sum >= 0.0 &&
         sum <= static_cast<double>(count) && (sum >= 1.0) == (count > 0) && scale > 1e-100 &&
         scale <= 1.0 && unseen >= 0.0 && unseen <= static_cast<double>(count) &&
         (points > 0) == (count > 0) && modes <= static_cast<std::uint32_t>(wanted) &&
         2 * modes <= points && (modes == 0 || formedAt > 0) && points <= INT32_MAX;
}

/// Calls call(row, numbers) for each row of the record in its order, until it says false.
template <class Self, class Call>
bool CCommonModes::ForEachRow(Self& modes, Call call) {
  const std::size_t n = modes.head_.points;
  const std::size_t stride = modes.Stride();
  const auto rows = [&](auto& all, std::size_t count) {
    for (std::size_t r = 0; r < count; ++r) {
      if (!call(std::span(all.data() + r * stride, n))) {
        return false;
      }
    }
    return true;
  };
  return n == 0 || (rows(modes.mean_, 1) && rows(modes.square_, 1) && rows(modes.residual_, 1) &&
                    rows(modes.learnt_, 1) && rows(modes.rows_, modes.head_.rows) &&
                    rows(modes.modes_, modes.lambda_.size()) && call(std::span(modes.lambda_)));
}

bool CCommonModes::IsWholeConsistent() const {
  const bool formed = head_.formedAt > 0;
  return !hasWhole_ ||
         (whole_.directions >= head_.modes && whole_.directions <= MostDirections() &&
          (whole_.directions == 0 || formed) && whole_.shrink >= kLeastShrink &&
          whole_.shrink <= 1.0 && whole_.rest >= kLeastShrink && whole_.rest <= 1e100);
}

bool CCommonModes::IsConsistent() const {
  const double sum = static_cast<double>(head_.count);
  return AllWithin(mean_, -1e100, 1e100) && AllWithin(square_, 0.0, kMostSquare) &&
         AllWithin(residual_, 0.0, kMostSquare) && AllWithin(learnt_, 0.0, kMostSquare) &&
         AllWithin(modes_, -1.001, 1.001) && AllWithin(lambda_, 1e-100, 1e100 + sum) &&
         std::is_sorted(lambda_.rbegin(), lambda_.rend());
}

/// In spreads, so that no product of them overflows.
bool CCommonModes::RowsAreSmall() const {
  constexpr double kMost = 1e140;
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    if (!(std::fabs(rows_[i] * inverse_[i % Stride()]) <= kMost)) {
      return false;
    }
  }
  return true;
}

bool CCommonModes::WriteState(CFileStream& file) const {
  return detail::WriteLearnState(
      file, detail::LearnStateKind::kModes,
      [this](detail::RecordWriter& record) {
        constexpr std::size_t kRest = 256;
        record.Reserve(sizeof(double) * Points() * (4 + head_.rows + lambda_.size()) + kRest);
        record.PutFields(head_);
        if (hasWhole_) {
          record.PutFields(whole_);
        }
        const CCommonModes& modes = *this;
        return ForEachRow(modes, [&](std::span<const double> row) {
          record.PutArray(row);
          return true;
        });
      },
      hasWhole_ ? kWithWhole : kPlain);
}

LearnStateStatus CCommonModes::ReadState(CFileStream& file) {
  const auto get = [](detail::RecordReader& in, CCommonModes& read, std::uint16_t version) {
    SHead head;
    const bool whole = version == kWithWhole;
    if (!in.GetFields(head) || !head.IsConsistent(whole) || (whole && !in.GetFields(read.whole_))) {
      return LearnStateStatus::kContent;
    }
    read.head_ = head;
    read.hasWhole_ = whole;
    const std::size_t directions = whole ? read.whole_.directions : head.modes;
    const std::uint64_t rows = std::uint64_t{4} + head.rows + directions;
    if (head.rows >= 2 * read.HalfRows() || !read.IsWholeConsistent() ||
        !in.Fits(rows * head.points, sizeof(double))) {
      return LearnStateStatus::kContent;
    }
    if (head.points > 0 && !read.MakeRoom(head.points)) {
      return LearnStateStatus::kMemory;
    }
    read.lambda_.resize(directions);
    if (!ForEachRow(read, [&](std::span<double> row) { return in.GetSpan(row); }) ||
        !read.IsConsistent()) {
      return LearnStateStatus::kContent;
    }
    read.FormInverse();
    return read.RowsAreSmall() ? LearnStateStatus::kOk : LearnStateStatus::kContent;
  };
  const auto commit = [this](CCommonModes& read) { *this = std::move(read); };
  return detail::ReadLearnState<CCommonModes>(file, detail::LearnStateKind::kModes, get, commit,
                                              kWithWhole);
}

void CCommonModes::FormInverse() {
  detail::SpreadModeValues({mean_.data(), square_.data(), spread_.data(), inverse_.data()},
                           Stride(), head_.sum);
}

}  // namespace limes

#include "limes/learning/common_modes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "limes/learning/limit_sureness.h"
#include "limes/learning/mode_loops.h"
#include "limes/learning/part_score.h"
#include "limes/learning/score.h"
#include "limes/platform/memory_errors.h"

namespace limes {
namespace {

constexpr std::size_t kTile = 128;           ///< points of all rows that are worked on together
constexpr std::size_t kTileRow = kTile + 8;  ///< rows in different lines of the cache
constexpr double kMostMagnitude = 1e100;     ///< of a value, so that no square overflows
constexpr double kLeastMode = 1e-9;          ///< of the largest mode: what is below is rounding
constexpr double kLeastResidual = 1e-6;      ///< mean square in spreads, of parts learnt
constexpr double kLeastUnseen = 1e-12;       ///< of all
constexpr double kLeastTold = 0.1;           ///< of a mode's square must lie where was measured

}  // namespace

void CCommonModes::SRoom::Make(std::size_t rows) {
  eigen.MakeRoom(rows);
  tile.assign(rows * kTileRow, 0.0);
}

CCommonModes::CCommonModes(std::int32_t modes, std::int32_t timeScale, bool whole)
    : hasWhole_(whole) {
  head_.wanted = std::clamp(modes, whole ? 0 : 1, kMostModes);
  head_.timeScale = timeScale < 0 ? CExpAverFacGenerator::kNoForgetting : timeScale;
}

/// Sum of the weights of n parts, the last one 1.
double CCommonModes::WeightSum(std::int64_t n, std::int32_t timeScale) {
  const auto parts = static_cast<double>(n);
  const double scale = timeScale;
  using Generator = CExpAverFacGenerator;
  if (timeScale <= 0) {
    return std::min(parts, 1.0);
  }
  if (parts > Generator::kSaturated * scale) {
    return -1.0 / std::expm1(-1.0 / scale);
  }
  return timeScale >= Generator::kNoForgetting
             ? parts
             : std::expm1(-parts / scale) / std::expm1(-1.0 / scale);
}

/// Modes of the points that there are.
std::int32_t CCommonModes::Most() const {
  return head_.points == 0 ? head_.wanted
                           : std::min(head_.wanted, static_cast<std::int32_t>(head_.points / 2));
}

std::size_t CCommonModes::HalfRows() const {
  const std::size_t least = hasWhole_ ? 64 : 32;
  return std::max(least, 2 * static_cast<std::size_t>(head_.wanted));
}

std::size_t CCommonModes::KeptRows() const {
  return hasWhole_ ? HalfRows() + HalfRows() / 2 : HalfRows();
}

std::size_t CCommonModes::MostDirections() const {
  return hasWhole_ ? 2 * HalfRows() : static_cast<std::size_t>(head_.wanted);
}

std::size_t CCommonModes::Stride() const { return detail::PaddedRow(head_.points); }

std::int64_t CCommonModes::PartsNeeded() const {
  return std::max<std::int64_t>(4 * std::int64_t{Most()}, kPartsBeforeScores);
}

double CCommonModes::Counting() const {
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  return EffectiveParts(static_cast<std::int32_t>(std::min(head_.count, kMost)), head_.timeScale);
}

double CCommonModes::Effective() const { return Counting() - static_cast<double>(Modes()); }

double CCommonModes::VarianceShare(std::size_t mode) const {
  const auto varying =
      std::count_if(inverse_.begin(), inverse_.end(), [](double v) { return v > 0.0; });
  return varying > 0 ? lambda_[mode] / static_cast<double>(varying) : 0.0;
}

double CCommonModes::ModeSpread(std::size_t mode) const { return std::sqrt(lambda_[mode]); }

void CCommonModes::ModeCurve(std::size_t mode, std::span<double> curve) const {
  const double* const v = modes_.data() + mode * Stride();
  for (std::size_t i = 0; i < std::min(curve.size(), Points()); ++i) {
    curve[i] = spread_[i] * (ModeSpread(mode) * v[i]);
  }
}

/// All rows are padded with zeros, so that loops have no rest.
bool CCommonModes::MakeRoom(std::size_t points) {
  return points <= std::numeric_limits<std::int32_t>::max() && detail::IfMemoryAllows(false, [&] {
           const std::size_t n = detail::PaddedRow(points);
           const std::size_t rows = 2 * HalfRows();
           const std::size_t directions = MostDirections();
           CCommonModes made;
           made.head_ = head_;
           made.hasWhole_ = hasWhole_;
           made.whole_ = whole_;
           made.head_.points = static_cast<std::uint32_t>(points);
           for (Row* const row :
                {&made.mean_, &made.square_, &made.residual_, &made.learnt_, &made.spread_,
                 &made.inverse_, &made.about_, &made.part_, &made.deviation_}) {
             row->assign(n, 0.0);
           }
           made.rows_.assign(rows * n, 0.0);
           made.modes_.assign(directions * n, 0.0);
           made.lambda_.reserve(directions);
           made.amounts_.assign(static_cast<std::size_t>(head_.wanted), 0.0);
           made.along_.assign(hasWhole_ ? directions : 0, 0.0);
           made.gaps_ = made.along_;
           made.room_.Make(rows);
           *this = std::move(made);
           return true;
         });
}

PartStatus CCommonModes::Check(std::span<const double> part, bool& gaps) const {
  if (part.empty() || (Points() > 0 && part.size() != Points())) {
    return PartStatus::kNoValues;
  }
  const detail::SModeCounts counts =
      detail::CountModeValues(part.data(), part.size(), kMostMagnitude);
  gaps = static_cast<std::size_t>(counts.measured) < part.size();
  return counts.beyond == 0 && counts.measured > 0 ? PartStatus::kOk : PartStatus::kNotFinite;
}

bool CCommonModes::IsDue() const {
  const std::int64_t apart =
      std::min<std::int64_t>(head_.formedAt, std::max(head_.timeScale, 1)) / 8;
  return head_.count >= PartsNeeded() &&
         head_.count >= head_.formedAt + std::max<std::int64_t>(1, apart);
}

LearnStatus CCommonModes::Learn(std::span<const double> part) {
  bool gaps = false;
  if (const PartStatus status = Check(part, gaps); status != PartStatus::kOk) {
    return status;
  }
  if (Points() == 0) {
    if (gaps) {
      return PartStatus::kGaps;
    }
    if (!MakeRoom(part.size())) {
      return PartStatus::kMemory;
    }
  }
  const double before = head_.sum;
  const double sum = WeightSum(head_.count + 1, head_.timeScale);
  const double a = 1.0 / sum;
  const double share = before > 0.0 ? (sum - 1.0) / before : 0.0;
  std::copy(part.begin(), part.end(), part_.begin());
  head_.sum = sum;
  head_.count += 1;
  const std::size_t n = Stride();
  detail::LearnModeValues({mean_.data(), square_.data(), spread_.data(), inverse_.data()},
                          deviation_.data(), part_.data(), n, a, share, before, sum);
  TakeResidual(part, share, gaps);
  head_.scale *= std::sqrt(share);
  if (!(share > 0.0)) {
    head_.rows = 0;
    head_.scale = 1.0;
  }
  const double factor = std::sqrt(1.0 - a) / head_.scale;
  double* const row = rows_.data() + head_.rows * n;
  std::transform(deviation_.begin(), deviation_.end(), row, [=](double d) { return factor * d; });
  head_.rows += 1;
  if (head_.rows == 2 * HalfRows()) {
    Cut(room_, rows_, head_.rows);
    head_.rows = static_cast<std::uint32_t>(KeptRows());
    std::for_each(rows_.begin(), rows_.end(), [this](double& x) { x *= head_.scale; });
    head_.scale = 1.0;
  }
  stale_ = true;
  if (IsDue()) {
    Form();
  }
  return PartStatus::kOk;
}

/// What the modes leave of the part learnt last, of which they were not formed. Where it was not
/// measured it deviates as they say, and the residual's spread stays.
void CCommonModes::TakeResidual(std::span<const double> part, double share, bool gaps) {
  if (!IsFormed()) {
    return;
  }
  double* const z = part_.data();
  detail::MultiplyRow(z, deviation_.data(), inverse_.data(), Stride());
  if (gaps) {
    if (!ProjectWithGaps(part, z, amounts_)) {
      std::fill(amounts_.begin(), amounts_.end(), 0.0);
    }
  } else {
    Project(z, amounts_);
  }
  detail::SubtractRows(z, modes_.data(), Stride(), Modes(), Stride(), amounts_.data());
  for (std::size_t i = 0; gaps && i < part.size(); ++i) {
    if (std::isnan(part[i])) {
      deviation_[i] = -z[i] * spread_[i];
      z[i] = std::sqrt(ResidualSquare(i));
    }
  }
  detail::AddSquares(residual_.data(), z, Stride(), share);
  head_.unseen = share * head_.unseen + 1.0;
}

void CCommonModes::Project(const double* z, Row& amounts) const {
  std::fill(amounts.begin(), amounts.end(), 0.0);
  detail::AddDots(z, modes_.data(), Stride(), Modes(), Stride(), amounts.data());
}

/// Least squares over the points that were measured, where z is 0 elsewhere: by Cholesky's
/// decomposition. False when a mode lies too little there to be told.
bool CCommonModes::ProjectWithGaps(std::span<const double> part, const double* z,
                                   Row& amounts) const {
  constexpr auto kMost = static_cast<std::size_t>(kMostModes);
  std::array<double, kMost * kMost> factor{};
  const std::size_t k = Modes();
  Project(z, amounts);
  for (std::size_t r = 0; r < k; ++r) {
    const double* const a = modes_.data() + r * Stride();
    for (std::size_t c = 0; c <= r; ++c) {
      const double* const b = modes_.data() + c * Stride();
      double sum = 0.0;
      for (std::size_t i = 0; i < part.size(); ++i) {
        sum += std::isnan(part[i]) ? 0.0 : a[i] * b[i];
      }
      for (std::size_t j = 0; j < c; ++j) {
        sum -= factor[r * kMost + j] * factor[c * kMost + j];
      }
      if (r == c && !(sum > kLeastTold)) {
        return false;
      }
      factor[r * kMost + c] = r == c ? std::sqrt(sum) : sum / factor[c * kMost + c];
    }
  }
  for (std::size_t r = 0; r < k; ++r) {
    for (std::size_t j = 0; j < r; ++j) {
      amounts[r] -= factor[r * kMost + j] * amounts[j];
    }
    amounts[r] /= factor[r * kMost + r];
  }
  for (std::size_t r = k; r-- > 0;) {
    for (std::size_t j = r + 1; j < k; ++j) {
      amounts[r] -= factor[j * kMost + r] * amounts[j];
    }
    amounts[r] /= factor[r * kMost + r];
  }
  return true;
}

/// The largest eigenvalues of Z Z', Z the rows in spreads.
void CCommonModes::Decompose(SRoom& room, const Row& rows, std::size_t count,
                             std::size_t wanted) const {
  double* const gram = room.eigen.Matrix();
  const std::size_t stride = room.eigen.Stride();
  const std::size_t n = Stride();
  for (std::size_t r = 0; r < count; ++r) {
    std::fill_n(gram + r * stride, stride, 0.0);
  }
  for (std::size_t i = 0; i < n; i += kTile) {
    const std::size_t width = std::min(kTile, n - i);
    for (std::size_t r = 0; r < count; ++r) {
      double* const z = room.tile.data() + r * kTileRow;
      detail::MultiplyRow(z, rows.data() + r * n + i, inverse_.data() + i, width);
    }
    detail::AddProducts(room.tile.data(), kTileRow, count, width, gram, stride);
  }
  for (std::size_t r = 0; r < count; ++r) {
    for (std::size_t c = 0; c < r; ++c) {
      gram[c * stride + r] = gram[r * stride + c];
    }
  }
  room.eigen.Solve(count, wanted);
}

/// out row k = the rows by the vector k of what was decomposed; out may be the rows.
void CCommonModes::Turn(SRoom& room, const Row& rows, std::size_t count, Row& out,
                        std::size_t outs) const {
  const std::size_t n = Stride();
  for (std::size_t i = 0; i < n; i += kTile) {
    const std::size_t width = std::min(kTile, n - i);
    for (std::size_t r = 0; r < count; ++r) {
      std::copy_n(rows.data() + r * n + i, width, room.tile.data() + r * kTileRow);
    }
    detail::CombineRows(out.data() + i, n, outs, room.tile.data(), kTileRow, count, width,
                        room.eigen.Vectors(), room.eigen.Stride());
  }
}

/// Makes KeptRows() of more, whose squares in spreads are the nearest.
void CCommonModes::Cut(SRoom& room, Row& rows, std::size_t count) const {
  const std::size_t kept = KeptRows();
  Decompose(room, rows, count, kept);
  Turn(room, rows, count, rows, kept);
  std::fill(rows.begin() + static_cast<std::ptrdiff_t>(kept * Stride()), rows.end(), 0.0);
}

void CCommonModes::Form() {
  if (head_.count < PartsNeeded()) {
    return;
  }
  const std::size_t n = Stride();
  const std::size_t most = std::min(hasWhole_ ? MostDirections() : static_cast<std::size_t>(Most()),
                                    std::size_t{head_.rows});
  lambda_.clear();
  Decompose(room_, rows_, head_.rows, most);
  const detail::SymmetricEigen& eigen = room_.eigen;
  for (std::size_t k = 0; k < most; ++k) {
    const double w = eigen.Value(k);
    if (!(w > kLeastMode * eigen.Value(0))) {
      break;
    }
    lambda_.push_back(head_.scale * head_.scale * w / head_.sum);
  }
  Turn(room_, rows_, head_.rows, modes_, lambda_.size());
  for (std::size_t k = 0; k < lambda_.size(); ++k) {
    double* const v = modes_.data() + k * n;
    detail::MultiplyRow(part_.data(), v, inverse_.data(), n);
    const auto largest = std::max_element(
        part_.begin(), part_.end(), [](double x, double y) { return std::fabs(x) < std::fabs(y); });
    const double factor = std::copysign(1.0 / std::sqrt(eigen.Value(k)), *largest);
    std::transform(part_.begin(), part_.end(), v, [=](double x) { return factor * x; });
  }
  head_.modes =
      std::min(static_cast<std::uint32_t>(lambda_.size()), static_cast<std::uint32_t>(Most()));
  FormWhole();
  head_.formedAt = head_.count;
  const double counting = Counting();
  const double correction = counting / std::max(counting - 1.0 - static_cast<double>(Modes()), 1.0);
  for (std::size_t i = 0; i < Points(); ++i) {
    double explained = 0.0;
    for (std::size_t k = 0; k < Modes(); ++k) {
      explained += lambda_[k] * (modes_[k * n + i] * modes_[k * n + i]);
    }
    learnt_[i] = std::max(1.0 - explained, kLeastResidual) * correction;
  }
  stale_ = true;
}

double CCommonModes::ResidualSquare(std::size_t i) const {
  if (head_.wanted == 0) {
    return 1.0;
  }
  const double weight = 2.0 * static_cast<double>(Modes());
  const double parts = head_.unseen + weight;
  return parts > 0.0 ? std::max((residual_[i] + weight * learnt_[i]) / parts, kLeastUnseen) : 1.0;
}

double CCommonModes::SpreadAbout(std::size_t point) const {
  return spread_[point] * std::sqrt(ResidualSquare(point));
}

double CCommonModes::ResidualScale() const {
  constexpr double kLeastLeft = 0.05;
  double sum = 0.0;
  double points = 0.0;
  for (std::size_t i = 0; i < Points(); ++i) {
    double left = 1.0;
    for (std::size_t k = 0; k < Modes(); ++k) {
      left -= modes_[k * Stride() + i] * modes_[k * Stride() + i];
    }
    if (spread_[i] > 0.0) {
      sum += std::log(std::sqrt(ResidualSquare(i)) / std::max(left, kLeastLeft));
      points += 1.0;
    }
  }
  return points > 0.0 ? std::exp(sum / points) : 1.0;
}

void CCommonModes::FormSpreads() {
  for (std::size_t i = 0; stale_ && i < Points(); ++i) {
    about_[i] = SpreadAbout(i);
  }
  stale_ = false;
}

JudgeReason CCommonModes::Explain(std::span<const double> part, SModesOfPart& told) {
  bool gaps = false;
  if (!IsFormed()) {
    return PartStatus::kNothingLearnt;
  }
  if (const PartStatus status = Check(part, gaps); status != PartStatus::kOk) {
    return status;
  }
  FormSpreads();
  for (std::size_t i = 0; i < part.size(); ++i) {
    part_[i] = (part[i] - mean_[i]) * inverse_[i];
  }
  for (std::size_t i = 0; gaps && i < part.size(); ++i) {
    part_[i] = std::isnan(part[i]) ? 0.0 : part_[i];
  }
  if (!gaps) {
    Project(part_.data(), amounts_);
  } else if (!ProjectWithGaps(part, part_.data(), amounts_)) {
    return PartStatus::kCoversTooLittle;
  }
  told.whole = hasWhole_ ? WholeOf(part, gaps) : 0.0;
  std::fill(part_.begin(), part_.end(), 0.0);
  for (double& amount : amounts_) {
    amount = -amount;
  }
  detail::SubtractRows(part_.data(), modes_.data(), Stride(), Modes(), Stride(), amounts_.data());
  detail::ExpectValues(part_.data(), mean_.data(), spread_.data(), Stride());
  return detail::IfMemoryAllows(PartStatus::kMemory, [&] {
    told.amounts.resize(Modes());
    told.expected.assign(part_.begin(), part_.begin() + static_cast<std::ptrdiff_t>(Points()));
    told.spread.assign(about_.begin(), about_.begin() + static_cast<std::ptrdiff_t>(Points()));
    for (std::size_t k = 0; k < Modes(); ++k) {
      told.amounts[k] = -amounts_[k] / ModeSpread(k);
    }
    return PartStatus::kOk;
  });
}

SModesScoring CCommonModes::Score(std::span<const double> part, const SModesOfPart& told,
                                  double base) const {
  SModesScoring scoring;
  const detail::SFarthest farthest =
      detail::FarthestOut(part.data(), told.expected.data(), told.spread.data(),
                          std::min(part.size(), told.expected.size()), base);
  scoring.aboveAt = farthest.aboveAt;
  scoring.belowAt = farthest.belowAt;
  const double n = Effective();
  const auto limited = [n](double excess) {
    return std::clamp(ScoreOf(excess, n), kLowestScore, kHighestScore);
  };
  scoring.residual = {limited(farthest.above), limited(farthest.below)};
  const auto largest =
      std::max_element(told.amounts.begin(), told.amounts.end(),
                       [](double x, double y) { return std::fabs(x) < std::fabs(y); });
  if (largest != told.amounts.end()) {
    scoring.mode = static_cast<std::size_t>(largest - told.amounts.begin());
    scoring.modeScore = limited(std::fabs(*largest));
  }
  scoring.scores = Larger(scoring.residual, {scoring.modeScore, scoring.modeScore});
  if (told.whole > 0.0) {
    scoring.scores.whole = std::clamp(2.0 * std::log(told.whole), kLowestScore, kHighestScore);
  }
  return scoring;
}

double CCommonModes::AmountLimit(const SCalibratedLimit& limit, ScoreSides sides) const {
  const double score =
      sides == ScoreSides::kBoth ? std::min(limit.above, limit.below) : limit.above;
  return std::fmax(FactorOf(score, Effective()), 0.0);
}

}  // namespace limes

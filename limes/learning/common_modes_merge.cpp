// Joining what modes were learnt of.
#include <algorithm>
#include <cmath>

#include "limes/learning/common_modes.h"
#include "limes/learning/learn_merge.h"
#include "limes/platform/memory_errors.h"

namespace limes {

MergeStatus CCommonModes::Merge(const CCommonModes& other) {
  if (head_.wanted != other.head_.wanted || hasWhole_ != other.hasWhole_) {
    return MergeStatus::kRule;
  }
  if (head_.timeScale != other.head_.timeScale) {
    return MergeStatus::kTimeScale;
  }
  if (other.head_.count == 0) {
    return MergeStatus::kOk;
  }
  if (head_.count > 0 && Points() != other.Points()) {
    return MergeStatus::kGrid;
  }
  return detail::IfMemoryAllows(MergeStatus::kMemory, [&] {
    *this = head_.count == 0 ? other : Joined(other);
    return MergeStatus::kOk;
  });
}

/// The squares about the joint mean are those about both means and of the way between them.
CCommonModes CCommonModes::Joined(const CCommonModes& later) const {
  CCommonModes joint(*this);
  const std::size_t n = Stride();
  const std::int64_t count = detail::JointCount(head_.count, later.head_.count);
  const double sum = WeightSum(count, head_.timeScale);
  const double share = detail::EarlierShare(head_.count, later.head_.count, head_.timeScale);
  const double mine = share * sum / head_.sum;  // of each weight that is left
  const double theirs = (1.0 - share) * sum / later.head_.sum;
  joint.head_.count = count;
  joint.head_.sum = sum;
  joint.head_.scale = 1.0;
  joint.head_.unseen = mine * head_.unseen + theirs * later.head_.unseen;
  const std::size_t rows = head_.rows + later.head_.rows + 1;
  Row all(rows * n);
  const double ways = std::sqrt(sum * share * (1.0 - share));
  for (std::size_t i = 0; i < n; ++i) {
    const double way = mean_[i] - later.mean_[i];
    joint.mean_[i] = later.mean_[i] + share * way;
    joint.square_[i] = mine * square_[i] + theirs * later.square_[i] + ways * way * (ways * way);
    joint.residual_[i] = mine * residual_[i] + theirs * later.residual_[i];
    all[i] = ways * way;
  }
  auto append = [&, to = all.begin() + static_cast<std::ptrdiff_t>(n)](const CCommonModes& from,
                                                                       double weight) mutable {
    const double factor = from.head_.scale * std::sqrt(weight);
    const auto last = from.rows_.begin() + static_cast<std::ptrdiff_t>(from.head_.rows * n);
    to = std::transform(from.rows_.begin(), last, to, [=](double x) { return factor * x; });
  };
  append(*this, mine);
  append(later, theirs);
  joint.FormInverse();
  joint.head_.rows = static_cast<std::uint32_t>(rows);
  if (rows >= 2 * HalfRows()) {
    SRoom room;
    room.Make(rows);
    joint.Cut(room, all, rows);
    joint.head_.rows = static_cast<std::uint32_t>(KeptRows());
  }
  all.resize(joint.rows_.size());
  joint.rows_.swap(all);
  joint.lambda_.clear();
  joint.head_.modes = 0;
  joint.whole_ = SWhole();
  joint.head_.formedAt = 0;
  joint.Form();
  joint.stale_ = true;
  return joint;
}

}  // namespace limes

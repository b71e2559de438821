#include "limes/kernels/pair_combination.h"

#include <algorithm>
#include <cmath>

namespace limes::detail {

bool InPlainOrder(const SPairRun& run) {
  return run.n > 0 && std::isfinite(run.p[0].x) && std::isfinite(run.p[run.n - 1].x) &&
         (run.neverFalls || FindOrder(run.p, run.n).neverFalls);
}

namespace {

template <bool kGrowing>
class MergeWalk {
 public:
  MergeWalk(const SPairRun& run, const SPairRun& other, const SMerging& how)
      : out_(run.n + other.n), run_(run), how_(how) {
    for (std::size_t i = 0; i < other.n; ++i) {
      Merge(other.p[i]);
    }
    std::copy(run_.p + next_, run_.p + run_.n, out_.begin() + static_cast<std::ptrdiff_t>(size_));
    out_.resize(size_ + (run_.n - next_));
  }

  std::vector<XyPair> out_;  ///< first the run up to the current x, with what was merged in

 private:
  void Put(const XyPair& pair) { out_[size_++] = pair; }

  void Merge(const XyPair& pair) {
    while (next_ < run_.n && run_.p[next_].x <= pair.x) {
      Put(run_.p[next_++]);
    }
    while (low_ < size_ && out_[low_].x < pair.x) {
      ++low_;
    }
    const XyPair front = size_ == 0 ? run_.p[0] : out_[0];
    const XyPair back = next_ < run_.n ? run_.p[run_.n - 1] : out_[size_ - 1];
    const float first = kGrowing ? front.x : run_.p[0].x;
    const float last = kGrowing ? back.x : run_.p[run_.n - 1].x;
    if (IsInside(pair.x, first, last, how_.tolerance)) {
      if (!HasNear(pair.x)) {
        Put({pair.x, how_.zeros ? 0.0F : ValueIn(pair.x, front, back)});
      }
    } else if (how_.takesOthers) {
      Put({pair.x, how_.zeros ? 0.0F : pair.y});
    }
  }

  /// A pair from the start index on lies within the tolerance. Rounding keeps the order of
  /// differences, so the last one at or below x and the first one above stand for all.
  bool HasNear(float x) {
    const std::size_t from = kGrowing ? start_++ : 0;
    if (size_ > from && std::fabs(out_[size_ - 1].x - x) <= how_.tolerance) {
      return true;
    }
    const std::size_t above = from > size_ ? next_ + (from - size_) : next_;
    return above < run_.n && std::fabs(run_.p[above].x - x) <= how_.tolerance;
  }

  float ValueIn(float x, const XyPair& front, const XyPair& back) const {
    if (x <= front.x) {
      return front.y;
    }
    if (x >= back.x) {
      return back.y;
    }
    return low_ < size_ ? ValueBetween(out_[low_ - 1], out_[low_], x)
                        : ValueBetween(out_[size_ - 1], run_.p[next_], x);
  }

  std::size_t size_ = 0;  ///< pairs in out_
  SPairRun run_;
  SMerging how_;
  std::size_t next_ = 0;   ///< first pair of the run that is not in out_
  std::size_t low_ = 0;    ///< first pair of out_ at or above the current x
  std::size_t start_ = 0;  ///< index from which on near pairs are looked for
};

}  // namespace

std::vector<XyPair> Merged(const SPairRun& run, const SPairRun& other, const SMerging& how) {
  return how.growing ? MergeWalk<true>(run, other, how).out_
                     : MergeWalk<false>(run, other, how).out_;
}

SSection CommonSection(const SPairRun& run, const SPairRun& other, float tolerance) {
  const float lo = other.p[0].x - tolerance;
  const float hi = other.p[other.n - 1].x + tolerance;
  SSection section{0, run.n};
  while (section.begin < section.end && run.p[section.begin].x < lo) {
    ++section.begin;
  }
  while (section.end > section.begin && run.p[section.end - 1].x > hi) {
    --section.end;
  }
  return section;
}

}  // namespace limes::detail

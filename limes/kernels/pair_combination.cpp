#include "limes/kernels/pair_combination.h"

#include <cmath>

namespace limes::detail {

bool InPlainOrder(const SPairRun& run) {
  return run.n > 0 && std::isfinite(run.p[0].x) && std::isfinite(run.p[run.n - 1].x) &&
         (run.neverFalls || FindOrder(run.p, run.n).neverFalls);
}

namespace {

class MergeWalk {
 public:
  MergeWalk(const SPairRun& run, const SPairRun& other, const SMerging& how)
      : run_(run), how_(how) {
    out_.reserve(run.n + other.n);
    for (std::size_t i = 0; i < other.n; ++i) {
      Merge(other.p[i]);
    }
    out_.insert(out_.end(), run_.p + next_, run_.p + run_.n);
  }

  std::vector<XyPair> out_;  ///< the run up to the current x, with what was merged in

 private:
  void Merge(const XyPair& pair) {
    while (next_ < run_.n && run_.p[next_].x <= pair.x) {
      out_.push_back(run_.p[next_++]);
    }
    while (low_ < out_.size() && out_[low_].x < pair.x) {
      ++low_;
    }
    const XyPair front = out_.empty() ? run_.p[0] : out_.front();
    const XyPair back = next_ < run_.n ? run_.p[run_.n - 1] : out_.back();
    const float first = how_.growing ? front.x : run_.p[0].x;
    const float last = how_.growing ? back.x : run_.p[run_.n - 1].x;
    if (IsInside(pair.x, first, last, how_.tolerance)) {
      if (!HasNear(pair.x)) {
        out_.push_back({pair.x, how_.zeros ? 0.0F : ValueIn(pair.x, front, back)});
      }
    } else if (how_.takesOthers) {
      out_.push_back({pair.x, how_.zeros ? 0.0F : pair.y});
    }
  }

  /// A pair from the start index on lies within the tolerance. Rounding keeps the order of
  /// differences, so the last one at or below x and the first one above stand for all.
  bool HasNear(float x) {
    const std::size_t from = how_.growing ? start_++ : 0;
    if (out_.size() > from && std::fabs(out_.back().x - x) <= how_.tolerance) {
      return true;
    }
    const std::size_t above = from > out_.size() ? next_ + (from - out_.size()) : next_;
    return above < run_.n && std::fabs(run_.p[above].x - x) <= how_.tolerance;
  }

  float ValueIn(float x, const XyPair& front, const XyPair& back) const {
    if (x <= front.x) {
      return front.y;
    }
    if (x >= back.x) {
      return back.y;
    }
    return low_ < out_.size() ? ValueBetween(out_[low_ - 1], out_[low_], x)
                              : ValueBetween(out_.back(), run_.p[next_], x);
  }

  SPairRun run_;
  SMerging how_;
  std::size_t next_ = 0;   ///< first pair of the run that is not in out_
  std::size_t low_ = 0;    ///< first pair of out_ at or above the current x
  std::size_t start_ = 0;  ///< index from which on near pairs are looked for
};

}  // namespace

std::vector<XyPair> Merged(const SPairRun& run, const SPairRun& other, const SMerging& how) {
  return MergeWalk(run, other, how).out_;
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

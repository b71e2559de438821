#include <algorithm>
#include <cmath>
#include <new>
#include <span>
#include <vector>

#include "limes/kernels/pair_loops.h"
#include "limes/signals/cloned.h"
#include "limes/signals/pair_signal.h"

namespace limes {

namespace {

using Run = std::vector<detail::XyPair>;
using View = std::span<const detail::XyPair>;

float ValueBetween(const detail::XyPair& a, const detail::XyPair& b, float x) {
  const float slope = (b.y - a.y) / (b.x - a.x);
  return (x - a.x) * slope + a.y;
}

bool IsUnion(int code) { return code == CSigPairs::kUnion || code == CSigPairs::kUnionOfZeros; }

/// The pairs of a run with those of another merged in, as MergeEach does it one by one, for runs
/// that never fall and are finite.
class MergeWalk {
 public:
  MergeWalk(View run, View other, float tol, int code, bool fixedRange)
      : run_(run), tol_(tol), code_(code), fixedRange_(fixedRange) {
    out_.reserve(run.size() + other.size());
    for (const detail::XyPair& pair : other) {
      Merge(pair);
    }
    out_.insert(out_.end(), run_.begin() + static_cast<std::ptrdiff_t>(next_), run_.end());
  }

  const Run& Result() const { return out_; }

 private:
  void Merge(const detail::XyPair& pair) {
    while (next_ < run_.size() && run_[next_].x <= pair.x) {
      out_.push_back(run_[next_++]);
    }
    while (low_ < out_.size() && out_[low_].x < pair.x) {
      ++low_;
    }
    const detail::XyPair front = out_.empty() ? run_.front() : out_.front();
    const detail::XyPair back = next_ < run_.size() ? run_.back() : out_.back();
    const float lo = fixedRange_ ? run_.front().x : front.x;
    const float hi = fixedRange_ ? run_.back().x : back.x;
    if (pair.x >= lo - tol_ && pair.x <= hi + tol_) {
      if (!HasNear(pair.x)) {
        const bool zero = code_ == CSigPairs::kUnionOfZeros;
        out_.push_back({pair.x, zero ? 0.0F : ValueAt(pair.x, front, back)});
      }
    } else if (IsUnion(code_)) {
      out_.push_back({pair.x, code_ == CSigPairs::kUnion ? pair.y : 0.0F});
    }
  }

  /// A pair from the start index on lies within the tolerance. Rounding keeps the order of
  /// differences, so the last one at or below x and the first one above stand for all.
  bool HasNear(float x) {
    // kept: the search begins one pair further right for each pair merged, even past near ones
    const std::size_t from = fixedRange_ ? 0 : start_++;
    if (out_.size() > from && std::fabs(out_.back().x - x) <= tol_) {
      return true;
    }
    const std::size_t above = from > out_.size() ? next_ + (from - out_.size()) : next_;
    return above < run_.size() && std::fabs(run_[above].x - x) <= tol_;
  }

  float ValueAt(float x, const detail::XyPair& front, const detail::XyPair& back) const {
    if (x <= front.x) {
      return front.y;
    }
    if (x >= back.x) {
      return back.y;
    }
    return low_ < out_.size() ? ValueBetween(out_[low_ - 1], out_[low_], x)
                              : ValueBetween(out_.back(), run_[next_], x);
  }

  View run_;
  float tol_;
  int code_;
  bool fixedRange_;
  Run out_;               ///< the run up to the current x, with what was inserted
  std::size_t next_ = 0;  ///< first pair of the run that is not in out_
  std::size_t low_ = 0;   ///< first pair of out_ at or above the current x
  std::size_t start_ = 0;
};

}  // namespace

/// x never falls and is finite; tested when it is not known.
bool CSigPairs::InPlainOrder() const {
  const std::uint32_t n = NPaare();
  return n > 0 && std::isfinite(Punkt(0)) && std::isfinite(Punkt(n - 1)) &&
         (NeverFalls() || detail::FindOrder(Pairs(), n).neverFalls);
}

float CSigPairs::Tolerance() const {
  if (tolerance_ >= 0.0F) {
    return tolerance_;
  }
  float lo = 0.0F;
  float hi = 0.0F;
  XBereich(lo, hi);
  const float hundredth = (hi - lo) / static_cast<float>(NPaare()) * 0.01F;
  return tolerance_ < -100.0F ? 5.0F * hundredth : -tolerance_ * hundredth;
}

bool CSigPairs::OperationVorbereiten(const CSigPairs& other, float& tol) {
  if (!Gueltig() || !other.Gueltig() || !other.sorted_) {
    return false;
  }
  DatenSortieren();
  float lo = 0.0F;
  float hi = 0.0F;
  float otherLo = 0.0F;
  float otherHi = 0.0F;
  XBereich(lo, hi);
  other.XBereich(otherLo, otherHi);
  if (!(otherLo <= hi && otherHi >= lo)) {
    return false;
  }
  tol = Tolerance();
  return true;
}

void CSigPairs::Verrechnen(const CSigPairs& other, int code) {
  if (&other != this && other.sorted_) {
    DatenSortieren();
    Combine(other, code);
  } else if (const auto copy = SortedCopy(other)) {
    DatenSortieren();
    Combine(*copy, code);
  }
}

/// A copy marked sorted, sorted unless the run is; null when memory is short.
std::unique_ptr<CSigPairs> CSigPairs::SortedCopy(const CSigPairs& run) {
  std::unique_ptr<CSigPairs> copy(detail::Cloned(run, false));
  if (copy != nullptr && !copy->sorted_) {
    copy->SortPairs();
  }
  return copy;
}

void CSigPairs::Combine(const CSigPairs& other, int code) {
  float tol = 0.0F;
  if (!OperationVorbereiten(other, tol)) {
    EmptyRun();  // kept: for the unions too
    return;
  }
  Merge(other, tol, code, false);
  switch (code) {
    case kUnion:
    case kUnionOfZeros:
      return;
    case kMinimum:
    case kMinimumToo:
      ForValuesOf(other, true, [](float& y, float v) { y = v < y ? v : y; });
      return;
    case kMaximum:
    case kMaximumToo:
      ForValuesOf(other, true, [](float& y, float v) { y = v > y ? v : y; });
      return;
    default:
      CutTo(other, tol);
  }
  switch (code) {
    case kPlus:
      return ForValuesOf(other, false, [](float& y, float v) { y = y + v; });
    case kMinus:
      return ForValuesOf(other, false, [](float& y, float v) { y = y - v; });
    case kTimes:
      return ForValuesOf(other, false, [](float& y, float v) { y = y * v; });
    case kDivided:
      return ForValuesOf(other, false, [](float& y, float v) { y = v == 0.0F ? 0.0F : y / v; });
    case kPlusSquare:
      return ForValuesOf(other, false, [](float& y, float v) { y = y + v * v; });
    case kMinusSquare:
      return ForValuesOf(other, false, [](float& y, float v) { y = y - v * v; });
    default:
      return;
  }
}

/// The other's x inside this run's range become pairs of this run, with its values there, unless a
/// pair lies within the tolerance. The range grows with what is merged unless it is fixed.
void CSigPairs::Merge(const CSigPairs& other, float tol, int code, bool fixedRange) {
  if (!MergeInOneWalk(other, tol, code, fixedRange)) {
    MergeEach(other, tol, code, fixedRange);
  }
}

/// Merge for any order, NaN included. O(n * m).
void CSigPairs::MergeEach(const CSigPairs& other, float tol, int code, bool fixedRange) {
  const float first = Punkt(0);
  const float last = Punkt(NPaare() - 1);
  std::uint32_t start = 0;
  for (std::uint32_t k = 0; k < other.NPaare(); ++k) {
    const float x = other.Punkt(k);
    const std::uint32_t n = NPaare();
    const float lo = fixedRange ? first : Punkt(0);
    const float hi = fixedRange ? last : Punkt(n - 1);
    if (x >= lo - tol && x <= hi + tol) {
      // kept: the search begins one pair further right for each pair merged, even past near ones
      std::uint32_t i = fixedRange ? 0 : start++;
      while (i < n && !(std::fabs(Punkt(i) - x) <= tol)) {
        ++i;
      }
      if (i >= n) {
        NeuesPaarEinsortieren(x, code == kUnionOfZeros ? 0.0F : WertBei(x));
      }
    } else if (IsUnion(code)) {
      NeuesPaarEinsortieren(x, code == kUnion ? other.Wert(k) : 0.0F);
    }
  }
}

/// The result of MergeEach in O(n + m); false, with nothing changed, when it must be done plainly.
bool CSigPairs::MergeInOneWalk(const CSigPairs& other, float tol, int code, bool fixedRange) {
  const std::uint32_t n = NPaare();
  if (!sorted_ || (inverse_ && n > 1) || !InPlainOrder() || !other.InPlainOrder()) {
    return false;
  }
  try {
    const MergeWalk walk(View(Pairs(), n), View(other.Pairs(), other.NPaare()), tol, code,
                         fixedRange);
    const std::size_t merged = walk.Result().size();
    if (merged == n) {
      return true;
    }
    std::uint64_t room = DLen() / 2;
    while (room < merged) {  // the room that pairs inserted one by one would have needed
      room *= 2;
    }
    if (room > kMaxWords / 2 || (room > DLen() / 2 && !Resize(static_cast<std::uint32_t>(room)))) {
      return false;
    }
    std::copy(walk.Result().begin(), walk.Result().end(), Pairs());
    inverse_ = false;
    SetCount(static_cast<std::uint32_t>(merged));
    NoteOrder();
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

/// Calls op(y, v) for each pair with the other's value v at its x, or only for those inside the
/// other's range.
template <class Op>
void CSigPairs::ForValuesOf(const CSigPairs& other, bool insideOnly, Op op) {
  const View values(other.Pairs(), other.NPaare());
  const bool inOrder = InPlainOrder() && other.InPlainOrder();
  const float first = values.front().x;
  const float last = values.back().x;
  std::size_t at = 1;
  for (detail::XyPair& pair : std::span(Pairs(), NPaare())) {
    if (insideOnly && !(pair.x >= first && pair.x <= last)) {
      continue;
    }
    if (!inOrder || pair.x <= first || pair.x >= last) {
      op(pair.y, other.WertBei(pair.x));
      continue;
    }
    while (values[at].x < pair.x) {
      ++at;
    }
    op(pair.y, ValueBetween(values[at - 1], values[at], pair.x));
  }
}

/// Drops the pairs before and behind the other's range widened by the tolerance.
void CSigPairs::CutTo(const CSigPairs& other, float tol) {
  const float lo = other.Punkt(0) - tol;
  const float hi = other.Punkt(other.NPaare() - 1) + tol;
  std::uint32_t begin = 0;
  std::uint32_t end = NPaare();
  while (begin < end && Punkt(begin) < lo) {
    ++begin;
  }
  while (end > begin && Punkt(end - 1) > hi) {
    --end;
  }
  PunkteEntfernen(end, NPaare());
  PunkteEntfernen(0, begin);
  if (!Gueltig()) {
    EmptyRun();
  }
}

void CSigPairs::UnionWith(const CSigPairs& other) {
  if (&other == this || !other.Gueltig()) {
    return;
  }
  if (!other.sorted_) {
    if (const auto copy = SortedCopy(other)) {
      UnionWith(*copy);
    }
    return;
  }
  DatenSortieren();
  if (!Gueltig()) {
    EmptyRun();
    if (Append(other)) {
      sorted_ = true;
      inverse_ = false;
    }
    return;
  }
  Merge(other, Tolerance(), kUnion, true);
}

CSigPairs& CSigPairs::Combined(const CSigPairs& other, int code) {
  Verrechnen(other, code);
  return *this;
}

CSigPairs CSigPairs::CombinedCopy(const CSigPairs& other, int code) const {
  CSigPairs result(*this);
  result.Verrechnen(other, code);
  return result;
}

CSigPairs& CSigPairs::operator|=(const CSigPairs& other) { return Combined(other, kUnion); }
CSigPairs& CSigPairs::operator&=(const CSigPairs& other) { return Combined(other, kIntersection); }
CSigPairs& CSigPairs::operator+=(const CSigPairs& other) { return Combined(other, kPlus); }
CSigPairs& CSigPairs::operator-=(const CSigPairs& other) { return Combined(other, kMinus); }
CSigPairs& CSigPairs::operator*=(const CSigPairs& other) { return Combined(other, kTimes); }
CSigPairs& CSigPairs::operator/=(const CSigPairs& other) { return Combined(other, kDivided); }

CSigPairs CSigPairs::operator|(const CSigPairs& other) const { return CombinedCopy(other, kUnion); }
CSigPairs CSigPairs::operator&(const CSigPairs& other) const {
  return CombinedCopy(other, kIntersection);
}
CSigPairs CSigPairs::operator+(const CSigPairs& other) const { return CombinedCopy(other, kPlus); }
CSigPairs CSigPairs::operator-(const CSigPairs& other) const { return CombinedCopy(other, kMinus); }
CSigPairs CSigPairs::operator*(const CSigPairs& other) const { return CombinedCopy(other, kTimes); }
CSigPairs CSigPairs::operator/(const CSigPairs& other) const {
  return CombinedCopy(other, kDivided);
}

CSigPairs& CSigPairs::AddSquared(const CSigPairs& other) { return Combined(other, kPlusSquare); }

CSigPairs& CSigPairs::SubtractSquared(const CSigPairs& other) {
  return Combined(other, kMinusSquare);
}

}  // namespace limes

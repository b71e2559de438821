#include <algorithm>
#include <cmath>
#include <vector>

#include "limes/kernels/pair_combination.h"
#include "limes/platform/memory_errors.h"
#include "limes/signals/cloned.h"
#include "limes/signals/pair_signal.h"

namespace limes {

namespace {

detail::SMerging MergingOf(int code, float tol, bool growing) {
  const bool zeros = code == CSigPairs::kUnionOfZeros;
  return {tol, zeros || code == CSigPairs::kUnion, zeros, growing};
}

}  // namespace

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
  if (!Merge(other, MergingOf(code, tol, true))) {
    return;
  }
  const auto forValues = [&](bool insideOnly, auto op) {
    detail::ForValuesOf(Pairs(), Run(), other.Run(), insideOnly, op);
  };
  switch (code) {
    case kUnion:
    case kUnionOfZeros:
      return;
    case kMinimum:
    case kMinimumToo:
      return forValues(true, [](float& y, float v) { y = v < y ? v : y; });
    case kMaximum:
    case kMaximumToo:
      return forValues(true, [](float& y, float v) { y = v > y ? v : y; });
    default:
      CutTo(other, tol);
  }
  switch (code) {
    case kPlus:
      return forValues(false, [](float& y, float v) { y = y + v; });
    case kMinus:
      return forValues(false, [](float& y, float v) { y = y - v; });
    case kTimes:
      return forValues(false, [](float& y, float v) { y = y * v; });
    case kDivided:
      return forValues(false, [](float& y, float v) { y = v == 0.0F ? 0.0F : y / v; });
    case kPlusSquare:
      return forValues(false, [](float& y, float v) { y = y + v * v; });
    case kMinusSquare:
      return forValues(false, [](float& y, float v) { y = y - v * v; });
    default:
      return;
  }
}

/// The other's x inside this run's range become pairs of this run, with its values there, unless a
/// pair lies within the tolerance. False, with nothing changed, when memory is short.
bool CSigPairs::Merge(const CSigPairs& other, const detail::SMerging& how) {
  return MergeInOneWalk(other, how) || detail::IfMemoryAllows(false, [&] {
           const std::vector<detail::XyPair> former(begin(), end());
           const bool sorted = sorted_;
           const bool inverse = inverse_;
           if (MergeEach(other, how)) {
             return true;
           }
           std::copy(former.begin(), former.end(), Pairs());
           SetCount(static_cast<std::uint32_t>(former.size()));
           sorted_ = sorted;
           inverse_ = inverse;
           NoteOrder();
           return false;
         });
}

/// Merge for any order, NaN included; false, with a part merged, when memory is short. O(n * m).
bool CSigPairs::MergeEach(const CSigPairs& other, const detail::SMerging& how) {
  const float first = Punkt(0);
  const float last = Punkt(NPaare() - 1);
  std::uint32_t start = 0;
  for (std::uint32_t k = 0; k < other.NPaare(); ++k) {
    const float x = other.Punkt(k);
    const std::uint32_t n = NPaare();
    if (detail::IsInside(x, how.growing ? Punkt(0) : first, how.growing ? Punkt(n - 1) : last,
                         how.tolerance)) {
      std::uint32_t i = how.growing ? start++ : 0;
      while (i < n && !(std::fabs(Punkt(i) - x) <= how.tolerance)) {
        ++i;
      }
      if (i >= n && NeuesPaarEinsortieren(x, how.zeros ? 0.0F : WertBei(x)) < 0) {
        return false;
      }
    } else if (how.takesOthers && NeuesPaarEinsortieren(x, how.zeros ? 0.0F : other.Wert(k)) < 0) {
      return false;
    }
  }
  return true;
}

/// The result of MergeEach in O(n + m); false, with nothing changed, when it must be done plainly.
bool CSigPairs::MergeInOneWalk(const CSigPairs& other, const detail::SMerging& how) {
  const std::uint32_t n = NPaare();
  if (!sorted_ || (inverse_ && n > 1) || !detail::InPlainOrder(Run()) ||
      !detail::InPlainOrder(other.Run())) {
    return false;
  }
  return detail::IfMemoryAllows(false, [&] {
    const std::vector<detail::XyPair> merged = detail::Merged(Run(), other.Run(), how);
    if (merged.size() == n) {
      return true;
    }
    std::uint64_t room = DLen() / 2;
    while (room < merged.size()) {  // the room that pairs inserted one by one would have needed
      room *= 2;
    }
    if (room > kMaxWords / 2 || (room > DLen() / 2 && !Resize(static_cast<std::uint32_t>(room)))) {
      return false;
    }
    std::copy(merged.begin(), merged.end(), Pairs());
    inverse_ = false;
    SetCount(static_cast<std::uint32_t>(merged.size()));
    NoteOrder();
    return true;
  });
}

/// Drops the pairs before and behind the other's range widened by the tolerance.
void CSigPairs::CutTo(const CSigPairs& other, float tol) {
  const detail::SSection section = detail::CommonSection(Run(), other.Run(), tol);
  PunkteEntfernen(static_cast<std::uint32_t>(section.end), NPaare());
  PunkteEntfernen(0, static_cast<std::uint32_t>(section.begin));
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
  static_cast<void>(Merge(other, MergingOf(kUnion, Tolerance(), false)));
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

#include "limes/signals/pair_signal.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "limes/core/runtime_classes.h"
#include "limes/kernels/pair_search.h"
#include "limes/signals/cloned.h"
#include "limes/signals/curve.h"

namespace limes {

namespace detail {
constinit const CRuntimeClass kPairsClass = {"CSigPairs", &Created<CSigPairs>, &kSignalClass};
}  // namespace detail

CSigPairs::CSigPairs() { SetTypeCode(kTypePairs); }

CSigPairs::CSigPairs(int n) : CSigPairs() {
  if (n > 0) {
    static_cast<void>(NeueGroesse(static_cast<unsigned>(n)));
  }
}

CSigPairs::CSigPairs(const CSigCurve& curve) : CSigPairs() { AusSigCurveBilden(curve); }

CSigPairs::CSigPairs(const CSigPairs& other, bool deep) : CSignal(other, deep) {
  TakeHeader(other);
}

CSigPairs& CSigPairs::operator=(const CSigPairs& other) {
  Copy(other, true);
  return *this;
}

CSigPairs::CSigPairs(CSigPairs&& other) noexcept
    : CSignal(static_cast<CSignal&&>(other)),
      count_(std::min(other.count_, DLen() / 2)),
      parameter_(other.parameter_),
      nummer_(other.nummer_),
      sorted_(other.sorted_),
      inverse_(other.inverse_),
      tolerance_(other.tolerance_),
      neverFalls_(other.neverFalls_),
      neverRises_(other.neverRises_) {
  SetTypeCode(kTypePairs);
  if (other.DLen() == 0) {
    other.EmptyRun();
  }
}

CSigPairs& CSigPairs::operator=(CSigPairs&& other) noexcept {
  CSignal::operator=(static_cast<CSignal&&>(other));
  if (other.DLen() == 0) {
    other.EmptyRun();
  }
  return *this;
}

CSigPairs& CSigPairs::operator=(const CSigCurve& curve) {
  AusSigCurveBilden(curve);
  return *this;
}

const CRuntimeClass* CSigPairs::GetRuntimeClass() const { return GetThisClass(); }

const CRuntimeClass* CSigPairs::GetThisClass() { return &detail::kPairsClass; }

CObject* CSigPairs::CreateObject() { return detail::Created<CSigPairs>(); }

CSigPairs::~CSigPairs() = default;

int CSigPairs::Serialize(CSerializer* /*archive*/) { return 0; }

CSigPairs* CSigPairs::Clone(bool deep) const { return detail::Cloned(*this, deep); }

bool CSigPairs::Copy(const CClonable& other, bool deep) {
  const auto* const pairs = dynamic_cast<const CSigPairs*>(&other);
  if (pairs == nullptr || !CSignal::Copy(other, deep)) {
    return false;
  }
  CSigPairs::InitHeader(*pairs, deep);
  return true;
}

void CSigPairs::InitHeader() {
  ClearNames();
  SetTypeCode(kTypePairs);
  parameter_ = 0.0F;
  nummer_ = 0;
  tolerance_ = kAutoTolerance;
  EmptyRun();
}

void CSigPairs::InitHeader(const CSigPairs& other, bool deep) {
  CSignal::InitHeader(other, deep);
  TakeHeader(other);
}

/// Type, count, parameter, number, flags and tolerance; the count is limited to the room.
void CSigPairs::TakeHeader(const CSigPairs& other) {
  SetTypeCode(kTypePairs);
  SetCount(other.NPaare());
  parameter_ = other.parameter_;
  nummer_ = other.nummer_;
  sorted_ = other.sorted_;
  inverse_ = other.inverse_;
  tolerance_ = other.tolerance_;
  NoteOrder();
}

bool CSigPairs::NeueGroesse(unsigned n) {
  if (n > kMaxWords / 2 || !MallocOrKeep(2 * n)) {
    return false;
  }
  EmptyRun();
  return true;
}

bool CSigPairs::Resize(unsigned n) {
  const std::uint32_t count = NPaare();
  if (n > kMaxWords / 2 || !CSignal::Resize(2 * n)) {
    return false;
  }
  count_ = std::min<std::uint32_t>(count, n);
  SetXLen(n);
  return true;
}

detail::SPairRun CSigPairs::Run() const {
  return {Pairs(), NPaare(), sorted_, inverse_, NeverFalls(), NeverRises()};
}

void CSigPairs::Neustart() { EmptyRun(); }

bool CSigPairs::SetPoints(std::span<const SPolygonPoint> points) {
  const auto n = static_cast<std::uint32_t>(points.size());
  if (points.size() > kMaxWords / 2 || !AllocateOrKeep(2 * n)) {
    return false;
  }
  if (n > 0) {
    std::memmove(Words(), points.data(), points.size_bytes());
  }
  SetCount(n);
  PruefeSortierung();
  return true;
}

bool CSigPairs::SetPoints(std::span<const float> x, std::span<const float> y) {
  CSigPairs made;
  if (x.size() != y.size() || x.size() > kMaxWords / 2 ||
      !made.AllocateOrKeep(static_cast<unsigned>(2 * x.size()))) {
    return false;
  }
  for (std::size_t i = 0; i < x.size(); ++i) {
    made.Pairs()[i] = {x[i], y[i]};
  }
  return SetPoints({made.Pairs(), x.size()});
}

void CSigPairs::EmptyRun() {
  sorted_ = true;
  inverse_ = true;
  neverFalls_ = true;
  neverRises_ = true;
  SetCount(0);
}

void CSigPairs::SetCount(std::uint32_t n) {
  count_ = std::min(n, DLen() / 2);
  SetXLen(count_);
}

void CSigPairs::NoteOrder() {
  if (!WrittenOutside()) {
    const detail::SRunOrder order = detail::FindOrder(Pairs(), NPaare());
    neverFalls_ = order.neverFalls;
    neverRises_ = order.neverRises;
  }
}

bool CSigPairs::PruefeSortierung() {
  const detail::SRunOrder order = detail::FindOrder(Pairs(), NPaare());
  sorted_ = order.rises;
  inverse_ = order.falls;
  neverFalls_ = order.neverFalls;
  neverRises_ = order.neverRises;
  return sorted_;
}

bool CSigPairs::PruefeInverseSortierung() {
  PruefeSortierung();
  return inverse_;
}

float CSigPairs::WertBei(float x) const { return detail::ValueAt(Run(), x); }

int CSigPairs::IndexZu(float x, int mode) const {
  using detail::Neighbour;
  const Neighbour which = mode == kLower     ? Neighbour::kLower
                          : mode == kNearest ? Neighbour::kNearest
                                             : Neighbour::kHigher;
  return static_cast<int>(detail::NeighbourOf(Run(), x, which));
}

bool CSigPairs::HatWertBei(float x, float tol) const {
  return NPaare() > 0 &&
         std::fabs(x - Punkt(static_cast<std::uint32_t>(IndexZu(x, kNearest)))) <= tol;
}

float CSigPairs::MinStepSize() const { return detail::SmallestStep(Run()); }

namespace {

void TakeBounds(float min, float max, float& lo, float& hi, bool set) {
  lo = set || min < lo ? min : lo;
  hi = set || max > hi ? max : hi;
}

}  // namespace

void CSigPairs::XBereich(float& lo, float& hi, int neu) const {
  if (NPaare() > 0) {
    const detail::SRunExtremes at = detail::FindEnds(Run());
    TakeBounds(Pairs()[at.min].x, Pairs()[at.max].x, lo, hi, neu != 0);
  }
}

void CSigPairs::YBereich(float& lo, float& hi, int neu) const {
  if (NPaare() > 0) {
    const detail::SRunExtremes at = detail::FindPairExtremes(Words() + 1, NPaare());
    TakeBounds(Pairs()[at.min].y, Pairs()[at.max].y, lo, hi, neu != 0);
  }
}

void CSigPairs::GetXRange(float& min, float& max) const { XBereich(min, max); }

void CSigPairs::GetYRange(float& min, float& max) const { YBereich(min, max); }

void CSigPairs::GetYRangeX(float& min, float& max, float x0, float x1) const {
  bool found = false;
  for (std::uint32_t i = 0; i < NPaare(); ++i) {
    if (Punkt(i) >= x0 && Punkt(i) <= x1) {
      TakeBounds(Wert(i), Wert(i), min, max, !found);
      found = true;
    }
  }
}

void CSigPairs::GetYRangeXI(float& min, float& max, unsigned i0, unsigned i1) const {
  const std::uint32_t n = NPaare();
  if (i0 >= n || i0 > i1) {
    return;
  }
  const std::uint32_t behind = std::min(i1, n - 1) + 1;
  const detail::SRunExtremes at =
      detail::FindPairExtremes(Words() + 2 * std::size_t{i0} + 1, behind - i0);
  min = Pairs()[i0 + at.min].y;
  max = Pairs()[i0 + at.max].y;
}

namespace {

float Found(const detail::XyPair* p, std::size_t i, float& x, int* index) {
  x = p[i].x;
  if (index != nullptr) {
    *index = static_cast<int>(i);
  }
  return p[i].y;
}

float NotFound(int* index) {
  if (index != nullptr) {
    *index = -1;
  }
  return 0.0F;
}

}  // namespace

float CSigPairs::FindeYMin(float& x, int* index) const {
  return NPaare() == 0
             ? NotFound(index)
             : Found(Pairs(), detail::FindPairExtremes(Words() + 1, NPaare()).min, x, index);
}

float CSigPairs::FindeYMax(float& x, int* index) const {
  return NPaare() == 0
             ? NotFound(index)
             : Found(Pairs(), detail::FindPairExtremes(Words() + 1, NPaare()).max, x, index);
}

CSignal::Range CSigPairs::YRange() const {
  Range range;
  range.first.second = FindeYMin(range.first.first);
  range.second.second = FindeYMax(range.second.first);
  return range;
}

bool CSigPairs::IsInRange(float x) const {
  float lo = 1.0F;
  float hi = 0.0F;
  XBereich(lo, hi);
  return x >= lo && x <= hi && NPaare() > 0;
}

float CSigPairs::PointDistance(float x, float y, int* index) const {
  const detail::SNearest nearest = detail::NearestPair(Run(), x, y);
  if (nearest.index >= NPaare()) {
    return NotFound(index);
  }
  if (index != nullptr) {
    *index = static_cast<int>(nearest.index);
  }
  return nearest.distance;
}

float CSigPairs::Mittelwert(float* deviation) const {
  const std::uint32_t n = NPaare();
  if (n < 2) {
    return n == 0 ? 0.0F : Wert(0);
  }
  float sum = 0.0F;
  float squares = 0.0F;
  for (std::uint32_t i = 0; i < n; ++i) {
    sum += Wert(i);
    squares += Wert(i) * Wert(i);
  }
  const float mean = sum / static_cast<float>(n);
  if (deviation != nullptr) {
    // kept: not limited to 0, so that rounding may give NaN
    *deviation = std::sqrt(squares / static_cast<float>(n) - mean * mean);
  }
  return mean;
}

float CSigPairs::RmsWert() const {
  const std::uint32_t n = NPaare();
  if (n < 2) {
    return n == 0 ? 0.0F : Wert(0);
  }
  float squares = 0.0F;
  for (std::uint32_t i = 0; i < n; ++i) {
    squares += Wert(i) * Wert(i);
  }
  return std::sqrt(squares / static_cast<float>(n));
}

float CSigPairs::MittelwertDb() const {
  constexpr double kPerDecibel = 0.2302585;  // ln(10) / 10
  const std::uint32_t n = NPaare();
  if (n < 2) {
    return n == 0 ? 0.0F : Wert(0);
  }
  const double first = std::exp(kPerDecibel * Wert(0));
  double sum = 0.0;
  for (std::uint32_t i = 0; i < n; ++i) {
    sum += std::exp(kPerDecibel * Wert(i)) / first;
  }
  return static_cast<float>(std::log(first * sum) / kPerDecibel / n);
}

}  // namespace limes

#include "limes/signals/pair_signal.h"

#include <algorithm>
#include <new>

#include "limes/core/runtime_classes.h"
#include "limes/kernels/pair_loops.h"
#include "limes/kernels/value_loops.h"
#include "limes/signals/cloned.h"
#include "limes/signals/curve.h"

namespace limes {

namespace {

CObject* CreatePairs() noexcept {
  try {
    return new CSigPairs;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

namespace detail {
constinit const CRuntimeClass kPairsClass = {"CSigPairs", &CreatePairs, &kSignalClass};
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

CSigPairs& CSigPairs::operator=(const CSigCurve& curve) {
  AusSigCurveBilden(curve);
  return *this;
}

const CRuntimeClass* CSigPairs::GetRuntimeClass() const { return GetThisClass(); }

const CRuntimeClass* CSigPairs::GetThisClass() { return &detail::kPairsClass; }

CObject* CSigPairs::CreateObject() { return CreatePairs(); }

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

void CSigPairs::Neustart() { EmptyRun(); }

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

bool CSigPairs::Append(const CSignal& other) {
  const auto* const pairs = dynamic_cast<const CSigPairs*>(&other);
  return pairs != nullptr && Append(*pairs);
}

bool CSigPairs::Append(const CSigPairs& other) {
  const std::uint32_t added = other.NPaare();  // the other may be this signal
  const std::uint32_t own = NPaare();
  if (added > DLen() / 2 - own && !Resize(own + added)) {
    return false;
  }
  for (std::uint32_t i = 0; i < added; ++i) {
    NeuesPaar(other.Punkt(i), other.Wert(i));
  }
  return true;
}

int CSigPairs::AbschnittKopieren(const CSigPairs& src, float x1, float x2) try {
  const std::uint32_t n = src.NPaare();
  const detail::XyPair* const p = src.Pairs();
  CSigPairs section;
  const auto inside = [x1, x2](const detail::XyPair& at) { return at.x >= x1 && at.x <= x2; };
  if (!section.NeueGroesse(static_cast<std::uint32_t>(std::count_if(p, p + n, inside)))) {
    return -1;
  }
  std::copy_if(p, p + n, section.Pairs(), inside);
  section.SetCount(section.DLen() / 2);
  return TakeSection(src, section);
} catch (const std::bad_alloc&) {
  return -1;
}

int CSigPairs::AbschnittKopierenIdx(const CSigPairs& src, int i1, int i2) try {
  const std::int64_t n = src.NPaare();
  const std::int64_t first = std::max(i1, 0);
  const std::int64_t behind = std::min(std::int64_t{i2} + 1, n);
  const auto count = static_cast<std::uint32_t>(std::max<std::int64_t>(behind - first, 0));
  CSigPairs section;
  if (!section.NeueGroesse(count)) {
    return -1;
  }
  if (count > 0) {
    std::copy_n(src.Pairs() + first, count, section.Pairs());
  }
  section.SetCount(count);
  return TakeSection(src, section);
} catch (const std::bad_alloc&) {
  return -1;
}

/// Takes the pairs of a section of src, and all of src but its pairs.
int CSigPairs::TakeSection(const CSigPairs& src, const CSigPairs& section) {
  const std::uint32_t count = section.NPaare();
  if ((&src != this && !CopyInfo(src)) || !AllocateOrKeep(2 * count)) {
    return -1;
  }
  detail::MoveValues(Words(), section.Words(), std::size_t{2} * count);
  if (&src != this) {
    TakeHeader(src);
  }
  SetCount(count);
  PruefeSortierung();
  return static_cast<int>(count);
}

}  // namespace limes

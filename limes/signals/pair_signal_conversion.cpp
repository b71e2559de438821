#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "limes/kernels/pair_shaping.h"
#include "limes/kernels/polygon_coding.h"
#include "limes/platform/memory_errors.h"
#include "limes/platform/record_io.h"
#include "limes/platform/text.h"
#include "limes/signals/extended_curve.h"
#include "limes/signals/pair_signal.h"

namespace limes {

namespace {

/// Line from index a to index b of a curve, as far as it lies on the indices used.
void DrawSegment(float* values, const SIndexRange& used, std::int64_t a, float ya, std::int64_t b,
                 float yb) {
  if (b < used.first || b < a || a > used.last) {
    return;
  }
  if (a == b) {
    values[b] = (ya + yb) * 0.5F;
    return;
  }
  const float slope = (yb - ya) / static_cast<float>(b - a);
  float value = ya;
  if (a < used.first) {
    value = ya + static_cast<float>(used.first - a) * slope;
    a = used.first;
  }
  b = std::min(b, used.last);
  for (; a <= b; ++a) {
    values[a] = value;
    value += slope;
  }
}

}  // namespace

void CSigPairs::AusSigCurveBilden(const CSigCurve& curve) {
  EmptyRun();
  if (curve.DLen() == 0 || !NeueGroesse(curve.DLen()) || !TakeNameAndUnits(curve)) {
    return;
  }
  const SIndexRange used = curve.ValidIndices();
  if (!used.IsEmpty()) {
    // In double, as floats would drift by many steps over a long curve.
    const double step = (double{curve.XMax()} - double{curve.XMin()}) / curve.DLen();
    double x = curve.GetPoint(static_cast<int>(used.first));
    detail::XyPair* pair = Pairs();
    for (std::int64_t i = used.first; i <= used.last; ++i, ++pair) {
      *pair = {static_cast<float>(x), curve.ValArray()[i]};
      x += step;
    }
    SetCount(static_cast<std::uint32_t>(used.Size()));
    NoteOrder();
  }
  sorted_ = true;
  inverse_ = false;
}

void CSigPairs::KurveBilden(CSigCurve* target, bool setXRange) const {
  const std::uint32_t n = NPaare();
  if (target == nullptr || target->DLen() == 0 || n < 2 || !target->TakeNameAndUnits(*this)) {
    return;
  }
  const bool falling = Punkt(n - 1) <= Punkt(0);
  const float lo = Punkt(falling ? n - 1 : 0);
  const float hi = Punkt(falling ? 0 : n - 1);
  target->SetScaleFactor(falling ? -1.0F : 1.0F);
  if (setXRange) {
    target->SetXMinMax(lo, hi);
  }
  if (CSigCurveExt* const extended = AsExtended(target)) {
    extended->SetVMinMax(lo, hi);
  }
  const SIndexRange used = target->ValidIndices();
  float* const values = target->ValArray();
  int before = target->GetIndexA(Punkt(0));
  for (std::uint32_t i = 1; i < n; ++i) {
    const int at = target->GetIndexA(Punkt(i));
    if (falling) {
      DrawSegment(values, used, at, Wert(i), before, Wert(i - 1));
    } else {
      DrawSegment(values, used, before, Wert(i - 1), at, Wert(i));
    }
    before = at;
  }
}

void CSigPairs::AusPolygonCodierungBilden(const CPolygonCodierung& polygon) {
  EmptyRun();
  for (const auto& point : polygon.Points()) {
    if (NeuesPaar(point.x, point.y) == 0) {
      break;
    }
  }
  PruefeSortierung();
}

namespace {

/// Value of a curve as its class sees it.
float CurveValue(const CSigCurve& curve, const CSigCurveExt* extended, float x) {
  return extended != nullptr ? extended->GetValue(x) : curve.GetValue(x);
}

/// There are pairs with x in [lo, hi], and each of them passes the test.
template <class Test>
bool AllInside(const CSigPairs& pairs, float lo, float hi, Test test) {
  bool any = false;
  for (std::uint32_t i = 0; i < pairs.NPaare(); ++i) {
    const float x = pairs.Punkt(i);
    if (std::isnan(x)) {
      return false;
    }
    if (x >= lo && x <= hi) {
      if (!test(x, pairs.Wert(i))) {
        return false;
      }
      any = true;
    }
  }
  return any;
}

template <class Below>
bool AllBelow(const CSigPairs& a, const CSigPairs& b, Below below) {
  if (!b.Gueltig() || (!b.IstSortiert() && !b.IstInversSortiert())) {
    return false;
  }
  float lo = 0.0F;
  float hi = 0.0F;
  b.XBereich(lo, hi);
  return AllInside(a, lo, hi, [&](float x, float y) { return below(y, b.WertBei(x)); });
}

template <class Below>
bool AllBelow(const CSigPairs& a, const CSigCurve& curve, Below below) {
  if (curve.DLen() == 0) {
    return false;
  }
  const CSigCurveExt* const extended = AsExtended(&curve);
  float lo = 0.0F;
  float hi = 0.0F;
  curve.GetXRange(lo, hi);
  return AllInside(a, lo, hi,
                   [&](float x, float y) { return below(y, CurveValue(curve, extended, x)); });
}

constexpr auto kBelow = [](float a, float b) { return a < b; };
constexpr auto kAbove = [](float a, float b) { return a > b; };

}  // namespace

bool CSigPairs::operator<(const CSigPairs& other) const { return AllBelow(*this, other, kBelow); }
bool CSigPairs::operator>(const CSigPairs& other) const { return AllBelow(*this, other, kAbove); }
bool CSigPairs::operator<(const CSigCurve& curve) const { return AllBelow(*this, curve, kBelow); }
bool CSigPairs::operator>(const CSigCurve& curve) const { return AllBelow(*this, curve, kAbove); }

float CSigPairs::MaxKurvenAbstand(const CSigCurve& curve, float* x, bool absolute) const {
  if (curve.DLen() == 0) {
    return 0.0F;
  }
  const CSigCurveExt* const extended = AsExtended(&curve);
  float largest = 0.0F;
  bool found = false;
  for (std::uint32_t i = 0; i < NPaare(); ++i) {
    const float at = Punkt(i);
    if (!curve.IsInRange(at)) {
      continue;
    }
    const float distance = Wert(i) - CurveValue(curve, extended, at);
    const float measured = absolute ? std::fabs(distance) : distance;
    if (std::isnan(measured) || (found && !(measured > largest))) {
      continue;
    }
    largest = measured;
    found = true;
    if (x != nullptr) {
      *x = at;
    }
  }
  return largest;
}

namespace {

/// What stands before the pairs in a record, in file order; the name and the floats follow.
struct PairsHead {
  std::uint32_t capacity = 0;  ///< floats behind the head
  std::uint32_t zero = 0;
  std::uint32_t count = 0;  ///< pairs
  float parameter = 0.0F;
  std::int32_t number = 0;
  std::array<std::uint8_t, 20> reserved{};
  std::array<std::uint8_t, CSignal::kNameBytes> name{};

  static constexpr auto Fields(auto& h) {
    return std::tie(h.capacity, h.zero, h.count, h.parameter, h.number, h.reserved, h.name);
  }
};

constexpr std::size_t kHeadBytes = 80;

}  // namespace

bool CSigPairs::WriteToFile(CFileStream& file, unsigned version) const {
  return CSignal::WriteToFile(file, version) && DateiExport(file) == 1;
}

bool CSigPairs::ReadFromFile(CFileStream& file, unsigned version) {
  return CSignal::ReadFromFile(file, version) && DateiImport(file) == 1;
}

int CSigPairs::DateiExport(CFileStream& file) const {
  detail::RecordWriter record;
  const bool room = detail::IfMemoryAllows([&] {
    const std::uint32_t n = NPaare();
    const std::string name = WideToCp1252(Name());
    PairsHead head = {DLen(), 0, n, parameter_, nummer_, {}, {}};
    std::memcpy(head.name.data(), name.data(), std::min(name.size(), kNameBytes - 1));
    record.Reserve(kHeadBytes + std::size_t{DLen()} * sizeof(float));
    record.PutFields(head);
    const std::size_t half = DLen() / 2;
    record.PutEvery(Words(), n, 2, half);
    record.PutEvery(n > 0 ? Words() + 1 : nullptr, n, 2, DLen() - half);
  });
  if (room) {
    record.WriteTo(file);
  }
  return room ? 1 : 0;
}

int CSigPairs::DateiImport(CFileStream& file) {
  detail::RecordReader record(file);
  PairsHead head;
  std::vector<float> values;
  if (!record.GetFields(head) || head.capacity > kMaxWords || head.count > head.capacity / 2 ||
      !record.GetArray(values, head.capacity)) {
    return 0;
  }
  const auto end = std::find(head.name.begin(), head.name.end(), 0);
  const std::string name(head.name.begin(), end);
  // The common record holds the name in full.
  const bool takesName = *Name() == 0;
  if ((takesName && !SetName(Cp1252ToWide(name))) || !MallocOrKeep(head.capacity)) {
    static_cast<void>(takesName && SetName(u""));
    return 0;
  }
  if (head.count > 0) {
    detail::PutEverySecond(values.data(), head.count, Words());
    detail::PutEverySecond(values.data() + head.capacity / 2, head.count, Words() + 1);
  }
  parameter_ = head.parameter;
  nummer_ = head.number;
  SetCount(head.count);
  PruefeSortierung();
  return 1;
}

}  // namespace limes

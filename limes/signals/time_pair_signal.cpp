#include "limes/signals/time_pair_signal.h"

#include <array>
#include <bit>
#include <cmath>
#include <utility>

#include "limes/core/object_archive.h"
#include "limes/core/runtime_classes.h"
#include "limes/platform/conversions.h"
#include "limes/signals/cloned.h"

namespace limes {

namespace {

constexpr CRuntimeClass kTimePairsClass = {"CSigPairsTm", &detail::Created<CSigPairsTm>,
                                           &detail::kPairsClass};

/// Words of the interval in an archive: start, end and span, the lower half first.
constexpr int kIntervalWords = 6;
using IntervalWords = std::array<std::uint32_t, kIntervalWords>;

IntervalWords ToWords(const CTimeFloatScaling& scaling) {
  const std::array<std::uint64_t, 3> values = {static_cast<std::uint64_t>(scaling.Start()),
                                               static_cast<std::uint64_t>(scaling.End()),
                                               std::bit_cast<std::uint64_t>(scaling.Span())};
  IntervalWords words{};
  for (std::size_t i = 0; i < values.size(); ++i) {
    words[2 * i] = static_cast<std::uint32_t>(values[i]);
    words[2 * i + 1] = static_cast<std::uint32_t>(values[i] >> 32);
  }
  return words;
}

std::int64_t ToTime(const IntervalWords& words, std::size_t at) {
  return static_cast<std::int64_t>(std::uint64_t{words[at + 1]} << 32 | words[at]);
}

}  // namespace

CSigPairsTm::CSigPairsTm() = default;
CSigPairsTm::CSigPairsTm(int n) : CSigPairs(n) {}
CSigPairsTm::CSigPairsTm(const CSigPairs& other) : CSigPairs(other) {}
CSigPairsTm::CSigPairsTm(const CSigCurve& curve) : CSigPairs(curve) {}
CSigPairsTm::CSigPairsTm(const CSigPairsTm& other, bool deep)
    : CSigPairs(other, deep), scaling_(other.scaling_) {}

CSigPairsTm& CSigPairsTm::operator=(const CSigPairsTm& other) {
  Copy(other, true);
  return *this;
}

CSigPairsTm& CSigPairsTm::operator=(CSigPairsTm&& other) noexcept {
  CSigPairs::operator=(std::move(other));
  return *this;
}

CSigPairsTm& CSigPairsTm::operator=(const CSigPairs& other) {
  if (&other != this && CSigPairs::Copy(other, true)) {
    scaling_ = CTimeFloatScaling();
  }
  return *this;
}

const CRuntimeClass* CSigPairsTm::GetRuntimeClass() const { return GetThisClass(); }

const CRuntimeClass* CSigPairsTm::GetThisClass() { return &kTimePairsClass; }

CObject* CSigPairsTm::CreateObject() { return detail::Created<CSigPairsTm>(); }

CSigPairsTm::~CSigPairsTm() = default;

int CSigPairsTm::Serialize(CSerializer* archive) {
  if (CSigPairs::Serialize(archive) == 0) {
    return 0;
  }
  IntervalWords words = ToWords(scaling_);
  if (archive->IsStoring() != 0) {
    return archive->StoreData(words.data(), kIntervalWords) == kIntervalWords ? 1 : 0;
  }
  if (archive->LoadData(words.data(), kIntervalWords) != kIntervalWords) {
    return 0;
  }
  scaling_.Set(ToTime(words, 0), ToTime(words, 2));
  DatenSortieren();
  return 1;
}

CSigPairsTm* CSigPairsTm::Clone(bool deep) const { return detail::Cloned(*this, deep); }

bool CSigPairsTm::Copy(const CClonable& other, bool deep) {
  if (!CSigPairs::Copy(other, deep)) {
    return false;
  }
  const auto* const timed = dynamic_cast<const CSigPairsTm*>(&other);
  scaling_ = timed == nullptr ? CTimeFloatScaling() : timed->scaling_;
  return true;
}

float CSigPairsTm::Time2Float(std::int64_t t, std::int64_t start, std::int64_t end) {
  return CTimeFloatScaling(start, end).ToFloat(t);
}

std::int64_t CSigPairsTm::Float2Time(float x, std::int64_t start, std::int64_t end) {
  return CTimeFloatScaling(start, end).ToTime(x);
}

std::int64_t CSigPairsTm::RoundedTimeAt(std::uint32_t i) const {
  const double seconds = std::round(double{Punkt(i)} * scaling_.Span());
  return std::isnan(seconds) ? StartZeit() : SaturatingSum(StartZeit(), TruncToInt64(seconds));
}

void CSigPairsTm::SetInterval(std::int64_t start, std::int64_t end) {
  scaling_.Set(start, end);
  PunktgleichheitToleranz(static_cast<float>(1.0 / (2.0 * scaling_.Span())));
}

void CSigPairsTm::Neustart(std::int64_t start, std::int64_t end) {
  CSigPairs::Neustart();
  SetInterval(start, end);
}

void CSigPairsTm::ZeitraumAendern(std::int64_t start, std::int64_t end) {
  const CTimeFloatScaling target(start, end);
  const double d = target.Span();
  float* const words = Words();
  for (std::size_t i = 0; i < NPaare(); ++i) {
    const std::int64_t t = Float2Time(words[2 * i]);
    words[2 * i] =
        d == 0.0 ? 0.0F
                 : static_cast<float>(static_cast<double>(SaturatingDifference(t, start)) / d);
  }
  NoteOrder();
  SetInterval(start, end);
}

int CSigPairsTm::InsertAt(std::int64_t t, float y) {
  if (t < StartZeit()) {
    ZeitraumAendern(t, EndZeit());
  }
  if (t > EndZeit()) {
    ZeitraumAendern(StartZeit(), t);
  }
  return NeuesPaarEinsortieren(Time2Float(t), y);
}

bool CSigPairsTm::ZeitImBereich(std::int64_t t) const {
  const float x = Time2Float(t);
  return Gueltig() && Punkt(0) <= x && Punkt(NPaare() - 1) >= x;
}

}  // namespace limes

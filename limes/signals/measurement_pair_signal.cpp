#include "limes/signals/measurement_pair_signal.h"

#include <utility>

#include "limes/core/runtime_classes.h"
#include "limes/platform/memory_errors.h"
#include "limes/signals/cloned.h"

namespace limes {

namespace {

/// Texts that a deep copy takes.
constexpr unsigned kDeepFields = 5;

constexpr CRuntimeClass kMeasurementPairsClass = {"CSigPairsVM", &detail::Created<CSigPairsVM>,
                                                  &detail::kPairsClass};

}  // namespace

CSigPairsVM::CSigPairsVM() {
  ClearStrings();
  ClearInts();
}

CSigPairsVM::CSigPairsVM(int n) : CSigPairs(n) {}
CSigPairsVM::CSigPairsVM(const CSigPairs& other) : CSigPairs(other) {}
CSigPairsVM::CSigPairsVM(const CSigCurve& curve) : CSigPairs(curve) {}

CSigPairsVM::CSigPairsVM(const CSigPairsVM& other, bool deep) : CSigPairs(other, deep) {
  Describe(other, TextsOf(other, deep));
}

CSigPairsVM::CSigPairsVM(const CSigPairsVM& other) : CSigPairs(other) {
  Describe(other, TextsOf(other, false));
}

CSigPairsVM& CSigPairsVM::operator=(const CSigPairsVM& other) {
  if (Copy(other, true)) {
    SetSpecification(other.specification_);
  }
  return *this;
}

CSigPairsVM& CSigPairsVM::operator=(CSigPairsVM&& other) noexcept {
  WhileYielding(other, [&] { *this = std::as_const(other); });
  return *this;
}

const CRuntimeClass* CSigPairsVM::GetRuntimeClass() const { return GetThisClass(); }

const CRuntimeClass* CSigPairsVM::GetThisClass() { return &kMeasurementPairsClass; }

CObject* CSigPairsVM::CreateObject() { return detail::Created<CSigPairsVM>(); }

CSigPairsVM::~CSigPairsVM() = default;

CSigPairsVM* CSigPairsVM::Clone(bool deep) const { return detail::Cloned(*this, deep); }

bool CSigPairsVM::Copy(const CClonable& other, bool deep) {
  const auto* const measured = dynamic_cast<const CSigPairsVM*>(&other);
  if (measured == nullptr) {
    return CSigPairs::Copy(other, deep);
  }
  return detail::IfMemoryAllows(false, [&] {
    CQuinterMFC texts = TextsOf(*measured, deep);
    const bool copied = CSigPairs::Copy(other, deep);
    if (copied) {
      Describe(*measured, std::move(texts));
    }
    return copied;
  });
}

void CSigPairsVM::InitHeader(const CSigPairsVM& other, bool deep) {
  CSigPairs::InitHeader(other, deep);
  Describe(other, TextsOf(other, deep));
}

/// The texts that this signal has after a copy of the other.
CQuinterMFC CSigPairsVM::TextsOf(const CSigPairsVM& other, bool deep) const {
  if (!deep) {
    return other.specification_;
  }
  CQuinterMFC texts = specification_;
  for (unsigned i = 0; i < kDeepFields; ++i) {  // kept: not the sixth, the sensor
    texts.Field(i, other.specification_.Field(i));
  }
  return texts;
}

void CSigPairsVM::Describe(const CSigPairsVM& other, CQuinterMFC texts) {
  std::swap(specification_, texts);
  triggerStart_ = other.triggerStart_;
  triggerStop_ = other.triggerStop_;
  triggerMethod_ = other.triggerMethod_;
}

bool CSigPairsVM::SetSpecification(std::u16string_view mode, std::u16string_view channel,
                                   std::u16string_view location, std::u16string_view instrument,
                                   std::u16string_view parameter) {
  return detail::IfMemoryAllows([&] {
    CQuinterMFC changed = specification_;
    changed.Mode(mode);
    changed.Channel(channel);
    changed.Location(location);
    changed.Instrument(instrument);
    changed.Parameter(parameter);
    std::swap(specification_, changed);
  });
}

bool CSigPairsVM::SetSpecification(const CQuinterMFC& specification) {
  return detail::IfMemoryAllows([&] {
    CQuinterMFC changed = specification;
    std::swap(specification_, changed);
  });
}

bool CSigPairsVM::SetDataName(std::u16string_view name) {
  const CQuinterMFC& s = specification_;
  return SetSpecification(s.Mode(), s.Channel(), s.Location(), s.Instrument(), name);
}

void CSigPairsVM::SetzeTriggerStartStop(std::int32_t start, std::int32_t stop) {
  triggerStart_ = start;
  triggerStop_ = stop;
}

void CSigPairsVM::ClearInts() {
  triggerStart_ = 0;
  triggerStop_ = 0;
  triggerMethod_ = 0;
}

}  // namespace limes

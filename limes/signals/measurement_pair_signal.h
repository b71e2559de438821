#pragma once

#include <cstdint>
#include <string_view>

#include "limes/core/signal_key.h"
#include "limes/export.h"
#include "limes/signals/pair_signal.h"

namespace limes {

/// Pair signal with the description of its measurement: six texts and three trigger settings. They
/// are in no file record.
///
/// A copy with true takes the first five texts only: the sensor is empty in a new signal and stays
/// as it was in an old one. Copies with false, and those by C++ (constructor, assignment), take all
/// six. One thread at a time.
class LIMES_EXPORT CSigPairsVM : public CSigPairs {
 public:
  /// No pairs, texts empty, settings 0.
  CSigPairsVM();

  /// Room for n pairs. O(n).
  explicit CSigPairsVM(int n);

  /// The pairs of another signal; texts empty, settings 0. O(n).
  explicit CSigPairsVM(const CSigPairs& other);
  explicit CSigPairsVM(const CSigCurve& curve);

  /// Copy; deep: with an own info and the first five texts, otherwise the info is shared. O(n).
  CSigPairsVM(const CSigPairsVM& other, bool deep);
  CSigPairsVM(const CSigPairsVM& other);
  CSigPairsVM& operator=(const CSigPairsVM& other);
  CSigPairsVM(CSigPairsVM&& other) noexcept = default;
  CSigPairsVM& operator=(CSigPairsVM&& other) noexcept;
  using CSigPairs::operator=;

  const CRuntimeClass* GetRuntimeClass() const override;
  ~CSigPairsVM() override;

  CSigPairsVM* Clone(bool deep) const override;

  /// As CSigPairs::Copy, with settings and texts of a signal of this class; those of this one stay
  /// when the other has none. False, with nothing changed, when memory is short.
  bool Copy(const CClonable& other, bool deep) override;

  static const CRuntimeClass* GetThisClass();
  static CObject* CreateObject();

  /// Takes over the header of the pairs, settings and texts.
  void InitHeader(const CSigPairsVM& other, bool deep = true);
  using CSigPairs::InitHeader;

  /// Sets the first five texts in order: test step, channel, location, instrument, parameter.
  /// False, with nothing changed, when memory is short.
  bool SetSpecification(std::u16string_view mode, std::u16string_view channel,
                        std::u16string_view location, std::u16string_view instrument,
                        std::u16string_view parameter);
  bool SetSpecification(const CQuinterMFC& specification);
  const CQuinterMFC& Specification() const { return specification_; }

  /// Sets the fifth text; false, with nothing changed, when memory is short.
  bool SetDataName(std::u16string_view name);

  const wide_string& Instrument() const { return specification_.Instrument(); }

  std::int32_t TriggerStart() const { return triggerStart_; }
  std::int32_t TriggerStop() const { return triggerStop_; }
  std::int32_t TriggerMethode() const { return triggerMethod_; }
  void SetzeTriggerStartStop(std::int32_t start, std::int32_t stop);
  void SetzeTriggerMethode(std::int32_t method) { triggerMethod_ = method; }

 private:
  void ClearStrings() { specification_.clear(); }
  void ClearInts();
  CQuinterMFC TextsOf(const CSigPairsVM& other, bool deep) const;
  void Describe(const CSigPairsVM& other, CQuinterMFC texts);

  CQuinterMFC specification_;
  std::int32_t triggerStart_ = 0;
  std::int32_t triggerStop_ = 0;
  std::int32_t triggerMethod_ = 0;
};

}  // namespace limes

#pragma once

#include <cstdint>

#include "limes/core/signal_key.h"
#include "limes/export.h"
#include "limes/learning/judgement.h"
#include "limes/platform/text.h"

namespace limes {

class CLernenderGrenzwert;

/// One tested quantity of a part in a test protocol: what was measured, which limit held, and what
/// came of it. A value. One thread at a time.
class LIMES_EXPORT CProtocolItem {
 public:
  /// Judges a value by a limit: sets value, limit, average and state. Not judged without a limit
  /// and for values that are not finite.
  void Judge(const CLernenderGrenzwert& grenzwert, float x);

  /// Takes over a judgement: the verdict, with value, limit, average and place of the largest
  /// deviation and the x range judged, or with those of one region beyond the limit.
  void TakeFrom(const SPartJudgement& judgement, const SCurveExcess* region = nullptr);

  bool operator==(const CProtocolItem& other) const = default;

  CQuinterMFC names;       ///< the signal
  wide_string name;        ///< the tested quantity
  wide_string unit;        ///< unit text of value and limit
  wide_string text;        ///< remark of the host
  std::int32_t code = 0;   ///< code of the finding
  std::uint32_t type = 0;  ///< layout of the report line, as in CDefectReport
  float value = 0.0F;      ///< measured
  float limit = 0.0F;      ///< in force
  float average = 0.0F;    ///< learnt mean
  float place = 0.0F;      ///< x of the finding
  float from = 0.0F;       ///< x range of the finding
  float to = 0.0F;
  std::int32_t priority = 0;    ///< larger ones come first
  std::int32_t group = 0;       ///< free for the host
  std::uint32_t timeStamp = 0;  ///< seconds since 1970-01-01 UTC
  Verdict state = Verdict::kNotJudged;
};

/// The numbers of a protocol item in 16 bytes, for long histories. Names, unit and texts are the
/// host's to keep once. One thread at a time.
struct LIMES_EXPORT CMiniProtocolItem {
  CMiniProtocolItem() = default;
  explicit CMiniProtocolItem(const CProtocolItem& item);

  /// Writes the four numbers into an item.
  void Into(CProtocolItem& item) const;

  bool operator==(const CMiniProtocolItem& other) const = default;

  std::int32_t code = 0;
  float value = 0.0F;
  float limit = 0.0F;
  Verdict state = Verdict::kNotJudged;
};
static_assert(sizeof(CMiniProtocolItem) == 16);

}  // namespace limes

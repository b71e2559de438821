#pragma once

#include <concepts>
#include <functional>
#include <new>
#include <string_view>
#include <type_traits>
#include <utility>

#include "limes/core/object_archive.h"
#include "limes/kernels/compressed_vector.h"
#include "limes/kernels/interval_coding.h"
#include "limes/kernels/polygon_coding.h"
#include "limes/kernels/polygon_tool.h"
#include "limes/kernels/resample_tool.h"
#include "limes/learning/curve_assistant.h"
#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/learning/limit_sureness.h"
#include "limes/learning/track_learning_tool.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/resource_sea.h"
#include "limes/results/defect_report_folder.h"
#include "limes/results/protocol_item_list.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"
#include "limes/signals/measurement_pair_signal.h"
#include "limes/signals/nd_signal.h"
#include "limes/signals/signal_lists.h"
#include "limes/signals/time_pair_signal.h"
#include "tests/support/bits.h"

namespace limes::test {

/// Hash (FNV-1a, 64 bits) of results; all NaN are one.
class Sink {
 public:
  template <class T>
  requires std::is_arithmetic_v<T> || std::is_enum_v<T> Sink& operator<<(T value) {
    if constexpr (std::is_same_v<T, float>) {
      return *this << (std::isnan(value) ? 0x7FC00000U : std::bit_cast<std::uint32_t>(value));
    } else if constexpr (std::is_same_v<T, double>) {
      return *this << static_cast<float>(value);  // exp and log are compared rounded to float
    } else {
      const auto wide = static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
      for (int shift = 0; shift < 64; shift += 8) {
        hash_ = (hash_ ^ (wide >> shift & 0xFFU)) * 0x100000001B3U;
      }
      return *this;
    }
  }
  template <class Range>
  requires(!std::derived_from<Range, CSignal>) && requires(const Range& r) { r.begin() != r.end(); }
  Sink& operator<<(const Range& values) {
    for (const auto& value : values) {
      *this << value;
    }
    return *this;
  }
  Sink& operator<<(const CSigCurve& c) {
    return *this << std::u16string_view(c.Name()) << c.XUnit() << c.YUnit() << c.XMin() << c.XMax()
                 << c.Values();
  }
  Sink& operator<<(const CSigCurveExt& c) {
    return *this << static_cast<const CSigCurve&>(c) << c.VMin() << c.VMax() << c.IMin()
                 << c.IMax();
  }
  Sink& operator<<(const CSigPairs& p) {
    for (std::uint32_t i = 0; i < p.NPaare(); ++i) {
      *this << p.Punkt(i) << p.Wert(i);
    }
    return *this << std::u16string_view(p.Name()) << p.NPaare() << p.IstSortiert()
                 << p.IstInversSortiert();
  }
  Sink& operator<<(const CSigCurveArray& a) {
    for (int i = 0; i < a.Anzahl(); ++i) {
      *this << a.TPos(i);
      if (a[i] != nullptr) {
        *this << *a[i];
      }
    }
    return *this << a.TMin() << a.TMax() << a.TDelta() << a.VBereich().min << a.VBereich().max;
  }
  Sink& operator<<(const CSigCurveList& list) {
    for (int i = 0; i < list.Anzahl(); ++i) {
      *this << *list[i] << list.Key(i)[0];
    }
    return *this;
  }
  Sink& operator<<(const CMeasuringUnit& u) {
    return *this << u.Unit_e() << u.Exponent() << u.Power() << u.Logref();
  }
  Sink& operator<<(const CPolygonCodierung& p) {
    for (const SPolygonPoint& point : p.Points()) {
      *this << point.x << point.y;
    }
    return *this;
  }
  Sink& operator<<(const CIntervallCodierung& c) {
    for (int i = 0; i < c.Anzahl(); ++i) {
      *this << c.Von(i) << c.Code(i);
    }
    return *this << c.DefaultCode();
  }
  Sink& operator<<(const CProtocolItemList& list) {
    for (const CProtocolItem& item : list.Items()) {
      *this << item.name << item.value << item.limit << item.place << item.priority << item.state;
    }
    return *this;
  }
  Sink& operator<<(const CResourceSea& sea) {
    for (const auto& [name, list] : sea.Lists()) {
      *this << name;
      for (const CResourceEntry& entry : list) {
        *this << entry.Text();
      }
    }
    return *this;
  }
  /// What writes its whole state itself.
  template <class T>
  requires requires(const T& object, CFileStream& file) { object.WriteState(file); }
  Sink& operator<<(const T& object) {
    CMemoryStream file;
    return *this << object.WriteState(file) << file.Bytes();
  }
  Sink& operator<<(const CSigND& table) {
    CMemoryStream file;
    return *this << table.WriteToFile(file) << file.Bytes();
  }
  Sink& operator<<(const SCurveJudgement& j) {
    return *this << j.verdict << j.x0 << j.x1 << j.share << j.deviation << j.rms << j.x << j.value
                 << j.limit << j.mean << j.spread;
  }

  std::uint64_t Hash() const { return hash_; }

 private:
  std::uint64_t hash_ = 0xCBF29CE484222325U;
};

/// What one run of an operation gave.
struct Outcome {
  bool ok = false;     ///< it reported success; operations without a result always do
  bool threw = false;  ///< std::bad_alloc came out
  std::uint64_t before = 0;
  std::uint64_t after = 0;
  std::uint64_t results = 0;
};

/// An operation on a fresh object. armed(true) is called just before it, armed(false) just after.
struct Operation {
  std::string name;
  bool reports;  ///< returns whether it succeeded
  std::function<Outcome(const std::function<void(bool)>& armed)> run;
  bool losesOnFailure = false;  ///< as documented, and so is the next
  bool throws = false;          ///< std::bad_alloc
  // Operations that read records only:
  std::function<bool(CFileStream&)> write = nullptr;  ///< of the sample
  /// Into a fresh object.
  std::function<Outcome(CFileStream&, const std::function<void(bool)>& armed)> read = nullptr;
};

/// All operations that are compared between builds, and run short of memory.
std::vector<Operation> AllOperations();

}  // namespace limes::test

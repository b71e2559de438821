#include <algorithm>
#include <cmath>
#include <utility>

#include "limes/platform/record_io.h"
#include "limes/platform/text.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"
#include "limes/signals/pair_signal.h"
#include "recordings/errors.h"
#include "recordings/part_reader.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

constexpr std::uint32_t kArrayMark = 52719;

/// Signal records one behind the other, one quantity each. Records do not tell their kind: they are
/// pair signals or one array of curves when the file can be read so to its end, else extended
/// curves, else plain curves.
class CSignalRecordReader : public CPartReader {
 public:
  CSignalRecordReader(CFileStream& stream, const SReadContext& context)
      : stream_(stream), path_(context.path), settings_(*context.settings), context_(context) {}

  bool Next(SPart& part) override {
    if (done_) {
      return false;
    }
    done_ = true;
    part = SPart{path_, std::nullopt, {}};
    if (!ReadPairs(part)) {
      Restart(part);
      if (!ReadArray(part)) {
        Restart(part);
        ReadCurves(part);
      }
    }
    Choose(part);
    std::for_each(part.quantities.begin(), part.quantities.end(),
                  [this](SQuantity& q) { Override(q); });
    return true;
  }

 private:
  /// What is given holds instead of what the record says.
  void Override(SQuantity& q) const {
    NoteReplaced(context_, "--unit", settings_.unit, q.unit.Display());
    NoteReplaced(context_, "--x-unit", settings_.xUnit, q.xUnit.Display());
    const auto numbers = [](const std::optional<double>& given) {
      return given ? std::optional(NumberText(*given)) : std::nullopt;
    };
    const double first = q.x.empty() ? q.x0 : std::min(q.x.front(), q.x.back());
    NoteReplaced(context_, "--dx", numbers(settings_.dx), q.x.empty() ? NumberText(q.dx) : "x");
    NoteReplaced(context_, "--x0", numbers(settings_.x0), NumberText(first));
    if (settings_.xUnit) {
      q.xUnit = ParseUnit(*settings_.xUnit);
    }
    const double shift = settings_.x0 ? *settings_.x0 - first : 0.0;
    for (float& x : q.x) {
      x = static_cast<float>(x + shift);
    }
    q.x0 = settings_.x0.value_or(q.x0);
    if (settings_.dx) {
      q.x0 = first + shift;
      q.dx = *settings_.dx;
      q.x.clear();
    }
  }

  void Restart(SPart& part) {
    stream_.Seek(0);
    part.quantities.clear();
  }

  void ReadCurves(SPart& part) {
    if (ReadAll<CSigCurveExt>(part)) {
      Restart(part);
      if (const auto fault = ReadAll<CSigCurve>(part)) {
        throw CInputError(path_, "curve record " + std::to_string(part.quantities.size() + 1) +
                                     ": " + WideToUtf8(Text(*fault)));
      }
    }
  }

  bool ReadPairs(SPart& part) {
    do {
      CSigPairs pairs;
      if (!pairs.ReadFromFile(stream_, CSignal::CurrentFileVersion()) || !pairs.Gueltig()) {
        return false;
      }
      SQuantity q = Headed(pairs, part);
      q.x.assign(std::as_const(pairs).Punkte(), std::as_const(pairs).PunkteEnd());
      q.values.assign(std::as_const(pairs).Werte(), std::as_const(pairs).WerteEnd());
      part.quantities.push_back(std::move(q));
    } while (stream_.Remaining() > 0);
    for (const SQuantity& q : part.quantities) {
      if (!std::all_of(q.x.begin(), q.x.end(), [](float x) { return std::isfinite(x); })) {
        throw CInputError(path_, "pair signal " + Quoted(q.name) + " has an x that is not finite");
      }
    }
    return true;
  }

  template <class Curve>
  std::optional<CurveReadStatus> ReadAll(SPart& part) {
    do {
      Curve curve;
      const auto status = curve.ReadFromFileChecked(stream_, CSignal::CurrentFileVersion());
      if (status != CurveReadStatus::kOk) {
        return status;
      }
      Take(curve, part);
    } while (stream_.Remaining() > 0);
    return std::nullopt;
  }

  /// Arrays of curves but for the oldest begin with a mark that no other record begins with.
  bool HasArrayMark() const {
    std::uint32_t mark = 0;
    const bool marked = detail::RecordReader(stream_).Get(mark) && mark == kArrayMark;
    stream_.Seek(0);
    return marked;
  }

  bool ReadArray(SPart& part) const {
    const bool marked = HasArrayMark();
    CSigCurveArray array;
    int status = 0;
    if (!array.DateiImport(stream_, status) || stream_.Remaining() > 0) {
      if (status == CSigCurveArray::kStatusVersion) {
        throw CInputError(path_, "the array of curves was written by a newer version");
      }
      if (marked) {
        throw CInputError(path_,
                          "the array of curves is cut short or malformed, or more follows it");
      }
      return false;
    }
    for (int i = 0; i < array.Anzahl(); ++i) {
      if (const CSigCurveExt* curve = array[i]; curve != nullptr && curve->IsValid()) {
        Take(*curve, part);
        SQuantity& q = part.quantities.back();
        q.t = array.TPos(i);
        q.tUnit.unit = array.TUnit();
        const auto isCalledSo = [&q](const SQuantity& other) { return other.name == q.name; };
        if (std::any_of(part.quantities.begin(), part.quantities.end() - 1, isCalledSo)) {
          const std::string unit = q.tUnit.Display();
          q.name += " at " + NumberText(Shown(*q.t)) + (unit.empty() ? "" : " " + unit);
        }
      }
    }
    if (part.quantities.empty() && marked) {
      throw CInputError(path_, "the array has no curve with valid values");
    }
    return !part.quantities.empty();
  }

  /// A quantity with the signal's name and units.
  SQuantity Headed(const CSignal& signal, const SPart& part) const {
    const std::string number = std::to_string(part.quantities.size() + 1);
    SQuantity q;
    q.name = WideToUtf8(signal.Name());
    if (q.name.empty()) {
      q.name = settings_.name.value_or("curve") + (number == "1" ? "" : " " + number);
    }
    q.xUnit.unit = signal.XUnit();
    q.unit.unit = signal.YUnit();
    return q;
  }

  void Take(const CSigCurve& curve, SPart& part) const {
    SQuantity q = Headed(curve, part);
    const CSigCurveExt* extended = AsExtended(&curve);
    const auto n = static_cast<std::int64_t>(curve.DLen());
    const SIndexRange valid = curve.ValidIndices();
    if (valid.IsEmpty() || !(curve.XMax() > curve.XMin())) {
      throw CInputError(path_, "curve " + Quoted(q.name) + " has no valid values or no x range");
    }
    const double xMin = Shown(curve.XMin());  // 0.1 is meant, not the float nearest to it
    q.dx = (Shown(curve.XMax()) - xMin) / static_cast<double>(n);
    q.x0 = xMin + static_cast<double>(valid.first) * q.dx;
    if (extended != nullptr) {
      q.t = extended->Date();
    }
    const std::span<const float> values = curve.ValidValues();
    q.values.assign(values.begin(), values.end());
    part.quantities.push_back(std::move(q));
  }

  void Choose(SPart& part) const {
    const auto use = settings_.use;
    if (use.empty()) {
      return;
    }
    std::vector<SQuantity> chosen;
    for (const std::string& name : use) {
      const auto found = std::find_if(part.quantities.begin(), part.quantities.end(),
                                      [&](const SQuantity& q) { return q.name == name; });
      if (found == part.quantities.end()) {
        throw CInputError(path_, "no curve " + Quoted(name));
      }
      chosen.push_back(*found);
    }
    part.quantities = std::move(chosen);
  }

  CFileStream& stream_;
  std::string path_;
  SReadSettings settings_;
  SReadContext context_;
  bool done_ = false;
};

}  // namespace

std::unique_ptr<CPartReader> MakeSignalRecordReader(CFileStream& stream,
                                                    const SReadContext& context) {
  return std::make_unique<CSignalRecordReader>(stream, context);
}

}  // namespace limes::recordings

#include <algorithm>

#include "apps/limes/errors.h"
#include "apps/limes/part_reader.h"
#include "limes/platform/text.h"
#include "limes/signals/extended_curve.h"

namespace limes::host {
namespace {

/// Curve records one behind the other, one quantity each: those of extended curves, or when the
/// file cannot be read so, those of plain curves.
class CCurveRecordReader : public CPartReader {
 public:
  CCurveRecordReader(CFileStream& stream, const SReadContext& context)
      : stream_(stream), path_(context.path), settings_(*context.settings) {}

  bool Next(SPart& part) override {
    if (done_) {
      return false;
    }
    done_ = true;
    part = SPart{path_, std::nullopt, {}};
    if (ReadAll<CSigCurveExt>(part)) {
      stream_.Seek(0);
      part.quantities.clear();
      if (const auto fault = ReadAll<CSigCurve>(part)) {
        throw CInputError(path_, "curve record " + std::to_string(part.quantities.size() + 1) +
                                     ": " + WideToUtf8(Text(*fault)));
      }
    }
    Choose(part);
    return true;
  }

 private:
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

  void Take(const CSigCurve& curve, SPart& part) const {
    const std::string number = std::to_string(part.quantities.size() + 1);
    SQuantity q;
    q.name = WideToUtf8(curve.Name());
    if (q.name.empty()) {
      q.name = settings_.name.value_or("curve") + (number == "1" ? "" : " " + number);
    }
    q.xUnit.unit = curve.XUnit();
    q.unit.unit = curve.YUnit();
    const CSigCurveExt* extended = AsExtended(&curve);
    const auto n = static_cast<std::int64_t>(curve.DLen());
    const std::int64_t first =
        extended == nullptr ? 0 : std::clamp<std::int64_t>(extended->IMin(), 0, n);
    const std::int64_t last =
        extended == nullptr ? n - 1 : std::min<std::int64_t>(extended->IMax(), n - 1);
    if (first > last || !(curve.XMax() > curve.XMin())) {
      throw CInputError(path_, "curve " + Quoted(q.name) + " has no valid values or no x range");
    }
    const double xMin = Shown(curve.XMin());  // 0.1 is meant, not the float nearest to it
    q.dx = (Shown(curve.XMax()) - xMin) / static_cast<double>(n);
    q.x0 = xMin + static_cast<double>(first) * q.dx;
    const auto values = curve.Values();
    q.values.assign(values.begin() + first, values.begin() + last + 1);
    part.quantities.push_back(std::move(q));
  }

  void Choose(SPart& part) const {
    const auto use = settings_.use.value_or(std::vector<std::string>());
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
  SSettings settings_;
  bool done_ = false;
};

}  // namespace

std::unique_ptr<CPartReader> MakeCurveRecordReader(CFileStream& stream,
                                                   const SReadContext& context) {
  return std::make_unique<CCurveRecordReader>(stream, context);
}

}  // namespace limes::host

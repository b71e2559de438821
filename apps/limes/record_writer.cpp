#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "apps/limes/csv_reader.h"
#include "apps/limes/errors.h"
#include "apps/limes/part_writer.h"
#include "limes/platform/text.h"
#include "limes/signals/extended_curve.h"

namespace limes::host {
namespace {

constexpr std::size_t kNameBytes = 39;  ///< of a record's name, without its closing zero

/// What the head of a record cannot hold.
void NoteHeadLosses(const SNamedQuantity& q, std::vector<std::string>& losses) {
  if (q.name.size() > kNameBytes) {
    losses.push_back(Quoted(q.name) + ": the name is cut to " + std::to_string(kNameBytes) +
                     " bytes");
  }
  for (const SUnit& unit : {q.quantity->xUnit, q.quantity->unit}) {
    if (!unit.text.empty()) {
      losses.push_back(Quoted(q.name) + ": the unit " + Quoted(unit.text) +
                       " is not known to the library and is left out");
    }
  }
}

void SetHead(const SNamedQuantity& q, CSignal& signal) {
  signal.SetName(Utf8ToWide(q.name).c_str());
  signal.SetXUnit(q.quantity->xUnit.unit);
  signal.SetYUnit(q.quantity->unit.unit);
}

/// Throws when single precision cannot hold the x axis.
CSigCurveExt MakeCurve(const SNamedQuantity& q) {
  const std::vector<float>& values = q.quantity->values;
  const double x0 = q.quantity->x0;
  const double end = x0 + q.quantity->dx * static_cast<double>(values.size());
  const double resolution =
      8.0 * std::numeric_limits<float>::epsilon() * std::max(std::fabs(x0), std::fabs(end));
  if (!std::isfinite(static_cast<float>(x0)) || !std::isfinite(static_cast<float>(end)) ||
      !(q.quantity->dx > resolution)) {
    throw CInputError(q.name, "steps of " + NumberText(q.quantity->dx) + " from " + NumberText(x0) +
                                  " on are too fine for the record");
  }
  CSigCurveExt curve = CSigCurveExt::Make(static_cast<int>(values.size()), static_cast<float>(x0),
                                          static_cast<float>(end));
  if (curve.DLen() != values.size()) {
    throw std::bad_alloc();
  }
  std::copy(values.begin(), values.end(), curve.ValArray());
  SetHead(q, curve);
  return curve;
}

}  // namespace

std::vector<std::string> WriteCurves(const std::vector<SNamedQuantity>& quantities,
                                     CFileStream& out) {
  std::vector<std::string> losses;
  for (const SNamedQuantity& q : quantities) {
    NoteHeadLosses(q, losses);
    if (!MakeCurve(q).WriteToFileRaw(out, CSignal::CurrentFileVersion())) {
      throw std::bad_alloc();
    }
  }
  return losses;
}

}  // namespace limes::host

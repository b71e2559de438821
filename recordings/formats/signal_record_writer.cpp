#include <algorithm>
#include <new>

#include "limes/platform/text.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"
#include "recordings/errors.h"
#include "recordings/forming/free_steps.h"
#include "recordings/part_writer.h"
#include "recordings/text.h"

namespace limes::recordings {
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

/// Throws when single precision cannot hold the x axis.
CSigCurveExt MakeCurve(const SNamedQuantity& q, std::vector<std::string>& losses) {
  const bool drawn = !q.quantity->x.empty();
  const SQuantity own = drawn ? DrawnOnOwnGrid(*q.quantity, q.name) : SQuantity();
  const SQuantity& equal = drawn ? own : *q.quantity;
  if (drawn) {
    losses.push_back(Quoted(q.name) + ": x is not at equal steps; drawn on a grid with steps of " +
                     NumberText(Shown(static_cast<float>(own.dx))));
  }
  CSigCurveExt curve = MakeCurveOn(q.name, equal.x0, equal.dx, equal.values.size());
  std::copy(equal.values.begin(), equal.values.end(), curve.ValArray());
  curve.SetName(Utf8ToWide(q.name).c_str());
  curve.SetXUnit(q.quantity->xUnit.unit);
  curve.SetYUnit(q.quantity->unit.unit);
  curve.Date(q.quantity->t.value_or(0.0F));
  return curve;
}

}  // namespace

std::vector<std::string> WriteCurves(const std::vector<SNamedQuantity>& quantities,
                                     CFileStream& out) {
  std::vector<std::string> losses;
  for (const SNamedQuantity& q : quantities) {
    NoteHeadLosses(q, losses);
    if (!MakeCurve(q, losses).WriteToFileRaw(out, CSignal::CurrentFileVersion())) {
      throw std::bad_alloc();
    }
  }
  return losses;
}

/// The places that the quantities were read with when they rise, else their numbers from 0.
std::vector<std::string> WriteArray(const std::vector<SNamedQuantity>& quantities,
                                    CFileStream& out) {
  const SQuantity& first = *quantities[0].quantity;
  bool placed = first.t.has_value();
  for (std::size_t i = 1; i < quantities.size(); ++i) {
    const SQuantity& q = *quantities[i].quantity;
    placed = placed && q.t > quantities[i - 1].quantity->t && q.tUnit == first.tUnit;
  }
  std::vector<std::string> losses;
  CSigCurveArray array;
  array.SetName(Utf8ToWide(first.name));
  for (std::size_t i = 0; i < quantities.size(); ++i) {
    NoteHeadLosses(quantities[i], losses);
    CSigCurveExt curve = MakeCurve(quantities[i], losses);
    if (!placed) {
      curve.Date(static_cast<float>(i));
    }
    if ((i == 0 ? array.ErsteKurve(curve) : array.WeitereKurve(curve)) < 0) {
      throw std::bad_alloc();
    }
  }
  array.KurvenKomplett();
  if (placed) {
    array.SetTUnit(first.tUnit.unit);
  }
  if (!array.ExportRaw(out)) {
    throw std::bad_alloc();
  }
  return losses;
}

std::vector<std::string> WritePairs(const std::vector<SNamedQuantity>& quantities,
                                    CFileStream& out) {
  std::vector<std::string> losses;
  for (const SNamedQuantity& q : quantities) {
    NoteHeadLosses(q, losses);
    CSigPairs pairs = MakePairs(*q.quantity);
    pairs.SetName(Utf8ToWide(q.name).c_str());
    if (q.quantity->x.empty()) {
      const std::uint32_t n = pairs.NPaare();
      for (std::uint32_t i = 1; i < n; ++i) {
        if (!(pairs.Punkt(i) > pairs.Punkt(i - 1))) {
          throw CInputError(q.name, "steps of " + NumberText(q.quantity->dx) + " from " +
                                        NumberText(q.quantity->x0) +
                                        " on are too fine for single precision");
        }
      }
    }
    if (!pairs.WriteToFile(out, CSignal::CurrentFileVersion())) {
      throw std::bad_alloc();
    }
  }
  return losses;
}

}  // namespace limes::recordings

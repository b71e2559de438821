#pragma once

#include <pybind11/stl.h>

#include <string>
#include <utility>
#include <vector>

#include "bindings.h"

namespace limes::python {

void BindSided(py::module_& module);

inline void Require(PartStatus status) {
  if (status == PartStatus::kMemory) {
    throw std::bad_alloc();
  }
  if (status != PartStatus::kOk) {
    throw py::value_error(Utf8(Text(status)));
  }
}

using Mask = py::array_t<bool, py::array::c_style>;

/// A curve with the mask and the health of its measurement. Refers to both.
inline SCurvePart MadePart(const CSigCurveExt& curve, const std::optional<Mask>& covered,
                           SignalHealth health) {
  SCurvePart part(curve, {}, health);
  if (covered) {
    if (covered->ndim() != 1 || covered->size() != py::ssize_t{curve.DLen()}) {
      throw py::value_error("covered must have one truth value for each value of the curve");
    }
    part.covered = {reinterpret_cast<const std::uint8_t*>(covered->data()), curve.DLen()};
  }
  return part;
}

/// A field of a record with its name and what it says.
template <class Record, class T>
struct SField {
  SField(const char* called, T Record::*at, const char* says)
      : name(called), field(at), text(says) {}

  const char* name;
  T Record::*field;
  const char* text;
};

/// The fields of a record as read-only attributes, and pickling by them.
template <class Record, class... Options, class... T>
void BindRecord(py::class_<Record, Options...>& record, SField<Record, T>... fields) {
  (record.def_readonly(fields.name, fields.field, fields.text), ...);
  record.def(py::pickle([=](const Record& r) { return py::make_tuple(r.*fields.field...); },
                        [=](const py::tuple& state) {
                          Record r;
                          std::size_t i = 0;
                          ((r.*fields.field = state[i++].template cast<T>()), ...);
                          return r;
                        }));
}

}  // namespace limes::python

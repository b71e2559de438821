#include "bindings.h"

namespace limes::python {
namespace {

using Array = CSigCurveArray;

std::unique_ptr<Array> FromCurves(const py::iterable& curves, const py::object& positions) {
  auto array = std::make_unique<Array>();
  std::vector<float> t;
  if (!positions.is_none()) {
    const py::array_t<float> given = FloatArray(positions);
    t.assign(given.data(), given.data() + given.size());
  }
  std::size_t i = 0;
  for (const py::handle item : curves) {
    if (!py::isinstance<CSigCurveExt>(item)) {
      throw py::type_error("the curves must be CSigCurveExt, not " +
                           std::string(Py_TYPE(item.ptr())->tp_name));
    }
    CSigCurveExt curve(item.cast<const CSigCurveExt&>());
    if (!positions.is_none()) {
      if (i >= t.size()) {
        throw py::value_error("fewer positions than curves");
      }
      curve.Date(t[i]);
    }
    if ((i == 0 ? array->ErsteKurve(curve) : array->WeitereKurve(curve)) < 0) {
      throw std::bad_alloc();
    }
    ++i;
  }
  if (!positions.is_none() && i != t.size()) {
    throw py::value_error("more positions than curves");
  }
  if (i > 0) {
    array->KurvenKomplett();
  }
  return array;
}

CSigCurveExt& CurveAt(Array& array, py::ssize_t i) {
  if (i < 0) {
    i += array.Anzahl();
  }
  CSigCurveExt* const curve = i < 0 || i >= array.Anzahl() ? nullptr : array[static_cast<int>(i)];
  if (curve == nullptr) {
    throw py::index_error("no such curve");
  }
  return *curve;
}

py::array_t<float> Positions(const Array& array) {
  py::array_t<float> t(array.Anzahl());
  for (int i = 0; i < array.Anzahl(); ++i) {
    t.mutable_at(i) = array.TPos(i);
  }
  return t;
}

py::tuple StateOf(Array& array) {
  py::list curves;
  for (int i = 0; i < array.Anzahl(); ++i) {
    curves.append(py::cast(CurveAt(array, i)));  // a copy
  }
  return py::make_tuple(curves, Positions(array), wide_string(array.Name()), array.TUnit());
}

std::unique_ptr<Array> FromState(const py::tuple& state) {
  auto array = FromCurves(state[0].cast<py::list>(), state[1]);
  array->SetName(state[2].cast<wide_string>());
  array->SetTUnit(state[3].cast<CMeasuringUnit>());
  return array;
}

/// A reduction of all curves into a new one, without the interpreter lock when they are many.
template <class Reduce>
auto Reduction(Reduce reduce) {
  return [reduce](const Array& array) {
    auto target = std::make_unique<CSigCurveExt>();
    if (!reduce(array, target.get())) {
      throw py::value_error("no curves, or memory is short");
    }
    return target;
  };
}

}  // namespace

void BindCurveArray(py::module_& module) {
  py::class_<Array>(module, "CSigCurveArray",
                    "Curves over a further axis T: orders over speed, spectra over time.")
      .def(py::init(&FromCurves), py::arg("curves"), py::arg("positions") = py::none(),
           "Copies of curves at the positions T given, else at their dates.")
      .def("__len__", &Array::Anzahl)
      .def("__getitem__", &CurveAt, py::return_value_policy::reference_internal, py::arg("index"),
           "Curve i itself, which stays in the array.")
      .def_property(
          "name", [](const Array& a) { return a.Name(); },
          [](Array& a, std::u16string_view name) { a.SetName(name); }, "Name of the array.")
      .def_property(
          "t_unit", [](const Array& a) { return a.TUnit(); },
          [](Array& a, const CMeasuringUnit& unit) { a.SetTUnit(unit); },
          "Unit of the further axis T; a text is taken, too.")
      .def_property_readonly("positions", &Positions, "T of each curve.")
      .def("TMin", &Array::TMin, "Smallest T.")
      .def("TMax", &Array::TMax, "Largest T.")
      .def("Mittelwert", Reduction([](const Array& a, CSigCurveExt* t) { return a.Mittelwert(t); }),
           "Mean curve.")
      .def("Summe", Reduction([](const Array& a, CSigCurveExt* t) { return a.Summe(t); }),
           "Sum of the curves.")
      .def("RMS", Reduction([](const Array& a, CSigCurveExt* t) { return a.RMS(t); }),
           "Root of the mean square.")
      .def("Maximum", Reduction([](const Array& a, CSigCurveExt* t) { return a.Maximum(t, 1); }),
           "Largest values of all curves.")
      .def("Minimum", Reduction([](const Array& a, CSigCurveExt* t) { return a.Maximum(t, 0); }),
           "Smallest values of all curves.")
      .def(
          "Querschnitt",
          [](const Array& a, float x) {
            CSigPairs pairs;
            a.Querschnitt(x, &pairs);
            return pairs;
          },
          py::arg("x"), "The values at x over T.")
      .def(
          "Resample2d",
          [](const Array& a, unsigned width, unsigned height) {
            CResampleTool tool;
            bool ok = false;
            {
              const py::gil_scoped_release open;
              ok = tool.Resample2d(&a, width, height);
            }
            if (!ok) {
              throw py::value_error("nothing to show: no curves, no T range or no size");
            }
            py::array_t<float> grid({height, width});
            std::copy_n(tool.PZeile(0), std::size_t{width} * height, grid.mutable_data());
            return grid;
          },
          py::arg("width"), py::arg("height"), "A grid of maxima, a row per step of T.")
      .def(
          "DateiExport",
          [](const Array& a) {
            return WrittenBytes([&](CMemoryStream& file) { return a.ExportRaw(file); });
          },
          "The file record with the values unchanged.")
      .def_static(
          "DateiImport",
          [](const py::bytes& record) {
            auto read = std::make_unique<Array>();
            CMemoryStream file = StreamOver(record);
            int status = 0;
            if (!read->DateiImport(file, status)) {
              throw py::value_error("the record is newer, cut short or malformed");
            }
            return read;
          },
          py::arg("record"),
          "The array of a file record; ValueError for what is newer, cut short or malformed.")
      .def(py::pickle(&StateOf, &FromState));
}

}  // namespace limes::python

#include <algorithm>
#include <cmath>

#include "bindings.h"

namespace limes::python {
namespace {

void RequireAxis(float x0, float x1) {
  if (!std::isfinite(x0) || !std::isfinite(x1) || !(x0 < x1)) {
    throw py::value_error("the x axis must be finite and rising");
  }
}

/// A curve over the array's own memory when that is a plain float array, else over a copy.
std::unique_ptr<CSigCurveExt> CurveOver(const py::array_t<float>& values, float x0, float x1) {
  if (values.size() > py::ssize_t{CSigRaw::kMaxWords}) {
    throw py::value_error("too many values for a curve");
  }
  RequireAxis(x0, x1);
  auto curve = std::make_unique<CSigCurveExt>();
  curve->SetBuffer(const_cast<float*>(values.data()), static_cast<std::int32_t>(values.size()));
  curve->SetXMinMax(x0, x1);
  curve->ResetVMinMax();
  return curve;
}

py::object MakeCurve(const py::object& values, float x0, float x1) {
  const py::array_t<float> array = FloatArray(values);
  if (!array.is(values)) {
    throw py::value_error("only a writable float32 array in one piece can be used without a copy");
  }
  py::object curve = py::cast(CurveOver(array, x0, x1));
  py::detail::keep_alive_impl(curve, array);
  return curve;
}

int IndexOf(const CSigCurve& curve, py::ssize_t i) {
  const auto n = static_cast<py::ssize_t>(curve.DLen());
  if (i < 0) {
    i += n;
  }
  if (i < 0 || i >= n) {
    throw py::index_error("no such value");
  }
  return static_cast<int>(i);
}

py::bytes Record(const CSigCurveExt& curve, bool raw) {
  return WrittenBytes([&](CMemoryStream& file) {
    const unsigned version = CSignal::CurrentFileVersion();
    return raw ? curve.WriteToFileRaw(file, version) : curve.WriteToFile(file, version);
  });
}

std::unique_ptr<CSigCurveExt> FromRecord(const py::bytes& bytes, unsigned version) {
  auto curve = std::make_unique<CSigCurveExt>();
  CMemoryStream file = StreamOver(bytes);
  if (const auto status = curve->ReadFromFileChecked(file, version);
      status != CurveReadStatus::kOk) {
    throw py::value_error(Utf8(Text(status)));
  }
  return curve;
}

std::string Represent(const CSigCurveExt& curve) {
  return py::str("CSigCurveExt('{}', {} values, x {:g} to {:g} {}, y in {})")
      .format(curve.Name(), curve.DLen(), curve.XMin(), curve.XMax(), curve.XUnit().prefixunit(),
              curve.YUnit().prefixunit());
}

void BindHeader(py::class_<CSigCurveExt>& curve) {
  BindHeading(curve);
  curve
      .def_property(
          "date", [](const CSigCurveExt& c) { return c.Date(); },
          [](CSigCurveExt& c, float date) { c.Date(date); },
          "Time of the curve in the unit of the host: its place on the further axis of an array.")
      .def("XMin", &CSigCurveExt::XMin, "x of the first value.")
      .def("XMax", &CSigCurveExt::XMax, "End of the x axis, one step behind the last value.")
      .def("XDelta", &CSigCurveExt::XDelta, "Step of x; x max lies one step behind the last value.")
      .def(
          "SetXMinMax",
          [](CSigCurveExt& c, float x0, float x1) {
            RequireAxis(x0, x1);
            RefuseIfUsed(c);
            c.SetXMinMax(x0, x1);
            c.ResetVMinMax();
          },
          py::arg("x_min"), py::arg("x_max"), "Sets the x axis; all values are valid then.")
      .def("VMin", &CSigCurveExt::VMin, "First x of the valid range.")
      .def("VMax", &CSigCurveExt::VMax, "Last x of the valid range.")
      .def("IMin", &CSigCurveExt::IMin, "Index of the first valid value.")
      .def("IMax", &CSigCurveExt::IMax, "Index of the last valid value.")
      .def("IsValid", &CSigCurveExt::IsValid, "Whether there are valid values.")
      .def(
          "SetVMinMax",
          [](CSigCurveExt& c, float x0, float x1) {
            RefuseIfUsed(c);
            c.SetVMinMax(x0, x1);
          },
          py::arg("x0"), py::arg("x1"), "Sets the valid range by x, kept inside the x axis.")
      .def(
          "ResetVMinMax",
          [](CSigCurveExt& c) {
            RefuseIfUsed(c);
            c.ResetVMinMax();
          },
          "Makes all values valid.");
}

void BindOperations(py::class_<CSigCurveExt>& curve) {
  curve
      .def("GetValue", &CSigCurveExt::GetValue, py::arg("x"),
           "Value at x, linear between neighbours; beyond the valid range its first or last value.")
      .def(
          "GetIndex", [](const CSigCurveExt& c, float x) { return c.GetIndex(x); }, py::arg("x"),
          "Index of the value nearest to x, kept inside the values.")
      .def("GetPoint", &CSigCurveExt::GetPoint, py::arg("index"),
           "x of an index, which need not be on the curve.")
      .def("AbschnittSumme", &CSigCurveExt::AbschnittSumme, py::arg("x0"), py::arg("x1"),
           py::arg("dB") = false, "Sum of the valid values of a section; of levels their level.")
      .def(
          "FitTogether",
          [](const CSigCurveExt& c, const CSigCurveExt& other) { return c.FitTogether(&other); },
          py::arg("other"), "Same number of values and the same x axis.")
      .def("Abs", &CSigCurveExt::Abs, "Makes every value positive, in place.")
      .def(
          "Square", [](CSigCurveExt& c) { c.Square(); },
          "Squares the values and their unit, in place.")
      .def(
          "SquareRoot", [](CSigCurveExt& c) { c.SquareRoot(); },
          "Roots of the values, 0 for negative ones, and of their unit, in place.")
      .def(
          "Log",
          [](CSigCurveExt& c, float ref) {
            if (!(ref > 0.0F)) {
              throw py::value_error("the reference must be above 0");
            }
            c.Log(ref);
          },
          py::arg("reference"), "Levels of the values in dB over the reference.")
      .def(
          "CutLeft",
          [](CSigCurveExt& c, float x) {
            RefuseIfHeld(c);
            c.CutLeft(x);
          },
          py::arg("x"),
          "Drops the values left of the one nearest to x, in place; nothing where x is not on the "
          "curve.")
      .def(
          "CutRight",
          [](CSigCurveExt& c, float x) {
            RefuseIfHeld(c);
            c.CutRight(x);
          },
          py::arg("x"),
          "Drops the values right of the one nearest to x, which becomes x max, so that the step "
          "changes.")
      .def(
          "Append",
          [](CSigCurveExt& c, const CSigCurveExt& other) {
            RefuseIfHeld(c);
            if (!c.Append(other)) {
              throw std::bad_alloc();
            }
          },
          py::arg("other"), "Appends the values of another curve; x max grows by its span.")
      .def(
          "__iadd__",
          [](CSigCurveExt& c, const CSigCurveExt& o) -> CSigCurveExt& { return c += o; },
          py::is_operator())
      .def(
          "__iadd__", [](CSigCurveExt& c, float v) -> CSigCurveExt& { return c += v; },
          py::is_operator())
      .def(
          "__isub__",
          [](CSigCurveExt& c, const CSigCurveExt& o) -> CSigCurveExt& {
            static_cast<CSigCurve&>(c) -= o;
            return c;
          },
          py::is_operator())
      .def(
          "__isub__",
          [](CSigCurveExt& c, float v) -> CSigCurveExt& {
            static_cast<CSigCurve&>(c) -= v;
            return c;
          },
          py::is_operator())
      .def(
          "__imul__",
          [](CSigCurveExt& c, float v) -> CSigCurveExt& {
            static_cast<CSigCurve&>(c) *= v;
            return c;
          },
          py::is_operator());
}

}  // namespace

namespace {

/// Throws ValueError unless values of both are of the same quantity at the same x.
void RequireAlike(const CSigCurveExt& a, const CSigCurveExt& b) {
  if (!a.FitTogether(&b)) {
    throw py::value_error("the curves have other x axes: see fit");
  }
  if (const PartStatus status = CompareUnits(b.YUnit(), a.YUnit()); status != PartStatus::kOk) {
    throw py::value_error(Utf8(Text(status)));
  }
}

/// A curve of its own with values that op forms of those of both, valid where both are.
template <class Op>
CSigCurveExt Combined(const CSigCurveExt& a, const CSigCurveExt& b, Op op) {
  RequireAlike(a, b);
  CSigCurveExt result(a);
  const float* const other = b.ValArray();
  std::size_t i = 0;
  for (float& value : result.Values()) {
    value = op(value, other[i++]);
  }
  result.SetVIMinMax(std::max(a.IMin(), b.IMin()), std::min(a.IMax(), b.IMax()));
  return result;
}

template <class Op>
CSigCurveExt Each(const CSigCurveExt& curve, Op op) {
  CSigCurveExt result(curve);
  for (float& value : result.Values()) {
    value = op(value);
  }
  return result;
}

/// What makes a new curve, of the same unit. Two curves must lie on the same x axis.
void BindArithmetic(py::class_<CSigCurveExt>& curve) {
  using Curve = CSigCurveExt;
  curve
      .def(
          "__add__",
          [](const Curve& a, const Curve& b) {
            return Combined(a, b, [](float x, float y) { return x + y; });
          },
          py::is_operator())
      .def(
          "__sub__",
          [](const Curve& a, const Curve& b) {
            return Combined(a, b, [](float x, float y) { return x - y; });
          },
          py::is_operator())
      .def(
          "__add__",
          [](const Curve& c, float v) { return Each(c, [v](float x) { return x + v; }); },
          py::is_operator())
      .def(
          "__radd__",
          [](const Curve& c, float v) { return Each(c, [v](float x) { return v + x; }); },
          py::is_operator())
      .def(
          "__sub__",
          [](const Curve& c, float v) { return Each(c, [v](float x) { return x - v; }); },
          py::is_operator())
      .def(
          "__rsub__",
          [](const Curve& c, float v) { return Each(c, [v](float x) { return v - x; }); },
          py::is_operator())
      .def(
          "__mul__",
          [](const Curve& c, float v) { return Each(c, [v](float x) { return x * v; }); },
          py::is_operator())
      .def(
          "__rmul__",
          [](const Curve& c, float v) { return Each(c, [v](float x) { return v * x; }); },
          py::is_operator())
      .def(
          "__truediv__",
          [](const Curve& c, float v) { return Each(c, [v](float x) { return x / v; }); },
          py::is_operator())
      .def("__neg__", [](const Curve& c) { return Each(c, [](float x) { return -x; }); })
      .def("__abs__", [](const Curve& c) { return Each(c, [](float x) { return std::fabs(x); }); });
}

}  // namespace

std::unique_ptr<CSigCurveExt> Fitted(const CSigCurveExt& curve, const CSigCurveExt& grid,
                                     bool maximum) {
  using Binning = CSigCurveAssistent::Binning;
  auto out = std::make_unique<CSigCurveExt>();
  const Binning binning = maximum ? Binning::kMaximum : Binning::kMean;
  if (!CSigCurveAssistent::FitTo(curve, grid, *out, binning)) {
    throw py::value_error("the curve has nothing in common with the grid");
  }
  return out;
}

void BindCurves(py::module_& module) {
  py::class_<CSigCurveExt> curve(
      module, "CSigCurveExt",
      "Signal of float values at equal steps of x, of which those of a valid range count.");
  curve
      .def(py::init([](const py::object& values, float x0, float x1) {
             const py::array_t<float> array = FloatArray(
                 py::module_::import("numpy").attr("array")(values, py::arg("dtype") = "float32"));
             auto made = CurveOver(array, x0, x1);
             if (!made->CopyToRealData() && made->DLen() > 0) {
               throw std::bad_alloc();
             }
             return made;
           }),
           py::arg("values"), py::arg("x_min"), py::arg("x_max"),
           "A curve with a copy of the values; x_max lies one step behind the last one.")
      .def_static("over", &MakeCurve, py::arg("values"), py::arg("x_min"), py::arg("x_max"),
                  "A curve over a float32 array's own memory; ValueError for other values.")
      .def_property_readonly(
          "values",
          [](const py::object& self) {
            auto& c = self.cast<CSigCurveExt&>();
            return ValuesView(self, c, c.DLen());
          },
          "The values as an array without a copy; while it lives, they cannot be moved.")
      .def_property_readonly(
          "x",
          [](const CSigCurveExt& c) {
            py::array_t<float> x(static_cast<py::ssize_t>(c.DLen()));
            for (py::ssize_t i = 0; i < x.size(); ++i) {
              x.mutable_at(i) = c.GetPoint(static_cast<int>(i));
            }
            return x;
          },
          "x of each value.")
      .def("__len__", [](const CSigCurveExt& c) { return c.DLen(); })
      .def(
          "__array__",
          [](const py::object& self, const py::object& dtype) {
            return self.attr("values").attr("astype")(dtype.is_none() ? py::str("f4") : dtype);
          },
          py::arg("dtype") = py::none(), "A copy of the values.")
      .def("__getitem__", [](const CSigCurveExt& c, py::ssize_t i) { return c[IndexOf(c, i)]; })
      .def("__setitem__",
           [](CSigCurveExt& c, py::ssize_t i, float v) { c.SetAt(IndexOf(c, i), v); })
      .def("__copy__", [](const CSigCurveExt& c) { return CSigCurveExt(c); })
      .def(
          "__deepcopy__", [](const CSigCurveExt& c, const py::dict&) { return CSigCurveExt(c); },
          py::arg("memo"))
      .def("__repr__", &Represent)
      .def(
          "WriteToFile", [](const CSigCurveExt& c) { return Record(c, false); },
          "The file record, values with 8 bits each.")
      .def(
          "WriteToFileRaw", [](const CSigCurveExt& c) { return Record(c, true); },
          "The file record with the values unchanged.")
      .def_static("ReadFromFile", &FromRecord, py::arg("record"),
                  py::arg("version") = CSignal::CurrentFileVersion(),
                  "The curve of a file record; ValueError says what is wrong with it.")
      .def(py::pickle(
          [](const CSigCurveExt& c) {
            return py::make_tuple(Record(c, true), HeadOf(c), c.Date());
          },
          [](const py::tuple& state) {
            auto read = FromRecord(state[0].cast<py::bytes>(), CSignal::CurrentFileVersion());
            SetHead(*read, state[1].cast<py::tuple>());
            read->Date(state[2].cast<float>());
            return read;
          }));
  BindHeader(curve);
  BindOperations(curve);
  BindArithmetic(curve);

  module.def("fit", &Fitted, py::arg("curve"), py::arg("grid"), py::arg("maximum") = false,
             "The curve on the grid of another one.");
}

}  // namespace limes::python

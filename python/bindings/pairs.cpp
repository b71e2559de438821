#include <utility>

#include "bindings.h"

namespace limes::python {
namespace {

/// x (first = 0) or y (1) of all pairs as a read-only view: writing x would need a new test of the
/// order.
py::array_t<float> ColumnView(const py::object& self, std::ptrdiff_t first) {
  const auto& pairs = self.cast<const CSigPairs&>();
  const auto n = static_cast<py::ssize_t>(pairs.NPaare());
  if (n == 0) {
    return py::array_t<float>(0);
  }
  py::array_t<float> view({n}, {2 * static_cast<py::ssize_t>(sizeof(float))},
                          pairs.ValArray() + first, ViewBase(self, pairs));
  view.attr("flags").attr("writeable") = false;
  return view;
}

/// Runs an operation that may move the pairs.
template <class Operation>
CSigPairs& Changed(CSigPairs& pairs, Operation operation) {
  RefuseIfHeld(pairs);
  operation(pairs);
  return pairs;
}

std::uint32_t IndexIn(const CSigPairs& pairs, py::ssize_t i) {
  const auto n = static_cast<py::ssize_t>(pairs.NPaare());
  if (i < 0) {
    i += n;
  }
  if (i < 0 || i >= n) {
    throw py::index_error("no such pair");
  }
  return static_cast<std::uint32_t>(i);
}

void BindChanges(py::class_<CSigPairs>& pairs) {
  using Pairs = CSigPairs;
  const auto check = [](int result, int failure) {
    if (result == failure) {
      throw std::bad_alloc();
    }
    return result;
  };
  pairs
      .def(
          "NeuesPaar",
          [check](Pairs& p, float x, float y) {
            RefuseIfHeld(p);
            return check(p.NeuesPaar(x, y), 0);
          },
          py::arg("x"), py::arg("y"), "Appends a pair: the new count.")
      .def(
          "NeuesPaarEinsortieren",
          [check](Pairs& p, float x, float y) {
            RefuseIfHeld(p);
            return check(p.NeuesPaarEinsortieren(x, y), -1);
          },
          py::arg("x"), py::arg("y"), "Inserts a pair in order: its index.")
      .def(
          "Setzen",
          [](Pairs& p, py::ssize_t i, float x, float y) { p.Setzen(IndexIn(p, i), x, y); },
          py::arg("index"), py::arg("x"), py::arg("y"), "Overwrites a pair; the flags stay.")
      .def(
          "DatenSortieren", [](Pairs& p) { Changed(p, [](Pairs& q) { q.DatenSortieren(); }); },
          "Sorts the pairs by rising x, in place.")
      .def(
          "CutLeft", [](Pairs& p, float x) { Changed(p, [x](Pairs& q) { q.CutLeft(x); }); },
          py::arg("x"),
          "Drops the pairs left of x but the last one of them, so that the run still reaches x.")
      .def(
          "CutRight", [](Pairs& p, float x) { Changed(p, [x](Pairs& q) { q.CutRight(x); }); },
          py::arg("x"), "Drops the pairs right of x; unlike cut_left none beyond x stays.")
      .def(
          "Glaetten", [](Pairs& p, float w) { Changed(p, [w](Pairs& q) { q.Glaetten(w); }); },
          py::arg("width"), "Means of the values nearer than the width in x.")
      .def(
          "UnionWith",
          [](Pairs& p, const Pairs& o) { Changed(p, [&o](Pairs& q) { q.UnionWith(o); }); },
          py::arg("other"), "The union of both runs, whether they touch or not.")
      .def(
          "__add__", [](const Pairs& a, const Pairs& b) { return a + b; }, py::is_operator())
      .def(
          "__sub__", [](const Pairs& a, const Pairs& b) { return a - b; }, py::is_operator())
      .def(
          "__mul__", [](const Pairs& a, const Pairs& b) { return a * b; }, py::is_operator())
      .def(
          "__truediv__", [](const Pairs& a, const Pairs& b) { return a / b; }, py::is_operator())
      .def(
          "__or__", [](const Pairs& a, const Pairs& b) { return a | b; }, py::is_operator())
      .def(
          "__and__", [](const Pairs& a, const Pairs& b) { return a & b; }, py::is_operator());
}

}  // namespace

void BindPairs(py::module_& module) {
  using Pairs = CSigPairs;
  py::class_<Pairs> pairs(module, "CSigPairs", "Signal of freely spaced points (x, y).");
  pairs.def(py::init(&FromColumns<Pairs>), py::arg("x"), py::arg("y"))
      .def(py::init<const CSigCurveExt&>(), py::arg("curve"), "The valid points of a curve.")
      .def_property_readonly(
          "x", [](const py::object& self) { return ColumnView(self, 0); },
          "The x values as a read-only array without a copy.")
      .def_property_readonly(
          "y", [](const py::object& self) { return ColumnView(self, 1); },
          "The y values as a read-only array without a copy.")
      .def("__len__", &Pairs::NPaare)
      .def("__getitem__", [](const Pairs& p, py::ssize_t i) { return p.Point(IndexIn(p, i)); })
      .def("WertBei", &Pairs::WertBei, py::arg("x"), "y at x, linear between pairs.")
      .def(
          "WertBei",
          [](const Pairs& p, const py::array_t<float, py::array::forcecast>& x) {
            return py::vectorize([&p](float at) { return p.WertBei(at); })(x);
          },
          py::arg("x"), "y at each x of an array.")
      .def("IndexZu", &Pairs::IndexZu, py::arg("x"), py::arg("mode") = int{Pairs::kNearest},
           "Index of the neighbour of x: with mode 0 the lower, 1 the higher, 2 the nearest one.")
      .def("IstSortiert", &Pairs::IstSortiert, "Whether x rises strictly.")
      .def(
          "Mittelwert", [](const Pairs& p) { return p.Mittelwert(); }, "Mean of y.")
      .def("RmsWert", &Pairs::RmsWert, "Root of the mean square of y.")
      .def(
          "KurveBilden",
          [](const Pairs& p, const CSigCurveExt& grid) {
            auto target = std::make_unique<CSigCurveExt>(grid);
            p.KurveBilden(target.get(), false);
            return target;
          },
          py::arg("grid"), "The run as lines on a copy of a curve, whose values beside it stay.")
      .def("WriteToFile", &PairsRecord, "The file record.")
      .def_static(
          "ReadFromFile",
          [](const py::bytes& record) {
            auto read = std::make_unique<Pairs>();
            ReadPairs(*read, record);
            return read;
          },
          py::arg("record"),
          "The pairs of a file record; ValueError for what is cut short or malformed.")
      .def("__repr__", [](const Pairs& p) {
        return py::str("CSigPairs('{}', {} pairs, x in {}, y in {})")
            .format(p.Name(), p.NPaare(), p.XUnit().prefixunit(), p.YUnit().prefixunit());
      });
  BindHeading(pairs);
  BindChanges(pairs);
  BindCopies(
      pairs, [](const Pairs&) { return py::tuple(); }, [](Pairs&, const py::tuple&) {});
}

}  // namespace limes::python

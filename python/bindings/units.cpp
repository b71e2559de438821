#include <pybind11/operators.h>

#include "bindings.h"

namespace limes::python {

void BindUnits(py::module_& module) {
  py::class_<CMeasuringUnit>(module, "CMeasuringUnit",
                             "Physical unit of an axis, linear or a level in dB over a reference.")
      .def(py::init<>(), "No unit.")
      .def(py::init([](std::u16string_view text) {
             bool exact = false;
             CMeasuringUnit unit = CMeasuringUnit::FromText(text, &exact);
             if (!exact && !text.empty() && text != u"-" && unit.empty()) {
               throw py::value_error("unknown unit: " + WideToUtf8(text));
             }
             return unit;
           }),
           py::arg("text"), "The unit of a text such as 'kHz', 'm/s²' or 'dB(Pa)'.")
      .def(
          "power", [](CMeasuringUnit& unit, short n) { unit.power(n); }, py::arg("n"),
          "The n-th power, in place.")
      .def(
          "root",
          [](CMeasuringUnit& unit, short n) {
            if (!unit.root(n)) {
              throw py::value_error("the unit has no such root");
            }
          },
          py::arg("n"), "The n-th root, in place; ValueError when there is none.")
      .def("invert", &CMeasuringUnit::invert, "The reciprocal unit, in place.")
      .def_property_readonly("exponent", &CMeasuringUnit::Exponent,
                             "Decimal exponent of the whole: 3 of kHz, 6 of km².")
      .def_property_readonly("is_log", &CMeasuringUnit::is_log, "Whether it is a level in dB.")
      .def_property_readonly("reference", &CMeasuringUnit::Logref,
                             "What 0 dB is, in the unit itself; 0 when linear.")
      .def("baseunit", &CMeasuringUnit::baseunit,
           "The base unit alone, without power, prefix and dB.")
      .def("mainunit", &CMeasuringUnit::mainunit,
           "The base unit with its power, in dB(...) for a level, without prefix.")
      .def("ExactText", &CMeasuringUnit::ExactText,
           "The text of the unit, with 10^n before it where no prefix says that.")
      .def("__str__", &CMeasuringUnit::prefixunit)
      .def("__repr__",
           [](const CMeasuringUnit& unit) {
             return "CMeasuringUnit('" + WideToUtf8(unit.ExactText()) + "')";
           })
      .def("__bool__", [](const CMeasuringUnit& unit) { return !unit.empty(); })
      .def("__eq__",
           [](const CMeasuringUnit& unit, const CMeasuringUnit& other) { return unit == other; })
      .def("__eq__",
           [](const CMeasuringUnit& unit, std::u16string_view text) {
             return unit == CMeasuringUnit::FromText(text);
           })
      .def("__copy__", [](const CMeasuringUnit& unit) { return unit; })
      .def(
          "__deepcopy__", [](const CMeasuringUnit& unit, const py::dict&) { return unit; },
          py::arg("memo"))
      .def(py::pickle(
          [](const CMeasuringUnit& unit) {
            return py::make_tuple(
                WrittenBytes([&](CMemoryStream& file) { return unit.WriteToFileWithText(file); }));
          },
          [](const py::tuple& state) {
            CMeasuringUnit unit;
            CMemoryStream file = StreamOver(state[0].cast<py::bytes>());
            if (!unit.ReadFromFile(file)) {
              throw py::value_error("the record is cut short or malformed");
            }
            return unit;
          }));
  py::implicitly_convertible<py::str, CMeasuringUnit>();
}

}  // namespace limes::python

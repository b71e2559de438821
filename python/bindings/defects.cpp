#include <tuple>

#include "bindings.h"

namespace limes::python {
namespace {

CDefectReport& ReportAt(CDefectReportOrdner& folder, py::ssize_t i) {
  if (i < 0) {
    i += folder.Anzahl();
  }
  if (i < 0 || i >= folder.Anzahl()) {
    throw py::index_error("no such report");
  }
  return folder[static_cast<int>(i)];
}

/// The fields of a report, and those of its item.
auto Fields(CProtocolItem& item) {
  return std::tie(item.name, item.unit, item.text, item.code, item.type, item.value, item.limit,
                  item.average, item.place, item.from, item.to, item.priority, item.group,
                  item.timeStamp, item.state);
}

py::tuple StateOf(const CDefectReport& report) {
  CProtocolItem item;
  report.InProtokollWandeln(item);
  py::list names;
  for (unsigned i = 0; i < CQuinterMFC::kFields; ++i) {
    names.append(item.names.Field(i));
  }
  const auto fields = [](const auto&... field) { return py::make_tuple(field...); };
  return py::make_tuple(names, std::apply(fields, Fields(item)), report.Number(), report.IExtra(),
                        report.FExtra(), wide_string(report.Berichtstext()));
}

CDefectReport FromState(const py::tuple& state) {
  CProtocolItem item;
  const auto names = state[0].cast<py::list>();
  for (unsigned i = 0; i < CQuinterMFC::kFields; ++i) {
    item.names.Field(i, names[i].cast<wide_string>());
  }
  const auto values = state[1].cast<py::tuple>();
  std::size_t i = 0;
  const auto take = [&](auto& field) {
    field = values[i++].template cast<std::remove_reference_t<decltype(field)>>();
  };
  std::apply([&](auto&... field) { (take(field), ...); }, Fields(item));
  CDefectReport report;
  report.Fillin(item, state[2].cast<std::int32_t>(), item.group);
  report.IExtra(state[3].cast<std::int32_t>());
  report.FExtra(state[4].cast<float>());
  report.SetReportText(state[5].cast<wide_string>());
  return report;
}

}  // namespace

void BindDefects(py::module_& module) {
  using Report = CDefectReport;
  py::class_<Report>(module, "CDefectReport",
                     "One finding: which quantity broke which limit, where and by how much.")
      .def(py::init<>())
      .def_property(
          "name", [](const Report& r) { return wide_string(r.Name()); },
          [](Report& r, std::u16string_view name) { r.Name(name); })
      .def_property(
          "unit", [](const Report& r) { return wide_string(r.Unit()); },
          [](Report& r, std::u16string_view unit) { r.Unit(unit); })
      .def_property(
          "type", [](const Report& r) { return r.Type(); },
          [](Report& r, std::uint32_t type) { r.Type(type); })
      .def_property(
          "code", [](const Report& r) { return r.Code(); },
          [](Report& r, std::int32_t code) { r.Code(code); })
      .def_property(
          "value", [](const Report& r) { return r.Value(); },
          [](Report& r, float value) { r.Value(value); })
      .def_property(
          "limit", [](const Report& r) { return r.Limit(); },
          [](Report& r, float limit) { r.Limit(limit); })
      .def_property(
          "place", [](const Report& r) { return r.Place(); },
          [](Report& r, float place) { r.Place(place); })
      .def_property(
          "average", [](const Report& r) { return r.Average(); },
          [](Report& r, float average) { r.Average(average); })
      .def_property(
          "priority", [](const Report& r) { return r.Prioritaet(); },
          [](Report& r, std::int32_t priority) { r.SetPriority(priority); })
      .def_property(
          "group", [](const Report& r) { return r.Gruppe(); },
          [](Report& r, std::int32_t group) { r.Gruppe(group); })
      .def_property(
          "number", [](const Report& r) { return r.Number(); },
          [](Report& r, std::int32_t number) { r.Number(number); })
      .def(
          "NameAt", [](const Report& r, unsigned i) { return r.NameAt(i); }, py::arg("index"))
      .def(
          "SetNameAt", [](Report& r, unsigned i, std::u16string_view name) { r.NameAt(i, name); },
          py::arg("index"), py::arg("name"))
      .def("FormatReport", [](Report& r) { return r.FormatReport(); })
      .def("Berichtstext", [](const Report& r) { return wide_string(r.Berichtstext()); })
      .def("Label", &Report::Label)
      .def(py::pickle(&StateOf, &FromState));

  using Folder = CDefectReportOrdner;
  py::class_<Folder>(module, "CDefectReportOrdner", "A fixed number of defect reports.")
      .def(py::init<int>(), py::arg("capacity"))
      .def("Neu", &Folder::Neu)
      .def(
          "Naechster",
          [](Folder& f) -> Report& {
            Report* report = f.Naechster();
            if (report == nullptr) {
              throw py::index_error("the folder is full");
            }
            return *report;
          },
          py::return_value_policy::reference_internal, "Takes the next free report.")
      .def("SlotCapacity", &Folder::SlotCapacity)
      .def("__len__", [](const Folder& f) { return f.Anzahl(); })
      .def("__getitem__", &ReportAt, py::return_value_policy::reference_internal, py::arg("index"))
      .def("Ordnen", &Folder::Ordnen)
      .def(
          "Ordered",
          [](Folder& f) {
            py::list ordered;
            for (int i = 0; i < f.Anzahl(); ++i) {
              ordered.append(py::cast(f.Ordered(i), py::return_value_policy::reference_internal,
                                      py::cast(&f)));
            }
            return ordered;
          },
          "The reports by descending priority, as they were last ordered.")
      .def("GruppeLoeschen", &Folder::GruppeLoeschen, py::arg("group"))
      .def("ModeLoeschen", py::overload_cast<std::u16string_view>(&Folder::ModeLoeschen),
           py::arg("mode"))
      .def("BerichteFormatieren", &Folder::BerichteFormatieren);
}

}  // namespace limes::python

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
          [](Report& r, std::u16string_view name) { r.Name(name); }, "Name of the tested quantity.")
      .def_property(
          "unit", [](const Report& r) { return wide_string(r.Unit()); },
          [](Report& r, std::u16string_view unit) { r.Unit(unit); },
          "Unit text of value, limit and average.")
      .def_property(
          "type", [](const Report& r) { return r.Type(); },
          [](Report& r, std::uint32_t type) { r.Type(type); },
          "Layout of the line of text: 1 with place, 2 with names, 4 with percent, 5 with index, 6 "
          "label only, 7 with index and name, 100 summary.")
      .def_property(
          "code", [](const Report& r) { return r.Code(); },
          [](Report& r, std::int32_t code) { r.Code(code); },
          "Code of the finding; in a summary the number of reports.")
      .def_property(
          "value", [](const Report& r) { return r.Value(); },
          [](Report& r, float value) { r.Value(value); }, "Measured value.")
      .def_property(
          "limit", [](const Report& r) { return r.Limit(); },
          [](Report& r, float limit) { r.Limit(limit); }, "Limit that was in force.")
      .def_property(
          "place", [](const Report& r) { return r.Place(); },
          [](Report& r, float place) { r.Place(place); }, "x of the finding.")
      .def_property(
          "average", [](const Report& r) { return r.Average(); },
          [](Report& r, float average) { r.Average(average); }, "Learnt mean.")
      .def_property(
          "priority", [](const Report& r) { return r.Prioritaet(); },
          [](Report& r, std::int32_t priority) { r.SetPriority(priority); },
          "Larger ones come first.")
      .def_property(
          "group", [](const Report& r) { return r.Gruppe(); },
          [](Report& r, std::int32_t group) { r.Gruppe(group); },
          "Free for the host; delete_group removes the reports of one.")
      .def_property(
          "number", [](const Report& r) { return r.Number(); },
          [](Report& r, std::int32_t number) { r.Number(number); },
          "Running number, printed first.")
      .def(
          "NameAt", [](const Report& r, unsigned i) { return r.NameAt(i); }, py::arg("index"),
          "Name i of six: 0 the short designation, 1 and 2 the label; empty outside.")
      .def(
          "SetNameAt", [](Report& r, unsigned i, std::u16string_view name) { r.NameAt(i, name); },
          py::arg("index"), py::arg("name"), "Sets name i of six.")
      .def(
          "FormatReport", [](Report& r) { return r.FormatReport(); },
          "Forms the line of text by type: its length.")
      .def(
          "Berichtstext", [](const Report& r) { return wide_string(r.Berichtstext()); },
          "The line of text as it was last formed, at most 119 characters.")
      .def("Label", &Report::Label,
           "Location and channel, names 2 and 1, or the one that is not empty.")
      .def(py::pickle(&StateOf, &FromState));

  using Folder = CDefectReportOrdner;
  py::class_<Folder>(module, "CDefectReportOrdner", "A fixed number of defect reports.")
      .def(py::init<int>(), py::arg("capacity"))
      .def("Neu", &Folder::Neu, "Starts anew: no report is in use.")
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
      .def("SlotCapacity", &Folder::SlotCapacity, "How many reports there is room for.")
      .def("__len__", [](const Folder& f) { return f.Anzahl(); })
      .def("__getitem__", &ReportAt, py::return_value_policy::reference_internal, py::arg("index"))
      .def("Ordnen", &Folder::Ordnen,
           "Sorts the ordered view by descending priority; the reports stay where they are.")
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
      .def("GruppeLoeschen", &Folder::GruppeLoeschen, py::arg("group"),
           "Removes the reports of a group.")
      .def("ModeLoeschen", py::overload_cast<std::u16string_view>(&Folder::ModeLoeschen),
           py::arg("mode"), "Removes the reports whose name 0 is the text; * removes all.")
      .def("BerichteFormatieren", &Folder::BerichteFormatieren,
           "Forms the lines of the reports that have none yet.");
}

}  // namespace limes::python

#include <pybind11/stl.h>

#include <algorithm>
#include <vector>

#include "apps/limes/measurement/settings.h"
#include "reading.h"
#include "recordings/forming/free_steps.h"
#include "recordings/part_source.h"

namespace limes::python {
namespace {

using namespace recordings;

/// A keyword's value as a setting; a text where several are taken is one.
template <class T>
T SettingOf(const std::string& keyword, const py::handle& value) {
  try {
    if constexpr (std::is_same_v<T, std::vector<std::string>>) {
      if (py::isinstance<py::str>(value)) {
        return {value.cast<std::string>()};
      }
    }
    return value.cast<T>();
  } catch (const py::cast_error&) {
    throw py::type_error(keyword + " cannot be " + py::repr(value).cast<std::string>());
  }
}

/// The names of all settings.
std::vector<std::string> Keywords() {
  std::vector<std::string> keywords;
  SReadSettings settings;
  SReadSettings::ForEach(
      [&](const char* option, Policy, auto&) { keywords.push_back(InKeywords(option)); }, settings);
  return keywords;
}

/// The settings of keyword arguments, which are named as the options of the program.
SReadSettings SettingsOf(const py::dict& given) {
  host::SGivenSettings settings;
  std::size_t taken = 0;
  TReadSettings<SGiven>::ForEach(
      [&](const char* option, Policy, auto& setting) {
        const std::string keyword = InKeywords(option);
        if (given.contains(keyword)) {
          ++taken;
          const py::object value = given[keyword.c_str()];
          if (!value.is_none()) {
            using T = typename std::remove_reference_t<decltype(setting)>::value_type;
            setting = SettingOf<T>(keyword, value);
          }
        }
      },
      settings);
  if (taken < given.size()) {
    const std::vector<std::string> all = Keywords();
    std::string known;
    for (const std::string& keyword : all) {
      known += (known.empty() ? "" : ", ") + keyword;
    }
    std::string unknown;
    for (const auto& [key, value] : given) {
      const auto keyword = key.cast<std::string>();
      unknown = std::find(all.begin(), all.end(), keyword) == all.end() ? keyword : unknown;
    }
    throw py::type_error("there is no keyword " + unknown + "; keywords are " + known);
  }
  return host::Resolve(settings, std::nullopt, true);
}

/// All parts of files, one at a time.
class Source {
 public:
  Source(const std::vector<std::string>& files, const std::map<std::string, std::string>& where,
         bool labelled, const py::dict& settings)
      : source_(files, ConfigOf(where, labelled, settings)) {
    source_.CheckFiles();
  }

  SPart Next() {
    SPart part;
    bool found = false;
    std::vector<std::string> notes;
    {
      const py::gil_scoped_release open;
      const std::lock_guard guard(mutex_);
      while (!(found = opened_ && source_.Next(part)) && (opened_ = source_.OpenNext())) {
      }
      notes_.swap(notes);
    }
    for (const std::string& note : notes) {
      const std::string text = InKeywords(note);
      if (PyErr_WarnEx(PyExc_UserWarning, text.c_str(), 2) != 0) {
        throw py::error_already_set();
      }
    }
    if (!found) {
      throw py::stop_iteration();
    }
    return part;
  }

  std::string WhyNone() { return InKeywords(source_.WhyNone()); }

 private:
  CPartSource::SConfig ConfigOf(const std::map<std::string, std::string>& where, bool labelled,
                                const py::dict& settings) {
    CPartSource::SConfig config;
    config.settings = SettingsOf(settings);
    for (const auto& [column, value] : where) {
      config.where.push_back({column, value});
    }
    config.goodOnly = labelled;
    config.labelOptional = !labelled;
    config.note = [this](const std::string& note) { notes_.push_back(note); };
    return config;
  }

  std::mutex mutex_;
  std::vector<std::string> notes_;
  CPartSource source_;
  bool opened_ = false;
};

/// Forms a part as the program does before it learns or judges it.
SPart Formed(const SPart& part, bool wave, const py::dict& settings) {
  SPart formed = part;
  CFormer former(SettingsOf(settings));
  const py::gil_scoped_release open;
  former.Form(formed, wave);
  return formed;
}

/// A unit of a text, which is kept where the library does not know it.
SUnit UnitOf(const py::object& unit) {
  if (py::isinstance<CMeasuringUnit>(unit)) {
    SUnit known;
    known.unit = unit.cast<CMeasuringUnit>();
    return known;
  }
  return ParseUnit(unit.cast<std::string>());
}

SQuantity QuantityOf(const py::object& values, double x0, double dx, const py::object& x,
                     const std::string& name, const py::object& xUnit, const py::object& unit) {
  SQuantity q;
  const py::array_t<float> array = FloatArray(values);
  q.values.assign(array.data(), array.data() + array.size());
  if (!x.is_none()) {
    const py::array_t<float> places = FloatArray(x);
    q.x.assign(places.data(), places.data() + places.size());
  }
  if (!(dx > 0.0) || !std::isfinite(dx) || !std::isfinite(x0) ||
      (!q.x.empty() && q.x.size() != q.values.size())) {
    throw py::value_error("x has a place for each value, or a start and a step above 0");
  }
  if (!std::all_of(q.x.begin(), q.x.end(), [](float at) { return std::isfinite(at); })) {
    throw py::value_error("a place is not finite");
  }
  q.name = name;
  q.x0 = x0;
  q.dx = dx;
  q.xUnit = UnitOf(xUnit);
  q.unit = UnitOf(unit);
  return q;
}

py::array_t<double> PlacesOf(const SQuantity& q) {
  py::array_t<double> x(static_cast<py::ssize_t>(q.values.size()));
  double* const out = x.mutable_data();
  for (std::size_t i = 0; i < q.values.size(); ++i) {
    out[i] = q.x.empty() ? q.x0 + static_cast<double>(i) * q.dx : double{q.x[i]};
  }
  return x;
}

/// A read-only array of its own memory, kept by the object that owns it.
py::array_t<float> ViewOf(const py::object& self) {
  const auto& q = self.cast<const SQuantity&>();
  py::array_t<float> view(static_cast<py::ssize_t>(q.values.size()), q.values.data(), self);
  view.attr("flags").attr("writeable") = false;
  return view;
}

std::optional<py::array_t<bool>> CoveredOf(const std::vector<std::uint8_t>& covered) {
  if (covered.empty()) {
    return std::nullopt;
  }
  py::array_t<bool> mask(static_cast<py::ssize_t>(covered.size()));
  std::transform(covered.begin(), covered.end(), mask.mutable_data(),
                 [](std::uint8_t c) { return c != 0; });
  return mask;
}

void BindQuantity(py::module_& module) {
  py::class_<SQuantity> quantity(
      module, "Quantity",
      "A measured quantity of a part, as limes.read gives it: a signal over x or a single value. "
      "Cannot be changed.");
  BindTables(quantity);
  quantity
      .def(py::init(&QuantityOf), py::arg("values"), py::arg("x0") = 0.0, py::arg("dx") = 1.0,
           py::arg("x") = py::none(), py::arg("name") = "", py::arg("x_unit") = "",
           py::arg("y_unit") = "", "A signal at equal steps dx from x0 on, or at the places x.")
      .def_readonly("name", &SQuantity::name, "Name of the quantity.")
      .def_property_readonly(
          "unit", [](const SQuantity& q) { return q.unit.Display(); },
          "Unit of the values as text, known to limes or not.")
      .def_property_readonly(
          "x_unit", [](const SQuantity& q) { return q.xUnit.Display(); }, "Unit of x as text.")
      .def_property_readonly(
          "y_unit", [](const SQuantity& q) { return q.unit.Display(); },
          "Unit of the values as text.")
      .def_property_readonly(
          "unknown_units",
          [](const SQuantity& q) { return std::pair(UnknownUnit(q.xUnit), UnknownUnit(q.unit)); },
          "Units of x and of the values that limes does not know, as they stand in the file.")
      .def_readonly("is_single", &SQuantity::single, "A single value, not a signal.")
      .def_readonly("x0", &SQuantity::x0, "x of the first value.")
      .def_readonly("dx", &SQuantity::dx, "Step of x; the mean one where steps are not equal.")
      .def_property_readonly(
          "has_equal_steps", [](const SQuantity& q) { return q.x.empty(); },
          "Whether x rises in equal steps.")
      .def_property_readonly("x", &PlacesOf, "x of each value.")
      .def_property_readonly("values", &ViewOf,
                             "The values as a read-only array without a copy; none of a single "
                             "value.")
      .def_property_readonly(
          "covered", [](const SQuantity& q) { return CoveredOf(q.covered); },
          "Whether something was measured at each value; None: everywhere.")
      .def_readonly("health", &SQuantity::health, "What the samples say of the sensor.")
      .def_property_readonly(
          "recorded_time", [](const SQuantity& q) { return q.recorded.time; },
          "How long the signal that this was formed of was recorded and moved, in s; 0: none was.")
      .def_property_readonly(
          "recorded_rms", [](const SQuantity& q) { return q.recorded.rms; },
          "Its rms without the mean, before any weighting, in its unit; far below that of good "
          "parts nothing was measured.")
      .def("__len__", [](const SQuantity& q) { return q.values.size(); })
      .def(
          "__array__",
          [](const py::object& self, const py::object& dtype) {
            return py::object(ViewOf(self)).attr("astype")(dtype.is_none() ? py::str("f4") : dtype);
          },
          py::arg("dtype") = py::none(), "A copy of the values.")
      .def("__float__",
           [](const SQuantity& q) {
             if (!q.single) {
               throw py::type_error("quantity " + q.name + " is a signal, not a single value");
             }
             return q.value;
           })
      .def(
          "drawn",
          [](const SQuantity& q, const CSigCurveExt* grid) {
            SDrawn drawn = Drawn(q, grid);
            return std::pair(std::move(drawn.curve), CoveredOf(drawn.covered));
          },
          py::arg("grid") = py::none(),
          "The signal as a curve, and the mask of what was measured: where steps are not equal "
          "drawn on the grid of another curve, or on its own.")
      .def("__repr__",
           [](const SQuantity& q) {
             return q.single
                        ? py::str("<{}: {} {}>").format(q.name, q.value, q.unit.Display())
                        : py::str("<{}: {} values in {} over {}>")
                              .format(q.name, q.values.size(), q.unit.Display(), q.xUnit.Display());
           })
      .def(py::pickle(
          [](const SQuantity& q) {
            const auto unit = [](const SUnit& u) {
              return py::make_tuple(u.unit, u.text, u.reference);
            };
            return py::make_tuple(
                q.name, unit(q.xUnit), unit(q.unit), q.single, q.x0, q.dx, py::array(py::cast(q.x)),
                q.t, unit(q.tUnit),
                py::array_t<float>(static_cast<py::ssize_t>(q.values.size()), q.values.data()),
                q.value, py::array(py::cast(q.covered)), q.health, q.recorded.time, q.recorded.rms);
          },
          [](const py::tuple& s) {
            const auto unit = [](const py::tuple& u) {
              return SUnit{u[0].cast<CMeasuringUnit>(), u[1].cast<std::string>(),
                           u[2].cast<float>()};
            };
            return SQuantity{s[0].cast<std::string>(),
                             unit(s[1]),
                             unit(s[2]),
                             s[3].cast<bool>(),
                             s[4].cast<double>(),
                             s[5].cast<double>(),
                             s[6].cast<std::vector<float>>(),
                             s[7].cast<std::optional<float>>(),
                             unit(s[8]),
                             s[9].cast<std::vector<float>>(),
                             s[10].cast<double>(),
                             s[11].cast<std::vector<std::uint8_t>>(),
                             s[12].cast<SignalHealth>(),
                             {s[13].cast<double>(), s[14].cast<double>()}};
          }));
}

const SQuantity& QuantityOf(const SPart& part, const std::string& name) {
  const auto found = std::find_if(part.quantities.begin(), part.quantities.end(),
                                  [&](const SQuantity& q) { return q.name == name; });
  if (found == part.quantities.end()) {
    throw py::key_error(name);
  }
  return *found;
}

void BindPart(py::module_& module) {
  py::class_<SPart>(module, "Recording",
                    "What was measured on one part: quantities by name, and in their order.")
      .def(py::init([](const std::vector<SQuantity>& quantities, const std::string& name) {
             return SPart{name, std::nullopt, quantities};
           }),
           py::arg("quantities"), py::arg("name") = "")
      .def_readonly("name", &SPart::name, "File, then row, group or cut.")
      .def_readonly("label", &SPart::label, "The known verdict, where there is a column of them.")
      .def_property_readonly(
          "names",
          [](const SPart& p) {
            std::vector<std::string> names;
            for (const SQuantity& q : p.quantities) {
              names.push_back(q.name);
            }
            return names;
          },
          "Names of the quantities, in their order.")
      .def("__len__", [](const SPart& p) { return p.quantities.size(); })
      .def("__getitem__",
           [](const SPart& p, const std::string& name) { return QuantityOf(p, name); })
      .def("__getitem__",
           [](const SPart& p, py::ssize_t i) {
             const auto n = static_cast<py::ssize_t>(p.quantities.size());
             if (i < -n || i >= n) {
               throw py::index_error("no such quantity");
             }
             return p.quantities[static_cast<std::size_t>(i < 0 ? i + n : i)];
           })
      .def("__repr__",
           [](const SPart& p) {
             return py::str("<{}: {} quantities>").format(p.name, p.quantities.size());
           })
      .def(py::pickle([](const SPart& p) { return py::make_tuple(p.name, p.label, p.quantities); },
                      [](const py::tuple& s) {
                        return SPart{s[0].cast<std::string>(),
                                     s[1].cast<std::optional<std::string>>(),
                                     s[2].cast<std::vector<SQuantity>>()};
                      }));
}

}  // namespace

std::string InKeywords(const std::string& text) {
  std::string result;
  bool option = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool starts = text.compare(i, 2, "--") == 0 && (i == 0 || text[i - 1] == ' ') &&
                        i + 2 < text.size() && text[i + 2] >= 'a' && text[i + 2] <= 'z';
    option = starts || (option && (text[i] == '-' || (text[i] >= 'a' && text[i] <= 'z')));
    if (starts) {
      ++i;
    } else {
      result += option && text[i] == '-' ? '_' : text[i];
    }
  }
  return result;
}

std::string UnknownUnit(const SUnit& unit) { return unit.text.empty() ? "" : unit.DisplayFull(); }

SDrawn Drawn(const SQuantity& q, const CSigCurveExt* grid) {
  const std::string what = "quantity " + q.name;
  if (q.single || q.values.empty() || (grid != nullptr && !(grid->XDelta() > 0.0F))) {
    throw CInputError(what, q.single           ? "is a single value, not a signal"
                            : q.values.empty() ? "has no values"
                                               : "is to be drawn on a grid without points");
  }
  const SQuantity drawn = q.x.empty() ? SQuantity()
                          : grid == nullptr
                              ? DrawnOnOwnGrid(q, what)
                              : DrawnOnGrid(q, what, grid->XMin(),
                                            (double{grid->XMax()} - grid->XMin()) / grid->DLen());
  const SQuantity& from = q.x.empty() ? q : drawn;
  SDrawn result{MakeCurveOn(what, from.x0, from.dx, from.values.size()), from.covered};
  std::copy(from.values.begin(), from.values.end(), result.curve.ValArray());
  if (!result.curve.SetName(Utf8ToWide(q.name))) {
    throw std::bad_alloc();
  }
  result.curve.SetXUnit(q.xUnit.unit);
  result.curve.SetYUnit(q.unit.unit);
  return result;
}

void BindRecordings(py::module_& module) {
  py::register_exception_translator([](std::exception_ptr error) {
    try {
      std::rethrow_exception(std::move(error));
    } catch (const COpenError& e) {
      PyErr_SetString(PyExc_OSError, e.what());
    } catch (const CReadError& e) {
      PyErr_SetString(PyExc_ValueError, InKeywords(e.what()).c_str());
    } catch (const host::CHostError& e) {
      PyErr_SetString(PyExc_ValueError, InKeywords(e.what()).c_str());
    }
  });
  BindQuantity(module);
  BindPart(module);
  py::class_<Source>(module, "Source", "The recordings of files, one at a time.")
      .def(py::init<const std::vector<std::string>&, const std::map<std::string, std::string>&,
                    bool, const py::dict&>(),
           py::arg("files"), py::arg("where"), py::arg("labelled"), py::arg("settings"))
      .def("__iter__", [](const py::object& self) { return self; })
      .def("__next__", &Source::Next)
      .def("why_none", &Source::WhyNone);
  module.def("ReadingKeywords", &Keywords, "The keywords of limes.read that are settings.");
  module.def("Formed", &Formed, py::arg("part"), py::arg("wave"), py::arg("settings"),
             "The recording as the program forms it before it learns or judges.");
}

}  // namespace limes::python

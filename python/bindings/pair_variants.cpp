#include <limits>

#include "bindings.h"

namespace limes::python {
namespace {

/// Whole seconds since 1970-01-01 UTC of what numpy.datetime64 takes: dates, texts, integers, and
/// arrays of them.
py::array_t<std::int64_t> Seconds(py::object times) {
  if (py::hasattr(times, "tzinfo") && !times.attr("tzinfo").is_none()) {
    const py::object utc = py::module_::import("datetime").attr("timezone").attr("utc");
    times = times.attr("astimezone")(utc).attr("replace")(py::arg("tzinfo") = py::none());
  }
  const py::object array =
      py::module_::import("numpy").attr("asarray")(times, py::arg("dtype") = "datetime64[s]");
  auto seconds = array.attr("astype")("int64").cast<py::array_t<std::int64_t>>();
  for (py::ssize_t i = 0; i < seconds.size(); ++i) {
    if (seconds.data()[i] == std::numeric_limits<std::int64_t>::min()) {
      throw py::value_error("not a time");
    }
  }
  return seconds;
}

std::int64_t Second(const py::object& time) {
  const auto seconds = Seconds(time);
  if (seconds.ndim() != 0) {
    throw py::value_error("one time is needed");
  }
  return *seconds.data();
}

py::object Time(std::int64_t seconds) {
  return py::module_::import("numpy").attr("datetime64")(seconds, "s");
}

std::pair<std::int64_t, std::int64_t> Interval(const py::object& start, const py::object& end) {
  const std::pair interval(Second(start), Second(end));
  if (interval.first >= interval.second) {
    throw py::value_error("the interval must not be empty or run backwards");
  }
  return interval;
}

py::object ValuesAt(const CSigPairsTm& pairs, const py::object& times) {
  const auto seconds = Seconds(times);
  if (seconds.ndim() == 0) {
    return py::float_(pairs.WertBei(*seconds.data()));
  }
  py::array_t<float> values(seconds.size());
  for (py::ssize_t i = 0; i < seconds.size(); ++i) {
    values.mutable_at(i) = pairs.WertBei(seconds.data()[i]);
  }
  return values.attr("reshape")(seconds.attr("shape"));
}

py::object Times(const CSigPairsTm& pairs) {
  py::array_t<std::int64_t> times(static_cast<py::ssize_t>(pairs.NPaare()));
  for (std::uint32_t i = 0; i < pairs.NPaare(); ++i) {
    times.mutable_at(i) = pairs.RoundedTimeAt(i);
  }
  return times.attr("view")("datetime64[s]");
}

py::tuple FieldsOf(const CSigPairsVM& pairs) {
  py::tuple texts(CQuinterMFC::kFields);
  for (unsigned i = 0; i < CQuinterMFC::kFields; ++i) {
    texts[i] = pairs.Specification().Field(i);
  }
  return texts;
}

void SetFields(CSigPairsVM& pairs, const py::tuple& texts) {
  CQuinterMFC specification;
  for (unsigned i = 0; i < CQuinterMFC::kFields; ++i) {
    specification.Field(i, texts[i].cast<wide_string>());
  }
  if (!pairs.SetSpecification(specification)) {
    throw std::bad_alloc();
  }
}

void BindTimePairs(py::module_& module) {
  py::class_<CSigPairsTm, CSigPairs> pairs(module, "CSigPairsTm",
                                           "Pairs over calendar time: x runs from 0 to 1 over an "
                                           "interval; times are whole seconds, UTC, "
                                           "given as numpy.datetime64 takes them.");
  pairs
      .def(py::init([](const py::object& start, const py::object& end) {
             const auto [from, to] = Interval(start, end);
             auto made = std::make_unique<CSigPairsTm>();
             made->Neustart(from, to);
             return made;
           }),
           py::arg("start"), py::arg("end"))
      .def(
          "NeuesPaar",
          [](CSigPairsTm& p, const py::object& time, float y) {
            RefuseIfHeld(p);
            const int index = p.NeuesPaar(Second(time), y);
            if (index < 0) {
              throw std::bad_alloc();
            }
            return index;
          },
          py::arg("time"), py::arg("y"),
          "Inserts a pair in order, widening the interval: its index.")
      .def("WertBei", &ValuesAt, py::arg("time"), "y at a time, or at each of an array of times.")
      .def(
          "HatWertBei",
          [](const CSigPairsTm& p, const py::object& time, std::int64_t tolerance) {
            return p.HatWertBei(Second(time), std::chrono::seconds(tolerance));
          },
          py::arg("time"), py::arg("seconds"), "Whether a pair lies so near.")
      .def(
          "ZeitraumAendern",
          [](CSigPairsTm& p, const py::object& start, const py::object& end) {
            RefuseIfHeld(p);
            const auto [from, to] = Interval(start, end);
            p.ZeitraumAendern(from, to);
          },
          py::arg("start"), py::arg("end"), "Changes the interval; the pairs keep their times.")
      .def_property_readonly("times", &Times, "The times of all pairs.")
      .def_property_readonly(
          "start", [](const CSigPairsTm& p) { return Time(p.StartZeit()); },
          "Start of the interval.")
      .def_property_readonly(
          "end", [](const CSigPairsTm& p) { return Time(p.EndZeit()); }, "End of the interval.");
  BindCopies(
      pairs, [](const CSigPairsTm& p) { return py::make_tuple(p.StartZeit(), p.EndZeit()); },
      [](CSigPairsTm& p, const py::tuple& more) {
        p.Neustart(more[0].cast<std::int64_t>(), more[1].cast<std::int64_t>());
      });
}

void BindMeasurementPairs(py::module_& module) {
  using Pairs = CSigPairsVM;
  py::class_<Pairs, CSigPairs> pairs(module, "CSigPairsVM",
                                     "Pairs with the description of their measurement.");
  pairs.def(py::init(&FromColumns<Pairs>), py::arg("x"), py::arg("y"))
      .def(
          "SetSpecification",
          [](Pairs& p, std::u16string_view step, std::u16string_view channel,
             std::u16string_view location, std::u16string_view instrument,
             std::u16string_view parameter) {
            if (!p.SetSpecification(step, channel, location, instrument, parameter)) {
              throw std::bad_alloc();
            }
          },
          py::arg("step"), py::arg("channel") = "", py::arg("location") = "",
          py::arg("instrument") = "", py::arg("parameter") = "",
          "Describes the measurement; the sensor stays.")
      .def_property_readonly("specification", &FieldsOf,
                             "Step, channel, location, instrument, parameter and sensor.")
      .def("SetzeTriggerStartStop", &Pairs::SetzeTriggerStartStop, py::arg("start"),
           py::arg("stop"), "Keeps what starts and stops the measurement, for the host.")
      .def("SetzeTriggerMethode", &Pairs::SetzeTriggerMethode, py::arg("method"),
           "Keeps how the measurement is triggered, for the host.")
      .def("TriggerStart", &Pairs::TriggerStart, "What starts the measurement.")
      .def("TriggerStop", &Pairs::TriggerStop, "What stops the measurement.")
      .def("TriggerMethode", &Pairs::TriggerMethode, "How the measurement is triggered.");
  BindCopies(
      pairs,
      [](const Pairs& p) {
        return py::make_tuple(FieldsOf(p), p.TriggerStart(), p.TriggerStop(), p.TriggerMethode());
      },
      [](Pairs& p, const py::tuple& more) {
        SetFields(p, more[0].cast<py::tuple>());
        p.SetzeTriggerStartStop(more[1].cast<std::int32_t>(), more[2].cast<std::int32_t>());
        p.SetzeTriggerMethode(more[3].cast<std::int32_t>());
      });
}

}  // namespace

void BindPairVariants(py::module_& module) {
  BindTimePairs(module);
  BindMeasurementPairs(module);
}

}  // namespace limes::python

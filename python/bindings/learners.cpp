#include <memory>

#include "bindings.h"

namespace limes::python {
namespace {

using LockedValue = Locked<CLernenderGrenzwert>;
using LockedCurve = Locked<CKurvenLernWerkzeug>;
using LockedTrack = Locked<CTrackLernWerkzeug>;

void Require(MergeStatus status) {
  if (status != MergeStatus::kOk) {
    throw py::value_error(Utf8(Text(status)));
  }
}

/// Why a curve cannot be learnt or judged on a grid; null when it can.
const char* Misfit(const CSigCurveExt* grid, const CSigCurve& curve) {
  if (grid == nullptr) {
    return "no template yet: call Vorlage first";
  }
  if (!grid->FitTogether(&curve)) {
    return "the curve has another grid: fit it first";
  }
  if (!(grid->XUnit() == curve.XUnit()) || !(grid->YUnit() == curve.YUnit())) {
    return "the curve has other units";
  }
  return nullptr;
}

void RequireFit(const CSigCurveExt* grid, const CSigCurve& curve) {
  if (const char* reason = Misfit(grid, curve)) {
    throw py::value_error(reason);
  }
}

/// A copy of a curve that a tool owns; None while there is none.
std::unique_ptr<CSigCurveExt> CopyOf(const CSigCurveExt* curve) {
  return curve == nullptr ? nullptr : std::make_unique<CSigCurveExt>(*curve);
}

template <class T>
std::unique_ptr<Locked<T>> FromState(const py::bytes& bytes) {
  auto tool = std::make_unique<Locked<T>>();
  CMemoryStream file = StreamOver(bytes);
  if (const LearnStateStatus status = tool->ReadState(file); status != LearnStateStatus::kOk) {
    throw py::value_error(Utf8(Text(status)));
  }
  return tool;
}

bool Form(CKurvenLernWerkzeug& tool) {
  return tool.StandardAbwBilden() != 0 && tool.UpdateLimit() != 0;
}
bool Form(CTrackLernWerkzeug& tool) { return tool.GrenzeBilden(); }
bool Form(CLernenderGrenzwert&) { return true; }  // its limit is part of its state

/// What all three learners do alike: states, pickling, joining. A copy has a limit, formed of what
/// is learnt, when anything is.
template <class T>
void BindState(py::class_<Locked<T>>& tool) {
  const auto state = [](Locked<T>& t) {
    return WrittenBytes([&](CMemoryStream& file) {
      return Exclusively(t, kLongLoop, [&](T& plain) { return plain.WriteState(file); });
    });
  };
  tool.def("WriteState", state, "The whole state, bit for bit.")
      .def_static("ReadState", &FromState<T>, py::arg("state"),
                  "A learner of what WriteState gave; ValueError says what is wrong with it.")
      .def(
          "Merge",
          [](Locked<T>& t, Locked<T>& other) {
            if (&t == &other) {
              throw py::value_error("a state cannot be joined with itself");
            }
            MergeStatus status = MergeStatus::kOk;
            {
              const py::gil_scoped_release open;
              const std::scoped_lock both(t.mutex, other.mutex);
              status = t.T::Merge(other);
            }
            Require(status);
          },
          py::arg("other"), "Joins the state with one that was learnt elsewhere, as the later one.")
      .def(py::pickle([state](Locked<T>& t) { return py::make_tuple(state(t)); },
                      [](const py::tuple& s) {
                        auto read = FromState<T>(s[0].cast<py::bytes>());
                        static_cast<void>(Form(*read));  // false with nothing learnt
                        return read;
                      }));
}

/// The fields of a judgement, which is true when the part passed.
template <class Judgement, class... T>
void BindFields(py::class_<Judgement> judgement, std::pair<const char*, T Judgement::*>... fields) {
  (judgement.def_readonly(fields.first, fields.second), ...);
  judgement.def("__bool__", [](const Judgement& j) { return j.verdict == Verdict::kPass; })
      .def(py::pickle([=](const Judgement& j) { return py::make_tuple(j.*fields.second...); },
                      [=](const py::tuple& state) {
                        Judgement j;
                        std::size_t i = 0;
                        ((j.*fields.second = state[i++].template cast<T>()), ...);
                        return j;
                      }));
}

void BindJudgements(py::module_& module) {
  py::enum_<Verdict>(module, "Verdict", "What a limit says of a part.")
      .value("PASS", Verdict::kPass)
      .value("FAIL", Verdict::kFail)
      .value("NOT_JUDGED", Verdict::kNotJudged);
  using Value = SValueJudgement;
  py::class_<Value> value(module, "SValueJudgement", "Judgement of a value by a learnt limit.");
  value.def("__repr__", [](const Value& j) {
    return py::str("<{}: value {:g}, limit {:g}>").format(Text(j.verdict), j.value, j.limit);
  });
  BindFields(value, std::pair("verdict", &Value::verdict), std::pair("value", &Value::value),
             std::pair("limit", &Value::limit), std::pair("mean", &Value::mean),
             std::pair("spread", &Value::spread), std::pair("deviation", &Value::deviation));
  using Curve = SCurveJudgement;
  py::class_<Curve> curve(module, "SCurveJudgement",
                          "Judgement of a curve by a learnt limit curve.");
  curve.def("__repr__", [](const Curve& j) {
    return py::str("<{}: deviation {:g} at x {:g}, value {:g}, limit {:g}>")
        .format(Text(j.verdict), j.deviation, j.x, j.value, j.limit);
  });
  BindFields(curve, std::pair("verdict", &Curve::verdict), std::pair("x0", &Curve::x0),
             std::pair("x1", &Curve::x1), std::pair("share", &Curve::share),
             std::pair("deviation", &Curve::deviation), std::pair("rms", &Curve::rms),
             std::pair("x", &Curve::x), std::pair("value", &Curve::value),
             std::pair("limit", &Curve::limit), std::pair("mean", &Curve::mean),
             std::pair("spread", &Curve::spread));
}

void BindValueLearner(py::module_& module) {
  py::class_<LockedValue> tool(module, "CLernenderGrenzwert",
                               "Upper limit of a single value: base + mean + factor * spread.");
  tool.def(py::init([](std::int32_t timeScale) {
             auto made = std::make_unique<LockedValue>();
             made->Neustart(timeScale);
             return made;
           }),
           py::arg("time_scale") = 10000)
      .def("Neustart", &LockedValue::Neustart, py::arg("time_scale"))
      .def("Bildungsregel", &LockedValue::Bildungsregel, py::arg("base"), py::arg("factor"))
      .def("NeueMessung", static_cast<void (LockedValue::*)(double)>(&LockedValue::NeueMessung),
           py::arg("value"))
      .def(
          "NeueMessungen",
          [](LockedValue& t, const py::array_t<double, py::array::forcecast>& values) {
            if (values.ndim() != 1) {
              throw py::value_error("the values must be one-dimensional");
            }
            const auto v = values.unchecked<1>();
            Exclusively(t, static_cast<std::size_t>(v.size()), [&](CLernenderGrenzwert& plain) {
              for (py::ssize_t i = 0; i < v.size(); ++i) {
                plain.NeueMessung(v(i));
              }
            });
          },
          py::arg("values"), "Learns one value after the other.")
      .def("Judge", &LockedValue::Judge, py::arg("value"))
      .def("GrenzenGrenzen", &LockedValue::GrenzenGrenzen, py::arg("lower"), py::arg("upper"))
      .def("NrGelernt", &LockedValue::NrGelernt)
      .def("Mittelwert", &LockedValue::Mittelwert)
      .def("StdDev", &LockedValue::StdDev)
      .def("Grenzwert", &LockedValue::Grenzwert)
      .def("Sockel", &LockedValue::Sockel)
      .def("Faktor", &LockedValue::Faktor)
      .def_property(
          "name", [](const LockedValue& t) { return wide_string(t.Name()); },
          [](LockedValue& t, std::u16string_view name) { t.NameIst(name); });
  BindState<CLernenderGrenzwert>(tool);
}

/// Learns a curve of a grid that fits.
void LearnCurve(LockedCurve& t, const CSigCurveExt& curve) {
  const Hold hold(curve);
  const char* misfit = Exclusively(t, curve.DLen(), [&](CKurvenLernWerkzeug& plain) {
    const char* reason = Misfit(plain.Mittelwert(), curve);
    if (reason == nullptr) {
      plain.NeueMessung(&curve);
    }
    return reason;
  });
  if (misfit != nullptr) {
    throw py::value_error(misfit);
  }
}

void BindCurveLearner(py::module_& module) {
  py::class_<LockedCurve> tool(
      module, "CKurvenLernWerkzeug",
      "Upper limit along a curve: base + mean + factor * spread, point by point.");
  const auto part = [](CSigCurveExt* (CKurvenLernWerkzeug::*get)() const) {
    return [get](LockedCurve& t) {
      return Exclusively(t, 0,
                         [get](CKurvenLernWerkzeug& plain) { return CopyOf((plain.*get)()); });
    };
  };
  tool.def(py::init<>())
      .def(
          "Vorlage",
          [](LockedCurve& t, const CSigCurveExt& curve) {
            const Hold hold(curve);
            Exclusively(t, curve.DLen(),
                        [&](CKurvenLernWerkzeug& plain) { plain.Vorlage(&curve); });
          },
          py::arg("template"), "Sets grid and units; then call Neustart.")
      .def("Bildungsregel", &LockedCurve::Bildungsregel, py::arg("base"), py::arg("factor"),
           py::arg("width") = 0.0F)
      .def("Neustart", &LockedCurve::Neustart, py::arg("time_scale") = 10000)
      .def(
          "Fitted",
          [](LockedCurve& t, py::object curve) {
            if (!py::isinstance<CSigCurveExt>(curve)) {
              throw py::type_error("a part is a CSigCurveExt, not " +
                                   std::string(Py_TYPE(curve.ptr())->tp_name));
            }
            const auto& given = curve.cast<const CSigCurveExt&>();
            const CSigCurveExt* grid = t.Mittelwert();
            const bool fits = grid == nullptr || grid->FitTogether(&given);
            return fits ? curve : py::cast(Fitted(given, *grid, false));
          },
          py::arg("curve"), "The curve itself when it is on the learnt grid, else fitted to it.")
      .def("NeueMessung", &LearnCurve, py::arg("curve"),
           "Learns one curve; ValueError when it does not fit the template.")
      .def(
          "UpdateLimit",
          [](LockedCurve& t) {
            const bool formed =
                Exclusively(t, kLongLoop, [](CKurvenLernWerkzeug& plain) { return Form(plain); });
            if (!formed) {
              throw py::value_error("nothing is learnt yet");
            }
          },
          "Forms the limit of what is learnt.")
      .def(
          "Judge",
          [](LockedCurve& t, const CSigCurveExt& curve) {
            RequireFit(t.Mittelwert(), curve);
            const Hold hold(curve);
            return Exclusively(t, curve.DLen(), [&](const CKurvenLernWerkzeug& plain) {
              return plain.Judge(curve);
            });
          },
          py::arg("curve"), "Judges a curve by the limit as it was last formed.")
      .def("NrGelernt", &LockedCurve::NrGelernt)
      .def("Mittelwert", part(&CKurvenLernWerkzeug::Mittelwert), "A copy of the mean.")
      .def("QuadratMW", part(&CKurvenLernWerkzeug::QuadratMW), "A copy of the mean square.")
      .def("StandardAbw", part(&CKurvenLernWerkzeug::StandardAbw), "A copy of the spread.")
      .def("Grenzkurve", part(&CKurvenLernWerkzeug::Grenzkurve), "A copy of the limit.")
      .def("GrenzParameterText", &LockedCurve::GrenzParameterText)
      .def("Sockel", &LockedCurve::Sockel)
      .def("Faktor", &LockedCurve::Faktor)
      .def("Width", &LockedCurve::Width);
  BindState<CKurvenLernWerkzeug>(tool);
}

void BindTrackLearner(py::module_& module) {
  py::class_<LockedTrack> tool(
      module, "CTrackLernWerkzeug",
      "Upper limit along a curve, learnt from curves that each cover a part of the x axis.");
  const auto part = [](const CSigCurveExt* (CTrackLernWerkzeug::*get)() const) {
    return [get](LockedTrack& t) {
      return Exclusively(t, 0, [get](CTrackLernWerkzeug& plain) { return CopyOf((plain.*get)()); });
    };
  };
  tool.def(py::init<>())
      .def(
          "Vorlage", [](LockedTrack& t, const CSigCurveExt& curve) { t.Vorlage(&curve); },
          py::arg("template"), "Sets grid and units; its valid range counts as learnt.")
      .def("Neustart", &LockedTrack::Neustart)
      .def("Bildungsregel", &LockedTrack::Bildungsregel, py::arg("base"), py::arg("factor"))
      .def(
          "NeueMessung",
          [](LockedTrack& t, const CSigCurveExt& curve) {
            RequireFit(t.Mittelwert(), curve);
            const Hold hold(curve);
            Exclusively(t, curve.DLen(),
                        [&](CTrackLernWerkzeug& plain) { plain.NeueMessung(&curve); });
          },
          py::arg("curve"), "Learns one curve; ValueError when it does not fit the template.")
      .def(
          "GrenzeBilden",
          [](LockedTrack& t) {
            if (!Exclusively(t, kLongLoop, [](CTrackLernWerkzeug& plain) { return Form(plain); })) {
              throw py::value_error("nothing is learnt yet");
            }
          },
          "Forms the limit of what is learnt.")
      .def(
          "Judge",
          [](LockedTrack& t, const CSigCurveExt& curve) {
            RequireFit(t.Mittelwert(), curve);
            return Exclusively(t, 0,
                               [&](const CTrackLernWerkzeug& plain) { return plain.Judge(curve); });
          },
          py::arg("curve"), "Judges a curve where enough curves were learnt.")
      .def_property(
          "base_count", [](const LockedTrack& t) { return t.BasisLernenAnzahl(); },
          [](LockedTrack& t, std::uint32_t count) { t.BasisLernenAnzahl(count); })
      .def("HatGelernt", &LockedTrack::HatGelernt)
      .def("Mittelwert", part(&CTrackLernWerkzeug::Mittelwert), "A copy of the mean.")
      .def("QuadratMW", part(&CTrackLernWerkzeug::QuadratMW), "A copy of the mean square.")
      .def("Grenzkurve", part(&CTrackLernWerkzeug::Grenzkurve), "A copy of the limit.")
      .def(
          "StdAbwKurve",
          [](LockedTrack& t) {
            return Exclusively(
                t, 0, [](CTrackLernWerkzeug& plain) { return CopyOf(plain.StdAbwKurve()); });
          },
          "A copy of the spread.")
      .def("LearnCounts", [](const LockedTrack& t) {
        const auto counts = t.LearnCounts();
        return py::array_t<std::uint32_t>(static_cast<py::ssize_t>(counts.size()), counts.data());
      });
  BindState<CTrackLernWerkzeug>(tool);
}

}  // namespace

void BindLearners(py::module_& module) {
  BindJudgements(module);
  BindValueLearner(module);
  BindCurveLearner(module);
  BindTrackLearner(module);
}

}  // namespace limes::python

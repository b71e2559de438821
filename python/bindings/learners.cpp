#include <pybind11/stl.h>

#include <memory>
#include <optional>

#include "bindings.h"
#include "judgements.h"
#include "states.h"

namespace limes::python {
namespace {

using LockedValue = Locked<CLernenderGrenzwert>;
using LockedCurve = Locked<CKurvenLernWerkzeug>;
using LockedTrack = Locked<CTrackLernWerkzeug>;

/// A copy of a curve that a tool owns; None while there is none.
std::unique_ptr<CSigCurveExt> CopyOf(const CSigCurveExt* curve) {
  return curve == nullptr ? nullptr : std::make_unique<CSigCurveExt>(*curve);
}

bool Form(CKurvenLernWerkzeug& tool) {
  return tool.StandardAbwBilden() != 0 && tool.UpdateLimit() != 0;
}
bool Form(CTrackLernWerkzeug& tool) { return tool.GrenzeBilden(); }
bool Form(CLernenderGrenzwert&) { return true; }  // its limit is part of its state

/// A copy has a limit, formed of what is learnt, when anything is.
template <class T>
void BindState(py::class_<Locked<T>>& tool) {
  python::BindState(tool, [](T& read) { static_cast<void>(Form(read)); });
}

void BindEnums(py::module_& module) {
  py::enum_<Verdict>(module, "Verdict", "What a limit says of a part.")
      .value("PASS", Verdict::kPass)
      .value("FAIL", Verdict::kFail)
      .value("NOT_JUDGED", Verdict::kNotJudged);
  py::enum_<PartStatus> status(module, "PartStatus", "Why a part was not learnt, or not judged.");
  using enum PartStatus;
  const std::pair<const char*, PartStatus> all[] = {
      {"OK", kOk},
      {"NOTHING_LEARNT", kNothingLearnt},
      {"NO_VALUES", kNoValues},
      {"NOT_FINITE", kNotFinite},
      {"UNIT", kUnit},
      {"REFERENCE", kReference},
      {"X_UNIT", kXUnit},
      {"STEP", kStep},
      {"GAPS", kGaps},
      {"NO_COMMON_POINT", kNoCommonPoint},
      {"COVERS_TOO_LITTLE", kCoversTooLittle},
      {"LONGER_THAN_TEMPLATE", kLongerThanTemplate},
      {"NO_SIGNAL", kNoSignal},
      {"CLIPPED", kClipped},
      {"RESOLUTION", kResolution},
      {"TOO_LONG", kTooLong},
      {"NO_LIMIT", kNoLimit},
      {"MEMORY", kMemory},
  };
  for (const auto& [name, value] : all) {
    status.value(name, value);
  }
  status.def_property_readonly(
      "text", [](PartStatus s) { return wide_string(Text(s)); }, "The reason in words.");
  py::enum_<SignalHealth>(module, "SignalHealth", "What a recording says of its sensor.")
      .value("UNKNOWN", SignalHealth::kUnknown)
      .value("HEALTHY", SignalHealth::kHealthy)
      .value("SILENT", SignalHealth::kSilent)
      .value("CONSTANT", SignalHealth::kConstant)
      .value("CLIPPED", SignalHealth::kClipped);
  module.def(
      "HealthOf",
      [](const py::object& samples) {
        const py::array_t<float> array = FloatArray(samples);
        return HealthOf({array.data(), static_cast<std::size_t>(array.size())});
      },
      py::arg("samples"), "Whether a recording is silent, constant or clipped.");
}

void BindJudgement(py::module_& module) {
  using Part = SPartJudgement;
  py::class_<Part> part(module, "SPartJudgement",
                        "Judgement of a part by a learnt limit; true when it passed.");
  part.def("__repr__", [](const Part& j) {
    if (j.verdict == Verdict::kNotJudged) {
      return py::str("<not judged: {}>").format(Text(j.reason));
    }
    return py::str("<{}: deviation {:g} at x {:g}, value {:g}, limit {:g}>")
        .format(Text(j.verdict), j.deviation, j.x, j.value, j.limit);
  });
  part.def("__bool__", [](const Part& j) { return j.verdict == Verdict::kPass; });
  BindRecord(
      part, SField("verdict", &Part::verdict, "PASS, FAIL or NOT_JUDGED."),
      SField("reason", &Part::reason, "Why it was not judged; OK when it was."),
      SField("share", &Part::share, "Part of the learnt grid that was judged, 0 to 1."),
      SField("x0", &Part::x0, "First x judged."), SField("x1", &Part::x1, "Last x judged."),
      SField("deviation", &Part::deviation, "Largest value minus limit: above 0 beyond the limit."),
      SField("rms", &Part::rms, "RMS of the excess over all points judged."),
      SField("x", &Part::x,
             "Where the largest deviation lies; value, limit, mean and spread are of that point."),
      SField("value", &Part::value, "Measured there."),
      SField("limit", &Part::limit, "The limit there."),
      SField("mean", &Part::mean, "The learnt mean there."),
      SField("spread", &Part::spread, "The learnt spread there."),
      SField("in_spreads", &Part::inSpreads,
             "Largest value - mean - base in spreads, the factor at which the part would just "
             "pass; None when no point has a spread."),
      SField("x_in_spreads", &Part::xInSpreads, "Where that is."));
}

/// Above and below, of a part by what was learnt before it; none while that is too little.
using Scored = std::optional<std::pair<double, double>>;

Scored ScoresOf(const SPartScoring& scoring) {
  return scoring.isScored ? Scored({scoring.scores.above, scoring.scores.below}) : std::nullopt;
}

/// The checked calls of a learner of curves or tracks.
template <class T>
void BindChecked(py::class_<Locked<T>>& tool) {
  tool.def(
          "LearnPart",
          [](Locked<T>& t, const CSigCurveExt& curve, const std::optional<Mask>& covered,
             SignalHealth health, double minShare, bool allowShort, bool allowConstant) {
            const SCurvePart part = MadePart(curve, covered, health);
            const SPartRule rule{minShare, allowShort, allowConstant};
            const Hold hold(curve);
            SPartScoring scoring;
            Require(Exclusively(t, curve.DLen(),
                                [&](T& plain) { return plain.LearnPart(part, rule, &scoring); }));
            return ScoresOf(scoring);
          },
          py::arg("curve"), py::arg("covered") = py::none(),
          py::arg("health") = SignalHealth::kUnknown, py::arg("min_share") = SPartRule().minShare,
          py::arg("allow_short") = false, py::arg("allow_constant") = false,
          "Learns one curve, drawn on the grid of the first one, and gives its scores by what was "
          "learnt before, from the eleventh on; ValueError says why it is none of these parts.")
      .def(
          "JudgePart",
          [](Locked<T>& t, const CSigCurveExt& curve, const std::optional<Mask>& covered,
             SignalHealth health, double minShare) {
            const SCurvePart part = MadePart(curve, covered, health);
            const Hold hold(curve);
            return Exclusively(t, curve.DLen(),
                               [&](T& plain) { return plain.JudgePart(part, minShare); });
          },
          py::arg("curve"), py::arg("covered") = py::none(),
          py::arg("health") = SignalHealth::kUnknown, py::arg("min_share") = T::kMinShare,
          "Judges a curve by what is learnt; reason tells why it could not be judged.");
}

/// Parts that count, as the weights of the mean have it.
template <class T>
double Effective(Locked<T>& tool) {
  return Exclusively(tool, 0, [](const T& plain) { return EffectiveParts(plain); });
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
      .def("Bildungsregel", &LockedValue::Bildungsregel, py::arg("base"), py::arg("factor"),
           "Sets base and factor; the limit stays until it is formed again.")
      .def(
          "LearnParts",
          [](LockedValue& t, const py::array_t<double, py::array::forcecast>& values,
             const std::optional<CMeasuringUnit>& unit) {
            if (values.ndim() != 1) {
              throw py::value_error("the values must be one-dimensional");
            }
            const auto v = values.unchecked<1>();
            std::vector<Scored> scores(static_cast<std::size_t>(v.size()));
            py::ssize_t i = 0;
            const LearnStatus status =
                Exclusively(t, scores.size(), [&](CLernenderGrenzwert& plain) {
                  SValuePart part(0.0);
                  part.unit = unit;
                  LearnStatus learnt = LearnStatus::kOk;
                  for (; i < v.size() && learnt == LearnStatus::kOk; ++i) {
                    SPartScoring scoring;
                    part.value = v(i);
                    learnt = plain.LearnPart(part, {}, &scoring);
                    scores[static_cast<std::size_t>(i)] = ScoresOf(scoring);
                  }
                  return learnt;
                });
            if (status != LearnStatus::kOk && status != LearnStatus::kMemory) {
              throw py::value_error("value " + std::to_string(i) + ": " + Utf8(Text(status)));
            }
            Require(status);
            return scores;
          },
          py::arg("values"), py::arg("unit") = py::none(),
          "Learns one value after the other and gives the scores of each as LearnPart does; "
          "ValueError at the first one that cannot be learnt.")
      .def(
          "JudgePart",
          [](LockedValue& t, double value, const std::optional<CMeasuringUnit>& unit,
             double resolution) {
            SValuePart part(value);
            part.unit = unit;
            part.resolution = resolution;
            return Exclusively(t, 0,
                               [&](CLernenderGrenzwert& plain) { return plain.JudgePart(part); });
          },
          py::arg("value"), py::arg("unit") = py::none(), py::arg("resolution") = 0.0,
          "Judges a value by what is learnt; reason tells why it could not be judged.")
      .def(
          "UpdateLimit", [](LockedValue& t) { t.GrenzwertErneuern(1.0F); },
          "Forms the limit of what is learnt.")
      .def("GrenzenGrenzen", &LockedValue::GrenzenGrenzen, py::arg("lower"), py::arg("upper"),
           "Keeps limits between these bounds from now on; the upper one wins.")
      .def("NrGelernt", &LockedValue::NrGelernt, "Number of values learnt.")
      .def("EffectiveParts", &Effective<CLernenderGrenzwert>,
           "Parts that count, as the weights of the mean have it.")
      .def("Mittelwert", &LockedValue::Mittelwert, "The mean of what is learnt.")
      .def("StdDev", &LockedValue::StdDev, "The spread of what is learnt.")
      .def("Grenzwert", &LockedValue::Grenzwert, "The limit as it was last formed.")
      .def("Sockel", &LockedValue::Sockel, "Base of the rule.")
      .def("Faktor", &LockedValue::Faktor, "Factor of the rule.")
      .def_property(
          "name", [](const LockedValue& t) { return wide_string(t.Name()); },
          [](LockedValue& t, std::u16string_view name) { t.NameIst(name); },
          "Name of the quantity.");
  BindState<CLernenderGrenzwert>(tool);
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
      .def("Bildungsregel", &LockedCurve::Bildungsregel, py::arg("base"), py::arg("factor"),
           py::arg("width") = 0.0F,
           "Sets base, factor and width of the rule. The width is a place on the x axis: the "
           "running maximum reaches as many points as its index, at most 31.")
      .def("Neustart", &LockedCurve::Neustart, py::arg("time_scale") = 10000,
           "Forgets what was learnt.")
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
      .def("NrGelernt", &LockedCurve::NrGelernt, "Number of curves learnt.")
      .def("EffectiveParts", &Effective<CKurvenLernWerkzeug>,
           "Parts that count, as the weights of the mean have it.")
      .def("Mittelwert", part(&CKurvenLernWerkzeug::Mittelwert), "A copy of the mean.")
      .def("QuadratMW", part(&CKurvenLernWerkzeug::QuadratMW), "A copy of the mean square.")
      .def("StandardAbw", part(&CKurvenLernWerkzeug::StandardAbw), "A copy of the spread.")
      .def("Grenzkurve", part(&CKurvenLernWerkzeug::Grenzkurve), "A copy of the limit.")
      .def("GrenzParameterText", &LockedCurve::GrenzParameterText, "The rule in words.")
      .def("Sockel", &LockedCurve::Sockel, "Base of the rule.")
      .def("Faktor", &LockedCurve::Faktor, "Factor of the rule.")
      .def("Width", &LockedCurve::Width, "Width of the rule.");
  BindChecked<CKurvenLernWerkzeug>(tool);
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
      .def("Neustart", &LockedTrack::Neustart, "Forgets what was learnt.")
      .def("Bildungsregel", &LockedTrack::Bildungsregel, py::arg("base"), py::arg("factor"),
           "Sets base and factor of the rule.")
      .def(
          "LimitScore", &LockedTrack::LimitScore, py::arg("score"),
          "Forms the limit, until the next rule, with the factor at each point that a part of this "
          "score reaches just there.")
      .def(
          "GrenzeBilden",
          [](LockedTrack& t) {
            if (!Exclusively(t, kLongLoop, [](CTrackLernWerkzeug& plain) { return Form(plain); })) {
              throw py::value_error("nothing is learnt yet");
            }
          },
          "Forms the limit of what is learnt.")
      .def_property(
          "base_count", [](const LockedTrack& t) { return t.BasisLernenAnzahl(); },
          [](LockedTrack& t, std::uint32_t count) { t.BasisLernenAnzahl(count); },
          "How often a point must be learnt until it is judged.")
      .def("HatGelernt", &LockedTrack::HatGelernt,
           "Whether anything was learnt, or read from a state.")
      .def("Sockel", &LockedTrack::Sockel, "Base of the rule.")
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
      .def(
          "LearnCounts",
          [](const LockedTrack& t) {
            const auto counts = t.LearnCounts();
            return py::array_t<std::uint32_t>(static_cast<py::ssize_t>(counts.size()),
                                              counts.data());
          },
          "Curves learnt at each point.");
  BindChecked<CTrackLernWerkzeug>(tool);
  BindState<CTrackLernWerkzeug>(tool);
}

}  // namespace

void BindLearners(py::module_& module) {
  BindEnums(module);
  BindJudgement(module);
  BindValueLearner(module);
  BindCurveLearner(module);
  BindTrackLearner(module);
}

}  // namespace limes::python

#include "limes/learning/sided.h"

#include <pybind11/stl.h>

#include <algorithm>
#include <vector>

#include "bindings.h"
#include "judgements.h"
#include "sided_judgement.h"
#include "states.h"

namespace limes::python {
namespace {

template <class Tool>
using Sided = Locked<CSided<Tool>>;

template <class Tool>
constexpr bool kValue = std::is_same_v<Tool, CLernenderGrenzwert>;
template <class Tool>
constexpr bool kTrack = std::is_same_v<Tool, CTrackLernWerkzeug>;

const std::pair<const char*, Sides> kSides[] = {
    {"upper", Sides::kUpper}, {"lower", Sides::kLower}, {"both", Sides::kBoth}};

Sides SidesOf(const std::string& name) {
  for (const auto& [known, sides] : kSides) {
    if (name == known) {
      return sides;
    }
  }
  throw py::value_error("sides must be upper, lower or both, not " + name);
}

template <class Tool>
Side SideOf(const CSided<Tool>& tools, const std::string& name) {
  for (const Side side : tools.Limited()) {
    if (name == SideText(side)) {
      return side;
    }
  }
  throw py::value_error("the side " + name + " is not limited");
}

template <class Tool>
void Form(CSided<Tool>& tools) {
  for (const Side side : tools.Limited()) {
    if constexpr (kValue<Tool>) {
      tools[side].GrenzwertErneuern(1.0F);
    } else if constexpr (kTrack<Tool>) {
      if (tools[side].HatGelernt() && !tools[side].GrenzeBilden()) {
        throw std::bad_alloc();
      }
    } else if (tools[side].NrGelernt() > 0 &&
               (tools[side].StandardAbwBilden() == 0 || tools[side].UpdateLimit() == 0)) {
      throw std::bad_alloc();
    }
  }
}

/// Scores of a part in the sign of the measurement, above and below; none while too little was
/// learnt.
using Scored = std::optional<std::pair<double, double>>;

template <class Tool>
Scored LearnOne(CSided<Tool>& tools, const typename Tool::Part& part, const SPartRule& rule) {
  SPartScoring scoring;
  Require(tools.LearnPart(part, rule, &scoring));
  return scoring.isScored ? Scored({scoring.scores.above, scoring.scores.below}) : std::nullopt;
}

template <class Tool>
SSidedJudgement JudgeOne(CSided<Tool>& tools, const typename Tool::Part& part, double minShare) {
  CSidedJudgement judged;
  tools.JudgePart(part, judged, minShare);
  return JudgementOf(judged, std::as_const(tools).Limited());
}

/// A copy of what one side has learnt, as C++ hosts have it: of the values with their sign changed
/// where that is the lower one.
template <class Tool>
std::unique_ptr<Locked<Tool>> ToolOf(Sided<Tool>& tools, const std::string& name) {
  CMemoryStream written;
  const bool any = Exclusively(tools, kLongLoop, [&](CSided<Tool>& plain) {
    return plain[SideOf(plain, name)].WriteState(written);
  });
  auto copy = std::make_unique<Locked<Tool>>();
  CMemoryStream again(written.Bytes());
  if (any && copy->ReadState(again) != LearnStateStatus::kOk) {
    throw std::bad_alloc();
  }
  if constexpr (!kValue<Tool>) {
    const CSided<Tool>& plain = tools;
    if (!any) {
      const Tool& from = plain[SideOf(plain, name)];
      if constexpr (kTrack<Tool>) {
        copy->Bildungsregel(from.Sockel(), from.Faktor());
      } else {
        copy->Bildungsregel(from.Sockel(), from.Faktor(), from.Width());
      }
    }
  }
  return copy;
}

/// A curve of a side in the sign of the measurement; nothing while there is none.
std::unique_ptr<CSigCurveExt> CurveOf(const CSigCurveExt* curve, bool turned) {
  if (curve == nullptr) {
    return nullptr;
  }
  auto copy = std::make_unique<CSigCurveExt>(*curve);
  if (turned) {
    copy->MirrorY();
  }
  return copy;
}

const CSigCurveExt* SpreadOf(CKurvenLernWerkzeug& tool) { return tool.StandardAbw(); }
const CSigCurveExt* SpreadOf(CTrackLernWerkzeug& tool) { return tool.StdAbwKurve(); }

template <class Tool>
double Effective(Sided<Tool>& tools) {
  return Exclusively(tools, 0, [](CSided<Tool>& plain) {
    if constexpr (kTrack<Tool>) {
      const auto counts = plain.First().LearnCounts();
      const auto most = counts.empty() ? 0U : *std::max_element(counts.begin(), counts.end());
      return EffectiveParts(static_cast<std::int32_t>(std::min<std::uint32_t>(most, INT32_MAX)),
                            Tool::kTimeScale);
    } else {
      return EffectiveParts(plain.First());
    }
  });
}

template <class Tool>
void SetRule(Sided<Tool>& tools, float base, float above, float below, float width) {
  Exclusively(tools, 0, [&](CSided<Tool>& plain) {
    for (const Side side : plain.Limited()) {
      const float factor = side == Side::kUpper ? above : below;
      if constexpr (kValue<Tool> || kTrack<Tool>) {
        plain[side].Bildungsregel(base, factor);
      } else {
        plain[side].Bildungsregel(base, factor, width);
      }
    }
  });
}

template <class Tool>
std::string NameOf(const Sided<Tool>& tools) {
  const auto limited = tools.Limited();
  return limited.size() == 2 ? "both" : SideText(limited[0]);
}

template <class Tool>
py::list StatesOf(Sided<Tool>& tools) {
  py::list states;
  const CSided<Tool>& plain = tools;
  for (const Side side : plain.Limited()) {
    states.append(WrittenBytes([&](CMemoryStream& file) {
      return Exclusively(tools, kLongLoop,
                         [&](CSided<Tool>& locked) { return locked[side].WriteState(file); });
    }));
  }
  return states;
}

template <class Tool>
std::unique_ptr<Sided<Tool>> FromStates(const std::string& sides,
                                        const std::vector<py::bytes>& states) {
  auto made = std::make_unique<Sided<Tool>>(SidesOf(sides));
  if (states.size() != made->Limited().size()) {
    throw py::value_error("the state of a side is missing");
  }
  std::size_t i = 0;
  for (const Side side : made->Limited()) {
    CMemoryStream file = StreamOver(states[i++]);
    const LearnStateStatus status = (*made)[side].ReadState(file);
    if (status != LearnStateStatus::kOk) {
      throw py::value_error(Utf8(Text(status)));
    }
  }
  if (made->Limited().size() == 2) {
    const auto& upper = (*made)[Side::kUpper];
    const auto& lower = (*made)[Side::kLower];
    bool alike = false;
    if constexpr (kValue<Tool>) {
      alike = upper.NrGelernt() == lower.NrGelernt();
    } else {
      alike = upper.Mittelwert()->FitTogether(lower.Mittelwert());
      if constexpr (!kTrack<Tool>) {
        alike = alike && upper.NrGelernt() == lower.NrGelernt();
      }
    }
    if (!alike) {
      throw py::value_error("the states of the two sides are not of the same parts");
    }
  }
  Form(static_cast<CSided<Tool>&>(*made));
  return made;
}

/// Both joined, as the later one; neither changes.
template <class Tool>
std::unique_ptr<Sided<Tool>> Merged(Sided<Tool>& tools, Sided<Tool>& other) {
  if (&tools == &other) {
    throw py::value_error("a state cannot be joined with itself");
  }
  if (NameOf(tools) != NameOf(other)) {
    throw py::value_error("the limits have other sides");
  }
  const auto twin = [](Sided<Tool>& of) {
    return FromStates<Tool>(NameOf(of), StatesOf(of).template cast<std::vector<py::bytes>>());
  };
  auto joined = twin(tools);
  const auto added = twin(other);
  for (const Side side : std::as_const(*joined).Limited()) {
    Require((*joined)[side].Merge((*added)[side]));
  }
  return joined;
}

/// What all kinds of limits do alike.
template <class Tool>
py::class_<Sided<Tool>> BindOne(py::module_& module, const char* name, const char* text) {
  py::class_<Sided<Tool>> tools(module, name, text);
  tools
      .def(py::init([](const std::string& sides) {
             return std::make_unique<Sided<Tool>>(SidesOf(sides));
           }),
           py::arg("sides") = "both")
      .def_property_readonly("sides", &NameOf<Tool>)
      .def("set_rule", &SetRule<Tool>, py::arg("base"), py::arg("above"), py::arg("below"),
           py::arg("width") = 0.0F, "Base and the factors of the spread of both sides.")
      .def(
          "form",
          [](Sided<Tool>& t) { Exclusively(t, kLongLoop, [](CSided<Tool>& p) { Form(p); }); },
          "Forms the limits of what is learnt.")
      .def("tool", &ToolOf<Tool>, py::arg("side"), "A copy of the learner of a side.")
      .def("effective_parts", &Effective<Tool>)
      .def(
          "sureness",
          [](Sided<Tool>& t, const std::string& side) {
            return Exclusively(t, kLongLoop, [&](CSided<Tool>& plain) {
              return SurenessOf(plain[SideOf(plain, side)]);
            });
          },
          py::arg("side"))
      .def_property_readonly("base",
                             [](Sided<Tool>& t) { return std::as_const(t).First().Sockel(); })
      .def("states", &StatesOf<Tool>, "The learn state of each side, the upper one first.")
      .def_static("from_states", &FromStates<Tool>, py::arg("sides"), py::arg("states"))
      .def("merged", &Merged<Tool>, py::arg("other"))
      .def(py::pickle([](Sided<Tool>& t) { return py::make_tuple(NameOf(t), StatesOf(t)); },
                      [](const py::tuple& s) {
                        return FromStates<Tool>(s[0].cast<std::string>(),
                                                s[1].cast<std::vector<py::bytes>>());
                      }));
  return tools;
}

/// What limits of curves and of tracks do alike.
template <class Tool>
void BindAlongX(py::class_<Sided<Tool>>& tools) {
  const auto copied = [&](const char* what, const CSigCurveExt* (*get)(Tool&), bool signs) {
    tools.def(
        what,
        [get, signs](Sided<Tool>& t, const std::string& sideName) {
          return Exclusively(t, 0, [&](CSided<Tool>& plain) {
            const Side side = SideOf(plain, sideName);
            return CurveOf(get(plain[side]), signs && side == Side::kLower);
          });
        },
        py::arg("side"), "A copy in the sign of the measurement; None while there is none.");
  };
  copied(
      "mean", [](Tool& t) -> const CSigCurveExt* { return t.Mittelwert(); }, true);
  copied(
      "limit", [](Tool& t) -> const CSigCurveExt* { return t.Grenzkurve(); }, true);
  copied(
      "spread", [](Tool& t) { return SpreadOf(t); }, false);
  tools
      .def(
          "learn",
          [](Sided<Tool>& t, const CSigCurveExt& curve, const std::optional<Mask>& covered,
             SignalHealth health, double minShare, bool allowShort, bool allowConstant) {
            const SCurvePart part = MadePart(curve, covered, health);
            const SPartRule rule{minShare, allowShort, allowConstant};
            const Hold hold(curve);
            return Exclusively(t, curve.DLen(),
                               [&](CSided<Tool>& plain) { return LearnOne(plain, part, rule); });
          },
          py::arg("curve"), py::arg("covered"), py::arg("health"),
          py::arg("min_share") = SPartRule().minShare, py::arg("allow_short") = false,
          py::arg("allow_constant") = false)
      .def(
          "judge",
          [](Sided<Tool>& t, const CSigCurveExt& curve, const std::optional<Mask>& covered,
             SignalHealth health, double minShare) {
            const SCurvePart part = MadePart(curve, covered, health);
            const Hold hold(curve);
            return Exclusively(t, curve.DLen(), [&](CSided<Tool>& plain) {
              return JudgeOne(plain, part, minShare);
            });
          },
          py::arg("curve"), py::arg("covered"), py::arg("health"), py::arg("min_share"));
}

void BindValues(py::module_& module) {
  using Tool = CLernenderGrenzwert;
  auto tools = BindOne<Tool>(module, "SidedValues", "Limits of a single value.");
  const auto number = [&](const char* what, float (*get)(const Tool&), bool signs) {
    tools.def(
        what,
        [get, signs](Sided<Tool>& t, const std::string& name) {
          const Side side = SideOf(std::as_const(t), name);
          return (signs && side == Side::kLower ? -1.0F : 1.0F) * get(std::as_const(t)[side]);
        },
        py::arg("side"));
  };
  number(
      "mean", [](const Tool& t) { return t.Mittelwert(); }, true);
  number(
      "limit", [](const Tool& t) { return t.Grenzwert(); }, true);
  number(
      "spread", [](const Tool& t) { return t.StdDev(); }, false);
  tools
      .def(
          "restart",
          [](Sided<Tool>& t, std::int32_t timeScale) {
            Exclusively(t, 0, [&](CSided<Tool>& plain) {
              for (const Side side : plain.Limited()) {
                plain[side].Neustart(timeScale);
              }
            });
          },
          py::arg("time_scale"))
      .def_property_readonly("count", [](Sided<Tool>& t) { return t.First().NrGelernt(); })
      .def(
          "learn",
          [](Sided<Tool>& t, const py::array_t<double, py::array::forcecast>& values,
             const std::optional<CMeasuringUnit>& unit) {
            if (values.ndim() != 1) {
              throw py::value_error("the values must be one-dimensional");
            }
            const auto v = values.unchecked<1>();
            std::vector<Scored> scores;
            try {
              Exclusively(t, static_cast<std::size_t>(v.size()), [&](CSided<Tool>& plain) {
                SValuePart part(0.0);
                part.unit = unit;
                for (py::ssize_t i = 0; i < v.size(); ++i) {
                  part.value = v(i);
                  scores.push_back(LearnOne(plain, part, {}));
                }
              });
            } catch (const py::value_error& e) {
              throw py::value_error("value " + std::to_string(scores.size() + 1) + ": " + e.what());
            }
            return scores;
          },
          py::arg("values"), py::arg("unit") = py::none())
      .def(
          "judge",
          [](Sided<Tool>& t, double value, const std::optional<CMeasuringUnit>& unit,
             double resolution) {
            SValuePart part(value);
            part.unit = unit;
            part.resolution = resolution;
            return Exclusively(
                t, 0, [&](CSided<Tool>& plain) { return JudgeOne(plain, part, Tool::kMinShare); });
          },
          py::arg("value"), py::arg("unit") = py::none(), py::arg("resolution") = 0.0);
}

}  // namespace

void BindSided(py::module_& module) {
  BindSidedJudgement(module);
  BindValues(module);

  auto curves = BindOne<CKurvenLernWerkzeug>(module, "SidedCurves", "Limits along a curve.");
  BindAlongX(curves);
  curves
      .def(
          "restart",
          [](Sided<CKurvenLernWerkzeug>& t, std::int32_t timeScale) {
            Exclusively(t, 0, [&](auto& plain) {
              for (const Side side : plain.Limited()) {
                plain[side].Neustart(timeScale);
              }
            });
          },
          py::arg("time_scale"), "Forgets what was learnt.")
      .def_property_readonly("count",
                             [](Sided<CKurvenLernWerkzeug>& t) { return t.First().NrGelernt(); })
      .def_property_readonly("width",
                             [](Sided<CKurvenLernWerkzeug>& t) { return t.First().Width(); });

  auto tracks =
      BindOne<CTrackLernWerkzeug>(module, "SidedTracks", "Limits along a curve, of tracks.");
  BindAlongX(tracks);
  using Tracks = Sided<CTrackLernWerkzeug>;
  tracks
      .def(
          "limit_scores",
          [](Tracks& t, double above, double below) {
            Exclusively(t, 0, [&](auto& plain) {
              for (const Side side : plain.Limited()) {
                plain[side].LimitScore(side == Side::kUpper ? above : below);
              }
            });
          },
          py::arg("above"), py::arg("below"),
          "Forms the limits, until the next rule, by the scores of parts that just reach them.")
      .def_property(
          "base_count", [](const Tracks& t) { return t.First().BasisLernenAnzahl(); },
          [](Tracks& t, std::uint32_t count) {
            for (const Side side : t.Limited()) {
              t[side].BasisLernenAnzahl(count);
            }
          })
      .def_property_readonly("has_learnt", [](const Tracks& t) { return t.First().HatGelernt(); })
      .def("counts", [](const Tracks& t) {
        const auto counts = t.First().LearnCounts();
        return py::array_t<std::uint32_t>(static_cast<py::ssize_t>(counts.size()), counts.data());
      });
}

}  // namespace limes::python

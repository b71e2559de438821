#include <cmath>

#include "bindings.h"
#include "states.h"

namespace limes::python {
namespace {

using Modes = Locked<CCommonModes>;
using Doubles = py::array_t<double, py::array::c_style | py::array::forcecast>;

/// What the modes tell of a part, with its scores.
struct Told {
  SModesOfPart part;
  SModesScoring scoring;
};

std::span<const double> RowOf(const Doubles& part) {
  if (part.ndim() != 1) {
    throw py::value_error("a part is a row of numbers");
  }
  return {part.data(), static_cast<std::size_t>(part.size())};
}

void Require(PartStatus status) {
  if (status == PartStatus::kMemory) {
    throw std::bad_alloc();
  }
  if (status != PartStatus::kOk) {
    throw py::value_error(Utf8(Text(status)));
  }
}

Told Explained(Modes& modes, const Doubles& part, double base) {
  const std::span<const double> row = RowOf(part);
  Told told;
  Require(Exclusively(modes, row.size(), [&](CCommonModes& plain) {
    const PartStatus status = plain.Explain(row, told.part);
    if (status == PartStatus::kOk) {
      told.scoring = plain.Score(row, told.part, base);
    }
    return status;
  }));
  return told;
}

py::array_t<double> Row(const std::vector<double>& values) {
  return py::array_t<double>(static_cast<py::ssize_t>(values.size()), values.data());
}

/// One row a mode.
py::array_t<double> Curves(Modes& modes) {
  const std::size_t n = modes.Points();
  py::array_t<double> curves({modes.Modes(), n});
  for (std::size_t k = 0; k < modes.Modes(); ++k) {
    modes.ModeCurve(k, {curves.mutable_data() + k * n, n});
  }
  return curves;
}

py::array_t<double> Shares(Modes& modes) {
  std::vector<double> shares;
  for (std::size_t k = 0; k < modes.Modes(); ++k) {
    shares.push_back(modes.VarianceShare(k));
  }
  return Row(shares);
}

}  // namespace

void BindModes(py::module_& module) {
  py::class_<Told>(module, "ModesOfPart",
                   "What common modes tell of a part: the amounts in spreads, what is expected at "
                   "each point and the spread about it, and the scores above and below.")
      .def_property_readonly("amounts", [](const Told& t) { return Row(t.part.amounts); })
      .def_property_readonly("expected", [](const Told& t) { return Row(t.part.expected); })
      .def_property_readonly("spread", [](const Told& t) { return Row(t.part.spread); })
      .def_property_readonly("whole", [](const Told& t) { return t.part.whole; })
      .def_property_readonly("scores", [](const Told& t) {
        const SPartScores& s = t.scoring.scores;
        return t.part.whole > 0.0 ? py::tuple(py::make_tuple(s.above, s.below, s.whole))
                                  : py::tuple(py::make_tuple(s.above, s.below));
      });
  py::class_<Modes> modes(module, "CCommonModes",
                          "The main ways in which good parts differ all together, learnt from rows "
                          "of values; NaN stands where a part was not measured.");
  modes
      .def(py::init<std::int32_t, std::int32_t, bool>(), py::arg("modes") = 3,
           py::arg("time_scale") = 10000, py::arg("whole") = false)
      .def(
          "learn",
          [](Modes& m, const Doubles& part) {
            const std::span<const double> row = RowOf(part);
            Require(Exclusively(m, row.size(), [&](CCommonModes& p) { return p.Learn(row); }));
          },
          py::arg("part"), "Learns a part; ValueError, with nothing changed, when it does not fit.")
      .def(
          "form", [](Modes& m) { Exclusively(m, 0, [](CCommonModes& p) { p.Form(); }); },
          "Forms the modes of all parts learnt, when they are enough.")
      .def("explain", &Explained, py::arg("part"), py::arg("base") = 0.0,
           "What the modes tell of a part; ValueError before they are formed.")
      .def(
          "amount_limit",
          [](Modes& m, const SCalibratedLimit& limit, bool oneSide) {
            return m.AmountLimit(limit, oneSide ? ScoreSides::kOne : ScoreSides::kBoth);
          },
          py::arg("limit"), py::arg("one_side") = false, "The amount that is still good.")
      .def_property_readonly("formed", [](Modes& m) { return m.IsFormed(); })
      .def_property_readonly("parts_needed", [](Modes& m) { return m.PartsNeeded(); })
      .def_property_readonly(
          "effective", [](Modes& m) { return m.Effective(); }, "Parts that factors are told by.")
      .def_property_readonly("shares", &Shares, "Of the variance, of each mode.")
      .def_property_readonly("curves", &Curves,
                             "What one spread of each mode adds to each point; a row a mode.")
      .def("__len__", [](Modes& m) { return m.Learnt(); });
  BindState(modes, [](CCommonModes&) {}, {"__bytes__", "from_bytes", "merge"});
}

}  // namespace limes::python

#include <cmath>
#include <map>
#include <vector>

#include "bindings.h"
#include "states.h"

namespace limes::python {
namespace {

using Calibration = Locked<CLimitCalibration>;
using Doubles = py::array_t<double, py::array::c_style | py::array::forcecast>;

double Share(double share, const char* name) {
  if (!(share > 0.0 && share < 1.0)) {
    throw py::value_error(std::string(name) + " must lie between 0 and 1 (0.01 is 1 %), not be " +
                          py::str(py::float_(share)).cast<std::string>());
  }
  return share;
}

void Add(Calibration& calibration, const Doubles& scores) {
  const bool both = calibration.Sides() == ScoreSides::kBoth;
  const bool whole = calibration.HasWhole();
  if (scores.size() == 0) {
    return;
  }
  const py::ssize_t columns = (both ? 2 : 1) + (whole ? 1 : 0);
  const py::ssize_t n = scores.size() / columns;
  const py::ssize_t dimensions = columns > 1 ? 2 : 1;
  const bool oneRow = scores.ndim() == dimensions - 1 && scores.size() == columns;
  const py::ssize_t last = columns > 1 ? columns : n;
  if (!oneRow && (scores.ndim() != dimensions || scores.shape(scores.ndim() - 1) != last)) {
    throw py::value_error(std::string(both ? "both sides take pairs of scores, above and below"
                                           : "one side takes a row of scores") +
                          (whole ? ", with that of the whole behind each" : ""));
  }
  const double* const all = scores.data();
  for (py::ssize_t i = 0; i < scores.size(); ++i) {
    if (std::isnan(all[i])) {
      throw py::value_error("the score of part " + std::to_string(i / columns) + " is no number");
    }
  }
  Exclusively(calibration, static_cast<std::size_t>(n) * 100, [&](CLimitCalibration& plain) {
    for (py::ssize_t i = 0; i < n; ++i) {
      const double* const row = all + i * columns;
      const SPartScores part{row[0], both ? row[1] : kLowestScore,
                             whole ? row[columns - 1] : kLowestScore};
      if (!plain.Add(part)) {
        throw std::bad_alloc();  // at the first one, when it is at all
      }
    }
  });
}

/// Rank of the limit among its scores.
std::int64_t RankOf(const SCalibratedLimit& limit) {
  const auto all = static_cast<double>(limit.scores + 1);
  return limit.scores + 1 - std::llround(limit.promised * all);
}

std::pair<std::int64_t, std::int64_t> Rejected(const SCalibratedLimit& limit, std::int64_t judged,
                                               double sure) {
  constexpr std::int64_t kMostJudged = 10'000'000;  // takes about a second
  if (limit.basis == CalibrationBasis::kNone || judged < 0 || judged > kMostJudged) {
    throw py::value_error(judged < 0 ? "judged must not be negative"
                          : judged > kMostJudged
                              ? "judged must be 10000000 at most"
                              : "without a limit nothing is said of rejected parts");
  }
  const SInterval parts = RejectedParts(limit.scores, RankOf(limit), judged, Share(sure, "sure"));
  const bool ranked = limit.basis == CalibrationBasis::kRank;
  return {ranked ? std::llround(parts.low) : 0, std::llround(parts.high)};
}

py::str LimitText(const SCalibratedLimit& limit) {
  switch (limit.basis) {
    case CalibrationBasis::kNone:
      return py::str("<no limit: {} scores are too few>").format(limit.scores);
    case CalibrationBasis::kRank:
      return py::str("<{:.3g} % promised, between {:.2g} and {:.2g} %, from {} scores>")
          .format(100 * limit.promised, 100 * limit.low, 100 * limit.high, limit.scores);
    case CalibrationBasis::kExtrapolated:
      return py::str("<extrapolated: {:.2g} % can be promised from {} scores>")
          .format(100 * limit.promised, limit.scores);
  }
  return {};
}

void BindLimit(py::module_& module) {
  py::enum_<CalibrationBasis>(module, "CalibrationBasis", "What a calibrated limit rests on.")
      .value("NONE", CalibrationBasis::kNone)
      .value("RANK", CalibrationBasis::kRank)
      .value("EXTRAPOLATED", CalibrationBasis::kExtrapolated);
  using Limit = SCalibratedLimit;
  py::class_<Limit>(module, "CalibratedLimit",
                    "The limiting scores for a rate of rejected good parts: above and below (a "
                    "rate is promised by RANK only), and the interval of the rate achieved.")
      .def_readonly("basis", &Limit::basis, "What the limit rests on.")
      .def_readonly("above", &Limit::above, "Score up to which parts pass above the mean.")
      .def_readonly("below", &Limit::below, "Score up to which parts pass below the mean.")
      .def_readonly("scores", &Limit::scores, "How many scores it was formed from.")
      .def_readonly("promised", &Limit::promised,
                    "Chance that a further good part is rejected; extrapolated: the smallest one "
                    "that can be promised.")
      .def_property_readonly(
          "interval", [](const Limit& l) { return std::pair(l.low, l.high); },
          "The central interval of the rate that this calibration reaches.")
      .def(
          "factors",
          [](const Limit& l, double n) { return std::pair(l.FactorAbove(n), l.FactorBelow(n)); },
          py::arg("n"), "The factors of the spread, above and below, with n parts learnt.")
      .def_property_readonly("whole", &CCommonModes::WholeLimit,
                             "How far all points of a part may lie out together.")
      .def("is_too_wide", &Limit::IsTooWide, py::arg("n"),
           "Whether the factors with n parts learnt would let everything pass.")
      .def("rejected", &Rejected, py::arg("judged"), py::arg("sure") = 0.95,
           "Least and most of so many good parts that will be rejected.")
      .def("__repr__", &LimitText)
      .def(py::pickle(
          [](const Limit& l) {
            return py::make_tuple(l.basis, l.above, l.below, l.scores, l.promised, l.low, l.high,
                                  l.whole);
          },
          [](const py::tuple& s) {
            return Limit{s[0].cast<CalibrationBasis>(), s[1].cast<double>(), s[2].cast<double>(),
                         s[3].cast<std::int64_t>(),     s[4].cast<double>(), s[5].cast<double>(),
                         s[6].cast<double>(),           s[7].cast<double>()};
          }));
}

using Parts = py::array_t<float, py::array::c_style | py::array::forcecast>;
using Labels = py::array_t<std::int64_t, py::array::c_style | py::array::forcecast>;

/// Scores of parts, which are the rows of an array: of all by all others, or of each by those
/// before.
class Scoring {
 public:
  Scoring(const Parts& parts, const Parts& base)
      : parts_(parts.data()),
        points_(static_cast<std::size_t>(parts.shape(1))),
        base_(base.data(), static_cast<std::size_t>(base.size())) {}

  /// members: the parts of each group.
  void LeaveOut(const std::vector<std::vector<std::size_t>>& members, SPartScores* out) {
    for (const auto& group : members) {
      Add(all_, group);
    }
    COtherParts left = all_.NewGroup();
    for (const auto& group : members) {
      left.Clear();
      Add(left, group);
      Score(group, left, out);
    }
  }

  /// Groups in the order of their first parts. A part of a group is scored by the parts before the
  /// group's first.
  void OnePass(const std::vector<std::vector<std::size_t>>& members, SPartScores* out) {
    std::size_t before = 0;
    const COtherParts none;
    for (const auto& group : members) {
      for (; before < group.front(); ++before) {
        Add(all_, {before});
      }
      if (all_.Parts() >= kPartsBeforeScores) {
        Score(group, none, out);
      }
    }
  }

 private:
  std::span<const float> Part(std::size_t i) const { return {parts_ + i * points_, points_}; }

  void Add(COtherParts& parts, const std::vector<std::size_t>& added) const {
    for (const std::size_t i : added) {
      if (!parts.Add(Part(i))) {
        throw std::bad_alloc();
      }
    }
  }

  void Score(const std::vector<std::size_t>& group, const COtherParts& left, SPartScores* out) {
    for (const std::size_t i : group) {
      out[i] = all_.Score(Part(i), base_, left);
    }
  }

  const float* parts_;
  std::size_t points_;
  std::span<const float> base_;
  COtherParts all_;
};

py::array_t<double> Scores(const Parts& parts, const Parts& base, const Labels& groups,
                           bool onePass) {
  const auto n = static_cast<std::size_t>(parts.ndim() == 2 ? parts.shape(0) : 0);
  if (parts.ndim() != 2 || (base.size() != 1 && base.size() != parts.shape(1)) ||
      groups.size() != static_cast<py::ssize_t>(n)) {
    throw py::value_error("parts are rows, with one base for all points or one for each");
  }
  std::vector<std::vector<std::size_t>> members;
  std::map<std::int64_t, std::size_t> numbers;
  for (std::size_t i = 0; i < n; ++i) {
    const auto [found, isNew] = numbers.try_emplace(groups.data()[i], members.size());
    if (isNew) {
      members.emplace_back();
    }
    members[found->second].push_back(i);
  }
  std::vector<SPartScores> scores(n, {NAN, NAN});
  {
    Scoring scoring(parts, base);
    const py::gil_scoped_release open;
    onePass ? scoring.OnePass(members, scores.data()) : scoring.LeaveOut(members, scores.data());
  }
  py::array_t<double> array({static_cast<py::ssize_t>(n), py::ssize_t{2}});
  for (std::size_t i = 0; i < n; ++i) {
    array.mutable_data()[2 * i] = scores[i].above;
    array.mutable_data()[2 * i + 1] = scores[i].below;
  }
  return array;
}

}  // namespace

void BindCalibration(py::module_& module) {
  BindLimit(module);
  py::class_<Calibration> calibration(module, "Calibration",
                                      "Forms the limit for a wanted rate of rejected good parts "
                                      "from their scores: pairs, above and "
                                      "below, or with one_side a row.");
  calibration
      .def(py::init([](const Doubles& scores, bool oneSide, bool whole) {
             auto made = std::make_unique<Calibration>(
                 oneSide ? ScoreSides::kOne : ScoreSides::kBoth, whole);
             Add(*made, scores);
             return made;
           }),
           py::arg("scores") = py::tuple(), py::kw_only(), py::arg("one_side") = false,
           py::arg("whole") = false)
      .def("add", &Add, py::arg("scores"),
           "Adds the scores of one part or of many, all or, with a ValueError, none.")
      .def("__len__", [](const Calibration& c) { return c.Scores(); })
      .def_property_readonly(
          "one_side", [](const Calibration& c) { return c.Sides() == ScoreSides::kOne; },
          "Whether parts have one score, not a pair.")
      .def(
          "for_rate",
          [](Calibration& c, double rate, double sure) {
            Share(rate, "the rate");
            Share(sure, "sure");
            return Exclusively(c, 0, [&](CLimitCalibration& p) { return p.ForRate(rate, sure); });
          },
          py::arg("rate"), py::arg("sure") = 0.95, "The limit for a rate between 0 and 1.")
      .def(
          "beyond",
          [](Calibration& c, double above, double below) {
            const SPartsBeyond beyond = Exclusively(
                c, 0, [&](CLimitCalibration& plain) { return plain.Beyond(above, below); });
            return std::pair(beyond.parts, beyond.exact);
          },
          py::arg("above"), py::arg("below") = std::numeric_limits<double>::infinity(),
          "How many parts had a score beyond, and whether there may not have been more.")
      .def_property_readonly(
          "hold_limit",
          [](Calibration& c) {
            return Exclusively(c, 0, [](CLimitCalibration& plain) { return plain.HoldLimit(); });
          },
          "Score up to which good parts can explain a part; infinite with fewer than 4 scores.");
  BindState(calibration, [](CLimitCalibration&) {}, {"__bytes__", "from_bytes", "merge"});
  module.def("ScoreOf", py::vectorize(&ScoreOf), py::arg("excess"), py::arg("n"),
             "Normal scores of excesses in spreads, with n parts learnt.");
  module.def("ScoresOf", &Scores, py::arg("parts"), py::arg("base"), py::arg("groups"),
             py::arg("one_pass"), "Scores of the rows of an array; NaN for the first ones.");
}

}  // namespace limes::python

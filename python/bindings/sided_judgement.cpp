#include "sided_judgement.h"

#include <limits>

#include "judgements.h"

namespace limes::python {
namespace {

/// Excess in spreads, by which sides are compared.
double InSpreads(const SPartJudgement& j) {
  constexpr double kMost = std::numeric_limits<double>::infinity();
  return j.spread > 0.0 ? j.deviation / j.spread : j.deviation > 0.0 ? kMost : j.deviation;
}

/// Whether a says more of the part than b.
bool Decides(const SPartJudgement& a, const SPartJudgement& b) {
  const auto rank = [](Verdict v) {
    return v == Verdict::kFail ? 2 : v == Verdict::kNotJudged ? 1 : 0;
  };
  return rank(a.verdict) != rank(b.verdict) ? rank(a.verdict) > rank(b.verdict)
                                            : InSpreads(a) > InSpreads(b);
}

}  // namespace

SSidedJudgement JudgementOf(const CSidedJudgement& judged, std::span<const Side> limited) {
  SSidedJudgement result;
  for (const Side side : limited) {
    const SPartJudgement& judgement = judged[side];
    if (result.sides.empty() || Decides(judgement, result)) {
      static_cast<SPartJudgement&>(result) = judgement;
      result.side = SideText(side);
    }
    result.sides.emplace(SideText(side), judgement);
    for (const SCurveExcess& region : judged.Regions(side)) {
      result.regions.push_back({region, SideText(side)});
    }
  }
  return result;
}

void BindSidedJudgement(py::module_& module) {
  py::class_<SLimitSureness> sureness(module, "Sureness", "How sure a learnt limit is.");
  using Sure = SLimitSureness;
  sureness.def("__repr__", [](const Sure& s) {
    return py::str("<{} parts, rejects {:.2g} % of good ones by chance at a point>")
        .format(s.parts, 100 * s.rejectedPerPoint);
  });
  BindRecord(sureness,
             SField("parts", &Sure::parts,
                    "Parts learnt; along a track at the point learnt least often that counts."),
             SField("effective_parts", &Sure::effectiveParts,
                    "Parts that count, as the weights of the mean have it."),
             SField("rejected_per_point", &Sure::rejectedPerPoint,
                    "Share of good parts that the limit rejects by chance, 0 to 1, at the worst "
                    "point, for normally distributed measurements."),
             SField("rejected_bound", &Sure::rejectedBound,
                    "Most that all points together reject by chance, 0 to 1."));
  using Region = SRegion;
  py::class_<Region> region(module, "Region",
                            "Neighbouring points beyond a limit; x and what follows are of the "
                            "worst one.");
  region.def("__repr__", [](const Region& r) {
    return py::str("<{} limit, x {:g} to {:g}: {:g} beyond at {:g}>")
        .format(r.side, r.x0, r.x1, r.excess, r.x);
  });
  const auto own = [](auto SCurveExcess::*field) {
    using T = std::remove_reference_t<decltype(std::declval<SCurveExcess>().*field)>;
    return static_cast<T Region::*>(field);
  };
  BindRecord(region, SField("side", &Region::side, "Whose limit: upper or lower."),
             SField("x0", own(&Region::x0), "First x of the region."),
             SField("x1", own(&Region::x1), "Last x of the region."),
             SField("points", own(&Region::points), "Number of its points."),
             SField("excess", own(&Region::excess), "Largest distance beyond the limit."),
             SField("index", own(&Region::index), "Where that lies on the learnt grid."),
             SField("x", own(&Region::x), "Its x."),
             SField("value", own(&Region::value), "Measured there."),
             SField("limit", own(&Region::limit), "The limit there."),
             SField("mean", own(&Region::mean), "The learnt mean there."),
             SField("spread", own(&Region::spread), "The learnt spread there."));

  using Judged = SSidedJudgement;
  py::class_<Judged, SPartJudgement>(
      module, "Judgement",
      "Judgement of a part by the limits of all sides; true when it passed. The numbers are those "
      "of the side that decides.")
      .def_static(
          "refused",
          [](PartStatus reason) {
            Judged refused;
            refused.reason = reason;
            return refused;
          },
          py::arg("reason"), "Of a part that is not judged at all.")
      .def_readonly("side", &Judged::side, "The side that decides.")
      .def_readonly("sides", &Judged::sides, "The judgement by each limited side.")
      .def_readonly("regions", &Judged::regions,
                    "Where the part lies beyond a limit, in order of x, of each side.")
      .def(py::pickle(
          [](const Judged& j) {
            return py::make_tuple(static_cast<const SPartJudgement&>(j), j.side, j.sides,
                                  j.regions);
          },
          [](const py::tuple& s) {
            return Judged{s[0].cast<SPartJudgement>(), s[1].cast<std::string>(),
                          s[2].cast<std::map<std::string, SPartJudgement>>(),
                          s[3].cast<std::vector<Region>>()};
          }));
}

}  // namespace limes::python

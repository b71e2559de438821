#include <filesystem>
#include <memory>
#include <ostream>

#include "apps/limes/bench/judging.h"
#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/meant_variants.h"
#include "apps/limes/commands/output_file.h"
#include "apps/limes/errors.h"
#include "apps/limes/model/model.h"
#include "apps/limes/report/html_report.h"
#include "apps/limes/report/judged_parts.h"
#include "apps/limes/report/svg_plot.h"
#include "apps/limes/store/store.h"
#include "apps/limes/store/stored_curves.h"
#include "apps/limes/store/stored_model.h"
#include "recordings/part_source.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

constexpr std::size_t kMostDrawn = 20;  ///< parts; colours and shapes repeat behind them

/// Parts over the limits of a quantity, by their names among the judged ones or from files.
class CPlottedParts {
 public:
  CPlottedParts(const SOptions& options, SConsole& console, const SPlot& plot, bool modes)
      : options_(options), console_(console), plot_(plot), modes_(modes) {}

  /// In the order of the names; of a part judged twice the later verdict.
  std::vector<SPlotPart> Take(CStore& store, CModel& model) {
    const std::vector<std::string>& names = options_.files;
    std::vector<SPartVerdict> verdicts(names.size());
    if (!names.empty()) {
      store.ForEachJudged(false, [&](const SPartVerdict& verdict) {
        for (std::size_t i = 0; i < names.size(); ++i) {
          if (IsCalled(verdict.part, names[i])) {
            verdicts[i] = verdict;
          }
        }
      });
    }
    variant_ = store.Chosen();
    CStoredCurves curves(store, model);
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (!verdicts[i].part.empty()) {
        Add(verdicts[i], curves.Of(verdicts[i].id, options_.quantity));
      } else {
        AddFile(names[i]);
      }
    }
    if (parts_.size() > kMostDrawn) {
      Warn(console_, "the first " + std::to_string(kMostDrawn) + " of " +
                         std::to_string(parts_.size()) +
                         " parts are drawn (--parts and --every choose)");
      parts_.resize(kMostDrawn);
    }
    return std::move(parts_);
  }

 private:
  void Add(const SPartVerdict& verdict, const std::vector<float>& curve) {
    parts_.push_back({verdict.part, MarksOfPart(verdict, *plot_.sides[0], modes_),
                      VisThinned(curve, plot_.columns)});
  }

  /// The parts of a file, judged without being stored.
  void AddFile(const std::string& name) {
    std::error_code error;
    if (!std::filesystem::exists(name, error)) {
      throw CUsageError("no part " + Quoted(name) +
                        " was judged in this store (limes report lists them), and there is no "
                        "such file");
    }
    const NoteTaker note = [this](const std::string& text) { Warn(console_, text); };
    if (!judging_) {
      judging_ = std::make_unique<CJudging>(options_.store, SGivenSettings(), "plot", false);
    }
    CPartSource source({name}, {judging_->Settings(), options_.selection, options_.where, false,
                                true, note, 1, options_.variant});
    SPart part;
    std::size_t taken = 0;
    while (source.OpenNext()) {
      for (; source.Next(part); ++taken) {
        const SPartVerdict& verdict = judging_->Judge(part, note);
        if (verdict.reason || verdict.variant != variant_) {
          note(verdict.part + (verdict.reason
                                   ? " was not judged: " + *verdict.reason
                                   : " is of " + Quoted(verdict.variant) + " and is not drawn"));
          judging_->Drop(0);
          continue;
        }
        for (const SQuantityVerdict& q : verdict.quantities) {
          if (q.name == options_.quantity && q.verdict == Verdict::kNotJudged) {
            note(verdict.part + " was not judged: " + q.reason.value_or("no limit held for it"));
          }
        }
        Add(verdict, judging_->Model().Judged(options_.quantity));
        judging_->Drop(0);
      }
    }
    if (taken == 0) {
      throw CHostError(ExitCode::kBadInput, source.WhyNone() + "; nothing is drawn of it");
    }
  }

  const SOptions& options_;
  SConsole& console_;
  const SPlot& plot_;
  bool modes_;
  std::string variant_;
  std::unique_ptr<CJudging> judging_;
  std::vector<SPlotPart> parts_;
};

}  // namespace

int RunPlot(const SOptions& options, SConsole& console) {
  CStore store(options.store, CStore::Mode::kReading);
  store.BeginReading();
  ChooseOne(store, options, "a plot");
  CModel model = LoadedModel(store, store.Settings().value_or(SSettings()));
  const std::vector<SLearntSummary> summaries = model.Summaries();
  SPlot plot;
  std::string known;
  for (const SLearntSummary& summary : summaries) {
    if (summary.name == options.quantity) {
      plot.sides.push_back(&summary);
    }
    if (summary.side == summaries[0].side) {
      known += (known.empty() ? "" : ", ") + Quoted(summary.name);
    }
  }
  if (plot.sides.empty()) {
    throw CUsageError("no quantity " + Quoted(options.quantity) + " in " + options.store +
                      "; there is " + (known.empty() ? "none" : known));
  }
  plot.parts =
      CPlottedParts(options, console, plot, model.Settings().modes.has_value()).Take(store, model);
  store.Rollback();
  const std::string svg = DrawPlot(plot);
  if (options.output.empty()) {
    console.out << svg;
  } else {
    RefuseStore(options.output, options.store);
    WriteOutput(options.output, svg, options.force);
    console.out << "wrote " << Escaped(options.output) << '\n';
  }
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host

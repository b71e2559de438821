#include <cmath>

#include "apps/limes/errors.h"
#include "apps/limes/model/axis_model.h"
#include "limes/learning/curve_assistant.h"
#include "limes/learning/curve_learning_tool.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/text.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

/// A curve that all parts cover alike.
class CCurveModel : public CAxisModel {
 public:
  CCurveModel(const SSettings& settings, const std::string& name, const SUnit& xUnit,
              const SUnit& unit)
      : CAxisModel(settings, name, xUnit, unit, false) {}

  void Prepare(const SQuantity& measured, const std::string& part) override {
    const SQuantity& quantity = AtEqualSteps(measured, part, Grid());
    CheckUnits(quantity, part);
    TakeValues(quantity, part, Grid());
    if (Grid() == nullptr) {
      raw_.SetName(Utf8ToWide(name_).c_str());
      raw_.SetXUnit(xUnit_.unit);
      raw_.SetYUnit(unit_.unit);
      for (const Side side : sides_) {
        Tool(side).Vorlage(&raw_);
        Tool(side).Neustart(settings_.timeScale);
        SetRule(side);
      }
    }
    CheckStep(quantity, part, *Grid());
    Fit(part);
  }

  void Learn() override {
    for (const Side side : sides_) {
      Tool(side).NeueMessung(&Fitted(side));
    }
    SetStale();
  }

  std::int64_t Learnt() const override { return Tool(sides_[0]).NrGelernt(); }

  std::vector<std::uint8_t> State(Side side) const override { return Record(Tool(side)); }

  std::string SetState(Side side, const SStoredQuantity::SState& state) override {
    const std::string fault = Take(state.record, Tool(side));
    if (fault.empty()) {
      SetRule(side);
      SetStale();
    }
    return fault;
  }

  std::string Warning() override;

 protected:
  std::string JoinStates(CQuantityModel& other) override;
  void Form(Side side) override {
    Tool(side).UpdateLimit();
    Tool(side).StandardAbwBilden();
  }

  SCurves Curves(Side side) const override {
    const CKurvenLernWerkzeug& tool = Tool(side);
    return {*tool.Mittelwert(), *tool.QuadratMW(), *tool.StandardAbw(), *tool.Grenzkurve()};
  }

  SCurveJudgement JudgeFitted(Side side) override { return Tool(side).Judge(Fitted(side)); }
  std::vector<SCurveExcess> FindRegions(Side side) override {
    return RegionsOf(Tool(side), Fitted(side));
  }
  SLimitSureness FormSureness(Side side) const override { return SurenessOf(Tool(side)); }
  std::int64_t LearntAt(std::int32_t) const override { return Learnt(); }
  bool HasLimit(std::int32_t) const override { return true; }

 private:
  CKurvenLernWerkzeug& Tool(Side side) { return tools_[side == Side::kUpper ? 0 : 1]; }
  const CKurvenLernWerkzeug& Tool(Side side) const { return tools_[side == Side::kUpper ? 0 : 1]; }
  const CSigCurveExt* Grid() const { return Tool(sides_[0]).Mittelwert(); }

  void SetRule(Side side);
  void Fit(const std::string& part);

  CKurvenLernWerkzeug tools_[2];
};

void CCurveModel::SetRule(Side side) {
  const double width = settings_.width;
  // The library takes the width as a place on the x axis.
  const float place = width > 0.0 ? static_cast<float>(Grid()->XMin() + width) : 0.0F;
  Tool(side).Bildungsregel(static_cast<float>(settings_.base), static_cast<float>(settings_.factor),
                           place);
}

void CCurveModel::Fit(const std::string& part) {
  const CSigCurveExt& grid = *Grid();
  if (!CSigCurveAssistent::FitTo(raw_, grid, fitted_)) {
    throw CInputError(part, Covered() + ", nothing of the learnt range " +
                                Place(grid.GetPoint(grid.IMin())) + " to " +
                                Place(grid.GetPoint(grid.IMax())));
  }
  fittedSign_ = 1.0F;
}

std::string CCurveModel::JoinStates(CQuantityModel& other) {
  for (const Side side : sides_) {
    CKurvenLernWerkzeug& theirs = static_cast<CCurveModel&>(other).Tool(side);
    // The same width gives another place where the axes begin a rounding step apart.
    theirs.Bildungsregel(Tool(side).Sockel(), Tool(side).Faktor(), Tool(side).Width());
    if (const MergeStatus status = Tool(side).Merge(theirs); status != MergeStatus::kOk) {
      return WideToUtf8(Text(status));
    }
  }
  SetStale();
  return "";
}

std::string CCurveModel::Warning() {
  if (Learnt() < 2) {
    return "";
  }
  std::string text = CAxisModel::Warning();
  const CSigCurveExt& grid = *Grid();
  if (const auto n = static_cast<double>(grid.DLen()); grid.ILen() < 0.9 * n) {
    text += (text.empty() ? "quantity " + Quoted(name_) + ": " : "; ") + std::string("only ") +
            NumberText(std::round(100.0 * grid.ILen() / n)) +
            " % of the first part's x range is learnt, some parts covered no more";
  }
  return text;
}

}  // namespace

std::unique_ptr<CQuantityModel> MakeCurveModel(const SSettings& settings, const std::string& name,
                                               const SUnit& xUnit, const SUnit& unit) {
  return std::make_unique<CCurveModel>(settings, name, xUnit, unit);
}

}  // namespace limes::host

#include <algorithm>
#include <cmath>

#include "apps/limes/model/sided_model.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/results/defect_report.h"

namespace limes::host {
namespace {

class CValueModel : public CSidedModel<CLernenderGrenzwert> {
 public:
  CValueModel(const SSettings& settings, const std::string& name, const SUnit& unit, bool mayLack)
      : CSidedModel(settings, name, SUnit(), unit, true), mayLack_(mayLack) {
    part_.unit = unit.unit;
    for (const Side side : tools_.Limited()) {
      tools_[side].NameIst(Utf8ToWide(name));
      tools_[side].Neustart(settings.timeScale);
    }
  }

  std::string PrepareLearning(const SQuantity& quantity, const std::string& part,
                              bool /*allowShort*/) override {
    Take(quantity, part);
    return fits_ ? Refusal(tools_.PrepareLearning(part_), part) : "";
  }

  void PrepareJudging(const SQuantity& quantity, const std::string& part) override {
    Take(quantity, part);
    if (fits_) {
      Refusal(tools_.PrepareJudging(part_), part);
    }
  }

  void Learn() override {
    if (fits_) {
      CSidedModel::Learn();
    }
  }

  SPartScoring Score() override { return ScoreOf(part_); }

  void AppendValues(std::vector<float>& values) override {
    const float mean = Sign(tools_.Limited()[0]) * tools_.First().Mittelwert();
    values.push_back(static_cast<float>(part_.value - double{mean}));
  }

  void AppendMeasured(std::vector<double>& values) override { values.push_back(part_.value); }
  std::size_t Points() const override { return 1; }
  std::optional<double> PlaceOf(std::size_t /*point*/) const override { return std::nullopt; }

  std::int64_t Learnt() const override { return tools_.First().NrGelernt(); }

  SLearntSummary Summary(Side side) override {
    SLearntSummary summary;
    CLernenderGrenzwert& limit = tools_[side];
    const float spread = limit.StdDev();
    summary.points = 1;
    summary.mean = {Sign(side) * limit.Mittelwert()};
    summary.spread = {spread > kFloatStep * std::fabs(limit.Mittelwert()) ? spread : 0.0F};
    summary.limit = {HasRule() ? Sign(side) * limit.Grenzwert() : std::nanf("")};
    if (!around_.empty() && around_[0] > 0.0) {
      summary.spread = {static_cast<float>(around_[0])};
      summary.limit = {static_cast<float>(
          double{summary.mean[0]} +
          double{Sign(side)} * (settings_.base + Factor(side).value_or(NAN) * around_[0]))};
    }
    return summary;
  }

 protected:
  double Show(double number) const override { return number; }

  void AddItems(const SQuantityVerdict& q, const SPartJudgement& judgement,
                const std::vector<SCurveExcess>& /*regions*/,
                CProtocolItemList& items) const override {
    CProtocolItem item;
    item.TakeFrom(judgement);
    item.type = CDefectReport::kWithPercent;
    AddItem(items, item, q, q.excessInS);
  }

  /// A value that does not vary is judged as without modes.
  void JudgeExpected() override {
    const double spread = around_[0];
    for (const Side side : tools_.Limited()) {
      SPartJudgement& j = judgement_[side];
      if (!(spread > 0.0) || j.share == 0.0) {
        continue;
      }
      const double sign = double{Sign(side)};
      const double middle = expected_[0];
      const double excess = sign * (j.value - middle) - settings_.base;
      const double beyond = excess - Factor(side).value_or(0.0) * spread;
      j.mean = middle;
      j.spread = spread;
      j.limit = j.value - sign * beyond;
      const double rounding =
          4.0 * double{kFloatStep} * std::max(std::fabs(j.value), std::fabs(j.limit));
      j.deviation = beyond > rounding ? beyond : std::min(beyond, 0.0);
      j.rms = std::max(j.deviation, 0.0);
      j.inSpreads = excess / spread;
      if (beyond > rounding || j.verdict != Verdict::kNotJudged) {  // for which there was a reason
        j.verdict = beyond > rounding ? Verdict::kFail : Verdict::kPass;
        j.reason = PartStatus::kOk;
      }
      judgement_.Margin(side)->Clear();
      judgement_.Margin(side)->Add(excess + settings_.base, spread);
    }
  }

  /// Far nearer to 0 than all good parts, of values that are not about 0 themselves.
  bool HasNoSignal() override {
    constexpr double kSpreads = 1.5;
    const double mean = double{tools_.First().Mittelwert()};
    const double spread = double{tools_.First().StdDev()};
    return !mayLack_ && IsFarWeaker() &&
           (isFormed_ || unit_.IsDecibel() || std::fabs(mean) > kSpreads * spread);
  }

  /// Earlier stores hold the unit beside the state alone.
  std::string TakeState(const SStoredQuantity::SState& state) override {
    if (!tools_[state.side].Unit()) {
      tools_[state.side].SetUnit(unit_.unit);
    }
    return "";
  }

  std::string JoinStates(CQuantityModel& other) override {
    auto& theirs = static_cast<CValueModel&>(other);
    for (const Side side : tools_.Limited()) {
      theirs.tools_[side].Bildungsregel(tools_[side].Sockel(), tools_[side].Faktor());
      const MergeStatus status = tools_[side].Merge(theirs.tools_[side]);
      if (status != MergeStatus::kOk) {
        return WideToUtf8(Text(status));
      }
    }
    SetStale();
    return "";
  }

  double Effective() const override { return EffectiveParts(tools_.First()); }

  void SetRule() override {
    for (const Side side : tools_.Limited()) {
      tools_[side].Bildungsregel(static_cast<float>(settings_.base), FactorInTool(side));
      tools_[side].GrenzwertErneuern(1.0F);
    }
  }

 private:
  /// A smaller spread is that of the rounding of float; the quantity was constant.
  static constexpr float kFloatStep = 1.0F / (1 << 24);

  void Take(const SQuantity& quantity, const std::string& part) {
    CheckUnits(quantity, part);
    part_.value = quantity.value;
    fits_ = !mayLack_ || !std::isnan(part_.value);
  }

  bool mayLack_;          ///< NaN is no fault
  SValuePart part_{0.0};  ///< that was prepared
};

}  // namespace

std::unique_ptr<CQuantityModel> MakeValueModel(const SSettings& settings, const std::string& name,
                                               const SUnit& unit) {
  return std::make_unique<CValueModel>(settings, name, unit, false);
}

std::unique_ptr<CQuantityModel> MakeShiftModel(const SSettings& settings, const std::string& name,
                                               const SUnit& unit) {
  return std::make_unique<CValueModel>(settings, name, unit, true);
}

}  // namespace limes::host

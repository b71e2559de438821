#include <algorithm>
#include <cmath>

#include "apps/limes/model/defects.h"
#include "apps/limes/model/quantity_model.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/platform/text.h"
#include "limes/results/defect_report.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

/// Single values are learnt in double precision, but they come as float: a smaller spread is that
/// of the rounding, and the quantity was constant.
constexpr float kFloatStep = 1.0F / (1 << 24);

class CValueModel : public CQuantityModel {
 public:
  CValueModel(const SSettings& settings, const std::string& name, const SUnit& unit)
      : CQuantityModel(settings, name, SUnit(), unit, true) {
    for (CLernenderGrenzwert& limit : limits_) {
      limit.NameIst(Utf8ToWide(name));
      limit.Neustart(settings.timeScale);
      SetRule(limit);
    }
  }

  void Prepare(const SQuantity& quantity, const std::string& part) override {
    CheckUnits(quantity, part);
    value_ = static_cast<float>(quantity.value);
  }

  void Learn() override {
    for (const Side side : sides_) {
      Limit(side).NeueMessung(Sign(side) * value_);
    }
  }

  void Judge(Side side, SQuantityVerdict& verdict, CProtocolItemList& items) override {
    const float sign = Sign(side);
    CProtocolItem item;
    item.Judge(Limit(side), sign * value_);
    item.type = CDefectReport::kWithPercent;
    if (EnoughLearnt() && item.state != Verdict::kNotJudged) {
      const SValueJudgement result = Limit(side).Judge(sign * value_);
      const bool beyond =
          result.deviation > 0.0F && !IsRounding(result.deviation, result.value, result.limit);
      const float excess = beyond ? result.deviation : std::min(result.deviation, 0.0F);
      const float spread = Spread(side);
      verdict.verdict = beyond ? Verdict::kFail : Verdict::kPass;
      verdict.maxDeviation = Shown(excess);
      if (spread > 0.0F) {
        verdict.excessInS = Shown(excess / spread);
      }
      verdict.value = Shown(value_);
      verdict.limit = Shown(sign * result.limit);
      verdict.mean = Shown(sign * result.mean);
      verdict.spread = Shown(spread);
      verdict.rmsDeviation = std::max(*verdict.maxDeviation, 0.0);
      verdict.judgedShare = 1.0;
    }
    item.state = verdict.verdict;
    AddItem(items, item, verdict, verdict.excessInS);
  }

  std::int64_t Learnt() const override { return Limit(sides_[0]).NrGelernt(); }

  std::vector<std::uint8_t> State(Side side) const override { return Record(Limit(side)); }

  std::string SetState(Side side, const SStoredQuantity::SState& state) override {
    const std::string fault = Take(state.record, Limit(side));
    if (fault.empty()) {
      SetRule(Limit(side));
    }
    return fault;
  }

  SLimitSureness Sureness(Side side) override { return SurenessOf(Limit(side)); }

  SLearntSummary Summary(Side side) override {
    SLearntSummary summary;
    const CLernenderGrenzwert& limit = Limit(side);
    summary.points = 1;
    summary.mean = {Sign(side) * limit.Mittelwert()};
    summary.spread = {Spread(side)};
    summary.limit = {Sign(side) * limit.Grenzwert()};
    return summary;
  }

 protected:
  std::string JoinStates(CQuantityModel& other) override {
    for (const Side side : sides_) {
      const auto status = Limit(side).Merge(static_cast<CValueModel&>(other).Limit(side));
      if (status != MergeStatus::kOk) {
        return WideToUtf8(Text(status));
      }
      SetRule(Limit(side));
    }
    return "";
  }

 private:
  static float Sign(Side side) { return side == Side::kUpper ? 1.0F : -1.0F; }

  CLernenderGrenzwert& Limit(Side side) { return limits_[side == Side::kUpper ? 0 : 1]; }
  const CLernenderGrenzwert& Limit(Side side) const {
    return limits_[side == Side::kUpper ? 0 : 1];
  }

  void SetRule(CLernenderGrenzwert& limit) const {
    limit.Bildungsregel(static_cast<float>(settings_.base), static_cast<float>(settings_.factor));
    if (limit.NrGelernt() > 0) {
      limit.GrenzwertErneuern(1.0F);
    }
  }

  float Spread(Side side) const {
    const CLernenderGrenzwert& limit = Limit(side);
    const float spread = limit.StdDev();
    return spread > kFloatStep * std::fabs(limit.Mittelwert()) ? spread : 0.0F;
  }

  CLernenderGrenzwert limits_[2];
  float value_ = 0.0F;
};

}  // namespace

std::unique_ptr<CQuantityModel> MakeValueModel(const SSettings& settings, const std::string& name,
                                               const SUnit& unit) {
  return std::make_unique<CValueModel>(settings, name, unit);
}

}  // namespace limes::host

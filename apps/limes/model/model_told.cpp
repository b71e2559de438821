// What a model tells of what it has learnt.
#include <algorithm>
#include <cmath>

#include "apps/limes/model/model.h"
#include "apps/limes/model/quantity_model.h"
#include "limes/learning/score.h"

namespace limes::host {
namespace {

/// Of the values that are numbers.
std::optional<double> Average(const std::vector<float>& values) {
  double sum = 0.0;
  double count = 0.0;
  for (const float value : values) {
    sum += std::isfinite(value) ? double{value} : 0.0;
    count += std::isfinite(value) ? 1.0 : 0.0;
  }
  return count > 0.0 ? std::optional(sum / count) : std::nullopt;
}

}  // namespace

std::optional<double> CModel::AmountLimit() {
  UpdateRule();
  const bool formed = modes_.AreOn() && modes_.Learner().IsFormed();
  return formed && (settings_.factor || limit_.basis != CalibrationBasis::kNone)
             ? std::optional(modes_.AmountLimit(limit_))
             : std::nullopt;
}

std::optional<double> CModel::WholeLimit() {
  UpdateRule();
  return settings_.whole && limit_.basis != CalibrationBasis::kNone
             ? std::optional(CCommonModes::WholeLimit(limit_))
             : std::nullopt;
}

std::optional<double> CModel::Distance(double rate) {
  const SCalibratedLimit limit = Scores().ForRate(rate);
  if (limit.basis != CalibrationBasis::kRank || quantities_.empty()) {
    return std::nullopt;
  }
  const bool formed = modes_.AreOn() && modes_.Learner().IsFormed();
  const double n = formed ? modes_.Learner().Effective() : quantities_[0]->Effective();
  const bool both = settings_.WhichSides() == Sides::kBoth;
  const double factor =
      both ? 0.5 * (limit.FactorAbove(n) + limit.FactorBelow(n)) : limit.FactorAbove(n);
  return factor * (formed ? modes_.Learner().ResidualScale() : 1.0);
}

std::vector<SHistory> CModel::Moment() {
  std::vector<SHistory> result;
  for (const SLearntSummary& s : Summaries()) {
    result.push_back({s.name, s.side, "", s.parts, Average(s.mean), Average(s.limit)});
  }
  return result;
}

std::vector<SLearntSummary> CModel::Summaries() {
  UpdateRule();
  std::vector<SLearntSummary> result;
  for (const auto& model : quantities_) {
    for (const Side side : model->Limited()) {
      SLearntSummary summary = model->Summary(side);
      summary.name = model->Name();
      summary.side = side;
      summary.kind = model->IsSingle() ? "value" : settings_.tracks ? "track" : "curve";
      summary.parts = model->Learnt();
      summary.sureness = model->Sureness(side);
      summary.factor = model->Factor(side);
      summary.unit = model->Unit().Display();
      summary.xUnit = model->XUnit().Display();
      result.push_back(std::move(summary));
    }
  }
  return result;
}

SPromise CModel::Promise() {
  SPromise promise;
  promise.rate = settings_.reject;
  promise.cover = settings_.cover;
  promise.sure = settings_.sure;
  promise.atMost = settings_.width > 0.0;
  promise.source = scores_.Source();
  promise.groups = scores_.Groups();
  UpdateRule();
  promise.limit = limit_;
  if (modes_.AreOn() && !modes_.Learner().IsFormed()) {
    promise.waits = modes_.WaitsFor();
  }
  promise.tooWide = tooWide_;
  promise.atMost = promise.atMost || limit_.above < 0.0 || limit_.below < 0.0;
  double above = std::max(limit_.above, 0.0);  // as no factor is below 0
  double below = std::max(limit_.below, 0.0);
  for (const SLearntSummary& s : Summaries()) {
    promise.learnt = std::max(promise.learnt, s.parts);
    for (std::size_t i = 0; i < s.limit.size() && s.side == quantities_[0]->Limited()[0]; ++i) {
      const auto n = static_cast<double>(s.learntAt.empty() ? s.parts : s.learntAt[i]);
      if (!std::isnan(s.limit[i]) && s.spread[i] <= 0x1p-24F * std::fabs(s.mean[i])) {
        ++promise.neverChanged;
        promise.changes += 1.0 / (n + 1.0);
      }
    }
  }
  if (!promise.waits.empty()) {
    promise.learnt = std::max(promise.learnt, modes_.Learner().PartsNeeded());
  }
  if (!settings_.reject) {  // judged as now, with the least of what is learnt
    for (const auto& model : quantities_) {
      const bool formed = modes_.AreOn() && modes_.Learner().IsFormed();
      const double n = formed ? modes_.Learner().Effective() : model->Effective();
      const auto factor = OtherFactor(*model);
      promise.hasFactor |= factor.has_value();
      above = below = factor ? std::min(above, ScoreOf(*factor, n)) : above;
    }
  }
  if (settings_.reject || scores_.AreReadable()) {
    promise.scores = scores_.Calibration().Scores();
    promise.beyond = scores_.Calibration().Beyond(above, below, limit_.whole);
    promise.lone = settings_.reject ? scores_.Calibration().Lone() : std::nullopt;
  }
  return promise;
}

std::int64_t CModel::Parts() const { return quantities_.empty() ? 0 : quantities_[0]->Learnt(); }

std::string CModel::NeedsDouble() {
  UpdateRule();
  std::string told;
  for (std::size_t i = 0; i < quantities_.size() && told.empty(); ++i) {
    told = quantities_[i]->NeedsDouble();
  }
  return told;
}

std::vector<std::string> CModel::Warnings(std::optional<std::int64_t> recordings) {
  UpdateRule();
  std::vector<std::string> result;
  if (std::string warning = modes_.Warning(recordings); !warning.empty()) {
    result.push_back(std::move(warning));
  }
  for (const auto& model : quantities_) {
    if (std::string warning = model->Warning(); !warning.empty()) {
      result.push_back(std::move(warning));
    }
  }
  for (std::string& warning : UnknownShifts()) {
    result.push_back(std::move(warning));
  }
  return result;
}

}  // namespace limes::host

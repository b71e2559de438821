#include "apps/limes/model/model_modes.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "apps/limes/errors.h"
#include "apps/limes/measurement/promise_text.h"
#include "apps/limes/model/defects.h"
#include "limes/learning/score.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/text.h"
#include "limes/results/defect_report.h"
#include "recordings/measurement.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

std::string TextOf(auto status) { return WideToUtf8(Text(status)); }

ScoreSides SidesOf(const SSettings& settings) {
  return settings.WhichSides() == Sides::kBoth ? ScoreSides::kBoth : ScoreSides::kOne;
}

}  // namespace

CModelModes::CModelModes(const SSettings& settings) : settings_(settings) {
  if (settings.modes) {
    learner_.emplace(*settings.modes, settings.timeScale);
  }
}

void CModelModes::Load(const std::vector<std::uint8_t>& record, const std::string& store) {
  if (!AreOn()) {
    return;
  }
  *learner_ = CCommonModes(*settings_.modes, settings_.timeScale);
  if (record.empty()) {
    return;
  }
  CMemoryStream stream{std::span<const std::uint8_t>(record)};
  const LearnStateStatus status = learner_->ReadState(stream);
  if (status != LearnStateStatus::kOk) {
    throw CStoreError(store + ": the modes: " + TextOf(status));
  }
  if (learner_->Wanted() != *settings_.modes) {
    throw CStoreError(store + ": the modes: " + TextOf(LearnStateStatus::kContent));
  }
}

std::vector<std::uint8_t> CModelModes::Record() const {
  if (!AreOn() || learner_->Learnt() == 0) {
    return {};
  }
  CMemoryStream stream;
  if (!learner_->WriteState(stream)) {
    throw std::bad_alloc();
  }
  return {stream.Bytes().begin(), stream.Bytes().end()};
}

const std::optional<SModesScoring>& CModelModes::Score() {
  CCommonModes& learner = frozen_ ? *frozen_ : *learner_;
  scored_.reset();
  if (learner.Explain(values_, told_) == JudgeReason::kOk) {
    scored_ = learner.Score(values_, told_, static_cast<float>(settings_.base));
  }
  return scored_;
}

void CModelModes::Learn(const std::string& part) {
  switch (const LearnStatus status = learner_->Learn(values_)) {
    case LearnStatus::kOk:
      return;
    case LearnStatus::kMemory:
      throw std::bad_alloc();
    default:
      throw CInputError(part, "the modes: " + TextOf(status));
  }
}

void CModelModes::Join(const CModelModes& other) {
  if (AreOn() != other.AreOn()) {
    throw CUsageError("--modes " + std::to_string(other.settings_.modes.value_or(0)) + " there, " +
                      std::to_string(settings_.modes.value_or(0)) + " here");
  }
  if (!AreOn()) {
    return;
  }
  const MergeStatus status = learner_->Merge(*other.learner_);
  if (status == MergeStatus::kRule) {
    throw CUsageError("--modes " + std::to_string(other.learner_->Wanted()) + " there, " +
                      std::to_string(learner_->Wanted()) + " here");
  }
  if (status != MergeStatus::kOk) {
    throw CUsageError("the modes: " + TextOf(status));
  }
}

std::string CModelModes::Explain() {
  if (!learner_->IsFormed()) {
    return WaitsFor();
  }
  switch (const JudgeReason reason = learner_->Explain(values_, told_)) {
    case JudgeReason::kOk:
      return "";
    case JudgeReason::kMemory:
      throw std::bad_alloc();
    case JudgeReason::kCoversTooLittle:
      return "covers too little to tell the amounts of its modes";
    default:
      return TextOf(reason);
  }
}

std::string CModelModes::WaitsFor() const {
  const std::int64_t learnt = learner_->Learnt();
  return Count(learner_->Wanted(), "mode") + " of all points " +
         (learner_->Wanted() == 1 ? "needs " : "need ") + std::to_string(learner_->PartsNeeded()) +
         " parts, " + Count(learnt, "part") + (learnt == 1 ? " is" : " are") + " learnt" +
         (learnt >= kPartsBeforeScores
              ? ": limes set --modes " + std::to_string(learnt / 4) + " needs no more"
              : "");
}

std::vector<SStoredQuantity> CModelModes::Quantities() const {
  std::vector<SStoredQuantity> quantities;
  for (std::int32_t k = 0; k < settings_.modes.value_or(0); ++k) {
    quantities.push_back(
        {NameOf(static_cast<std::size_t>(k)), true, SUnit(), ParseUnit(kModeUnit), {}});
  }
  return quantities;
}

std::vector<double> CModelModes::Around() {
  std::vector<double> around;
  for (std::size_t i = 0; AreOn() && learner_->IsFormed() && i < learner_->Points(); ++i) {
    around.push_back(learner_->SpreadAbout(i));
  }
  return around;
}

double CModelModes::AmountLimit(const SCalibratedLimit& limit) const {
  return settings_.factor ? *settings_.factor : learner_->AmountLimit(limit, SidesOf(settings_));
}

void CModelModes::Judge(const SCalibratedLimit& limit, SPartVerdict& verdict,
                        CProtocolItemList& items) const {
  const double most = AmountLimit(limit);
  for (std::size_t k = 0; k < told_.amounts.size(); ++k) {
    const double amount = Shown(static_cast<float>(told_.amounts[k]));
    SQuantityVerdict q;
    q.name = NameOf(k);
    q.side = amount < 0.0 ? Side::kLower : Side::kUpper;
    q.unit = kModeUnit;
    q.value = amount;
    q.limit = Shown(static_cast<float>(std::copysign(most, amount)));
    q.mean = 0.0;
    q.spread = 1.0;
    q.factor = most;
    q.maxDeviation = Shown(static_cast<float>(std::fabs(amount) - most));
    q.excessInS = q.maxDeviation;
    q.largestInS = std::fabs(amount);
    q.rmsDeviation = std::max(*q.maxDeviation, 0.0);
    q.judgedShare = 1.0;
    q.verdict = *q.maxDeviation > 0.0 ? Verdict::kFail : Verdict::kPass;
    SLimitSureness& sureness = q.sureness.emplace();
    sureness.parts =
        static_cast<std::int32_t>(std::min<std::int64_t>(learner_->Learnt(), INT32_MAX));
    sureness.effectiveParts = learner_->Effective();
    sureness.rejectedPerPoint = 2.0 * ChanceRejection(sureness.effectiveParts, most);
    CProtocolItem item;
    item.state = q.verdict;
    item.value = static_cast<float>(*q.value);
    item.limit = static_cast<float>(*q.limit);
    item.type = CDefectReport::kWithPercent;
    item.group = static_cast<std::int32_t>(verdict.quantities.size());
    AddItem(items, item, q, q.excessInS);
    verdict.quantities.push_back(std::move(q));
  }
}

std::string CModelModes::Warning(std::optional<std::int64_t> groups) const {
  if (!AreOn()) {
    return "";
  }
  if (!learner_->IsFormed()) {
    return WaitsFor();
  }
  if (learner_->Modes() < static_cast<std::size_t>(learner_->Wanted())) {
    return "of " + Count(learner_->Wanted(), "mode") + " only " +
           Count(static_cast<std::int64_t>(learner_->Modes()), "mode") + " could be formed, of " +
           std::to_string(learner_->Points()) + " points";
  }
  if (groups && *groups < 4 * std::int64_t{learner_->Wanted()}) {
    return "the modes are learnt from " + Count(*groups, "recording") +
           ": they tell how these differ, which a further one need not do; as many as four times "
           "the modes are wanted";
  }
  return "";
}

}  // namespace limes::host

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

/// A number in spreads against a limit on either side of 0.
SQuantityVerdict Compared(std::string name, double number, double most) {
  const double value = Shown(static_cast<float>(number));
  SQuantityVerdict q;
  q.name = std::move(name);
  q.side = value < 0.0 ? Side::kLower : Side::kUpper;
  q.unit = kModeUnit;
  q.value = value;
  q.limit = Shown(static_cast<float>(std::copysign(most, value)));
  q.mean = 0.0;
  q.spread = 1.0;
  q.maxDeviation = Shown(static_cast<float>(std::fabs(value) - most));
  q.excessInS = q.maxDeviation;
  q.rmsDeviation = std::max(*q.maxDeviation, 0.0);
  q.judgedShare = 1.0;
  q.verdict = *q.maxDeviation > 0.0 ? Verdict::kFail : Verdict::kPass;
  return q;
}

void AddVerdict(SQuantityVerdict q, SPartVerdict& verdict, CProtocolItemList& items) {
  CProtocolItem item;
  item.state = q.verdict;
  item.value = static_cast<float>(*q.value);
  item.limit = static_cast<float>(*q.limit);
  item.type = CDefectReport::kWithPercent;
  item.group = static_cast<std::int32_t>(verdict.quantities.size());
  AddItem(items, item, q, q.excessInS);
  verdict.quantities.push_back(std::move(q));
}

}  // namespace

CModelModes::CModelModes(const SSettings& settings) : settings_(settings) {
  if (settings.modes || settings.whole) {
    learner_ = Fresh();
  }
}

CCommonModes CModelModes::Fresh() const {
  return CCommonModes(settings_.modes.value_or(0), settings_.timeScale, settings_.whole);
}

void CModelModes::Load(const std::vector<std::uint8_t>& record, const std::string& store) {
  if (!AreOn()) {
    return;
  }
  *learner_ = Fresh();
  if (record.empty()) {
    return;
  }
  CMemoryStream stream{std::span<const std::uint8_t>(record)};
  const LearnStateStatus status = learner_->ReadState(stream);
  if (status != LearnStateStatus::kOk) {
    throw CStoreError(store + ": the modes: " + TextOf(status));
  }
  if (learner_->Wanted() != settings_.modes.value_or(0) ||
      learner_->HasWhole() != settings_.whole) {
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
  if (const std::string text = Difference(settings_, other.settings_, {"--modes", "--whole"});
      !text.empty()) {
    throw CUsageError(text);
  }
  if (!AreOn()) {
    return;
  }
  const MergeStatus status = learner_->Merge(*other.learner_);
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
  const std::int32_t modes = learner_->Wanted();
  return (modes == 0 ? "--whole" : Count(modes, "mode") + " of all points") +
         (modes < 2 ? " needs " : " need ") + std::to_string(learner_->PartsNeeded()) + " parts, " +
         Count(learnt, "part") + (learnt == 1 ? " is" : " are") + " learnt" +
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
  if (settings_.whole) {
    quantities.push_back({kWholeName, true, SUnit(), ParseUnit(kModeUnit), {}});
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
    JudgeMode(k, most, verdict, items);
  }
  if (settings_.whole) {
    AddVerdict(Compared(kWholeName, told_.whole, CCommonModes::WholeLimit(limit)), verdict, items);
  }
}

void CModelModes::JudgeMode(std::size_t mode, double most, SPartVerdict& verdict,
                            CProtocolItemList& items) const {
  SQuantityVerdict q = Compared(NameOf(mode), told_.amounts[mode], most);
  q.factor = most;
  q.largestInS = std::fabs(*q.value);
  SLimitSureness& sureness = q.sureness.emplace();
  sureness.parts = static_cast<std::int32_t>(std::min<std::int64_t>(learner_->Learnt(), INT32_MAX));
  sureness.effectiveParts = learner_->Effective();
  sureness.rejectedPerPoint = 2.0 * ChanceRejection(sureness.effectiveParts, most);
  AddVerdict(std::move(q), verdict, items);
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
  if (groups && settings_.whole && *groups < kRecordingsForWhole) {
    return "--whole is learnt from " + Count(*groups, "recording") +
           ": it tells how these differ, which a further one need not do; " +
           std::to_string(kRecordingsForWhole) + " are wanted";
  }
  return "";
}

}  // namespace limes::host

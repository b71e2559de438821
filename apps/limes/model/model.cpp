#include "apps/limes/model/model.h"

#include <algorithm>
#include <cmath>

#include "apps/limes/errors.h"
#include "apps/limes/model/defects.h"
#include "apps/limes/model/quantity_model.h"
#include "limes/learning/score.h"
#include "recordings/text.h"
#include "recordings/unit_conversion.h"

namespace limes::host {
namespace {

void CheckNames(const SPart& part) {
  for (std::size_t i = 1; i < part.quantities.size(); ++i) {
    for (std::size_t k = 0; k < i; ++k) {
      if (part.quantities[i].name == part.quantities[k].name) {
        throw CInputError(part.name,
                          "quantity " + Quoted(part.quantities[i].name) + " stands there twice");
      }
    }
  }
}

}  // namespace

CModel::CModel(SSettings settings)
    : settings_(std::move(settings)),
      scores_(settings_.WhichSides(), settings_.base, settings_.whole),
      modes_(settings_),
      drift_(settings_.drift) {
  if (settings_.align) {
    alignment_.emplace(*settings_.align, settings_.WhichSides());
  }
}

CModel::CModel(CModel&&) noexcept = default;

CModel& CModel::operator=(CModel&&) noexcept = default;

CModel::~CModel() = default;

template <class Call>
void CModel::ForEachModel(Call call) const {
  std::size_t first = 0;
  for (const auto& model : quantities_) {
    call(*model, first, model->Points());
    first += model->Points();
  }
}

/// Finds each quantity of the part and checks it; nothing is learnt before all fit.
template <class Call>
void CModel::ForEachQuantity(const SPart& part, Call prepare) {
  if (part.quantities.empty()) {
    throw CInputError(part.name, "holds none of the quantities of --use");
  }
  CheckNames(part);
  order_.clear();
  for (const auto& model : quantities_) {
    const auto found = std::find_if(part.quantities.begin(), part.quantities.end(),
                                    [&](const SQuantity& q) { return q.name == model->Name(); });
    if (found == part.quantities.end()) {
      throw CInputError(
          part.name, "quantity " + Quoted(model->Name()) + ", which the store knows, is missing");
    }
    order_.push_back(static_cast<std::size_t>(found - part.quantities.begin()));
  }
  for (std::size_t i = 0; i < part.quantities.size(); ++i) {
    if (std::find(order_.begin(), order_.end(), i) == order_.end()) {
      throw CInputError(part.name, "quantity " + Quoted(part.quantities[i].name) +
                                       " is not in the store (--use picks quantities)");
    }
  }
  for (std::size_t i = 0; i < quantities_.size(); ++i) {
    prepare(*quantities_[i], part.quantities[order_[i]]);
  }
}

void CModel::ConvertUnits(SPart& part, const recordings::NoteTaker& note) {
  using recordings::ConversionBetween;
  std::string told;
  for (SQuantity& q : part.quantities) {
    const auto known = std::find_if(quantities_.begin(), quantities_.end(),
                                    [&](const auto& model) { return model->Name() == q.name; });
    if (known == quantities_.end() ||
        (q.unit == (*known)->Unit() && q.xUnit == (*known)->XUnit())) {
      continue;
    }
    const SUnit from = q.unit;
    const SUnit xFrom = q.xUnit;
    const SUnit& to = (*known)->Unit();
    const SUnit& xTo = (*known)->XUnit();
    const auto values = ConversionBetween(from, to);
    const auto x = ConversionBetween(xFrom, xTo);
    if (!values || !x) {
      continue;
    }
    Convert(q, *values, to, *x, xTo);
    const auto tell = [&](const char* what, const SUnit& a, const SUnit& b) {
      const std::string text =
          what + Quoted(q.name) + " is converted from " + a.Display() + " to " + b.Display();
      if (told_.insert(text).second) {
        told += (told.empty() ? "" : "; ") + text;
      }
    };
    if (!values->IsIdentity()) {
      tell("", from, to);
    }
    if (!x->IsIdentity()) {
      tell("x of ", xFrom, xTo);
    }
  }
  if (!told.empty() && note) {
    note(told);
  }
}

/// Verdicts on modes are stored under their names.
void CModel::CheckModeNames() const {
  for (const SStoredQuantity& mode : modes_.Quantities()) {
    for (const auto& model : quantities_) {
      if (model->Name() == mode.name) {
        throw CUsageError("--modes: a quantity is called " + Quoted(mode.name));
      }
    }
  }
}

std::string CModel::Prepare(const SPart& measured, bool allowShort) {
  const SPart& part = Aligned(measured);
  part_ = part.name;
  const bool first = quantities_.empty();
  for (std::size_t i = 0; first && i < part.quantities.size(); ++i) {
    const SQuantity& q = part.quantities[i];
    quantities_.push_back(MakeModel(q.name, q.xUnit, q.unit, q.single));
    if (frozen_) {
      quantities_.back()->Freeze();
    }
  }
  std::string refused;
  try {
    CheckModeNames();
    ForEachQuantity(part, [&](CQuantityModel& model, const SQuantity& quantity) {
      std::string reason = model.PrepareLearning(quantity, part.name, allowShort);
      model.TakeRecorded(quantity);
      if (const std::string why = model.TooShort(); reason.empty() && !allowShort && !why.empty()) {
        reason = "quantity " + Quoted(quantity.name) + ": " + why +
                 " (--allow-short learns it all the same)";
      }
      if (const std::string why = model.TooQuiet(); reason.empty() && !why.empty()) {
        reason = "quantity " + Quoted(quantity.name) + ": " + why;
      }
      refused = refused.empty() ? reason : refused;
    });
  } catch (const CHostError&) {
    if (first) {
      quantities_.clear();
    }
    throw;
  }
  if (first && !refused.empty()) {
    quantities_.clear();
  }
  return refused;
}

const SScoredPart& CModel::Score() {
  scored_.quantities.clear();
  SPartScores scores;
  bool any = false;
  for (const auto& model : quantities_) {
    const SPartScoring& scoring = scored_.quantities.emplace_back(model->Score());
    scores = Larger(scores, scoring.scores);
    any |= scoring.isScored;
  }
  scored_.scores = {};
  if (modes_.AreOn()) {
    GatherForModes();
    if (const auto& told = modes_.Score()) {
      scored_.scores = {told->scores.above, told->scores.below,
                        settings_.whole ? std::optional(told->scores.whole) : std::nullopt};
    }
    return scored_;
  }
  if (any) {
    scored_.scores = {std::min(scores.above, kHighestScore), std::min(scores.below, kHighestScore)};
  }
  return scored_;
}

void CModel::ForEachStretch(
    const std::function<void(const std::string&, std::size_t, std::size_t)>& call) const {
  ForEachModel([&](const CQuantityModel& model, std::size_t first, std::size_t n) {
    call(model.Name(), first, n);
  });
}

void CModel::GatherForModes() {
  modes_.Values().clear();
  for (const auto& model : quantities_) {
    model->AppendMeasured(modes_.Values());
  }
}

SFurthest CModel::Furthest() const {
  SFurthest furthest;
  if (const auto& told = modes_.Scored()) {
    const bool upper =
        settings_.WhichSides() != Sides::kLower &&
        (settings_.WhichSides() == Sides::kUpper || told->residual.above >= told->residual.below);
    const double residual = upper ? told->residual.above : told->residual.below;
    furthest.side = upper ? Side::kUpper : Side::kLower;
    furthest.score = std::max(residual, told->modeScore);
    furthest.quantity = CModelModes::NameOf(told->mode);
    const std::size_t at = upper ? told->aboveAt : told->belowAt;
    ForEachModel([&](const CQuantityModel& model, std::size_t first, std::size_t n) {
      if (residual >= told->modeScore && at >= first && at < first + n) {
        furthest.quantity = model.Name();
        furthest.x = model.PlaceOf(at - first);
      }
    });
    return furthest;
  }
  for (std::size_t i = 0; i < scored_.quantities.size() && i < quantities_.size(); ++i) {
    const SPartScoring& s = scored_.quantities[i];
    const CQuantityModel& model = *quantities_[i];
    for (const Side side : model.Limited()) {
      const bool upper = side == Side::kUpper;
      const double score = upper ? s.scores.above : s.scores.below;
      if (s.isScored && score > furthest.score) {
        furthest = {model.Name(), side, score,
                    model.IsSingle() ? std::nullopt : std::optional(upper ? s.aboveX : s.belowX)};
      }
    }
  }
  return furthest;
}

std::vector<float> CModel::Points(const SPart& measured, const SPart& about) {
  const SPart& part = Aligned(measured);
  ForEachQuantity(part, [&](CQuantityModel& model, const SQuantity& quantity) {
    model.PrepareJudging(quantity, part.name);
  });
  std::vector<float> points;
  for (std::size_t i = 0; i < quantities_.size(); ++i) {
    if (!quantities_[i]->IsSingle()) {
      const std::vector<float> curve = quantities_[i]->Judged();
      points.insert(points.end(), curve.begin(), curve.end());
      continue;
    }
    const auto other =
        std::find_if(about.quantities.begin(), about.quantities.end(),
                     [&](const SQuantity& q) { return q.name == quantities_[i]->Name(); });
    const double middle = other == about.quantities.end() ? 0.0 : other->value;
    points.push_back(static_cast<float>(part.quantities[order_[i]].value - middle));
  }
  return points;
}

std::vector<SShift> CModel::Shifts() const {
  std::vector<SShift> shifts;
  for (std::size_t i = 0; i < scored_.quantities.size() && i < quantities_.size(); ++i) {
    const SPartScoring& s = scored_.quantities[i];
    const CQuantityModel& model = *quantities_[i];
    if (s.isScored) {
      shifts.push_back({model.Name(),
                        model.XUnit().Display(),
                        model.IsSingle(),
                        s.excess.MeanShift(),
                        {s.excess.above, s.excess.below, s.aboveX, s.belowX}});
    }
  }
  return shifts;
}

void CModel::LearnPrepared(const SScores& scores) {
  ruleStale_ = true;
  if (modes_.AreOn()) {
    GatherForModes();
    modes_.Learn(part_);
  }
  scores_.Add(scores);
  if (scores.above) {
    std::vector<SDriftFound> found = drift_.Add(part_, Shifts(), quantities_.size());
    found_.insert(found_.end(), found.begin(), found.end());
  }
  for (const auto& model : quantities_) {
    model->Learn();
    model->LearnRecorded();
  }
}

std::string CModel::Learn(const SPart& part, bool allowShort, bool scored) {
  std::string refused = Prepare(part, allowShort);
  if (refused.empty()) {
    LearnPrepared(scored ? Score().scores : SScores());
  }
  return refused;
}

SScores CModel::ScoreFurther(const SPart& measured) {
  // Tracks would grow their grid to be learnt.
  if (const std::string refused = settings_.tracks ? "" : Prepare(measured, false);
      !refused.empty()) {
    throw CInputError(measured.name, refused);
  }
  const SPart& part = Aligned(measured);
  ForEachQuantity(part, [&](CQuantityModel& model, const SQuantity& quantity) {
    model.PrepareJudging(quantity, part.name);
  });
  return Score().scores;
}

std::vector<float> CModel::ValuesOf(const SPart& part) {
  ScoreFurther(part);
  std::vector<float> values;
  for (const auto& model : quantities_) {
    model->AppendValues(values);
  }
  return values;
}

void CModel::ReplaceScores(ScoreSource source, std::optional<std::int64_t> groups) {
  scores_.Replace(source, groups);
  ruleStale_ = true;
}

void CModel::AddScores(const SScores& scores) {
  scores_.Add(scores);
  ruleStale_ = true;
}

void CModel::TakeScores(const CModel& other) {
  scores_ = other.scores_;
  ruleStale_ = true;
}

std::optional<double> CModel::OtherFactor(const CQuantityModel& model) {
  if (!settings_.cover) {
    return settings_.factor;
  }
  if (settings_.tracks || covering_.first != model.Effective()) {  // mostly all are learnt alike
    covering_ = {model.Effective(), model.FactorToCover(*settings_.cover, *settings_.sure)};
  }
  const double factor = std::max(covering_.second, 0.0);  // NaN of a single part stays
  return factor <= kMostFactor ? std::optional(factor) : std::nullopt;
}

void CModel::UpdateRule() {
  if (!ruleStale_) {
    return;
  }
  limit_ = {};
  const bool hasModes = modes_.AreOn() && modes_.Learner().IsFormed();
  const std::optional<double> effective =
      hasModes ? std::optional(modes_.Learner().Effective()) : std::nullopt;
  const std::vector<double> around = modes_.Around();
  ForEachModel([&](CQuantityModel& model, std::size_t first, std::size_t n) {
    model.TakeModes(effective,
                    hasModes ? std::span(around).subspan(first, n) : std::span<const double>());
  });
  if (settings_.reject) {
    limit_ = scores_.Calibration().ForRate(*settings_.reject);
  }
  tooWide_.reset();
  for (const auto& model : quantities_) {
    const double n = effective.value_or(model->Effective());
    if (limit_.IsTooWide(n) && !IsShift(*model)) {
      tooWide_ = std::max({limit_.FactorAbove(n), limit_.FactorBelow(n),
                           settings_.whole ? CCommonModes::WholeLimit(limit_) : 0.0,
                           tooWide_.value_or(0.0)});
    }
  }
  if (tooWide_) {
    // A limit that nothing is beyond would pass what was never seen.
    limit_ = SCalibratedLimit{.scores = limit_.scores};
  }
  for (const auto& model : quantities_) {
    model->TakeLimit(limit_, OtherFactor(*model));
  }
  ruleStale_ = false;
}

void CModel::Freeze() {
  frozen_ = true;
  modes_.Freeze();
  for (const auto& model : quantities_) {
    model->Freeze();
  }
}

void CModel::Thaw() {
  frozen_ = false;
  modes_.Thaw();
  for (const auto& model : quantities_) {
    model->Thaw();
  }
}

SPartVerdict CModel::Judge(const SPart& measured) {
  const SPart& part = Aligned(measured);
  UpdateRule();
  ForEachQuantity(part, [&](CQuantityModel& model, const SQuantity& quantity) {
    model.PrepareJudging(quantity, part.name);
    model.TakeRecorded(quantity);
  });
  SPartVerdict verdict;
  verdict.part = part.name;
  verdict.label = part.label;
  verdict.scores = Score().scores;
  verdict.quantities.reserve(2 * quantities_.size());
  CProtocolItemList items;
  const bool explained = TellExpected();
  for (const auto& model : quantities_) {
    for (const std::string& reason : {model->TooShort(), model->NoSignal()}) {
      if (!reason.empty()) {
        model->Hold(reason);
      }
    }
  }
  HoldUnknownShifts();
  for (const auto& model : quantities_) {
    model->Judge(verdict, items);
  }
  const auto judged = [](const SQuantityVerdict& q) { return q.verdict != Verdict::kNotJudged; };
  if (explained && std::all_of(verdict.quantities.begin(), verdict.quantities.end(), judged)) {
    modes_.Judge(limit_, verdict, items);
  }
  verdict.verdict = items.OverallVerdict();
  verdict.defects = DefectsOf(items, verdict.quantities);
  return verdict;
}

bool CModel::TellExpected() {
  if (!modes_.AreOn()) {
    return false;
  }
  const std::string why = modes_.Explain();
  ForEachModel([&](CQuantityModel& model, std::size_t first, std::size_t n) {
    why.empty() ? model.TakeExpected(std::span(modes_.Told().expected).subspan(first, n))
                : model.Hold(why);
  });
  return why.empty();
}

std::vector<float> CModel::Judged(const std::string& quantity) {
  const auto found = std::find_if(quantities_.begin(), quantities_.end(),
                                  [&](const auto& model) { return model->Name() == quantity; });
  return found == quantities_.end() ? std::vector<float>() : (*found)->Judged();
}

}  // namespace limes::host

// Curves that are moved along x, and how far each lay off.
#include <algorithm>

#include "apps/limes/model/model.h"
#include "apps/limes/model/quantity_model.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

constexpr double kMostUnknown = 0.05;  ///< of the parts learnt; more are told of

}  // namespace

std::unique_ptr<CQuantityModel> CModel::MakeModel(const std::string& name, const SUnit& xUnit,
                                                  const SUnit& unit, bool single) const {
  if (!single) {
    return MakeAxisModel(settings_, name, xUnit, unit);
  }
  if (!alignment_ || !CAlignment::IsShift(name)) {
    return MakeValueModel(settings_, name, unit);
  }
  SSettings settings = settings_;
  settings.base = 0.0;  // in the unit of the curves
  return MakeShiftModel(settings, name, unit);
}

const CQuantityModel* CModel::Find(const std::string& name) const {
  const auto found = std::find_if(quantities_.begin(), quantities_.end(),
                                  [&](const auto& model) { return model->Name() == name; });
  return found == quantities_.end() ? nullptr : found->get();
}

bool CModel::IsShift(const CQuantityModel& model) const {
  return alignment_ && CAlignment::IsShift(model.Name());
}

const SPart& CModel::Aligned(const SPart& part) {
  if (!alignment_) {
    return part;
  }
  return alignment_->Align(part, [this](const std::string& name) {
    const CQuantityModel* const model = Find(name);
    return model == nullptr ? SLearntMean() : model->LearntMean();
  });
}

std::string CModel::FarOff() const { return alignment_ ? alignment_->AtEdge() : ""; }

/// A shift that is not known is not judged, nor is one by a limit that everything would pass.
void CModel::HoldUnknownShifts() {
  for (const auto& model : quantities_) {
    if (!IsShift(*model)) {
      continue;
    }
    const bool hasModes = modes_.AreOn() && modes_.Learner().IsFormed();
    const double n = hasModes ? modes_.Learner().Effective() : model->Effective();
    if (const std::string why = alignment_->Unknown(model->Name()); !why.empty()) {
      model->Hold(why);
    } else if (limit_.IsTooWide(n)) {
      model->Hold("it is known of too few of the learnt parts, " + std::to_string(model->Learnt()));
    }
  }
}

void CModel::CheckPlaces(const CModel& other) const {
  for (const auto& theirs : other.quantities_) {
    const CQuantityModel* const mine = Find(theirs->Name());
    if (!alignment_ || mine == nullptr || mine->IsSingle() || theirs->IsSingle()) {
      continue;
    }
    const std::string fault = alignment_->OtherPlace(mine->LearntMean(), theirs->LearntMean());
    if (!fault.empty()) {
      throw CUsageError("quantity " + Quoted(mine->Name()) + ": --align has moved the curves " +
                        fault + "; learn the parts of the one on top of the other");
    }
  }
}

std::vector<std::string> CModel::UnknownShifts() const {
  std::vector<std::string> result;
  for (const auto& model : quantities_) {
    const CQuantityModel* const shift =
        alignment_ && !model->IsSingle() ? Find(CAlignment::NameOf(model->Name())) : nullptr;
    const std::int64_t learnt = model->Learnt();
    const std::int64_t unknown = shift == nullptr ? 0 : learnt - shift->Learnt();
    if (static_cast<double>(unknown) > kMostUnknown * static_cast<double>(learnt)) {
      result.push_back(
          Quoted(model->Name()) + " of " + std::to_string(unknown) + " of " +
          std::to_string(learnt) +
          " parts is too unlike the mean to be moved, so it stays where it was "
          "measured; such parts are never OK, as --align does not know where they lie");
    }
  }
  return result;
}

}  // namespace limes::host

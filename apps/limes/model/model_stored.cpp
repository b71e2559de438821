// What a store holds becomes a model, is joined with another one, and goes back.
#include <algorithm>

#include "apps/limes/errors.h"
#include "apps/limes/model/model.h"
#include "apps/limes/model/quantity_model.h"
#include "recordings/text.h"

namespace limes::host {

void CModel::Load(const std::vector<SStoredQuantity>& quantities,
                  const std::optional<SStoredCalibration>& calibration, const std::string& store,
                  const std::vector<std::uint8_t>& modes) {
  quantities_.clear();
  modes_.Load(modes, store);
  scores_.Load(calibration, store);
  ruleStale_ = true;
  for (const SStoredQuantity& s : quantities) {
    auto model = MakeModel(s.name, s.xUnit, s.unit, s.single);
    for (const Side side : model->Limited()) {
      const auto state = std::find_if(s.states.begin(), s.states.end(),
                                      [&](const auto& known) { return known.side == side; });
      const std::string fault =
          state == s.states.end() ? "a learn state is missing" : model->SetState(*state);
      if (!fault.empty()) {
        throw CStoreError(store + ": quantity " + Quoted(s.name) + ": " + fault);
      }
    }
    quantities_.push_back(std::move(model));
  }
  std::size_t points = 0;
  for (const auto& model : quantities_) {
    points += model->Points();
  }
  if (modes_.AreOn() && points != modes_.Learner().Points()) {
    throw CStoreError(store + ": the modes are not those of the quantities");
  }
}

SJoined CModel::Join(CModel other) {
  SJoined joined;
  UpdateRule();
  ruleStale_ = true;
  const bool empty = quantities_.empty();
  CheckPlaces(other);
  for (auto& theirs : other.quantities_) {
    const auto mine = std::find_if(quantities_.begin(), quantities_.end(), [&](const auto& model) {
      return model->Name() == theirs->Name();
    });
    if (mine == quantities_.end()) {
      (empty ? joined.both : joined.onlyThere).push_back(theirs->Name());
      continue;
    }
    if (const std::string reason = (*mine)->Join(*theirs); !reason.empty()) {
      throw CUsageError("quantity " + Quoted(theirs->Name()) + ": " + reason);
    }
    joined.both.push_back(theirs->Name());
  }
  if (joined.both.empty()) {
    throw CUsageError("there is no quantity that both stores know");
  }
  const auto sameName = [](const auto& a, const auto& b) { return a->Name() == b->Name(); };
  if (modes_.AreOn() && !empty &&
      !std::equal(quantities_.begin(), quantities_.end(), other.quantities_.begin(),
                  other.quantities_.end(), sameName)) {
    throw CUsageError("--modes needs the same quantities, in the same order");
  }
  modes_.Join(other.modes_);
  if (empty) {
    quantities_ = std::move(other.quantities_);
  }
  for (const auto& model : quantities_) {
    if (std::find(joined.both.begin(), joined.both.end(), model->Name()) == joined.both.end()) {
      joined.onlyHere.push_back(model->Name());
    }
  }
  drift_.Join(other.drift_);
  if (joined.onlyHere.empty()) {  // else they are not of all quantities
    scores_.Join(other.scores_);
  }
  return joined;
}

std::vector<SStoredQuantity> CModel::States() {
  UpdateRule();
  std::vector<SStoredQuantity> result;
  for (const auto& model : quantities_) {
    result.push_back({model->Name(), model->IsSingle(), model->XUnit(), model->Unit(), {}});
    for (const Side side : model->Limited()) {
      const auto known = [](double x) { return x > 0.0 ? std::optional(x) : std::nullopt; };
      const SRecorded& least = model->LeastRecorded();
      result.back().states.push_back(
          {side, model->Learnt(), model->State(side), known(least.time), known(least.rms)});
    }
  }
  return result;
}

SStoredCalibration CModel::Calibration() const { return scores_.Stored(); }

}  // namespace limes::host

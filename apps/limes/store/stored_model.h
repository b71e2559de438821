#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/limes/measurement/settings.h"
#include "apps/limes/model/model.h"
#include "apps/limes/store/store.h"

namespace limes::host {

/// What was learnt somewhere, from which it can be joined with something else.
struct SLearntState {
  SSettings settings;
  std::vector<SStoredQuantity> quantities;
  std::optional<SStoredCalibration> calibration;
  std::vector<std::uint8_t> modes;
  std::vector<SStoredDrift> drift;
  std::vector<SLearntPart> parts;
};

/// Empty where nothing is learnt. Throws CStoreError.
std::optional<SLearntState> LearntStateOf(CStore& store);

/// What lies there, which is named in messages. Throws CStoreError.
CModel LoadedModel(const SLearntState& state, const std::string& name);

/// What a store holds, by the settings of a run. Throws CStoreError.
CModel LoadedModel(CStore& store, const SSettings& settings);
void LoadModel(CStore& store, CModel& model);

/// What all variants have learnt together.
struct SParentModel {
  std::shared_ptr<CModel> model;  ///< null: there is none
  std::string reason;             ///< why
};

/// Whose limits judge the parts of a variant.
std::string LimitOf(const SStoredVariant& variant, const SSettings& settings);

/// Joins what the variants of a store have learnt: as if all had been learnt as one. Leaves no
/// variant chosen. Throws CStoreError. O(variants * points).
SParentModel ParentOf(CStore& store, const SSettings& settings);

/// The promise of a model that was loaded, with what only the store knows: the name of a part that
/// stands alone, and of how many recordings the pieces are.
SPromise PromiseOf(CStore& store, CModel& model);

}  // namespace limes::host

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "apps/limes/model/model.h"
#include "apps/limes/store/store.h"

namespace limes::host {

/// The curves of judged parts that a store keeps, at the points of what is learnt now. The part
/// that the model judged last is another one behind each call.
class CStoredCurves {
 public:
  CStoredCurves(CStore& store, CModel& model);

  /// Whether any are kept.
  bool Any() const { return any_; }

  /// Values of a quantity of a part, NaN where it has none; empty where they are not kept, do not
  /// fit any more, or are a single value.
  std::vector<float> Of(std::int64_t part, const std::string& quantity);

 private:
  CStore& store_;
  CModel& model_;
  std::vector<SStoredQuantity> quantities_;
  bool any_;
  std::int64_t part_ = 0;  ///< that the model has judged last; 0: none
  bool fits_ = false;
};

}  // namespace limes::host

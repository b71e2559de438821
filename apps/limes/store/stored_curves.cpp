#include "apps/limes/store/stored_curves.h"

#include "apps/limes/errors.h"
#include "apps/limes/measurement/part_record.h"

namespace limes::host {

CStoredCurves::CStoredCurves(CStore& store, CModel& model)
    : store_(store), model_(model), quantities_(store.Quantities()), any_(store.CurveBytes() > 0) {}

std::vector<float> CStoredCurves::Of(std::int64_t part, const std::string& quantity) {
  if (!any_) {
    return {};
  }
  if (part != part_) {
    part_ = part;
    fits_ = false;
    const std::vector<std::uint8_t> record = store_.CurvesOf(part);
    try {
      if (!record.empty()) {
        model_.Judge(PartFromRecord(record, quantities_));
        fits_ = true;
      }
    } catch (const CHostError&) {
      // what is learnt now is measured otherwise
    }
  }
  return fits_ ? model_.Judged(quantity) : std::vector<float>();
}

}  // namespace limes::host

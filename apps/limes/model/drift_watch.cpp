#include "apps/limes/model/drift_watch.h"

#include <new>

#include "apps/limes/errors.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/text.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

/// Of one quantity. Most stores have one and the usual setting, for which the library knows it.
CDriftAlarm MakeAlarm(double partsBetween) {
  constexpr double kUsual = 10000.0;
  return partsBetween == kUsual ? CDriftAlarm() : CDriftAlarm(DriftThreshold(partsBetween));
}

}  // namespace

void CDriftWatch::Load(const std::vector<SStoredDrift>& stored, const std::string& store) {
  alarms_.clear();
  for (const SStoredDrift& s : stored) {
    CMemoryStream stream{std::span<const std::uint8_t>(s.record)};
    const LearnStateStatus status = alarms_[s.quantity].ReadState(stream);
    if (status != LearnStateStatus::kOk) {
      throw CStoreError(store + ": the drift alarm of " + Quoted(s.quantity) + ": " +
                        WideToUtf8(Text(status)));
    }
  }
}

std::vector<SStoredDrift> CDriftWatch::Stored() const {
  std::vector<SStoredDrift> stored;
  for (const auto& [quantity, alarm] : alarms_) {
    CMemoryStream stream;
    if (!alarm.WriteState(stream)) {
      throw std::bad_alloc();
    }
    stored.push_back({quantity, {stream.Bytes().begin(), stream.Bytes().end()}});
  }
  return stored;
}

CDriftAlarm& CDriftWatch::Of(const std::string& quantity, std::size_t quantities) {
  const auto known = alarms_.find(quantity);
  if (known != alarms_.end()) {
    return known->second;
  }
  if (!fresh_) {
    fresh_ = MakeAlarm(partsBetween_ * static_cast<double>(quantities));
  }
  return alarms_.emplace(quantity, *fresh_).first->second;
}

std::vector<SDriftFound> CDriftWatch::Add(const std::string& part,
                                          const std::vector<SShift>& shifts,
                                          std::size_t quantities) {
  std::vector<SDriftFound> found;
  for (std::size_t i = 0; partsBetween_ > 0.0 && i < shifts.size(); ++i) {
    const SShift& shift = shifts[i];
    const SDrift drift = Of(shift.quantity, quantities).Add(shift.mean, shift.places);
    if (drift.direction != DriftDirection::kNone) {
      found.push_back({part, shift.quantity, drift.direction == DriftDirection::kUp, drift.parts,
                       shift.single ? std::nullopt : std::optional(drift.place), shift.xUnit});
    }
  }
  return found;
}

void CDriftWatch::Join(const CDriftWatch& other) {
  for (const auto& [quantity, alarm] : other.alarms_) {
    const auto here = alarms_.find(quantity);
    if (here == alarms_.end()) {
      alarms_.emplace(quantity, alarm);
    } else {
      static_cast<void>(here->second.Merge(alarm));  // refuses another threshold
    }
  }
}

}  // namespace limes::host

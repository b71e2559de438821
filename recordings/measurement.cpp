#include "recordings/measurement.h"

#include "limes/platform/text.h"
#include "recordings/text.h"
#include "recordings/unit_conversion.h"

namespace limes::recordings {

bool SUnit::IsDecibel() const { return unit.is_log() || text == "dB" || text.starts_with("dB("); }

std::string SUnit::Display() const {
  return !text.empty() ? text : unit.empty() ? "" : WideToUtf8(unit.prefixunit());
}

std::string SUnit::DisplayFull() const {
  const float ref = text.empty() ? unit.logref() : reference;
  const std::string shown = IsNone() ? "no unit" : Display();
  return IsDecibel() && ref != 0.0F ? shown + " re " + NumberText(Shown(ref)) : shown;
}

SUnit ParseUnit(std::string_view text) {
  SUnit result;
  if (text.empty() || text == "-") {
    return result;
  }
  bool exact = false;
  result.unit = CMeasuringUnit::FromText(Utf8ToWide(UsualSpelling(text)), &exact);
  if (!exact || result.unit.empty()) {
    result.unit = CMeasuringUnit();
    result.text = text;
  }
  return result;
}

SUnit ReciprocalUnit(const SUnit& unit) {
  SUnit result = unit;
  if (!unit.text.empty()) {
    result.text = "1/(" + unit.text + ")";
  } else if (!unit.IsNone()) {
    result.unit.invert();
  }
  return result;
}

SUnit LevelUnit(const SUnit& unit, double reference) {
  SUnit result;
  if (unit.text.empty() && !unit.IsNone()) {
    result.unit.set(static_cast<unsigned>(unit.unit.Unit_e()), unit.unit.Exponent(),
                    unit.unit.Power(), static_cast<float>(reference));
  } else {
    result.text = unit.text.empty() ? "dB" : "dB(" + unit.text + ")";
    result.reference = static_cast<float>(reference);
  }
  return result;
}

bool SetReference(SUnit& unit, double reference) {
  if (!unit.IsDecibel()) {
    return false;
  }
  if (!unit.text.empty()) {
    unit.reference = static_cast<float>(reference);
  } else {
    unit.unit.set(static_cast<unsigned>(unit.unit.Unit_e()), unit.unit.Exponent(),
                  unit.unit.Power(), static_cast<float>(reference));
  }
  return true;
}

}  // namespace limes::recordings

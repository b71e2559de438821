// What a store holds as texts and records: settings, units and the values of parts.
#include <exception>
#include <string>

#include "apps/limes/errors.h"
#include "apps/limes/measurement/part_record.h"
#include "apps/limes/measurement/settings.h"
#include "apps/limes/measurement/unit_text.h"
#include "fuzz/fuzz.h"

namespace limes::fuzz {
namespace {

using namespace limes::host;

void TryPart(Input input) {
  static const std::vector<SStoredQuantity> kKnown = {{"a", false, {}, {}, {}},
                                                      {"b", true, {}, {}, {}}};
  const SPart part = PartFromRecord(input, kKnown);
  const auto record = RecordOf(part);
  Require(RecordOf(PartFromRecord(record, kKnown)) == record);
  ContentOf(part, record);
}

void TrySettings(const std::string& text) {
  const SSettings settings = SettingsFromText(text);
  const std::string again = SettingsToText(settings);
  Require(SettingsToText(SettingsFromText(again)) == again);
}

void TryUnit(const std::string& text) {
  const SUnit unit = UnitFromText(text);
  const std::string again = UnitToText(unit);
  Require(UnitToText(UnitFromText(again)) == again);
}

}  // namespace

void Try(Input input) {
  const unsigned way = TakeByte(input) % 3;
  const std::string text(TextOf(input));
  try {
    way == 0 ? TryPart(input) : way == 1 ? TrySettings(text) : TryUnit(text);
  } catch (const CHostError&) {
  } catch (const std::exception&) {  // of texts that are no JSON, or of other types
  }
}

}  // namespace limes::fuzz

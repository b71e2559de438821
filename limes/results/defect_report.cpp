#include "limes/results/defect_report.h"

#include <algorithm>
#include <cmath>

#include "limes/platform/conversions.h"
#include "limes/results/protocol_item.h"

namespace limes {
namespace {

/// Copies as much of a text as fits, with its end; not half of a surrogate pair.
template <std::size_t n>
void Keep(std::array<wide_char, n>& target, std::u16string_view text) {
  std::u16string_view kept = text.substr(0, n - 1);
  if (kept.size() < text.size() && (kept.back() & 0xFC00) == 0xD800) {
    kept.remove_suffix(1);
  }
  std::fill(std::copy(kept.begin(), kept.end(), target.begin()), target.end(), wide_char{0});
}

std::int32_t Rounded(float place) { return TruncToInt32(double{place} + 0.5); }

}  // namespace

const wide_string& CDefectReport::NameAt(unsigned i) const {
  static const wide_string kEmpty;
  return i < kNames ? names_[i] : kEmpty;
}

void CDefectReport::NameAt(unsigned i, std::u16string_view name) {
  if (i < kNames) {
    names_[i] = name;
  }
}

void CDefectReport::Unit(std::u16string_view unit) {
  wholeUnit_ = unit;
  Keep(unit_, unit);
}

void CDefectReport::Name(std::u16string_view name) {
  wholeName_ = name;
  Keep(name_, name);
}

void CDefectReport::SetReportText(std::u16string_view text) { Keep(line_, text); }

wide_string CDefectReport::Label() const {
  if (names_[2].empty()) {
    return names_[1];
  }
  return names_[1].empty() ? names_[2] : Format(u"%4s (%s)", names_[2], names_[1]);
}

wide_string CDefectReport::Line() const {
  if (type_ == kSummary) {
    return Format(u"%d Berichte insgesamt.", code_);
  }
  wide_string line = Format(u"%3d  %-37s %4s", number_, name_.data(), names_[0]);
  switch (type_) {
    case kWithPlace:
      line += Format(u" %5.1f/%5.1f/%5.1f %s %7s %s %s", value_, limit_, average_, unit_.data(),
                     Format(u"%6.2f", place_), names_[4], Label());
      break;
    case kWithNames:
      line += Format(u" %5.1f/%5.1f/%5.1f %s  %s %s %s", value_, limit_, average_, unit_.data(),
                     names_[3], names_[4], Label());
      break;
    case kWithPercent:
      line += Format(u" %5.1f/%5.1f %s (%3.1f%%) %s", value_, limit_, unit_.data(),
                     std::fabs(double{value_} - limit_) * 100.0 / limit_, names_[1]);
      break;
    case kWithIndex:
      line += Format(u" %5.1f/%5.1f %s  ->%6d %s", value_, limit_, unit_.data(), Rounded(place_),
                     Label());
      break;
    case kLabelOnly:
      line += Format(u" %s", Label());
      break;
    case kWithIndexAndName:
      line += Format(u" %5.1f/%5.1f %s  ->%6d %s (%s)", value_, limit_, unit_.data(),
                     Rounded(place_), names_[4], Label());
      break;
    default:
      line += Format(u" %5.1f/%5.1f", value_, limit_);
      break;
  }
  return line;
}

int CDefectReport::FormatReport(int /*reserved*/) {
  SetReportText(Line());
  return static_cast<int>(std::u16string_view(line_.data()).size());
}

wide_char* CDefectReport::FormatSimple(wide_char* buffer, std::size_t size) const {
  if (buffer == nullptr || size == 0) {
    return buffer;
  }
  const wide_string text = Format(u"%s %s %s %s %s %5.2f/%5.2f", names_[0], names_[1], names_[2],
                                  names_[3], names_[4], value_, limit_);
  const std::u16string_view kept = std::u16string_view(text).substr(0, size - 1);
  *std::copy(kept.begin(), kept.end(), buffer) = 0;
  return buffer;
}

void CDefectReport::Fillin(const CProtocolItem& item, int number, int group) {
  Clear();
  const CQuinterMFC& names = item.names;
  names_ = {names.Mode(),       names.Channel(),   names.Location(),
            names.Instrument(), names.Parameter(), names.Sensor()};
  code_ = item.code;
  type_ = item.type;
  value_ = item.value;
  limit_ = item.limit;
  place_ = item.place;
  average_ = item.average;
  Unit(item.unit);
  priority_ = item.priority;
  group_ = group;
  number_ = number;
  Name(item.name);
  timeStamp_ = item.timeStamp;
  from_ = item.from;
  to_ = item.to;
  state_ = item.state;
  remark_ = item.text;
}

void CDefectReport::InProtokollWandeln(CProtocolItem& item, int /*reserved*/) const {
  item.names.Mode(names_[0]);
  item.names.Channel(names_[1]);
  item.names.Location(names_[2]);
  item.names.Instrument(names_[3]);
  item.names.Parameter(names_[4]);
  item.names.Sensor(names_[5]);
  item.code = code_;
  item.type = type_;
  item.value = value_;
  item.limit = limit_;
  item.place = place_;
  item.average = average_;
  item.unit = wholeUnit_;
  item.priority = priority_;
  item.group = group_;
  item.name = wholeName_;
  item.timeStamp = timeStamp_;
  item.from = from_;
  item.to = to_;
  item.state = state_;
  item.text = remark_;
}

}  // namespace limes

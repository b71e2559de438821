#include "limes/core/signal_key.h"

#include <algorithm>
#include <stdexcept>
#include <tuple>

#include "limes/platform/string_table.h"

namespace limes {

namespace {

constexpr std::size_t kPairBuffer = 100;             ///< characters of "channel,sensor" and a 0
constexpr std::size_t kIdentificationBuffer = 1200;  ///< characters of an identification and a 0

wide_string OrEmpty(const wide_char* text) {
  return text == nullptr ? wide_string() : wide_string(text);
}

/// A text of this library, whatever module the host loads its texts from at the moment.
wide_string OwnString(unsigned id) {
  return OrEmpty(detail::LibraryText(id, platform::CurrentLanguage()));
}

bool IsAsterisk(const wide_string& text) { return text == u"*"; }

}  // namespace

void Clavis::SClavisClear(SClavis& key) { key.value.fill(-1); }

void Clavis::RQuinterClear(RQuinter& key) { key.value.fill(-1); }

namespace Quinter {

void SQuinterClear(SQuinter& key) { key.value.fill(0); }

void SQuinterCopy(SQuinter& target, const SQuinter& source) { target = source; }

bool SQuinterIsEmpty(const SQuinter& key) { return key.value == SQuinter().value; }

bool SQuinterEquals(const SQuinter& a, const SQuinter& b) { return a.value == b.value; }

bool SQuinterLessThan(const SQuinter& a, const SQuinter& b) {
  // kept: position 3 before 1 and 2; stored orders rely on it
  const auto order = [](const SQuinter& k) {
    return std::tie(k.value[0], k.value[3], k.value[1], k.value[2], k.value[4]);
  };
  return order(a) < order(b);
}

const wide_string& ModeName() {
  static const wide_string name = OwnString(1);
  return name;
}

const wide_string& InstrumentName() {
  static const wide_string name = OwnString(2);
  return name;
}

const wide_string& ChannelName() {
  static const wide_string name = OwnString(3);
  return name;
}

const wide_string& LocationName() {
  static const wide_string name = OwnString(4);
  return name;
}

const wide_string& ParameterName() {
  static const wide_string name = OwnString(5);
  return name;
}

const wide_string& SensorName() {
  static const wide_string name = OwnString(6);
  return name;
}

}  // namespace Quinter

CQuinterMFC::CQuinterMFC(const wide_char* mode, const wide_char* channel, const wide_char* location,
                         const wide_char* instrument, const wide_char* parameter,
                         const wide_char* sensor)
    : field_{OrEmpty(mode),       OrEmpty(channel),   OrEmpty(location),
             OrEmpty(instrument), OrEmpty(parameter), OrEmpty(sensor)} {
  if (field_[5].empty()) {
    SetChanPlusSensor(field_[1]);
  }
}

bool CQuinterMFC::operator==(const CQuinterMFC& other) const = default;

std::strong_ordering CQuinterMFC::operator<=>(const CQuinterMFC& other) const {
  return field_ <=> other.field_;
}

void CQuinterMFC::clear() {
  for (wide_string& field : field_) {
    field.clear();
  }
}

wide_string CQuinterMFC::GetChanPlusSensor() const {
  if (Sensor().empty()) {
    return Channel();
  }
  return (Channel() + u',' + Sensor()).substr(0, kPairBuffer - 1);
}

void CQuinterMFC::SetChanPlusSensor(std::u16string_view text) {
  const std::size_t comma = text.find(u',');
  const bool split = comma != text.npos && comma > 0;
  // Copies first: the text may be one of the fields.
  wide_string channel(split ? text.substr(0, comma) : text);
  wide_string sensor(split ? text.substr(comma + 1) : std::u16string_view());
  field_[1].swap(channel);
  field_[5].swap(sensor);
}

bool CQuinterMFC::BuildIdentificationString(wide_char* buffer, unsigned size) const {
  wide_string text = field_[0];
  for (unsigned i = 1; i < kFields; ++i) {
    text += kSeparator;
    text += field_[i];
  }
  if (buffer == nullptr || text.size() + 1 > std::min<std::size_t>(size, kIdentificationBuffer)) {
    return false;
  }
  std::copy_n(text.c_str(), text.size() + 1, buffer);
  return true;
}

bool CQuinterMFC::ReadIdentificationString(const wide_char* text) {
  wide_string copy;
  for (; text != nullptr && *text != u'\0' && copy.size() < kIdentificationBuffer - 1; ++text) {
    copy.push_back(*text);
  }
  clear();
  std::u16string_view rest = copy;
  for (unsigned i = 0; i < kFields; ++i) {
    const std::size_t end = std::min(rest.find(kSeparator), rest.size());
    field_[i] = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return true;
}

const wide_string& CQuinterMFC::Asterisk() {
  static const wide_string asterisk = u"*";
  return asterisk;
}

const CQuinterMFC& CQuinterMFC::TheAsterisks() {
  static const CQuinterMFC asterisks(u"*", u"*", u"*", u"*", u"*", u"*");
  return asterisks;
}

bool CQuinterMFC::IsEmpty() const {
  return std::all_of(field_.begin(), field_.end(),
                     [](const wide_string& field) { return field.empty() || IsAsterisk(field); });
}

bool CQuinterMFC::isTotalPattern() const {
  return std::all_of(field_.begin(), field_.end(), IsAsterisk);
}

bool CQuinterMFC::matchesPattern(const CQuinterMFC& p) const {
  return std::equal(field_.begin(), field_.end(), p.field_.begin(),
                    [](const wide_string& field, const wide_string& wanted) {
                      return IsAsterisk(wanted) || field == wanted;
                    });
}

bool CQuinterMFC::Overlay(const CQuinterMFC& other) {
  for (unsigned i = 0; i < kFields; ++i) {
    if (IsAsterisk(field_[i])) {
      field_[i] = other.field_[i];
    }
  }
  return hasWildcard();
}

std::bitset<5> CQuinterMFC::pattern() const {
  std::bitset<5> bits;
  for (unsigned i = 0; i < kFields; ++i) {
    // kept: five positions for six fields, so the sixth always raises; callers catch it
    if (i >= bits.size()) {
      throw std::out_of_range("invalid bitset<N> position");
    }
    bits.set(i, IsAsterisk(field_[i]));
  }
  return bits;
}

bool CQuinterMFC::isPattern() const { return pattern().any(); }

bool CQuinterMFC::hasWildcard() const {
  return std::any_of(field_.begin(), field_.end(), IsAsterisk);
}

}  // namespace limes

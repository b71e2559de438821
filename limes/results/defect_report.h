#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "limes/export.h"
#include "limes/learning/judgement.h"
#include "limes/platform/text.h"

namespace limes {

class CProtocolItem;

/// One finding of a test: which quantity broke which limit, where and by how much, with one line of
/// text for the operator's list. A value; comparisons look at the priority only. Copying, setting
/// and formatting texts throw std::bad_alloc when memory is short. One thread at a time.
class LIMES_EXPORT CDefectReport {
 public:
  static constexpr unsigned kNames = 6;

  /// Layouts of the line, values of Type; any other one shows value and limit only.
  static constexpr std::uint32_t kWithPlace = 1;         ///< value, limit, mean, unit, place
  static constexpr std::uint32_t kWithNames = 2;         ///< value, limit, mean, unit, names 3, 4
  static constexpr std::uint32_t kWithPercent = 4;       ///< value, limit, excess in percent
  static constexpr std::uint32_t kWithIndex = 5;         ///< value, limit, place as an integer
  static constexpr std::uint32_t kLabelOnly = 6;         ///< label
  static constexpr std::uint32_t kWithIndexAndName = 7;  ///< value, limit, place as integer, name 4
  static constexpr std::uint32_t kSummary = 100;         ///< "Code Berichte insgesamt."

  /// All numbers 0, all texts empty.
  void Clear() { *this = CDefectReport(); }

  /// Name i of six: 0 the short designation, 1 and 2 the label. Empty outside.
  const wide_string& NameAt(unsigned i) const;
  void NameAt(unsigned i, std::u16string_view name);

  /// Code of the finding; in the summary the number of reports.
  std::int32_t Code() const { return code_; }
  void Code(std::int32_t code) { code_ = code; }

  std::uint32_t Type() const { return type_; }
  void Type(std::uint32_t type) { type_ = type; }

  float Value() const { return value_; }
  void Value(float value) { value_ = value; }
  float Limit() const { return limit_; }
  void Limit(float limit) { limit_ = limit; }
  float Place() const { return place_; }
  void Place(float place) { place_ = place; }
  float Average() const { return average_; }
  void Average(float average) { average_ = average; }
  float FExtra() const { return fExtra_; }
  void FExtra(float extra) { fExtra_ = extra; }
  std::int32_t IExtra() const { return iExtra_; }
  void IExtra(std::int32_t extra) { iExtra_ = extra; }

  /// x range of the finding; not in the line.
  float From() const { return from_; }
  void From(float from) { from_ = from; }
  float To() const { return to_; }
  void To(float to) { to_ = to; }

  /// What the limit said; not in the line.
  Verdict State() const { return state_; }
  void State(Verdict state) { state_ = state; }

  /// Remark of the host; not in the line.
  const wide_string& Remark() const { return remark_; }
  void Remark(std::u16string_view remark) { remark_ = remark; }

  /// Unit text, of which 11 characters are shown. Null has no effect, here and below.
  const wide_char* Unit() const { return unit_.data(); }
  void Unit(std::u16string_view unit);
  void Unit(const wide_char* unit) { unit == nullptr ? void() : Unit(std::u16string_view(unit)); }

  /// Priority: larger ones come first.
  std::int32_t Prioritaet() const { return priority_; }
  void SetPriority(std::int32_t priority) { priority_ = priority; }

  std::int32_t Gruppe() const { return group_; }
  void Gruppe(std::int32_t group) { group_ = group; }

  /// Running number, printed first.
  std::int32_t Number() const { return number_; }
  void Number(std::int32_t number) { number_ = number; }

  /// Name of the tested quantity, of which 79 characters are shown.
  const wide_char* Name() const { return name_.data(); }
  void Name(std::u16string_view name);
  void Name(const wide_char* name) { name == nullptr ? void() : Name(std::u16string_view(name)); }

  /// The formatted line, at most 119 characters.
  const wide_char* Berichtstext() const { return line_.data(); }
  void SetReportText(std::u16string_view text);
  void SetReportText(const wide_char* text) {
    text == nullptr ? void() : SetReportText(std::u16string_view(text));
  }

  /// Seconds since 1970-01-01 UTC.
  std::uint32_t TimeStamp() const { return timeStamp_; }
  void SetTimeStamp(std::uint32_t time) { timeStamp_ = time; }

  /// "location (channel)": name 2 and name 1, or the one that is not empty.
  wide_string Label() const;

  /// Formats the line by Type into Berichtstext: its length. The int is not looked at.
  int FormatReport(int reserved = 0);

  /// Writes names 0 to 4, value and limit into a buffer of 400 characters (or of size ones), cut
  /// there; returns the buffer. No effect for null.
  wide_char* FormatSimple(wide_char* buffer) const { return FormatSimple(buffer, kLineLength); }
  wide_char* FormatSimple(wide_char* buffer, std::size_t size) const;

  /// Fills the report from a protocol item, without loss; the line is empty then.
  void Fillin(const CProtocolItem& item, int number, int group);

  /// Writes the same fields back into a protocol item: after Fillin the item itself, in the group
  /// given there. The int is not looked at.
  void InProtokollWandeln(CProtocolItem& item, int reserved = 0) const;

  bool operator<(const CDefectReport& other) const { return priority_ < other.priority_; }
  bool operator>(const CDefectReport& other) const { return priority_ > other.priority_; }
  bool operator<=(const CDefectReport& other) const { return priority_ <= other.priority_; }
  bool operator>=(const CDefectReport& other) const { return priority_ >= other.priority_; }

 private:
  static constexpr std::size_t kLineLength = 400;

  wide_string Line() const;

  std::array<wide_string, kNames> names_;
  std::int32_t code_ = 0;
  std::uint32_t type_ = 0;
  float value_ = 0.0F;
  float limit_ = 0.0F;
  float place_ = 0.0F;
  float average_ = 0.0F;
  float fExtra_ = 0.0F;
  std::int32_t iExtra_ = 0;
  std::array<wide_char, 12> unit_{};
  std::int32_t priority_ = 0;
  std::int32_t group_ = 0;
  std::int32_t number_ = 0;
  std::array<wide_char, 80> name_{};
  std::array<wide_char, 120> line_{};
  std::uint32_t timeStamp_ = 0;
  float from_ = 0.0F;
  float to_ = 0.0F;
  Verdict state_ = Verdict::kFail;
  wide_string remark_;
  wide_string wholeUnit_;  ///< unit and name as they were given, for protocol items
  wide_string wholeName_;
};

}  // namespace limes

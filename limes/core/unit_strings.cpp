#include <algorithm>
#include <array>
#include <deque>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "limes/core/measuring_unit.h"
#include "limes/platform/memory_errors.h"
#include "limes/platform/print_window.h"

namespace limes {
namespace {

using Unit = CMeasuringUnit;

struct Row {
  std::u16string_view text;
  std::uint32_t reciprocal;
};

constexpr Row kRows[] = {
    {u"-", 0},
    {u"n", Unit::perUnit},
    {u"x", 0},
    {u"y", 0},
    {u"z", 0},
    {u"N", 0},
    {u"%", 0},
    {u"s", Unit::hertz},
    {u"Hz", Unit::second},
    {u"rpm", 0},
    {u"rev", Unit::order},
    {u"ord", Unit::revolution},
    {u"V", 0},
    {u"Pa", 0},
    {u"Nm", 0},
    {u"\u00B0C", 0},
    {u"m/s\u00B2", 0},
    {u"g", 0},
    {u"m", 0},
    {u"\u00B0", Unit::order},
    {u"rad", Unit::order},
    {u"km/h", 0},
    {u"mph", 0},
    {u"m/s", 0},
    {u"rad/s", 0},
    {u"rad/s\u00B2", 0},
    {u"A", 0},
    {u"pu", Unit::number},
    {u"bar", 0},
    {u"t", 0},
    {u"W", 0},
};
static_assert(std::size(kRows) == Unit::kBuiltInUnits);

constexpr struct {
  std::u16string_view text;
  std::uint32_t unit;
} kOtherSpellings[] = {
    {u"m/s^2", Unit::metrePerSecond2},
    {u"UpM", Unit::rpm},
    {u"Upm", Unit::rpm},
    {u"Ord", Unit::order},
    {u"Rpm", Unit::rpm},
    {u"Rev", Unit::revolution},
    {u"Umd", Unit::revolution},
    {u"Rad/s", Unit::radianPerSecond},
    {u"Rad/s\u00B2", Unit::radianPerSecond2},
};

constexpr std::size_t kLongestBuiltIn = 6;

int FindBuiltIn(std::u16string_view text) {
  if (text.empty() || text.size() > kLongestBuiltIn) {
    return -1;
  }
  for (std::size_t i = 0; i < std::size(kRows); ++i) {
    if (kRows[i].text[0] == text[0] && kRows[i].text == text) {
      return static_cast<int>(i);
    }
  }
  return -1;
}

/// Never destroyed, as the table: units that end after it, statics of a host, still ask for texts.
const std::array<wide_string, Unit::kBuiltInUnits>& BuiltInTexts() {
  static const auto& texts = *[] {
    auto* const made = new std::array<wide_string, Unit::kBuiltInUnits>;
    std::transform(std::begin(kRows), std::end(kRows), made->begin(),
                   [](const Row& row) { return wide_string(row.text); });
    return made;
  }();
  return texts;
}

}  // namespace

struct CMeasuringUnit::UnitStrings::Table {
  std::mutex mutex;
  std::deque<wide_string> added;  ///< units from 31 on; its elements never move
  std::unordered_map<std::u16string_view, std::uint32_t> numbers;  ///< of the added units
  bool allow = false;
  bool complain = true;
};

CMeasuringUnit::UnitStrings::UnitStrings() : table_(*new Table) {}

CMeasuringUnit::UnitStrings& CMeasuringUnit::UnitStrings::theStrings() {
  static UnitStrings& strings = *new UnitStrings;
  return strings;
}

const wide_string& CMeasuringUnit::UnitStrings::operator[](std::uint32_t unit) const {
  if (unit < kBuiltInUnits) {
    return BuiltInTexts()[unit];
  }
  const std::scoped_lock lock(table_.mutex);
  static const wide_string& unknown = *new wide_string(u"?");
  const std::size_t i = unit - kBuiltInUnits;
  return i < table_.added.size() ? table_.added[i] : unknown;
}

int CMeasuringUnit::UnitStrings::Find(std::u16string_view text) const {
  const int builtIn = FindBuiltIn(text);
  if (builtIn >= 0) {
    return builtIn;
  }
  {
    const std::scoped_lock lock(table_.mutex);
    const auto found = table_.numbers.find(text);
    if (found != table_.numbers.end()) {
      return static_cast<int>(found->second);
    }
  }
  for (const auto& spelling : kOtherSpellings) {
    if (spelling.text == text) {
      return static_cast<int>(spelling.unit);
    }
  }
  return -1;
}

bool CMeasuringUnit::UnitStrings::Allows() const {
  const std::scoped_lock lock(table_.mutex);
  return table_.allow;
}

bool CMeasuringUnit::UnitStrings::Complains() const {
  const std::scoped_lock lock(table_.mutex);
  return table_.complain;
}

std::uint32_t CMeasuringUnit::UnitStrings::FindOrAdd(std::u16string_view text) {
  const int found = Find(text);
  return found >= 0 ? static_cast<std::uint32_t>(found) : FindOrAdd(text, Allows(), Complains());
}

std::uint32_t CMeasuringUnit::UnitStrings::FindOrAdd(std::u16string_view text, bool allow,
                                                     bool complain) {
  const int found = Find(text);
  if (found >= 0) {
    return static_cast<std::uint32_t>(found);
  }
  std::uint32_t unit = 0;
  if (allow) {
    const std::scoped_lock lock(table_.mutex);
    const auto raced = table_.numbers.find(text);  // by another thread since the look-up
    if (raced != table_.numbers.end()) {
      return raced->second;
    }
    if (table_.added.size() + kBuiltInUnits < kMaxUnits) {
      const std::size_t before = table_.added.size();
      const auto next = static_cast<std::uint32_t>(before) + kBuiltInUnits;
      if (detail::IfMemoryAllows(
              [&] { table_.numbers.emplace(table_.added.emplace_back(text), next); })) {
        unit = next;
      } else {
        table_.added.resize(before);
      }
    }
  }
  if (unit == 0) {
    PrWin::Print(PrWin::kWarnings, PrWin::kAlert,
                 u"CMeasuringUnit::UnitStrings: Unknown measuring unit \u2018%s\u2019 rejected!\n",
                 text);
  } else if (complain) {
    PrWin::Print(
        PrWin::kWarnings, PrWin::kAlert,
        u"CMeasuringUnit::UnitStrings: Uncommon measuring unit \u2018%s\u2019 registered "
        u"as #%d. This may cause compatibility issues. Please check for a newer version of "
        u"the Panorama app.\n",
        text, unit);
  }
  return unit;
}

bool CMeasuringUnit::UnitStrings::allowAddNewUnits(bool allow) {
  const std::scoped_lock lock(table_.mutex);
  return std::exchange(table_.allow, allow);
}

bool CMeasuringUnit::UnitStrings::complainAddNewUnits(bool complain) {
  const std::scoped_lock lock(table_.mutex);
  return std::exchange(table_.complain, complain);
}

std::uint32_t CMeasuringUnit::UnitStrings::inverseIndex(std::uint32_t unit) {
  return unit < kBuiltInUnits ? kRows[unit].reciprocal : 0;
}

std::uint32_t CMeasuringUnit::UnitStrings::inverseIndex(const wide_char* text) {
  const int row = FindBuiltIn(text == nullptr ? u"" : text);
  return row < 0 ? 0 : inverseIndex(static_cast<std::uint32_t>(row) + 1);
}

}  // namespace limes

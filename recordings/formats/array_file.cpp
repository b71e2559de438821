#include "recordings/formats/array_file.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <set>
#include <string_view>
#include <type_traits>

#include "recordings/errors.h"

namespace limes::recordings {
namespace {

constexpr std::array kSteps = {"dt", "dx", "wf_increment"};
constexpr std::array kRates = {"fs", "Fs", "sampling_rate", "sample_rate"};
constexpr std::array kStarts = {"t0", "x0", "wf_start_offset"};
constexpr std::array kUnits = {"units", "unit", "unit_string"};
constexpr std::array kXUnits = {"x_unit", "wf_xunit_string"};
constexpr std::array kAxes = {"time", "t", "x", "frequency", "freq", "f"};

/// What the names of an axis, a step or a rate say of the unit.
std::string UnitOfName(std::string_view name) {
  for (const std::string_view time :
       {"time", "t", "dt", "fs", "Fs", "sampling_rate", "sample_rate"}) {
    if (name == time) {
      return "s";
    }
  }
  return name == "frequency" || name == "freq" || name == "f" ? "Hz" : "";
}

template <class Names>
auto FirstOf(const Names& names, auto find)
    -> std::optional<std::pair<std::string, std::remove_cvref_t<decltype(*find(""))>>> {
  for (const char* const name : names) {
    if (const auto found = find(name)) {
      return std::pair(std::string(name), *found);
    }
  }
  return std::nullopt;
}

/// Looks names up among the attributes of an array, the scalars of its group, then of the file.
class CLookUp {
 public:
  CLookUp(const std::vector<SArray>& arrays, const SArray& array)
      : arrays_(arrays), array_(array) {}

  std::optional<double> Number(const std::string& name, bool own) const {
    if (own) {
      const auto found = array_.numbers.find(name);
      return found == array_.numbers.end() ? std::nullopt : std::optional(found->second);
    }
    const SArray* const found = Find(name, [](const SArray& a) { return a.scalar.has_value(); });
    return found == nullptr ? std::nullopt : found->scalar;
  }

  std::optional<std::string> Text(const std::string& name) const {
    const SArray* const found = Find(name, [](const SArray& a) { return a.text.has_value(); });
    return found == nullptr ? std::nullopt : found->text;
  }

  std::optional<std::string> OwnText(const std::string& name) const {
    const auto found = array_.texts.find(name);
    return found == array_.texts.end() ? std::nullopt : std::optional(found->second);
  }

 private:
  template <class Fits>
  const SArray* Find(const std::string& name, Fits fits) const {
    for (const std::string& group : {array_.group, std::string()}) {
      for (const SArray& a : arrays_) {
        if (a.name == name && a.group == group && fits(a)) {
          return &a;
        }
      }
    }
    return nullptr;
  }

  const std::vector<SArray>& arrays_;
  const SArray& array_;
};

std::string UnitOf(const std::vector<SArray>& arrays, const SArray& array, bool forAll) {
  const CLookUp look(arrays, array);
  const auto own = FirstOf(kUnits, [&](const char* name) { return look.OwnText(name); });
  if (own) {
    return own->second;
  }
  for (const char* const behind : {"_unit", "_units"}) {
    if (const auto text = look.Text(array.name + behind)) {
      return *text;
    }
  }
  const auto all = FirstOf(kUnits, [&](const char* name) { return look.Text(name); });
  return forAll && all ? all->second : "";
}

/// The array that holds x of another one.
std::optional<std::size_t> AxisOf(const std::vector<SArray>& arrays, std::size_t i) {
  if (arrays[i].scale) {
    return arrays[i].scale;
  }
  for (const char* const name : kAxes) {
    for (std::size_t k = 0; k < arrays.size(); ++k) {
      const SArray& x = arrays[k];
      if (k != i && x.name == name && x.group == arrays[i].group && x.IsData() && x.columns == 1 &&
          x.rows == arrays[i].rows) {
        return k;
      }
    }
  }
  return std::nullopt;
}

void TakeStep(const std::vector<SArray>& arrays, const SArray& array, SFileChannel& channel,
              std::string& named) {
  const CLookUp look(arrays, array);
  for (const bool own : {true, false}) {
    const auto number = [&](const char* name) { return look.Number(name, own); };
    const auto step = FirstOf(kSteps, number);
    const auto rate = FirstOf(kRates, number);
    if (!channel.x0) {
      const auto start = FirstOf(kStarts, number);
      channel.x0 = start ? std::optional(start->second) : std::nullopt;
    }
    if (!channel.dx && (step || rate)) {
      channel.dx = step ? step->second : 1.0 / rate->second;
      named = step ? step->first : rate->first;
    }
  }
}

}  // namespace

bool IsAxisName(std::string_view name) {
  return std::find(kAxes.begin(), kAxes.end(), name) != kAxes.end();
}

void CArrayFile::TellLeftOut(const std::vector<SArray>& arrays,
                             const std::map<std::string, std::vector<std::string>>& leftOut,
                             bool complex, const std::string& path, const std::string& format) {
  std::string reasons;
  for (const auto& [why, names] : leftOut) {
    notes_.push_back(LeftOut(why, names));
    reasons += "; " + notes_.back();
  }
  if (std::none_of(arrays.begin(), arrays.end(), [](const auto& a) { return a.IsData(); })) {
    throw CInputError(path, format + ": holds no array of numbers" + reasons);
  }
  if (complex) {
    notes_.emplace_back("complex values are read as their magnitude");
  }
}

void CArrayFile::MakeChannels(const std::vector<SArray>& arrays) {
  std::set<std::size_t> axes;
  for (std::size_t i = 0; i < arrays.size(); ++i) {
    if (const auto x = AxisOf(arrays, i); x && arrays[i].IsData() && !IsAxisName(arrays[i].name)) {
      axes.insert(*x);
    }
  }
  std::vector<std::string> wide;
  for (std::size_t i = 0; i < arrays.size(); ++i) {
    if (!arrays[i].IsData() || axes.count(i) > 0) {
      continue;
    }
    if (arrays[i].columns > 1 && arrays[i].columns >= arrays[i].rows) {
      wide.push_back(arrays[i].name);
    } else {
      AddChannels(arrays, i);
    }
  }
  if (!wide.empty()) {
    notes_.push_back(LeftOut("as they are matrices with no more rows than columns", wide));
  }
}

void CArrayFile::AddChannels(const std::vector<SArray>& arrays, std::size_t i) {
  const SArray& array = arrays[i];
  SFileChannel channel;
  channel.group = array.group;
  channel.count = array.rows;
  channel.unit = UnitOf(arrays, array, true);
  std::string named;
  const auto x = AxisOf(arrays, i);
  if (x) {
    channel.hasX = true;
    channel.xUnit = UnitOf(arrays, arrays[*x], false);
    named = arrays[*x].name;
  } else {
    TakeStep(arrays, array, channel, named);
  }
  if (const CLookUp look(arrays, array); channel.xUnit.empty()) {
    const auto own = FirstOf(kXUnits, [&](const char* name) { return look.OwnText(name); });
    const auto all = FirstOf(kXUnits, [&](const char* name) { return look.Text(name); });
    channel.xUnit = own ? own->second : all && !x ? all->second : "";
  }
  if (channel.xUnit.empty()) {
    channel.xUnit = UnitOfName(named);
    const std::string note = "x is in " + channel.xUnit + ", as the name " + named + " says";
    if (!channel.xUnit.empty() && std::find(notes_.begin(), notes_.end(), note) == notes_.end()) {
      notes_.push_back(note);
    }
  }
  for (std::uint64_t column = 0; column < array.columns; ++column) {
    channel.name = array.columns == 1 ? array.name : array.name + " " + std::to_string(column + 1);
    channels_.push_back(channel);
    sources_.push_back({i, column, x});
  }
}

}  // namespace limes::recordings

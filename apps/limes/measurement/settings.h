#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace limes::host {

/// Which limits are learnt.
enum class Sides { kUpper, kLower, kBoth };

/// How measurements are read, how quantities are formed from them, and the rule of the limits: one
/// member per option of the command line, empty when not given. A store remembers them.
struct SSettings {
  std::optional<bool> rows;                      ///< CSV: one curve per row
  std::optional<bool> values;                    ///< CSV: each cell a single value
  std::optional<bool> noHeader;                  ///< CSV: no line of column names
  std::optional<double> x0;                      ///< x of the first sample, in the x unit
  std::optional<double> dx;                      ///< step of x; CSV columns: there is no x column
  std::optional<std::string> xUnit;              ///< unit of x where the file names none
  std::optional<std::string> unit;               ///< unit of the values, instead of the file's
  std::optional<std::string> name;               ///< name of the quantity where the file has none
  std::optional<std::vector<std::string>> use;   ///< quantities taken; empty means all
  std::optional<std::vector<std::string>> skip;  ///< columns that hold no values
  std::optional<std::string> firstValue;         ///< first column of values
  std::optional<std::string> partColumn;         ///< rows with the same text there are one part
  std::optional<std::string> quantityColumn;     ///< names the quantity of a row
  std::optional<std::uint64_t> cut;              ///< samples per part; 0 means not cut
  std::optional<bool> detrend;                   ///< subtract the mean of each signal
  std::optional<std::uint32_t> spectrum;         ///< segment length of the spectrum; 0 means none
  std::optional<double> ref;                     ///< reference of decibels, in the unit
  std::optional<bool> tracks;                    ///< each part covers its own range of x

  std::optional<double> scale;             ///< factor from the file's numbers to the unit
  std::optional<std::string> labelColumn;  ///< column with the known verdict
  std::optional<std::string> good;         ///< the label of good parts

  std::optional<std::string> sides;       ///< upper, lower or both
  std::optional<std::int32_t> timeScale;  ///< of the running means, in parts
  std::optional<double> base;             ///< limit = base + mean + factor * spread
  std::optional<double> factor;           ///< see base
  std::optional<double> width;            ///< half-width of the running maximum, in the x unit
  std::optional<std::int32_t> minParts;   ///< fewer learnt parts judge nothing
  std::optional<double> minShare;         ///< least share of the limit range for an OK
  std::optional<bool> onePerCurve;        ///< one defect per curve, not per region of excess

  bool IsTable() const { return rows.value_or(false) || values.value_or(false); }
  Sides WhichSides() const;
};

/// What a stored setting allows.
enum class Policy {
  kFixed,    ///< another value is an error: learnt and new parts could not be compared
  kJudging,  ///< test may judge by another value
  kReading,  ///< may differ from file to file; the store holds the default
};

/// Calls visit(option, policy, member of each) for every setting, in the order of the help text.
template <class Visit, class... Settings>
void VisitSettings(Visit visit, Settings&... s) {
  visit("--rows", Policy::kFixed, s.rows...);
  visit("--values", Policy::kFixed, s.values...);
  visit("--no-header", Policy::kFixed, s.noHeader...);
  visit("--x0", Policy::kFixed, s.x0...);
  visit("--dx", Policy::kFixed, s.dx...);
  visit("--x-unit", Policy::kFixed, s.xUnit...);
  visit("--unit", Policy::kFixed, s.unit...);
  visit("--name", Policy::kFixed, s.name...);
  visit("--use", Policy::kReading, s.use...);
  visit("--skip", Policy::kFixed, s.skip...);
  visit("--first-value", Policy::kFixed, s.firstValue...);
  visit("--part-column", Policy::kFixed, s.partColumn...);
  visit("--quantity-column", Policy::kFixed, s.quantityColumn...);
  visit("--cut", Policy::kFixed, s.cut...);
  visit("--detrend", Policy::kFixed, s.detrend...);
  visit("--spectrum", Policy::kFixed, s.spectrum...);
  visit("--ref", Policy::kFixed, s.ref...);
  visit("--tracks", Policy::kFixed, s.tracks...);
  visit("--scale", Policy::kReading, s.scale...);
  visit("--label-column", Policy::kReading, s.labelColumn...);
  visit("--good", Policy::kReading, s.good...);
  visit("--sides", Policy::kFixed, s.sides...);
  visit("--time-scale", Policy::kFixed, s.timeScale...);
  visit("--base", Policy::kJudging, s.base...);
  visit("--factor", Policy::kJudging, s.factor...);
  visit("--width", Policy::kJudging, s.width...);
  visit("--min-parts", Policy::kJudging, s.minParts...);
  visit("--min-share", Policy::kJudging, s.minShare...);
  visit("--one-per-curve", Policy::kReading, s.onePerCurve...);
}

/// Fills in the defaults of what was not given.
void SetDefaults(SSettings& settings);

/// What holds for this run: the given settings, else the stored ones. Throws CUsageError where a
/// given one contradicts the store.
SSettings Resolve(const SSettings& given, const SSettings& stored, bool learning);

/// The first of the options by which two settings differ, as "--base 3.0 there, 0.0 here"; empty
/// when they agree.
std::string Difference(const SSettings& here, const SSettings& there,
                       std::initializer_list<std::string_view> options);

/// Refuses numbers out of range and combinations without meaning. Throws CUsageError.
void Validate(const SSettings& settings);

std::string SettingsToText(const SSettings& settings);

/// Throws std::exception when the text is not what SettingsToText gives.
SSettings SettingsFromText(const std::string& text);

/// Which parts of the files a run takes; not remembered.
struct SSelection {
  std::uint64_t every = 1;       ///< of the parts ...
  std::uint64_t everyStart = 0;  ///< ... these: start, start + every, ...
  std::uint64_t first = 1;       ///< from this one on, counted from 1
  std::uint64_t last = UINT64_MAX;

  /// Whether the part with this place (from 0) is taken.
  bool Takes(std::uint64_t place) const {
    return place >= everyStart && (place - everyStart) % every == 0 && place + 1 >= first &&
           place < last;
  }
};

}  // namespace limes::host

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace limes::recordings {

/// What may be said for a later file when earlier ones were already compared.
enum class Policy {
  kFixed,    ///< the same as before, else the parts could not be compared
  kJudging,  ///< another way to judge what was learnt
  kReading,  ///< may differ from file to file
};

/// The form of settings as somebody gives them: what is not given is empty.
struct SGiven {
  template <class T>
  struct Holder {
    using Type = std::optional<T>;
  };
  template <class T>
  struct Holder<std::optional<T>> {
    using Type = std::optional<T>;
  };
  template <class T>
  static constexpr std::nullopt_t Default(T /*value*/) {
    return std::nullopt;
  }
};

/// The form that holds: given or by default. Empty is only what may be absent.
struct SResolved {
  template <class T>
  struct Holder {
    using Type = T;
  };
  template <class T>
  static constexpr T Default(T value) {
    return value;
  }
};

/// How measurements are read and how quantities are formed from them. The names of the list are
/// those of the command line.
template <class Form>
struct TReadSettings {
  template <class T>
  using Field = typename Form::template Holder<T>::Type;
  using Names = std::vector<std::string>;
  using Text = std::optional<std::string>;

  Field<bool> rows = Form::Default(false);         ///< tables: one curve per row
  Field<bool> values = Form::Default(false);       ///< tables: each cell a single value
  Field<Names> longForm = Form::Default(Names());  ///< tables: columns of part, x and values
  Field<Names> table = Form::Default(Names());     ///< how tables are written; else detected
  Field<bool> noHeader = Form::Default(false);     ///< tables: no line of column names
  Text xFrom;                                      ///< channel or column that holds x
  std::optional<double> x0;                        ///< x of the first sample, in the x unit
  std::optional<double> dx;                        ///< step of x; columns: there is no x column
  Text xUnit;                                      ///< unit of x where the file names none
  Text unit;                                       ///< unit of the values, instead of the file's
  Text name;                                       ///< of the quantity where the file has none
  Field<Names> use = Form::Default(Names());       ///< quantities taken; empty means all
  Field<Names> skip = Form::Default(Names());      ///< columns that hold no values
  Text firstValue;                                 ///< first column of values
  Text partColumn;                                 ///< rows with the same text there are one part
  Text quantityColumn;                             ///< names the quantity of a row
  Field<std::uint64_t> cut = Form::Default(0ULL);  ///< samples per part; 0 means not cut
  Field<bool> detrend = Form::Default(false);      ///< subtract the mean of each signal
  Field<std::uint32_t> spectrum = Form::Default(0U);  ///< segment length; 0 means no spectrum
  std::optional<double> resolution;                   ///< of spectra, in Hz, instead of a length
  Field<std::uint32_t> bands = Form::Default(0U);     ///< bands per octave, 1 or 3; 0: no bands
  std::optional<double> level;                        ///< over time, of this time constant in s
  Text weighting;                                     ///< A or C
  Text envelope;                                      ///< of the band LOW:HIGH in Hz
  Field<Names> single = Form::Default(Names());       ///< single values formed of a signal
  Text orders;                                        ///< level spectrum over orders, STEP:MOST
  Field<Names> orderCuts = Form::Default(Names());    ///< orders whose levels over speed are formed
  Text speed;                                         ///< channel of the speed, or of its pulses
  std::optional<double> pulses;                       ///< per revolution
  std::optional<double> ref;                          ///< reference of decibels, in the unit
  Field<double> scale = Form::Default(1.0);           ///< from the file's numbers to the unit
  Text labelColumn;                                   ///< column with the known verdict
  Field<std::string> good = Form::Default("good");    ///< the label of good parts
  Field<Names> variant = Form::Default(Names());      ///< names of what tells variants apart
  Text variantPattern;                                ///< of file names, "{product}_{serial}.wav"

  /// Whether rows of a table are parts or pieces of them.
  bool IsTable() const requires std::is_same_v<Form, SResolved> {
    return rows || values || !longForm.empty();
  }

  /// Whether levels over frequency, orders or time are formed.
  bool FormsLevels() const requires std::is_same_v<Form, SResolved> {
    return spectrum > 0 || resolution || bands > 0 || level || orders;
  }

  /// Whether a signal becomes something else at all.
  bool Forms() const requires std::is_same_v<Form, SResolved> {
    return FormsLevels() || !single.empty() || !orderCuts.empty() || envelope || weighting;
  }

  /// Whether a file may hold several parts.
  bool MayHoldSeveral() const requires std::is_same_v<Form, SResolved> {
    return cut > 0 || IsTable();
  }

  /// Calls visit(name, policy, member of each) for every setting.
  template <class Visit, class... Settings>
  static void ForEach(Visit visit, Settings&... s) {
    visit("--rows", Policy::kFixed, s.rows...);
    visit("--values", Policy::kFixed, s.values...);
    visit("--long", Policy::kFixed, s.longForm...);
    visit("--table", Policy::kReading, s.table...);
    visit("--no-header", Policy::kFixed, s.noHeader...);
    visit("--x", Policy::kFixed, s.xFrom...);
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
    visit("--resolution", Policy::kFixed, s.resolution...);
    visit("--bands", Policy::kFixed, s.bands...);
    visit("--level", Policy::kFixed, s.level...);
    visit("--weighting", Policy::kFixed, s.weighting...);
    visit("--envelope", Policy::kFixed, s.envelope...);
    visit("--single", Policy::kFixed, s.single...);
    visit("--orders", Policy::kFixed, s.orders...);
    visit("--order-cuts", Policy::kFixed, s.orderCuts...);
    visit("--speed", Policy::kFixed, s.speed...);
    visit("--pulses", Policy::kFixed, s.pulses...);
    visit("--ref", Policy::kFixed, s.ref...);
    visit("--scale", Policy::kReading, s.scale...);
    visit("--label-column", Policy::kReading, s.labelColumn...);
    visit("--good", Policy::kReading, s.good...);
    visit("--variant", Policy::kFixed, s.variant...);
    visit("--variant-pattern", Policy::kReading, s.variantPattern...);
  }
};

using SReadSettings = TReadSettings<SResolved>;

/// One condition: the rows whose cell in this column is this text or number.
struct SCondition {
  std::string column;
  std::string value;
};

/// Which parts of the files are taken.
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

}  // namespace limes::recordings

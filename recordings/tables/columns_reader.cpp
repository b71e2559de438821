#include <algorithm>
#include <cmath>
#include <optional>

#include "recordings/errors.h"
#include "recordings/forming/steps.h"
#include "recordings/recording.h"
#include "recordings/tables/csv_table.h"
#include "recordings/tables/time_stamp.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

constexpr double kStepTolerance = 1e-3;

class CColumns : public CRecording {
 public:
  CColumns(CFileStream& stream, const SReadContext& context, const SReadSettings& settings)
      : table_(stream, context),
        hasX_(!settings.dx),
        x0_(settings.x0.value_or(0.0)),
        dx_(settings.dx.value_or(0.0)),
        whole_(settings.cut == 0),
        mayLack_(whole_ && settings.spectrum == 0 && !settings.detrend),
        xUnit_(ParseUnit(settings.xUnit.value_or(""))),
        note_(context.note) {
    if (hasX_) {
      x_ = settings.xFrom ? table_.Find(*settings.xFrom) : 0;
    }
    const std::string unitOfX = hasX_ ? table_.Columns()[x_].unit : "";
    if (xUnit_.IsNone()) {
      xUnit_ = ParseUnit(unitOfX);
    }
    NoteReplaced(context, "--x-unit", settings.xUnit, unitOfX);
    ChooseColumns(settings);
    for (const std::size_t column : columns_) {
      const SColumn& head = table_.Columns()[column];
      channels_.push_back({head.name, ParseUnit(head.unit)});
      NoteReplaced(context, "--unit", settings.unit, head.unit);
      table_.Find(head.name);  // refuses a name that stands there twice
    }
    covered_.resize(columns_.size());
    if (hasX_) {
      table_.ExpectNumbers<double>({x_});
    }
    table_.ExpectNumbers<float>(columns_);
  }

  const std::vector<SChannel>& Channels() const override { return channels_; }
  double X0() const override { return x0_; }
  double Dx() const override { return dx_; }
  SUnit XUnit() const override { return xUnit_; }
  const std::vector<float>& FreeX() const override { return freeX_; }
  const std::vector<std::uint8_t>& Covered(std::size_t channel) const override {
    return covered_[channel];
  }

  std::size_t Read(std::size_t count, std::vector<std::vector<float>>& channels) override {
    channels.resize(columns_.size());
    for (auto& channel : channels) {
      channel.clear();
    }
    places_.clear();
    lines_.clear();
    std::size_t total = 0;
    for (; total < count && table_.NextRow(cells_); ++total) {
      if (hasX_) {
        TakeX();
      }
      for (std::size_t i = 0; i < columns_.size(); ++i) {
        if (mayLack_ && cells_[columns_[i]].empty()) {
          covered_[i].resize(total, 1);
          covered_[i].push_back(0);
          channels[i].push_back(0.0F);
        } else {
          channels[i].push_back(table_.Number<float>(cells_, columns_[i]));
        }
      }
    }
    if (hasX_ && total > 0) {
      CheckSteps();
    }
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      DrawOverGaps(i, channels[i]);
    }
    return total;
  }

 private:
  void ChooseColumns(const SReadSettings& settings) {
    if (hasX_ && table_.Columns().size() == 1 && settings.use.empty()) {
      throw CInputError(table_.Name(), 1,
                        "only one column, which is x (--dx D when there is no x column)");
    }
    columns_ = table_.Choose(settings.use, settings.skip, 0,
                             hasX_ ? std::vector{x_} : std::vector<std::size_t>());
  }

  /// Lines between the values that are there, the first and the last one beyond them.
  void DrawOverGaps(std::size_t channel, std::vector<float>& values) {
    std::vector<std::uint8_t>& covered = covered_[channel];
    if (covered.empty()) {
      return;
    }
    covered.resize(values.size(), 1);
    const auto missing = std::count(covered.begin(), covered.end(), 0);
    const std::string name = Quoted(channels_[channel].name);
    if (missing == static_cast<std::ptrdiff_t>(values.size())) {
      throw CInputError(table_.Name(), "column " + name + " holds no value");
    }
    if (note_) {
      note_("empty cells are taken as not measured: " + std::to_string(missing) + " of " +
            std::to_string(values.size()) + " in " + name);
    }
    const auto next = [&](std::size_t i) {
      return static_cast<std::size_t>(
          std::find(covered.begin() + static_cast<std::ptrdiff_t>(i), covered.end(), 1) -
          covered.begin());
    };
    std::size_t before = next(0);
    std::fill_n(values.begin(), before, values[before]);
    while (before + 1 < values.size()) {
      const std::size_t after = next(before + 1);
      for (std::size_t i = before + 1; i < std::min(after, values.size()); ++i) {
        const double share = static_cast<double>(i - before) / static_cast<double>(after - before);
        const double left = values[before];
        const double right = after < values.size() ? values[after] : values[before];
        values[i] = static_cast<float>(left + share * (right - left));
      }
      before = after;
    }
  }

  void TakeX() {
    const bool first = places_.empty() && dx_ == 0.0;
    const auto stamp = firstStamp_ || first ? ParseTimeStamp(cells_[x_]) : std::nullopt;
    if (firstStamp_ && !stamp) {
      throw CInputError(table_.Name(), table_.Reader().Line(),
                        Quoted(cells_[x_]) + " is no time stamp as those above it");
    }
    if (stamp && !firstStamp_) {
      firstStamp_ = stamp;
      xUnit_ = ParseUnit("s");
      if (note_) {
        note_("x is time stamps: seconds from the first one, " + Quoted(cells_[x_]));
      }
    }
    constexpr double kNanosecond = 1e-9;
    places_.push_back(stamp ? static_cast<double>(*stamp - *firstStamp_) * kNanosecond
                            : table_.Number<double>(cells_, x_));
    lines_.push_back(table_.Reader().Line());
  }

  void CheckSteps() {
    if (places_.size() < 2) {
      if (dx_ > 0.0) {
        return;  // the rest of a recording that is cut into parts
      }
      throw CInputError(table_.Name(), lines_[0], "one sample; x needs at least two");
    }
    const double first = places_[0];
    const double step = MeanStep(places_);
    if (const auto off = FirstOffSteps(places_)) {
      if (whole_) {
        TakeFreeX();
        return;
      }
      throw CInputError(table_.Name(), lines_[*off],
                        "x is not at equal steps, as --cut needs it: " + NumberText(places_[*off]) +
                            " where " + NumberText(first + static_cast<double>(*off) * step) +
                            " is expected");
    }
    if (dx_ == 0.0) {
      dx_ = step;
      x0_ = first;
    } else if (std::fabs(step - dx_) > kStepTolerance * dx_) {
      throw CInputError(table_.Name(), lines_[0], "the step of x changes here");
    }
  }

  /// Steps that are not equal: a column that goes up and down is no x.
  void TakeFreeX() {
    if (const auto fault = TakeFreeSteps(places_, freeX_)) {
      throw CInputError(table_.Name(), lines_[*fault],
                        std::isfinite(static_cast<float>(places_[*fault]))
                            ? "x neither rises nor falls from row to row (--dx D when there is no "
                              "x column)"
                            : "x is out of range");
    }
    x0_ = std::min(places_.front(), places_.back());
    dx_ = std::fabs(MeanStep(places_));
  }

  CCsvTable table_;
  bool hasX_;
  double x0_;
  double dx_;
  bool whole_;    ///< read in one block
  bool mayLack_;  ///< values may be missing
  SUnit xUnit_;
  NoteTaker note_;
  std::size_t x_ = 0;  ///< the column
  std::optional<std::int64_t> firstStamp_;
  std::vector<std::size_t> columns_;
  std::vector<SChannel> channels_;
  std::vector<std::vector<std::uint8_t>> covered_;  ///< of each; empty where nothing is missing
  std::vector<double> places_;                      ///< x of the rows of a block
  std::vector<std::uint64_t> lines_;                ///< where they stand
  std::vector<float> freeX_;
  std::vector<std::string_view> cells_;
};

}  // namespace

std::unique_ptr<CRecording> OpenColumns(CFileStream& stream, const SReadContext& context) {
  return std::make_unique<CColumns>(stream, context, *context.settings);
}

}  // namespace limes::recordings

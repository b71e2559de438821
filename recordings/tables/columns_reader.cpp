#include <algorithm>
#include <cmath>
#include <optional>

#include "recordings/errors.h"
#include "recordings/recording.h"
#include "recordings/tables/csv_table.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

/// How far, in steps, an x may lie from its place: times printed with few digits are that coarse.
constexpr double kPlaceTolerance = 0.1;
constexpr double kStepTolerance = 1e-3;

class CColumns : public CRecording {
 public:
  CColumns(CFileStream& stream, const SReadContext& context, const SReadSettings& settings)
      : table_(stream, context),
        hasX_(!settings.dx),
        x0_(settings.x0),
        dx_(settings.dx.value_or(0.0)),
        whole_(settings.cut == 0),
        xUnit_(ParseUnit(settings.xUnit.value_or(""))) {
    if (hasX_ && xUnit_.IsNone()) {
      xUnit_ = ParseUnit(table_.Columns()[0].unit);
    }
    ChooseColumns(settings);
    for (const std::size_t column : columns_) {
      const SColumn& head = table_.Columns()[column];
      channels_.push_back({head.name, ParseUnit(head.unit)});
      table_.Find(head.name);  // refuses a name that stands there twice
    }
  }

  const std::vector<SChannel>& Channels() const override { return channels_; }
  double X0() const override { return x0_; }
  double Dx() const override { return dx_; }
  SUnit XUnit() const override { return xUnit_; }
  const std::vector<float>& FreeX() const override { return freeX_; }

  std::size_t Read(std::size_t count, std::vector<std::vector<float>>& channels) override {
    channels.resize(columns_.size());
    for (auto& channel : channels) {
      channel.clear();
    }
    places_.clear();
    std::size_t total = 0;
    for (; total < count && table_.NextRow(cells_); ++total) {
      if (hasX_) {
        TakeX();
      }
      for (std::size_t i = 0; i < columns_.size(); ++i) {
        channels[i].push_back(table_.Number<float>(cells_, columns_[i]));
      }
    }
    if (hasX_ && total > 0) {
      CheckSteps();
    }
    return total;
  }

 private:
  struct SPlace {
    double x;
    std::uint64_t line;
  };

  void ChooseColumns(const SReadSettings& settings) {
    if (hasX_ && table_.Columns().size() == 1 && settings.use.empty()) {
      throw CInputError(table_.Name(), 1,
                        "only one column, which is x (--dx D when there is no x column)");
    }
    columns_ = table_.Choose(settings.use, settings.skip, hasX_ ? 1 : 0, {});
  }

  void TakeX() { places_.push_back({table_.Number<double>(cells_, 0), table_.Reader().Line()}); }

  void CheckSteps() {
    const std::size_t n = places_.size();
    if (n < 2) {
      if (dx_ > 0.0) {
        return;  // the rest of a recording that is cut into parts
      }
      throw CInputError(table_.Name(), places_[0].line, "one sample; x needs at least two");
    }
    const double first = places_[0].x;
    const double step = (places_[n - 1].x - first) / static_cast<double>(n - 1);
    for (std::size_t i = 0; i < n; ++i) {
      const double expected = first + static_cast<double>(i) * step;
      if (!(step > 0.0 && std::fabs(places_[i].x - expected) <= kPlaceTolerance * step)) {
        if (whole_) {
          TakeFreeX();
          return;
        }
        throw CInputError(
            table_.Name(), places_[i].line,
            "x is not at equal steps, as --cut needs it: " + NumberText(places_[i].x) + " where " +
                NumberText(expected) + " is expected");
      }
    }
    if (dx_ == 0.0) {
      dx_ = step;
      x0_ = first;
    } else if (std::fabs(step - dx_) > kStepTolerance * dx_) {
      throw CInputError(table_.Name(), places_[0].line, "the step of x changes here");
    }
  }

  /// Steps that are not equal: a column that goes up and down is no x.
  void TakeFreeX() {
    const bool rises = places_.back().x > places_.front().x;
    for (const SPlace& place : places_) {
      const auto x = static_cast<float>(place.x);
      if (!std::isfinite(x)) {
        throw CInputError(table_.Name(), place.line, "x is out of range");
      }
      if (!freeX_.empty() && !(rises ? x > freeX_.back() : x < freeX_.back())) {
        throw CInputError(table_.Name(), place.line,
                          "x neither rises nor falls from row to row (--dx D when there is no x "
                          "column)");
      }
      freeX_.push_back(x);
    }
    x0_ = std::min(places_.front().x, places_.back().x);
    dx_ = std::fabs(places_.back().x - places_.front().x) / static_cast<double>(places_.size() - 1);
  }

  CCsvTable table_;
  bool hasX_;
  double x0_;
  double dx_;
  bool whole_;  ///< read in one block
  SUnit xUnit_;
  std::vector<std::size_t> columns_;
  std::vector<SChannel> channels_;
  std::vector<SPlace> places_;
  std::vector<float> freeX_;
  std::vector<std::string_view> cells_;
};

}  // namespace

std::unique_ptr<CRecording> OpenColumns(CFileStream& stream, const SReadContext& context) {
  return std::make_unique<CColumns>(stream, context, *context.settings);
}

}  // namespace limes::recordings

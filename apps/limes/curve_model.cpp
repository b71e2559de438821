#include <algorithm>
#include <cmath>
#include <limits>

#include "apps/limes/csv_reader.h"
#include "apps/limes/defects.h"
#include "apps/limes/errors.h"
#include "apps/limes/quantity_model.h"
#include "limes/learning/curve_assistant.h"
#include "limes/learning/curve_learning_tool.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/text.h"
#include "limes/signals/extended_curve.h"

namespace limes::host {
namespace {

constexpr double kStepTolerance = 1e-4;   ///< relative; other steps are another quantity
constexpr double kPlaceTolerance = 0.01;  ///< of a step; closer grids are the same
constexpr std::size_t kMostDefects = 5;   ///< per quantity and side, the worst ones

class CCurveModel : public CQuantityModel {
 public:
  CCurveModel(const SSettings& settings, const std::string& name, const SUnit& xUnit,
              const SUnit& unit)
      : CQuantityModel(settings, name, xUnit, unit, false) {}

  void Prepare(const SQuantity& quantity, const std::string& part) override {
    CheckUnits(quantity, part);
    TakeValues(quantity, part);
    if (Grid() == nullptr) {
      raw_.SetName(Utf8ToWide(name_).c_str());
      raw_.SetXUnit(xUnit_.unit);
      raw_.SetYUnit(unit_.unit);
      for (const Side side : sides_) {
        Tool(side).Vorlage(&raw_);
        Tool(side).Neustart(settings_.timeScale.value_or(10000));
        SetRule(side);
      }
    }
    Fit(quantity, part);
  }

  void Learn() override {
    for (const Side side : sides_) {
      Tool(side).NeueMessung(&Fitted(side));
    }
    stale_ = true;
  }

  void Judge(Side side, SQuantityVerdict& verdict, std::vector<SDefect>& defects) override;

  std::int64_t Learnt() const override { return Tool(sides_[0]).NrGelernt(); }

  std::vector<std::uint8_t> State(Side side) const override {
    CMemoryStream stream;
    if (!Tool(side).WriteState(stream)) {
      throw CStoreError("the learn state of " + name_ + " cannot be written");
    }
    const auto bytes = stream.Bytes();
    return {bytes.begin(), bytes.end()};
  }

  std::string SetState(Side side, const std::vector<std::uint8_t>& record) override {
    CMemoryStream stream{std::span<const std::uint8_t>(record)};
    const auto status = Tool(side).ReadState(stream);
    if (status != LearnStateStatus::kOk) {
      return WideToUtf8(Text(status));
    }
    SetRule(side);
    stale_ = true;
    return "";
  }

  SLearntSummary Summary(Side side) override;
  std::string Warning() override;

 protected:
  std::string JoinStates(const CQuantityModel& other) override;

 private:
  static float Sign(Side side) { return side == Side::kUpper ? 1.0F : -1.0F; }

  CKurvenLernWerkzeug& Tool(Side side) { return tools_[side == Side::kUpper ? 0 : 1]; }
  const CKurvenLernWerkzeug& Tool(Side side) const { return tools_[side == Side::kUpper ? 0 : 1]; }
  const CSigCurveExt* Grid() const { return Tool(sides_[0]).Mittelwert(); }

  void SetRule(Side side);
  void TakeValues(const SQuantity& quantity, const std::string& part);
  void Fit(const SQuantity& quantity, const std::string& part);
  void Update();
  void TakeNumbers(Side side, std::int32_t i, SQuantityVerdict& verdict);
  std::vector<std::int32_t> Peaks(Side side, std::int32_t first, std::int32_t last);
  static bool IsExcess(float value, float limit) {
    return value > limit && !IsRounding(double{value} - limit, value, limit);
  }

  /// The prepared curve in the sign of a side.
  CSigCurveExt& Fitted(Side side) {
    if (fittedSign_ != Sign(side)) {
      fitted_.MirrorY();
      fittedSign_ = Sign(side);
    }
    return fitted_;
  }

  CKurvenLernWerkzeug tools_[2];
  CSigCurveExt raw_;     ///< the quantity on its own grid
  CSigCurveExt fitted_;  ///< the same on the learnt grid
  float fittedSign_ = 1.0F;
  bool stale_ = false;  ///< limits are older than the means
};

std::string CCurveModel::JoinStates(const CQuantityModel& other) {
  for (const Side side : sides_) {
    CKurvenLernWerkzeug theirs = static_cast<const CCurveModel&>(other).Tool(side);
    // The same width gives another place where the axes begin a rounding step apart.
    theirs.Bildungsregel(Tool(side).Sockel(), Tool(side).Faktor(), Tool(side).Breite());
    const MergeStatus status = Tool(side).Merge(theirs);
    if (status != MergeStatus::kOk) {
      return WideToUtf8(Text(status));
    }
  }
  stale_ = true;
  return "";
}

void CCurveModel::SetRule(Side side) {
  const double width = settings_.width.value_or(0.0);
  // The library takes the width as a place on the x axis.
  const float place = width > 0.0 ? static_cast<float>(Grid()->XMin() + width) : 0.0F;
  Tool(side).Bildungsregel(static_cast<float>(settings_.base.value_or(0.0)),
                           static_cast<float>(settings_.factor.value_or(0.0)), place);
}

/// Fills raw_, on the very grid that was learnt when the quantity's own is the same but for
/// rounding.
void CCurveModel::TakeValues(const SQuantity& q, const std::string& part) {
  const std::size_t n = q.values.size();
  if (n == 0 || n > std::numeric_limits<std::int32_t>::max()) {
    throw CInputError(part, "quantity " + Quoted(name_) + " has no values or too many");
  }
  auto x0 = static_cast<float>(q.x0);
  auto x1 = static_cast<float>(q.x0 + q.dx * static_cast<double>(n));
  const float resolution =
      8.0F * std::numeric_limits<float>::epsilon() * std::max(std::fabs(x0), std::fabs(x1));
  if (!std::isfinite(x0) || !std::isfinite(x1) || !(q.dx > double{resolution})) {
    throw CInputError(part, "quantity " + Quoted(name_) + ": steps of " + NumberText(q.dx) +
                                " from " + NumberText(q.x0) +
                                " on are too fine for single precision");
  }
  if (const CSigCurveExt* grid = Grid(); grid != nullptr && grid->DLen() == n) {
    const double tolerance = kPlaceTolerance * q.dx + double{resolution};
    if (std::fabs(double{x0} - grid->XMin()) <= tolerance &&
        std::fabs(double{x1} - grid->XMax()) <= tolerance) {
      x0 = grid->XMin();
      x1 = grid->XMax();
    }
  }
  if (raw_.DLen() != n) {
    raw_ = CSigCurveExt::Make(static_cast<int>(n), x0, x1);
    if (raw_.DLen() != n) {
      throw std::bad_alloc();
    }
  }
  raw_.SetXMinMax(x0, x1);
  raw_.SetVIMinMax(0, static_cast<std::int32_t>(n) - 1);  // to the last value, not a step behind
  std::copy(q.values.begin(), q.values.end(), raw_.ValArray());
}

void CCurveModel::Fit(const SQuantity& q, const std::string& part) {
  const CSigCurveExt& grid = *Grid();
  const auto unit = [this](double x) {
    const std::string shown = xUnit_.Display();
    return NumberText(Shown(static_cast<float>(x))) + (shown.empty() ? "" : " " + shown);
  };
  const double n = grid.DLen();
  const double step = (double{grid.XMax()} - grid.XMin()) / n;
  const double rounding = std::numeric_limits<float>::epsilon() *
                          std::max(std::fabs(grid.XMin()), std::fabs(grid.XMax())) / n;
  if (std::fabs(q.dx - step) > kStepTolerance * step + rounding) {
    throw CInputError(part, "quantity " + Quoted(name_) + " has steps of " + unit(q.dx) +
                                ", in the store " + unit(step));
  }
  if (!CSigCurveAssistent::AnpassenAn(raw_, grid, fitted_)) {
    throw CInputError(part, "quantity " + Quoted(name_) + " covers x from " + unit(raw_.XMin()) +
                                " to " + unit(raw_.XMax()) + ", nothing of the learnt range " +
                                unit(grid.VMin()) + " to " + unit(grid.VMax()));
  }
  fittedSign_ = 1.0F;
}

void CCurveModel::Update() {
  if (!stale_) {
    return;
  }
  for (const Side side : sides_) {
    Tool(side).GrenzeAktualisieren();
    Tool(side).StandardAbwBilden();
  }
  stale_ = false;
}

/// The numbers of a verdict at one point of the limit.
void CCurveModel::TakeNumbers(Side side, std::int32_t i, SQuantityVerdict& verdict) {
  const CKurvenLernWerkzeug& tool = Tool(side);
  const float sign = Sign(side);
  const float value = Fitted(side)[i];
  const float limit = (*tool.Grenzkurve())[i];
  const float spread = (*tool.StandardAbw())[i];
  const float excess = value - limit;
  verdict.maxDeviation = IsExcess(value, limit) || !(excess > 0.0F) ? Shown(excess) : 0.0;
  verdict.excessInS.reset();
  if (spread > 0.0F) {
    verdict.excessInS = Shown(static_cast<float>(*verdict.maxDeviation / spread));
  }
  verdict.x = Shown(tool.Grenzkurve()->GetPoint(i));
  verdict.value = Shown(sign * value);
  verdict.limit = Shown(sign * limit);
  verdict.mean = Shown(sign * (*tool.Mittelwert())[i]);
  verdict.spread = Shown(spread);
}

/// The worst place of each stretch beyond the limit, the worst stretches only.
std::vector<std::int32_t> CCurveModel::Peaks(Side side, std::int32_t first, std::int32_t last) {
  const CSigCurveExt& limit = *Tool(side).Grenzkurve();
  const CSigCurveExt& curve = Fitted(side);
  const auto excess = [&](std::int32_t i) { return curve[i] - limit[i]; };
  std::vector<std::int32_t> peaks;
  bool inside = false;
  for (std::int32_t i = first; i <= last; ++i) {
    const bool beyond = IsExcess(curve[i], limit[i]);
    if (beyond && !inside) {
      peaks.push_back(i);
    } else if (beyond && excess(i) > excess(peaks.back())) {
      peaks.back() = i;
    }
    inside = beyond;
  }
  std::stable_sort(peaks.begin(), peaks.end(),
                   [&](std::int32_t a, std::int32_t b) { return excess(a) > excess(b); });
  return peaks;
}

void CCurveModel::Judge(Side side, SQuantityVerdict& verdict, std::vector<SDefect>& defects) {
  if (!EnoughLearnt()) {
    return;
  }
  Update();
  CKurvenLernWerkzeug& tool = Tool(side);
  CSigCurveExt& curve = Fitted(side);
  const auto result = tool.Beurteilen(curve);
  if (result.verdict == Verdict::kNotJudged) {
    return;
  }
  const CSigCurveExt& limit = *tool.Grenzkurve();
  std::vector<std::int32_t> peaks;
  if (result.verdict == Verdict::kFail) {
    peaks = Peaks(side, std::max(limit.IMin(), curve.IMin()), std::min(limit.IMax(), curve.IMax()));
  }
  TakeNumbers(side, peaks.empty() ? limit.GetIndex(result.x) : peaks[0], verdict);
  verdict.rmsDeviation = peaks.empty() ? 0.0 : Shown(tool.RmsAbweichung(&curve, 1));
  verdict.judgedShare = Shown(result.share);
  verdict.verdict = !peaks.empty()                                           ? Verdict::kFail
                    : verdict.judgedShare < settings_.minShare.value_or(0.0) ? Verdict::kNotJudged
                                                                             : Verdict::kPass;
  peaks.resize(std::min(peaks.size(), kMostDefects));
  for (const std::int32_t i : peaks) {
    SQuantityVerdict numbers = verdict;
    TakeNumbers(side, i, numbers);
    defects.push_back(CurveDefect(numbers));
  }
}

SLearntSummary CCurveModel::Summary(Side side) {
  Update();
  SLearntSummary summary;
  const CKurvenLernWerkzeug& tool = Tool(side);
  const CSigCurveExt& grid = *tool.Mittelwert();
  summary.points = static_cast<std::size_t>(std::max(grid.ILen(), 0));
  summary.step = Shown(grid.XDelta());
  summary.xFirst = Shown(grid.GetPoint(grid.IMin()));
  summary.xLast = Shown(grid.GetPoint(grid.IMax()));
  for (std::int32_t i = grid.IMin(); i <= grid.IMax(); ++i) {
    summary.mean.push_back(Sign(side) * grid[i]);
    summary.spread.push_back((*tool.StandardAbw())[i]);
    summary.limit.push_back(Sign(side) * (*tool.Grenzkurve())[i]);
  }
  return summary;
}

/// Mean and mean square are held in single precision: a spread far below the mean drowns in their
/// rounding.
std::string CCurveModel::Warning() {
  if (Learnt() < 2) {
    return "";
  }
  Update();
  const CKurvenLernWerkzeug& tool = Tool(sides_[0]);
  const CSigCurveExt& grid = *tool.Mittelwert();
  std::int32_t coarse = 0;
  for (std::int32_t i = grid.IMin(); i <= grid.IMax(); ++i) {
    const double spread = (*tool.StandardAbw())[i];
    const double square = (*tool.QuadratMW())[i];
    coarse += spread * spread < 64.0 / (1 << 24) * square ? 1 : 0;
  }
  std::string text;
  if (coarse > 0) {
    text = "quantity " + Quoted(name_) + ": at " + std::to_string(coarse) + " of " +
           std::to_string(grid.ILen()) +
           " points the mean is more than 512 times the spread, which single precision cannot "
           "tell from rounding; take an offset off (--detrend) or give a --base";
  }
  if (const auto n = static_cast<double>(grid.DLen()); grid.ILen() < 0.9 * n) {
    text += (text.empty() ? "quantity " + Quoted(name_) + ": " : "; ") + std::string("only ") +
            NumberText(std::round(100.0 * grid.ILen() / n)) +
            " % of the first part's x range is learnt, some parts covered no more";
  }
  return text;
}

}  // namespace

std::unique_ptr<CQuantityModel> MakeCurveModel(const SSettings& settings, const std::string& name,
                                               const SUnit& xUnit, const SUnit& unit) {
  return std::make_unique<CCurveModel>(settings, name, xUnit, unit);
}

}  // namespace limes::host

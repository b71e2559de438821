#include "recordings/formats/mdf_conversion.h"

namespace limes::recordings {
namespace {

enum Type : unsigned { kNone, kLinear, kRational, kFormula, kBetween, kNearest, kRanges };

}  // namespace

std::optional<CMdfConversion> CMdfConversion::Make(const CMdfFile& file, std::uint64_t link,
                                                   std::string& reason) {
  CMdfConversion rule;
  if (link == 0) {
    return rule;
  }
  SMdfBlock block = file.Block(link, "CC");
  CByteCursor& at = block.data;
  rule.type_ = at.Get<std::uint8_t>();
  rule.unit_ = rule.type_ == kNone ? "" : file.Text(block.Link(1));
  at.Skip(5);
  const auto count = at.Get<std::uint16_t>();
  at.Skip(16);
  at.Need(count, sizeof(double), "the values of a rule");
  if (rule.type_ == kFormula || rule.type_ > kRanges) {
    reason = rule.type_ == kFormula ? "as their values follow from a formula, which is not read"
                                    : "as a rule makes texts of their values";
    return std::nullopt;
  }
  const std::size_t pairs = count % 2;
  const bool fits = rule.type_ == kLinear     ? count == 2
                    : rule.type_ == kRational ? count == 6
                    : rule.type_ == kRanges   ? count % 3 == 1
                    : rule.type_ == kNone     ? true
                                              : pairs == 0 && count > 0;
  at.Require(fits, "a rule has a wrong number of values");
  rule.v_.resize(count);
  for (double& v : rule.v_) {
    v = at.Get<double>();
  }
  return rule;
}

/// Pairs of raw and physical value, raw values rising; outside the first or the last.
double CMdfConversion::Table(double raw, bool between) const {
  const std::size_t pairs = v_.size() / 2;
  std::size_t low = 0;
  std::size_t high = pairs;  // the first pair above raw lies in [low, high]
  while (low < high) {
    const std::size_t middle = low + (high - low) / 2;
    (v_[2 * middle] > raw ? high : low) = v_[2 * middle] > raw ? middle : middle + 1;
  }
  if (low == 0 || low == pairs) {
    return v_[2 * (low == 0 ? 0 : pairs - 1) + 1];
  }
  const double x0 = v_[2 * low - 2];
  const double y0 = v_[2 * low - 1];
  const double x1 = v_[2 * low];
  const double y1 = v_[2 * low + 1];
  return between ? y0 + (raw - x0) * (y1 - y0) / (x1 - x0) : raw - x0 <= x1 - raw ? y0 : y1;
}

/// Lower end, upper end and value of each range, then the value of all others.
double CMdfConversion::Range(double raw, bool integers) const {
  for (std::size_t i = 0; i + 2 < v_.size(); i += 3) {
    if (raw >= v_[i] && (integers ? raw <= v_[i + 1] : raw < v_[i + 1])) {
      return v_[i + 2];
    }
  }
  return v_.back();
}

void CMdfConversion::Apply(std::span<double> values, bool integers) const {
  if (type_ == kNone) {
    return;
  }
  for (double& x : values) {
    switch (type_) {
      case kLinear:
        x = v_[0] + v_[1] * x;
        break;
      case kRational:
        x = (v_[0] * x * x + v_[1] * x + v_[2]) / (v_[3] * x * x + v_[4] * x + v_[5]);
        break;
      case kRanges:
        x = Range(x, integers);
        break;
      default:
        x = Table(x, type_ == kBetween);
        break;
    }
  }
}

}  // namespace limes::recordings

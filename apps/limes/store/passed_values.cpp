#include "apps/limes/store/passed_values.h"

#include <algorithm>
#include <cmath>

#include "apps/limes/errors.h"
#include "apps/limes/measurement/unit_text.h"
#include "apps/limes/store/store_schema.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

/// The numbers of the limit in the order of their columns.
template <class T>
concept Limit = SameRecord<T, SValueLimit>;
void VisitNumbers(auto visit, Limit auto&... l) {
  visit(l.base...);
  visit(l.verdict.limit...);
  visit(l.verdict.mean...);
  visit(l.verdict.spread...);
  visit(l.verdict.factor...);
  visit(l.verdict.sureness->effectiveParts...);
  visit(l.verdict.sureness->rejectedPerPoint...);
}

bool IsSame(const SValueLimit& a, const SValueLimit& b) {
  bool same = a.item == b.item && a.verdict.name == b.verdict.name &&
              a.verdict.side == b.verdict.side &&
              a.verdict.sureness->parts == b.verdict.sureness->parts;
  VisitNumbers([&](const auto& x, const auto& y) { same = same && x == y; }, a, b);
  return same;
}

bool IsStoredAlike(const SQuantityVerdict& a, const SQuantityVerdict& b) {
  bool same = true;
  VisitFields([&](const SField& field, const auto& x,
                  const auto& y) { same = same && (field.column == nullptr || x == y); },
              a, b);
  return same;
}

SValueLimit LimitOf(const SQuantityVerdict& q, std::size_t item, double base) {
  SValueLimit limit{item, base, {}};
  SQuantityVerdict& own = limit.verdict;
  own.name = q.name;
  own.unit = q.unit;
  own.xUnit = q.xUnit;
  own.side = q.side;
  own.limit = q.limit;
  own.mean = q.mean;
  own.spread = q.spread;
  own.factor = q.factor;
  own.sureness = q.sureness;
  return limit;
}

bool MayFollow(const SQuantityVerdict& q) {
  return q.verdict == Verdict::kPass && !q.x && q.value && std::isfinite(*q.value) && q.limit &&
         q.mean && q.spread && *q.spread > 0.0 && q.sureness;
}

}  // namespace

SQuantityVerdict PassedVerdict(const SValueLimit& limit, double value) {
  SQuantityVerdict q = limit.verdict;
  const double sign = q.side == Side::kUpper ? 1.0 : -1.0;
  const double mean = sign * q.mean.value_or(0.0);
  const double spread = q.spread.value_or(1.0);
  const double overMean = sign * value - mean;
  q.verdict = Verdict::kPass;
  q.value = value;
  q.maxDeviation = std::min(sign * value - sign * q.limit.value_or(0.0), 0.0);
  q.excessInS = *q.maxDeviation / spread;
  q.largestInS = (sign * value - (mean + limit.base)) / spread;
  q.rmsDeviation = 0.0;
  q.judgedShare = 1.0;
  q.corners = {{spread, overMean}};
  return q;
}

std::optional<CPassedValues::SKept> CPassedValues::Keep(const SPartVerdict& verdict, double base,
                                                        std::int64_t variant) {
  Limits limits;
  SKept kept;
  std::vector<double> values;
  for (std::size_t i = 0; i < verdict.quantities.size(); ++i) {
    const SQuantityVerdict& q = verdict.quantities[i];
    if (!MayFollow(q)) {
      return std::nullopt;
    }
    if (i == 0 || q.name != verdict.quantities[i - 1].name) {
      values.push_back(*q.value);
    }
    limits.push_back(LimitOf(q, values.size() - 1, base));
    if (!IsStoredAlike(PassedVerdict(limits.back(), values.back()), q)) {
      return std::nullopt;
    }
  }
  if (limits.empty() || !verdict.defects.empty()) {
    return std::nullopt;
  }
  kept.limits = NumberOf(limits, variant);
  for (const double value : values) {
    kept.values += kept.values.empty() ? '[' : ',';
    kept.values += recordings::NumberText(value);
  }
  kept.values += ']';
  return kept;
}

/// The limits of a variant that were stored last, if they are these; else these are stored.
std::int64_t CPassedValues::NumberOf(const Limits& limits, std::int64_t variant) {
  std::int64_t& last = last_[variant];
  if (last == 0) {
    CStatement find(database_,
                    "SELECT coalesce(max(limits.id), 0) FROM limits WHERE quantity IN "
                    "(SELECT id FROM quantity WHERE variant = chosen_variant())");
    find.Step();
    last = find.Int(0);
  }
  const Limits& known = Find(last);
  if (!std::equal(known.begin(), known.end(), limits.begin(), limits.end(), IsSame)) {
    CStatement free(database_, "SELECT coalesce(max(id), 0) + 1 FROM limits");
    free.Step();
    last = free.Int(0);
    Add(last, limits);
  }
  return last;
}

void CPassedValues::Add(std::int64_t id, const Limits& limits) {
  CStatement add(database_, std::string("INSERT INTO limits VALUES(?, ?, ?, ") + kChosenQuantity +
                                ", ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  for (std::size_t i = 0; i < limits.size(); ++i) {
    const SValueLimit& limit = limits[i];
    add.Bind(id).Bind(static_cast<std::int64_t>(i)).Bind(static_cast<std::int64_t>(limit.item));
    add.Bind(limit.verdict.name).Bind(SideText(limit.verdict.side));
    add.Bind(std::int64_t{limit.verdict.sureness->parts});
    VisitNumbers([&](const auto& number) { add.Bind(std::optional<double>(number)); }, limit);
    add.Run();
  }
  found_ = limits;
  foundId_ = id;
}

const CPassedValues::Limits& CPassedValues::Find(std::int64_t id) {
  if (id == foundId_) {
    return found_;
  }
  CStatement rows(database_,
                  "SELECT item, name, side, unit, x_unit, learnt, base, limit_value, mean, spread, "
                  "factor, effective_parts, chance_per_point FROM limits "
                  "JOIN quantity ON quantity.id = quantity WHERE limits.id = ? ORDER BY position");
  rows.Bind(id);
  found_.clear();
  foundId_ = id;
  while (rows.Step()) {
    SValueLimit& limit = found_.emplace_back();
    limit.item = static_cast<std::size_t>(rows.Int(0));
    limit.verdict.name = rows.Text(1);
    limit.verdict.side = SideFromText(rows.Text(2));
    limit.verdict.unit = UnitFromText(rows.Text(3)).Display();
    limit.verdict.xUnit = UnitFromText(rows.Text(4)).Display();
    limit.verdict.sureness.emplace().parts = static_cast<std::int32_t>(rows.Int(5));
    int column = 6;
    VisitNumbers(
        [&](auto& number) {
          const std::optional<double> real = rows.Real(column++);
          if constexpr (std::is_same_v<decltype(number), double&>) {
            number = real.value_or(0.0);
          } else {
            number = real;
          }
        },
        limit);
  }
  return found_;
}

void CPassedValues::Read(const SKept& kept, SPartVerdict& verdict) {
  std::vector<double> values;
  std::string_view rest = kept.values;
  while (rest.size() > 1) {
    rest.remove_prefix(1);  // '[' or ','
    const std::string_view number = rest.substr(0, rest.find_first_of(",]"));
    double value = 0.0;
    if (!recordings::ParseNumber(number, value)) {
      throw CStoreError("the values of a judged part cannot be read");
    }
    values.push_back(value);
    rest.remove_prefix(number.size());
  }
  for (const SValueLimit& limit : Find(kept.limits)) {
    if (limit.item >= values.size()) {
      throw CStoreError("the values of a judged part cannot be read");
    }
    verdict.quantities.push_back(PassedVerdict(limit, values[limit.item]));
  }
}

}  // namespace limes::host

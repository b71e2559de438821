// Judged parts as a store hands them out.
#include "apps/limes/measurement/unit_text.h"
#include "apps/limes/store/judged_rows.h"
#include "apps/limes/store/passed_values.h"
#include "apps/limes/store/record_columns.h"
#include "apps/limes/store/store.h"
#include "apps/limes/store/store_schema.h"

namespace limes::host {

void CStore::ForEachJudged(bool all, const std::function<void(const SPartVerdict&)>& take,
                           bool withDefects) {
  ReadJudged(all ? ""
                 : std::string("AND part.id IN (SELECT max(id) FROM part WHERE verdict <> "
                               "'learnt' GROUP BY name, ") +
                       (version_ < 5                ? "NULL"
                        : version_ < kVariantsSince ? "content"
                                                    : "content, variant") +
                       ") ",
             0, take, withDefects);
}

void CStore::ForEachJudged(std::int64_t first, std::int64_t last,
                           const std::function<void(const SPartVerdict&)>& take) {
  ReadJudged("AND part.id BETWEEN " + std::to_string(first) + " AND " + std::to_string(last) + " ",
             first, take, true);
}

/// first: no part before this one is asked for.
void CStore::ReadJudged(const std::string& which, std::int64_t first,
                        const std::function<void(const SPartVerdict&)>& take, bool withDefects) {
  CStatement next(database_->Handle(),
                  std::string("SELECT part.id, name, label, verdict, ") +
                      (version_ < 5 ? "NULL, NULL" : "content, settings") +
                      (version_ < 8 ? ", NULL, NULL, NULL" : ", limits, measured, at") +
                      (version_ < kVariantsSince
                           ? ", '', '', NULL"
                           : ", (SELECT name FROM variant WHERE id = part.variant), limit_of, "
                             "part.reason") +
                      ColumnNames<SScores>(version_) +
                      ", run FROM part JOIN run ON run.id = run WHERE verdict <> 'learnt' AND " +
                      (chosen_ == 0 ? "1" : IsChosen("part")) + " " + which + "ORDER BY part.id");
  const auto alarms =
      ReadAlarms("WHERE judged >= " + std::to_string(first) + " ORDER BY judged, alarm.id");
  auto alarm = alarms.begin();
  CJudgedRows rows(database_->Handle(), version_, withDefects, first);
  CPassedValues passed(database_->Handle());
  while (next.Step()) {
    SPartVerdict verdict;
    verdict.id = next.Int(0);
    verdict.part = next.Text(1);
    verdict.label = next.OptionalText(2);
    verdict.verdict = VerdictFromText(next.Text(3));
    verdict.content = next.OptionalInt(4);
    verdict.rule = next.Text(5);
    verdict.at = next.OptionalInt(8);
    verdict.variant = next.Text(9);
    verdict.limitOf = next.Text(10);
    verdict.reason = next.OptionalText(11);
    verdict.run = next.Int(ReadFields(next, 12, verdict.scores));
    if (!next.IsNull(6)) {
      passed.Read({next.Int(6), next.Text(7)}, verdict);
    }
    rows.Read(next.Int(0), verdict);
    for (; alarm != alarms.end() && alarm->first <= next.Int(0); ++alarm) {
      if (alarm->first == next.Int(0)) {
        verdict.drifts.push_back(alarm->second);
      }
    }
    take(verdict);
  }
}

}  // namespace limes::host

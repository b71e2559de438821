// How a store gets rid of parts that were judged long ago.
#include "apps/limes/store/store.h"
#include "apps/limes/store/store_schema.h"

namespace limes::host {

std::int64_t CStore::DropJudged(std::int64_t before, std::int64_t most) {
  // A file whose results are still to be told keeps its parts.
  const std::string open =
      "SELECT 1 FROM arrival WHERE part <= p.id AND p.id < part + parts AND "
      "(reported = 0 OR published = 0 OR learnt = 0)";
  CStatement(database_->Handle(),
             "CREATE TEMP TABLE dropped AS SELECT p.id FROM part AS p JOIN run ON run.id = p.run "
             "WHERE p.verdict <> 'learnt' AND " +
                 (chosen_ == 0 ? std::string("1") : IsChosen("p")) +
                 " AND p.id < (SELECT max(id) FROM part)"  // numbers are not given twice
                 " AND coalesce(at, 1000 * strftime('%s', started)) < ? AND NOT EXISTS (" +
                 open + ") ORDER BY p.id LIMIT ?")
      .Bind(before)
      .Bind(most)
      .Run();
  const std::int64_t count = database_->QueryInt("SELECT count(*) FROM temp.dropped");
  database_->Execute(
      "UPDATE alarm SET judged = NULL WHERE judged IN (SELECT id FROM temp.dropped);"
      "DELETE FROM verdict WHERE part IN (SELECT id FROM temp.dropped);"
      "DELETE FROM defect WHERE part IN (SELECT id FROM temp.dropped);"
      "DELETE FROM part WHERE id IN (SELECT id FROM temp.dropped);"
      "DELETE FROM limits WHERE id NOT IN (SELECT limits FROM part WHERE limits NOT NULL);"
      "DROP TABLE temp.dropped");
  return count;
}

void CStore::GiveSpaceBack() { database_->Execute("VACUUM; PRAGMA wal_checkpoint(TRUNCATE)"); }

}  // namespace limes::host

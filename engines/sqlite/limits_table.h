#ifndef LIMES_ENGINES_SQLITE_LIMITS_TABLE_H
#define LIMES_ENGINES_SQLITE_LIMITS_TABLE_H

#include <sqlite3ext.h>

/* Makes the table limes_limit(state) known to a connection: a row per point. A status of SQLite. */
int CreateLimitsTable(sqlite3* db);

#endif

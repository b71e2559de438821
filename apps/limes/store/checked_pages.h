#pragma once

struct sqlite3;

namespace limes::host {

/// Registers, once, the file layer below SQLite that writes a check into the last 8 bytes of every
/// page of a database and of its log and compares it with each page read: a page that is not as it
/// was written gives SQLITE_IOERR_DATA, whatever part of it is changed. Returns its name. Stores of
/// before version 3 have no checks, and are read as they are.
const char* CheckedPages();

/// Lets a file without content, or the next VACUUM, leave room for the checks.
void ReserveChecks(sqlite3* database);

/// The last error, damage and what must not be written in plain words.
const char* ReasonOf(sqlite3* database);

}  // namespace limes::host

#pragma once

#include <sqlite3.h>

#include <string>

namespace limes::host {

/// Reading and writing of the log of a store (STORE-wal) in the file layer of CheckedPages(). Pages
/// carry their checks there too: so any SQLite program may carry them over into the store.
int ReadLog(sqlite3_file* file, void* data, int size, sqlite3_int64 offset);
int WriteLog(sqlite3_file* file, const void* data, int size, sqlite3_int64 offset);

/// Whether the log that a killed process left behind holds all that was stored by it. SQLite takes
/// the first damaged frame for the end of the log; how many there were stands in STORE-shm, which
/// must not be written before. No connection of this process may be open to the store.
bool LogIsWhole(const std::string& store);

}  // namespace limes::host

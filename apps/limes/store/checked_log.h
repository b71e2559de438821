#pragma once

#include <sqlite3.h>

namespace limes::host {

/// Reading and writing of the log of a store (STORE-wal) in the file layer of CheckedPages(). Pages
/// carry their checks there too: so any SQLite program may carry them over into the store.
int ReadLog(sqlite3_file* file, void* data, int size, sqlite3_int64 offset);
int WriteLog(sqlite3_file* file, const void* data, int size, sqlite3_int64 offset);

}  // namespace limes::host

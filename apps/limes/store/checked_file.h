#pragma once

#include <sqlite3.h>

namespace limes::host {

/// Lies behind the default layer's own file in the memory that SQLite allocates for both.
struct SCheckedFile {
  sqlite3_io_methods methods;      ///< the real ones but for reading and writing
  const sqlite3_io_methods* real;  ///< of the default layer
  SCheckedFile* store;             ///< of the database, for the log too
  bool checked;                    ///< of the database: pages carry checks
};

SCheckedFile& CheckedFileOf(sqlite3_file* file);

}  // namespace limes::host

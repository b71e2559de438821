#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "recordings/file_input.h"
#include "recordings/measurement.h"
#include "recordings/read_settings.h"
#include "recordings/tables/dialect.h"

namespace limes::recordings {

/// The parts of one file as they stand there, in the file's numbers, one at a time.
class CPartReader {
 public:
  virtual ~CPartReader() = default;

  /// The next part; false at the end of the file. Throws CInputError.
  virtual bool Next(SPart& part) = 0;

  /// Share of the file that was read, 0 to 1, for a progress bar.
  virtual double Progress() { return 0.0; }
};

/// Takes what was assumed about a file and should be told to whoever reads it.
using NoteTaker = std::function<void(const std::string& note)>;

/// Tells that a unit is not read as it is meant; nothing of other units.
void NoteUnit(std::string_view unit, const NoteTaker& note);

/// What a reader of one file needs beside the settings.
struct SReadContext {
  std::string path;  ///< also the start of the part's name
  const SReadSettings* settings = nullptr;
  const std::vector<SCondition>* where = nullptr;
  bool goodOnly = false;       ///< leave out parts with another label than the good one
  bool labelOptional = false;  ///< a table without the label column is no error, unless goodOnly
  NoteTaker note = nullptr;    ///< may be empty
  std::optional<SDialect>* dialect = nullptr;  ///< of the tables of the run; null: of this one
};

/// Tells that an option is taken instead of another text that stands in the file.
void NoteReplaced(const SReadContext& context, const char* option,
                  const std::optional<std::string>& given, const std::string& inFile);

/// Reader for a file of this kind; the stream must outlive it. A recording that is to be cut comes
/// as blocks of that length, the last one shorter. Throws CInputError.
std::unique_ptr<CPartReader> MakePartReader(FileKind kind, CFileStream& stream,
                                            const SReadContext& context);

std::unique_ptr<CPartReader> MakeLongReader(CFileStream& stream, const SReadContext& context);
std::unique_ptr<CPartReader> MakeTableRowReader(CFileStream& stream, const SReadContext& context);
std::unique_ptr<CPartReader> MakeSignalRecordReader(CFileStream& stream,
                                                    const SReadContext& context);

}  // namespace limes::recordings

#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "recordings/forming/former.h"
#include "recordings/part_file.h"
#include "recordings/part_reader.h"
#include "recordings/read_ahead.h"

namespace limes::recordings {

/// All parts of a run, file after file, one at a time.
class CPartSource {
 public:
  struct SConfig {
    SReadSettings settings;
    SSelection selection;
    std::vector<SCondition> where;
    bool goodOnly = false;
    bool labelOptional = false;
    NoteTaker note = nullptr;  ///< is told what was assumed, all of a part at once, each once
    unsigned jobs = 1;         ///< threads that read; what comes out is the same
    std::vector<SCondition> variant{};  ///< what is given of the variant of all parts
  };

  /// files: also folders, of which all measurements are taken, and "-" for standard input. Throws
  /// COpenError for a folder without any.
  CPartSource(const std::vector<std::string>& files, SConfig config);
  ~CPartSource();

  /// Opens every file once, so that a wrong name is known before anything is learnt.
  void CheckFiles() const;

  /// Goes to the next file; false behind the last.
  bool OpenNext();

  /// Goes to a measurement in memory instead, which must stay there while its parts are taken.
  /// name: what it is called; its ending may tell what it is.
  void OpenBytes(const std::string& name, std::span<const std::uint8_t> bytes);

  /// Whether a file may hold several parts.
  bool MayHoldSeveral() const { return config_.settings.MayHoldSeveral(); }

  /// The next part of the open file; false at its end. Throws CReadError.
  bool Next(SPart& part);

  /// Why nothing was taken, when nothing was.
  std::string WhyNone() const;

  /// Share of the run that is done, 0 to 1.
  double Progress() const;

 private:
  void Note(const std::string& text);
  void TellNotes();
  bool TakeNext(SPart& part);
  SReadContext ContextOf(const std::string& path);
  void Begin();
  bool IsReadAhead(const std::string& path) const;
  bool NextItem();

  std::vector<std::string> files_;
  SConfig config_;
  CFormer former_;
  std::set<std::string> noted_;
  std::string notes_;  ///< to be told
  std::optional<SDialect> dialect_;
  std::size_t nextFile_ = 0;
  std::vector<SReadContext> contexts_;  ///< of the files, once the first was opened
  std::unique_ptr<CPartFile> file_;     ///< that is open here
  CReadAhead::SItem item_;
  std::uint64_t place_ = 0;            ///< of the next part among those that are counted together
  std::uint64_t seen_ = 0;             ///< parts of the run, taken or not
  std::unique_ptr<CReadAhead> ahead_;  ///< last, as its threads use the others
};

}  // namespace limes::recordings

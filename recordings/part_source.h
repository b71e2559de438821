#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "limes/platform/file_stream.h"
#include "recordings/forming/spectrum.h"
#include "recordings/part_reader.h"

namespace limes::recordings {

/// Makes quantities to be learnt or judged of what was measured: scale, unit, mean removed, level
/// spectrum. Throws CInputError for values that are not finite.
class CFormer {
 public:
  explicit CFormer(const SReadSettings& settings) : settings_(settings) {}

  /// wave: the values are samples of a sound, as those that a spectrum is formed of always are.
  void Form(SPart& part, bool wave);

 private:
  void FormSpectrum(const std::string& part, SQuantity& quantity);

  SReadSettings settings_;
  std::vector<std::unique_ptr<CLevelSpectrum>> spectra_;  ///< one per reference in use
  std::vector<double> references_;
  std::vector<float> levels_;
};

/// All parts of a run, file after file, one at a time.
class CPartSource {
 public:
  struct SConfig {
    SReadSettings settings;
    SSelection selection;
    std::vector<SCondition> where;
    bool goodOnly = false;
    bool labelOptional = false;
    NoteTaker note = nullptr;  ///< is told each assumption once
  };

  /// files: also folders, of which all measurements are taken, and "-" for standard input. Throws
  /// COpenError for a folder without any.
  CPartSource(const std::vector<std::string>& files, SConfig config);
  ~CPartSource();

  /// Opens every file once, so that a wrong name is known before anything is learnt.
  void CheckFiles() const;

  /// Goes to the next file; false behind the last.
  bool OpenNext();

  /// Whether the open file may hold several parts.
  bool MayHoldSeveral() const { return several_; }

  /// The next part of the open file; false at its end. Throws CReadError.
  bool Next(SPart& part);

  /// Why nothing was taken, when nothing was.
  std::string WhyNone() const;

  /// Share of the run that is done, 0 to 1.
  double Progress() const;

 private:
  void Note(const std::string& text);
  bool NextPiece(SPart& piece);

  std::vector<std::string> files_;
  SConfig config_;
  CFormer former_;
  std::set<std::string> noted_;
  std::optional<SDialect> dialect_;
  std::size_t nextFile_ = 0;
  std::unique_ptr<CDiskStream> stream_;
  std::unique_ptr<CPartReader> reader_;
  bool several_ = false;
  std::uint64_t place_ = 0;   ///< of the next part among those that are counted together
  std::uint64_t seen_ = 0;    ///< parts of the run, taken or not
  SPart whole_;               ///< a part, or a block of one, that is handed out in pieces
  std::size_t start_ = 0;     ///< of the next piece in it
  std::uint64_t pieces_ = 0;  ///< of the part so far
  bool blocks_ = false;       ///< the open file is one part in blocks when it is cut
  bool sound_ = false;        ///< the open file
};

}  // namespace limes::recordings

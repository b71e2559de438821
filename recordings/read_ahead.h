#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "recordings/forming/former.h"
#include "recordings/part_reader.h"

namespace limes::recordings {

class CPartFile;

/// Reads and forms the parts of files in threads of its own, ahead of who takes them in order: what
/// is taken, noted and thrown comes at the same place as without. Holds about a part, or a block of
/// small ones, for each file that is read.
class CReadAhead {
 public:
  /// A part, formed where the selection takes it as far as the thread knows.
  struct SItem {
    SPart part;
    bool isFormed = false;
    std::exception_ptr failure;  ///< of forming it
  };

  /// Starts jobs threads for the files but those that are null. contexts: of each file, with empty
  /// notes; they must outlive it, as what they point to.
  CReadAhead(std::vector<const SReadContext*> contexts, const SSelection& selection, unsigned jobs);

  /// Ends the threads, whatever they are at.
  ~CReadAhead();
  CReadAhead(const CReadAhead&) = delete;
  CReadAhead& operator=(const CReadAhead&) = delete;

  /// Goes to a file, the ones before are done with. Opens one of those that are null by open.
  /// Throws CReadError.
  void Open(std::size_t file, const NoteTaker& note, const std::function<void()>& open);

  /// The next item of the open file; the one that is handed in is used again. False at the end.
  /// Throws CReadError.
  bool Next(SItem& item, const NoteTaker& note);

  /// Share of the open file that was read.
  double Progress() const { return taken_.progress; }

 private:
  struct SBatch {
    std::vector<SItem> items;
    std::vector<std::string> notes;  ///< taken while they were read
    std::size_t bytes = 0;
    double progress = 0.0;
    bool isLast = false;
    std::exception_ptr failure;  ///< behind the items
  };
  struct SSlot {
    std::deque<SBatch> batches;
    std::size_t bytes = 0;
    std::vector<SItem> used;  ///< to be filled again
  };

  void Work();
  void ReadFiles();
  void Read(std::size_t file, CFormer& former);
  bool Opens(std::size_t file, std::unique_ptr<CPartFile>& opened, SBatch& batch);
  bool ReadItem(std::size_t file, std::size_t place, CPartFile& opened, CFormer& former,
                SBatch& batch);
  bool Put(std::size_t file, SBatch& batch);
  bool WaitForTurn(std::size_t file);
  void EndTurn();
  SItem Used(std::size_t file);
  void Take(const NoteTaker& note);

  std::vector<const SReadContext*> contexts_;
  SSelection selection_;
  std::size_t most_;  ///< files ahead of the one that is taken
  std::mutex mutex_;  ///< of all that follows, up to the threads
  std::condition_variable changed_;
  std::vector<SSlot> slots_;
  std::size_t next_ = 0;     ///< file that no thread has begun
  std::size_t turn_ = 0;     ///< file that may be opened: how tables are written is found in order
  std::size_t current_ = 0;  ///< file that is taken
  bool ends_ = false;
  std::exception_ptr failure_;  ///< of a thread, which then ended
  std::vector<std::thread> threads_;

  SBatch taken_;  ///< the rest is the taker's own
  std::size_t at_ = 0;
};

}  // namespace limes::recordings

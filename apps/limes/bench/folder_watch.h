#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace limes::host {

/// A file in a folder, as it was seen.
struct SFileSeen {
  std::string name;  ///< in the folder
  std::int64_t bytes = 0;
  std::int64_t changed = 0;  ///< its own time, in ns since 1970 UTC

  bool operator==(const SFileSeen&) const = default;
};

/// Tells which measurements in a folder are complete: size and time stood still for a while and
/// nobody has the file open for writing, as far as the file system tells; or the file was renamed
/// into place. Time is measured by a clock that does not jump; the time of a file is only compared
/// for being the same. Looks at the folder again and again, and at once when the system tells of a
/// change (inotify, which network folders do not have).
class CFolderWatch {
 public:
  using Clock = std::chrono::steady_clock;

  struct SConfig {
    std::string folder;
    std::chrono::milliseconds still{1000};
    bool notified = true;  ///< use what the system tells of changes
  };

  /// Throws CStoreError when the folder cannot be read.
  explicit CFolderWatch(SConfig config);
  ~CFolderWatch();
  CFolderWatch(const CFolderWatch&) = delete;
  CFolderWatch& operator=(const CFolderWatch&) = delete;

  /// The complete files in the order of arrival, each once unless it changes. Waits for one as long
  /// as given. Throws CStoreError while the folder cannot be read.
  std::vector<SFileSeen> Next(std::chrono::milliseconds wait);

  /// The file is handed out again when it has stood still.
  void TakeBack(const std::string& name);

  /// A file that was judged as it is now: it is not handed out until it changes.
  void SetTaken(const SFileSeen& file);

  /// The file as it is now; its bytes are -1 when it is not there.
  SFileSeen Look(const std::string& name) const;

  /// Names that were passed over since the last call, as they are no measurements; one for each
  /// ending.
  std::vector<std::string> TakePassedOver();

 private:
  struct SState {
    SFileSeen seen;
    Clock::time_point since;   ///< it stands still
    std::uint64_t order = 0;   ///< of arrival
    bool renamed = false;      ///< into place
    bool taken = false;        ///< handed out
    std::uint64_t looked = 0;  ///< the last look that saw it
  };

  void LookAtAll();
  void TakeEvents();
  bool Note(const SFileSeen& file, bool renamed);
  bool IsPassedOver(const std::string& name);
  std::vector<SFileSeen> Complete();
  void Wait(std::chrono::milliseconds most) const;

  SConfig config_;
  int events_ = -1;  ///< of inotify
  std::map<std::string, SState> files_;
  std::map<std::string, std::string> passedOver_;  ///< a name of each ending
  std::vector<std::string> untold_;
  std::uint64_t arrivals_ = 0;
  std::uint64_t looks_ = 0;
  Clock::time_point nextLook_;
};

}  // namespace limes::host

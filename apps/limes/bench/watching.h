#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "apps/limes/bench/bench_settings.h"
#include "apps/limes/bench/folder_watch.h"
#include "apps/limes/bench/judging.h"
#include "apps/limes/bench/publisher.h"
#include "recordings/measurement.h"

namespace limes::host {

/// Who is told of what comes.
struct SWatchHooks {
  /// The results of a file, stored before; lines as ResultLines gives them.
  std::function<void(const SArrival&, const std::vector<SPartVerdict>&,
                     const std::vector<std::string>& lines)>
      report;
  /// A part that was judged and is not stored yet; may be empty.
  std::function<void(const SPartVerdict&)> judged;
  /// A part that is OK, and the end of its file: what it taught is to be stored.
  std::function<void(const SPart&)> learn;
  std::function<void()> learnt;
  /// Something that a person should know; the same text is not told twice in a row.
  std::function<void(const std::string&)> tell;
};

/// Judges the files that come to a folder, each once, also when the program was killed in between:
/// a file and its verdicts are stored in one transaction before they are told, and that they were
/// told in a later one. What was stored and perhaps not told is told again, marked as repeated.
class CWatching {
 public:
  /// publisher: null when nothing is published. All must outlive the object. Throws CStoreError.
  CWatching(CJudging& judging, const SWatchSettings& settings, const SWatchHooks& hooks,
            CPublisher* publisher);

  /// Judges what has come and is complete; waits for something as long as given. True when there
  /// was something. Throws CStoreError when nothing can be stored now: what came stays where it is,
  /// and the next call goes on.
  bool Step(std::chrono::milliseconds wait);

 private:
  struct SJudged {
    SArrival arrival;
    std::vector<SPartVerdict> verdicts;
    bool repeated = false;
  };

  void TakeUp();
  void JudgeFiles();
  bool JudgeFile(const SFileSeen& file);
  void WriteJudged();
  bool Report();
  bool ReportOne(const SJudged& judged);
  bool WriteBeside(const SJudged& judged, const std::vector<std::string>& lines);
  void MarkReported();
  void Finish();
  void Learn(const SArrival& arrival, const std::vector<SPartVerdict>& verdicts);
  void MoveAway(const SArrival& arrival);
  void Publish();
  void Tell(const std::string& text);
  std::string PathOf(const std::string& name) const { return settings_.folder + "/" + name; }

  CJudging& judging_;
  SWatchSettings settings_;
  SWatchHooks hooks_;
  CPublisher* publisher_;
  std::string folderName_;  ///< in the store
  CFolderWatch watch_;
  std::deque<SFileSeen> waiting_;        ///< complete, not judged
  std::vector<SArrival> judged_;         ///< not stored yet, with the number of their parts
  std::deque<SJudged> toReport_;         ///< stored
  std::deque<SJudged> toFinish_;         ///< told, to be learnt or moved
  std::vector<std::int64_t> reported_;   ///< not marked yet
  std::vector<std::int64_t> published_;  ///< not marked yet
  std::int64_t lastBefore_ = 0;          ///< number of the last arrival of an earlier run
  std::int64_t lastPublished_ = 0;       ///< handed to the publisher
  std::string told_;
};

}  // namespace limes::host

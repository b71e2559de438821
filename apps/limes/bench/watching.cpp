#include "apps/limes/bench/watching.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <new>
#include <set>
#include <thread>
#include <utility>

#include "apps/limes/bench/result_text.h"
#include "apps/limes/errors.h"
#include "recordings/part_source.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostFiles = 256;  ///< in one transaction
constexpr const char* kResultEnding = ".limes.json";

/// The folder by a name that does not depend on how it was called.
std::string NameOf(const std::string& folder) {
  std::error_code error;
  const fs::path whole = fs::canonical(folder, error);
  return error ? folder : whole.string();
}

/// A name that is free in a folder: with a number behind it where it is taken.
fs::path FreeName(const fs::path& folder, const std::string& name) {
  std::error_code error;
  fs::path free = folder / name;
  for (int i = 2; fs::exists(free, error); ++i) {
    const fs::path whole(name);
    free = folder / (whole.stem().string() + "-" + std::to_string(i) + whole.extension().string());
  }
  return free;
}

/// Moves a file, to another file system too: it is whole under its new name before the old one
/// goes.
void Move(const fs::path& from, const fs::path& to, std::error_code& error) {
  fs::rename(from, to, error);
  if (error != std::errc::cross_device_link) {
    return;
  }
  const fs::path part = to.parent_path() / ("." + to.filename().string() + ".unfinished");
  fs::copy_file(from, part, fs::copy_options::overwrite_existing, error);
  if (!error) {
    const int file = open(part.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0 || fsync(file) != 0) {
      error = std::error_code(errno, std::generic_category());
    }
    close(file);
  }
  std::error_code ignored;
  fs::last_write_time(part, fs::last_write_time(from, ignored), ignored);
  if (!error) {
    fs::rename(part, to, error);
  }
  if (!error) {
    fs::remove(from, error);
  } else {
    fs::remove(part, ignored);
  }
}

}  // namespace

CWatching::CWatching(CJudging& judging, const SWatchSettings& settings, const SWatchHooks& hooks,
                     CPublisher* publisher)
    : judging_(judging),
      settings_(settings),
      hooks_(hooks),
      publisher_(publisher),
      folderName_(NameOf(settings.folder)),
      watch_({settings.folder, settings.still, settings.notified}) {
  TakeUp();
}

/// Goes on where an earlier run ended: what it stored and perhaps did not tell comes first.
void CWatching::TakeUp() {
  CStore& store = judging_.Store();
  lastBefore_ = store.LastArrival();
  for (SArrival& arrival : store.OpenArrivals(folderName_, CStore::Step::kReported)) {
    std::vector<SPartVerdict> verdicts = JudgedOf(store, arrival);
    toReport_.push_back({std::move(arrival), std::move(verdicts), true});
  }
  for (SArrival& arrival : store.LatestArrivals(folderName_)) {
    watch_.SetTaken({arrival.name, arrival.bytes, arrival.changed});
    if (arrival.reported && !arrival.reason &&
        (!settings_.done.empty() || arrival.learnt == false)) {
      std::vector<SPartVerdict> verdicts = JudgedOf(store, arrival);
      toFinish_.push_back({std::move(arrival), std::move(verdicts), true});
    }
  }
}

bool CWatching::Step(std::chrono::milliseconds wait) {
  for (const std::string& name : watch_.TakePassedOver()) {
    if (!name.ends_with(kResultEnding)) {
      Tell(Quoted(name) + " is passed over: no measurement by its name, as all that end like it");
    }
  }
  if (!Report()) {
    std::this_thread::sleep_for(
        std::min<std::chrono::milliseconds>(wait, std::chrono::milliseconds(200)));
    return false;
  }
  if (waiting_.empty()) {
    std::vector<SFileSeen> files = watch_.Next(std::chrono::milliseconds::zero());
    if (files.empty()) {
      MarkReported();
      Publish();
      files = watch_.Next(wait);
    }
    waiting_.insert(waiting_.end(), files.begin(), files.end());
  }
  const bool any = !waiting_.empty();
  if (any) {
    judging_.Renew();
    JudgeFiles();
    WriteJudged();
    Report();
  }
  Publish();
  return any;
}

void CWatching::JudgeFiles() {
  const auto begun = Clock::now();
  while (!waiting_.empty() && judged_.size() < kMostFiles &&
         Clock::now() - begun < settings_.batch) {
    const SFileSeen file = waiting_.front();
    waiting_.pop_front();
    const std::size_t before = judging_.Pending().size();
    if (JudgeFile(file) && watch_.Look(file.name) != file) {
      judged_.pop_back();  // it changed while it was read: what was read is not what is there
      judging_.Drop(before);
      watch_.TakeBack(file.name);
    }
  }
}

/// True when there is something to be stored.
bool CWatching::JudgeFile(const SFileSeen& file) {
  SArrival arrival;
  arrival.folder = folderName_;
  arrival.name = file.name;
  arrival.bytes = file.bytes;
  arrival.changed = file.changed;
  const std::string path = PathOf(file.name);
  const std::size_t before = judging_.Pending().size();
  if (judging_.Store().IsKnown(arrival)) {  // put back, or another watch was faster
    Tell(path + " was judged before, as it is; it is not judged again");
    toFinish_.push_back({std::move(arrival), {}, true});
    return false;
  }
  try {
    CPartSource source({path}, {judging_.Settings(),
                                {},
                                {},
                                false,
                                true,
                                [this](const std::string& text) { Tell(text); },
                                1,
                                settings_.variant});
    source.OpenNext();
    SPart part;
    while (source.Next(part)) {
      const SPartVerdict& verdict =
          judging_.Judge(part, [this](const std::string& text) { Tell(text); });
      if (hooks_.judged) {
        hooks_.judged(verdict);
      }
    }
    if (judging_.Pending().size() == before) {
      arrival.reason = source.WhyNone();
    }
  } catch (const COpenError& e) {
    if (watch_.Look(file.name).bytes >= 0) {
      Tell(std::string(e.what()) + "; it is tried again");
      watch_.TakeBack(file.name);
    }
    return false;
  } catch (const CInputError& e) {
    arrival.reason = e.what();
  } catch (const std::bad_alloc&) {
    arrival.reason = path + ": not enough memory to judge it";
  }
  arrival.parts = static_cast<std::int64_t>(judging_.Pending().size() - before);
  judged_.push_back(std::move(arrival));
  return true;
}

void CWatching::WriteJudged() {
  if (judged_.empty()) {
    return;
  }
  std::vector<SArrival> arrivals = std::exchange(judged_, {});
  std::vector<SPartVerdict> verdicts;
  try {
    verdicts = judging_.Write([&](const std::vector<SPartVerdict>& written) {
      std::size_t next = 0;
      for (SArrival& arrival : arrivals) {
        arrival.part = arrival.parts > 0 ? written[next].id : 0;
        next += static_cast<std::size_t>(arrival.parts);
        arrival.published = publisher_ != nullptr ? std::optional(false) : std::nullopt;
        arrival.learnt = settings_.learns && !arrival.reason ? std::optional(false) : std::nullopt;
        judging_.Store().AddArrival(arrival);
      }
      for (const std::int64_t id : reported_) {
        judging_.Store().SetDone(CStore::Step::kReported, id);
      }
    });
  } catch (const CStoreError&) {
    judging_.Drop(0);
    for (const SArrival& arrival : arrivals) {
      watch_.TakeBack(arrival.name);
    }
    for (const SFileSeen& file : std::exchange(waiting_, {})) {
      watch_.TakeBack(file.name);
    }
    throw;
  }
  reported_.clear();
  auto next = verdicts.begin();
  for (SArrival& arrival : arrivals) {
    const auto end = next + static_cast<std::ptrdiff_t>(arrival.parts);
    toReport_.push_back(
        {std::move(arrival), {std::make_move_iterator(next), std::make_move_iterator(end)}, false});
    next = end;
  }
}

/// False when something cannot be told now; it is tried again.
bool CWatching::Report() {
  while (!toReport_.empty()) {
    if (!ReportOne(toReport_.front())) {
      return false;
    }
    reported_.push_back(toReport_.front().arrival.id);
    if (!toReport_.front().arrival.reason) {  // what could not be used stays where it is
      toFinish_.push_back(std::move(toReport_.front()));
    }
    toReport_.pop_front();
  }
  Finish();
  return true;
}

/// What comes after telling.
void CWatching::Finish() {
  if (!toFinish_.empty() && !settings_.done.empty()) {
    MarkReported();  // before files go: they would be told again and not be there
  }
  for (; !toFinish_.empty(); toFinish_.pop_front()) {
    const SJudged& judged = toFinish_.front();
    if (judged.arrival.learnt == false && settings_.learns) {
      Learn(judged.arrival, judged.verdicts);
    }
    MoveAway(judged.arrival);
  }
}

bool CWatching::ReportOne(const SJudged& judged) {
  const std::vector<std::string> lines =
      ResultLines(judged.arrival, PathOf(judged.arrival.name), judged.verdicts, judged.repeated);
  if (settings_.beside && !WriteBeside(judged, lines)) {
    return false;
  }
  hooks_.report(judged.arrival, judged.verdicts, lines);
  return true;
}

/// Takes its name only when it is whole.
bool CWatching::WriteBeside(const SJudged& judged, const std::vector<std::string>& lines) {
  const std::string path = PathOf(judged.arrival.name) + kResultEnding;
  const std::string part = PathOf("." + judged.arrival.name) + kResultEnding;
  std::ofstream file(part, std::ios::binary);
  for (const std::string& line : lines) {
    file << line << '\n';
  }
  file.close();
  std::error_code error;
  if (file) {
    fs::rename(part, path, error);
  }
  if (!file || error) {
    std::error_code ignored;
    fs::remove(part, ignored);
    Tell(path + ": the results cannot be written; it is tried again");
    return false;
  }
  return true;
}

void CWatching::MarkReported() {
  if (reported_.empty() && published_.empty()) {
    return;
  }
  CStore& store = judging_.Store();
  try {
    store.Begin();
    for (const std::int64_t id : reported_) {
      store.SetDone(CStore::Step::kReported, id);
    }
    for (const std::int64_t id : published_) {
      store.SetDone(CStore::Step::kPublished, id);
    }
    store.Commit();
  } catch (const CStoreError&) {
    store.GiveUp();
    throw;
  }
  reported_.clear();
  published_.clear();
}

/// The file is read again for it, so that nothing of it need be kept. What is learnt twice, after a
/// kill in between, is told apart by its content.
void CWatching::Learn(const SArrival& arrival, const std::vector<SPartVerdict>& verdicts) {
  std::set<std::string> good;
  for (const SPartVerdict& verdict : verdicts) {
    if (verdict.verdict == Verdict::kPass) {
      good.insert(verdict.part);
    }
  }
  const SFileSeen seen{arrival.name, arrival.bytes, arrival.changed};
  if (!good.empty() && watch_.Look(arrival.name) == seen) {
    try {
      CPartSource source({PathOf(arrival.name)},
                         {judging_.Settings(), {}, {}, false, true, nullptr, 1, settings_.variant});
      source.OpenNext();
      SPart part;
      while (source.Next(part)) {
        if (good.contains(part.name)) {
          hooks_.learn(part);
        }
      }
      hooks_.learnt();
    } catch (const CReadError& e) {
      Tell(std::string(e.what()) + "; it is not learnt");
      hooks_.learnt();
    }
  } else if (!good.empty()) {
    Tell(Quoted(arrival.name) + " has changed since it was judged; it is not learnt");
  }
  CStore& store = judging_.Store();
  try {
    store.Begin();
    store.SetDone(CStore::Step::kLearnt, arrival.id);
    store.Commit();
  } catch (const CStoreError&) {
    store.GiveUp();
    throw;
  }
}

void CWatching::MoveAway(const SArrival& arrival) {
  const SFileSeen seen{arrival.name, arrival.bytes, arrival.changed};
  if (settings_.done.empty() || watch_.Look(arrival.name) != seen) {
    return;
  }
  std::error_code error;
  const fs::path to = FreeName(settings_.done, arrival.name);
  Move(PathOf(arrival.name), to, error);
  std::error_code none;
  if (!error && settings_.beside && fs::exists(PathOf(arrival.name) + kResultEnding, none)) {
    Move(PathOf(arrival.name) + kResultEnding, to.string() + kResultEnding, error);
  }
  if (error) {
    Tell(PathOf(arrival.name) + ": cannot be moved to " + settings_.done + ": " + error.message() +
         "; it stays where it is");
  }
}

void CWatching::Publish() {
  if (publisher_ == nullptr) {
    return;
  }
  for (const std::string& news : publisher_->TakeNews()) {
    Tell(news);
  }
  CStore& store = judging_.Store();
  const std::vector<std::int64_t> arrived = publisher_->TakeArrived();
  published_.insert(published_.end(), arrived.begin(), arrived.end());
  if (const std::size_t room = publisher_->Room(); room > 0) {
    for (const SArrival& arrival :
         store.OpenArrivals(folderName_, CStore::Step::kPublished, lastPublished_,
                            static_cast<std::int64_t>(room))) {
      publisher_->Publish(arrival.id,
                          ResultLines(arrival, PathOf(arrival.name), JudgedOf(store, arrival),
                                      arrival.id <= lastBefore_));
      lastPublished_ = arrival.id;
    }
  }
}

void CWatching::Tell(const std::string& text) {
  if (text != std::exchange(told_, text)) {
    hooks_.tell(text);
  }
}

}  // namespace limes::host

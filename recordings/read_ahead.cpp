#include "recordings/read_ahead.h"

#include <algorithm>
#include <exception>
#include <functional>
#include <utility>

#include "recordings/part_file.h"

namespace limes::recordings {
namespace {

constexpr std::size_t kBatchBytes = std::size_t{64} << 10;
constexpr std::size_t kMostBytes = std::size_t{1} << 20;  ///< of a file that wait, beyond one batch

std::size_t BytesOf(const SPart& part) {
  std::size_t bytes = sizeof(SPart);
  for (const SQuantity& q : part.quantities) {
    bytes += sizeof(SQuantity) + (q.values.size() + q.x.size()) * sizeof(float) + q.covered.size();
  }
  return bytes;
}

}  // namespace

CReadAhead::CReadAhead(std::vector<const SReadContext*> contexts, const SSelection& selection,
                       unsigned jobs)
    : contexts_(std::move(contexts)), selection_(selection), most_(jobs), slots_(contexts_.size()) {
  const auto files = static_cast<std::size_t>(std::count_if(
      contexts_.begin(), contexts_.end(), [](const auto* c) { return c != nullptr; }));
  const std::size_t wanted = std::min<std::size_t>(jobs, files);
  threads_.reserve(wanted);
  try {
    while (threads_.size() < wanted) {
      threads_.emplace_back([this] { Work(); });
    }
  } catch (const std::exception&) {
    if (threads_.empty()) {
      throw;
    }
    // fewer threads read the same
  }
}

CReadAhead::~CReadAhead() {
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) {
    thread.join();
  }
}

void CReadAhead::Work() {
  try {
    ReadFiles();
  } catch (...) {  // memory is short for what is handed over itself
    const std::lock_guard lock(mutex_);
    failure_ = std::current_exception();
  }
  changed_.notify_all();
}

void CReadAhead::ReadFiles() {
  std::unique_ptr<CFormer> former;
  for (;;) {
    std::size_t file = 0;
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] {
        while (next_ < contexts_.size() && contexts_[next_] == nullptr) {
          ++next_;
        }
        return ends_ || next_ == contexts_.size() || next_ <= current_ + most_;
      });
      if (ends_ || next_ == contexts_.size()) {
        return;
      }
      file = next_++;
    }
    if (!former) {
      former = std::make_unique<CFormer>(*contexts_[file]->settings);
    }
    Read(file, *former);
  }
}

bool CReadAhead::WaitForTurn(std::size_t file) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return ends_ || failure_ != nullptr || turn_ == file; });
  return !ends_ && turn_ == file;
}

void CReadAhead::EndTurn() {
  {
    const std::lock_guard lock(mutex_);
    ++turn_;
  }
  changed_.notify_all();
}

/// Hands a batch over, which then is a new one; waits while too much waits. False at the end.
bool CReadAhead::Put(std::size_t file, SBatch& batch) {
  SSlot& slot = slots_[file];
  {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] {
      return ends_ || file < current_ || slot.bytes == 0 || slot.bytes + batch.bytes <= kMostBytes;
    });
    if (ends_ || file < current_) {
      return false;
    }
    slot.bytes += batch.bytes;
    slot.batches.push_back(std::exchange(batch, SBatch()));
  }
  changed_.notify_all();
  return true;
}

CReadAhead::SItem CReadAhead::Used(std::size_t file) {
  const std::lock_guard lock(mutex_);
  SItem item;
  if (std::vector<SItem>& used = slots_[file].used; !used.empty()) {
    item.part = std::move(used.back().part);
    used.pop_back();
  }
  return item;
}

/// In its turn; what was noted, or why it could not be, is a batch of its own.
bool CReadAhead::Opens(std::size_t file, std::unique_ptr<CPartFile>& opened, SBatch& batch) {
  if (!WaitForTurn(file)) {
    return false;
  }
  try {
    SReadContext context = *contexts_[file];
    context.note = [&batch](const std::string& text) { batch.notes.push_back(text); };
    opened = std::make_unique<CPartFile>(context);
  } catch (...) {
    batch.failure = std::current_exception();
  }
  EndTurn();
  batch.isLast = batch.failure != nullptr;
  return Put(file, batch) && opened != nullptr;
}

/// Adds the next part to the batch; false at the end.
bool CReadAhead::ReadItem(std::size_t file, std::size_t place, CPartFile& opened, CFormer& former,
                          SBatch& batch) {
  SItem item = Used(file);
  if (!opened.Next(item.part)) {
    return false;
  }
  // Files of one part are counted over the run; the taker knows better where one could not be read.
  const bool several = contexts_[file]->settings->MayHoldSeveral();
  if (selection_.Takes(several ? place : file)) {
    item.isFormed = true;
    try {
      former.Form(item.part, opened.IsSound());
    } catch (...) {
      item.failure = std::current_exception();
    }
  }
  batch.bytes += BytesOf(item.part);
  batch.items.push_back(std::move(item));
  return true;
}

void CReadAhead::Read(std::size_t file, CFormer& former) {
  SBatch batch;
  std::unique_ptr<CPartFile> opened;
  bool goes = Opens(file, opened, batch);
  for (std::size_t place = 0; goes; ++place) {
    try {
      goes = ReadItem(file, place, *opened, former, batch);
    } catch (...) {
      batch.failure = std::current_exception();
      goes = false;
    }
    batch.isLast = !goes;
    if (batch.isLast || batch.bytes >= kBatchBytes) {
      batch.progress = opened->Progress();
      goes = Put(file, batch) && goes;
    }
  }
}

void CReadAhead::Take(const NoteTaker& note) {
  {
    std::unique_lock lock(mutex_);
    SSlot& slot = slots_[current_];
    changed_.wait(lock, [&] { return !slot.batches.empty() || failure_ != nullptr; });
    if (slot.batches.empty()) {
      std::rethrow_exception(failure_);
    }
    if (slot.used.empty()) {
      slot.used.swap(taken_.items);
    }
    slot.bytes -= slot.batches.front().bytes;
    taken_ = std::move(slot.batches.front());
    slot.batches.pop_front();
    at_ = 0;
  }
  changed_.notify_all();
  for (const std::string& text : taken_.notes) {
    note(text);
  }
}

void CReadAhead::Open(std::size_t file, const NoteTaker& note, const std::function<void()>& open) {
  {
    const std::lock_guard lock(mutex_);
    for (; current_ < file; ++current_) {
      slots_[current_] = {};
    }
    taken_ = {};
    at_ = 0;
  }
  changed_.notify_all();
  if (contexts_[file] != nullptr) {
    Take(note);
    if (taken_.failure) {
      std::rethrow_exception(std::exchange(taken_.failure, nullptr));
    }
    return;
  }
  if (!WaitForTurn(file)) {
    const std::lock_guard lock(mutex_);
    std::rethrow_exception(failure_);
  }
  struct Turn {
    CReadAhead& ahead;
    ~Turn() { ahead.EndTurn(); }
  } turn{*this};
  open();
}

bool CReadAhead::Next(SItem& item, const NoteTaker& note) {
  while (at_ == taken_.items.size()) {
    if (taken_.failure) {
      std::rethrow_exception(std::exchange(taken_.failure, nullptr));
    }
    if (taken_.isLast) {
      return false;
    }
    Take(note);
  }
  std::swap(item, taken_.items[at_++]);
  return true;
}

}  // namespace limes::recordings

#include "apps/limes/commands/waiting_records.h"

#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "apps/limes/errors.h"

namespace limes::host {
namespace {

/// Moves all bytes by pread or pwrite, which may move fewer at a time.
template <class Call, class Byte>
bool MoveAll(Call call, int file, Byte* bytes, std::size_t size, std::int64_t offset) {
  while (size > 0) {
    const ssize_t moved = call(file, bytes, size, offset);
    if (moved <= 0) {
      if (moved < 0 && errno == EINTR) {
        continue;
      }
      return false;
    }
    bytes += moved;
    size -= static_cast<std::size_t>(moved);
    offset += moved;
  }
  return true;
}

}  // namespace

CWaitingRecords::~CWaitingRecords() { Clear(); }

void CWaitingRecords::Clear() {
  if (file_ >= 0) {
    close(file_);
  }
  file_ = -1;
  end_ = 0;
  inMemory_ = 0;
  places_.clear();
}

void CWaitingRecords::Fail() const {
  throw CStoreError(
      store_ + ": parts that wait to be stored cannot be kept beside it: " + std::strerror(errno));
}

void CWaitingRecords::Open() {
  std::string name = store_ + "-waiting-XXXXXX";
  file_ = mkstemp(name.data());
  if (file_ < 0) {
    Fail();
  }
  unlink(name.c_str());
}

void CWaitingRecords::Put(SLearntPart& part) {
  const std::size_t size = part.record.size();
  if (!part.content || inMemory_ + size <= kMostBytes) {
    inMemory_ += size;
    return;
  }
  if (!places_.contains(*part.content)) {
    if (file_ < 0) {
      Open();
    }
    if (!MoveAll(pwrite, file_, part.record.data(), size, end_)) {
      Fail();
    }
    places_[*part.content] = {end_, size};
    end_ += static_cast<std::int64_t>(size);
  }
  std::vector<std::uint8_t>().swap(part.record);  // gives the memory back
}

void CWaitingRecords::Get(SLearntPart& part) {
  const auto found = part.content ? places_.find(*part.content) : places_.end();
  if (!part.record.empty() || found == places_.end()) {
    return;
  }
  part.record.resize(found->second.size);
  errno = EIO;  // where the file is shorter than it was written
  if (!MoveAll(pread, file_, part.record.data(), part.record.size(), found->second.offset)) {
    Fail();
  }
}

}  // namespace limes::host

#include "limes/signals/raw_signal.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "limes/core/runtime_classes.h"
#include "limes/platform/aligned_memory.h"
#include "limes/signals/cloned.h"

namespace limes {

namespace {

/// Words of an archive record before the data.
enum ArchiveWord { kType, kLength, kReserved, kId, kExtension, kHeadWords };

/// Words that follow when the extension flag is set.
constexpr int kExtensionWords = 5;

std::uint32_t* NewBlock(std::uint32_t words) {
  if (words > CSigRaw::kMaxWords) {
    return nullptr;
  }
  return static_cast<std::uint32_t*>(
      platform::AllocateAligned(std::size_t{words} * sizeof(std::uint32_t), kSignalAlignment));
}

// Words may hold floats, so they are only moved as bytes.
void Zero(std::uint32_t* words, std::size_t n) {
  if (n > 0) {
    std::memset(words, 0, n * sizeof(std::uint32_t));
  }
}

void Move(std::uint32_t* target, const std::uint32_t* source, std::size_t n) {
  if (n > 0) {
    std::memmove(target, source, n * sizeof(std::uint32_t));
  }
}

}  // namespace

namespace detail {
constinit const CRuntimeClass kRawClass = {"CSigRaw", &Created<CSigRaw>, &kArchivableClass};
}  // namespace detail

CSigRaw::CSigRaw() = default;

CSigRaw::CSigRaw(int n) {
  if (n > 0) {
    Malloc(static_cast<unsigned>(n));
  }
}

CSigRaw::CSigRaw(const CSigRaw& other)
    : CSObject(other), type_(other.type_), id_(other.id_), copyData_(other.copyData_) {
  if (Reserve(other.length_)) {
    length_ = other.length_;
    Move(data_, other.data_, length_);
  }
}

CSigRaw& CSigRaw::operator=(const CSigRaw& other) {
  if (this != &other && CopyWords(other)) {
    writtenOutside_ = true;
  }
  return *this;
}

CSigRaw::CSigRaw(CSigRaw&& other) noexcept : CSObject(static_cast<CSObject&&>(other)) {
  WhileYielding(other, [&] { CopyWords(other); });
}

CSigRaw& CSigRaw::operator=(CSigRaw&& other) noexcept {
  WhileYielding(other, [&] { *this = std::as_const(other); });
  return *this;
}

bool CSigRaw::YieldsTo(const CSigRaw& target) const {
  return yields_ && owns_ && length_ > target.capacity_;
}

/// The other's words are still there to be looked at, until its yielding ends.
void CSigRaw::TakeBuffer(CSigRaw& other) noexcept {
  Free();
  data_ = other.data_;
  length_ = other.length_;
  buffer_ = std::exchange(other.buffer_, nullptr);
  capacity_ = std::exchange(other.capacity_, 0);
  owns_ = std::exchange(other.owns_, false);
  writtenOutside_ = writtenOutside_ || other.writtenOutside_;
  other.yields_ = false;
}

bool CSigRaw::MakeRoomFor(const CSigRaw& other) {
  return other.YieldsTo(*this) || AllocateOrKeep(other.length_);
}

bool CSigRaw::CopyWords(const CSigRaw& other) {
  if (other.YieldsTo(*this)) {
    TakeBuffer(const_cast<CSigRaw&>(other));  // yields: not const where that was asked for
  } else if (AllocateOrKeep(other.length_)) {
    Move(data_, other.data_, length_);
  } else {
    return false;
  }
  type_ = other.type_;
  id_ = other.id_;
  copyData_ = other.copyData_;
  return true;
}

const CRuntimeClass* CSigRaw::GetRuntimeClass() const { return GetThisClass(); }

CSigRaw::~CSigRaw() { Free(); }

int CSigRaw::Serialize(CSerializer* archive) {
  if (archive == nullptr) {
    return 0;
  }
  const auto length = static_cast<int>(length_);
  if (archive->IsStoring() != 0) {
    std::array<std::uint32_t, kHeadWords> head = {type_, length_, 0,
                                                  static_cast<std::uint32_t>(id_), 0};
    return archive->StoreData(head.data(), kHeadWords) >= 1 &&
                   archive->StoreData(data_, length) == length
               ? 1
               : 0;
  }
  std::array<std::uint32_t, kHeadWords> head{};
  if (archive->LoadData(head.data(), kHeadWords) != kHeadWords) {
    return 0;
  }
  std::array<std::uint32_t, kExtensionWords> extension{};
  if (head[kExtension] != 0 &&
      archive->LoadData(extension.data(), kExtensionWords) != kExtensionWords) {
    return 0;
  }
  type_ = head[kType];
  id_ = static_cast<std::int32_t>(head[kId]);
  return LoadWords(*archive, head[kLength]) ? 1 : 0;
}

bool CSigRaw::LoadWords(CSerializer& archive, std::uint32_t n) {
  if (n > std::min(archive.WordsToEnd(), kMaxWords)) {
    Free();
    return false;
  }
  const auto words = static_cast<int>(n);
  if (n == 0) {
    Free();
    return true;
  }
  if (copyData_) {
    if (Malloc(n) == nullptr || archive.LoadData(data_, words) != words) {
      Free();
      return false;
    }
    return true;
  }
  std::uint32_t* const foreign = archive.SkipData(words);
  SetBuffer(foreign, words);
  return foreign != nullptr;
}

bool CSigRaw::Resize(unsigned n) {
  if (length_ == 0) {
    return MallocOrKeep(n);
  }
  if (n > length_) {
    if (!Reserve(n)) {
      return false;
    }
    Zero(data_ + length_, n - length_);
  }
  length_ = n;
  return true;
}

unsigned CSigRaw::Size() const { return length_ * static_cast<unsigned>(sizeof(std::uint32_t)); }

const CRuntimeClass* CSigRaw::GetThisClass() { return &detail::kRawClass; }

CObject* CSigRaw::CreateObject() { return detail::Created<CSigRaw>(); }

std::uint32_t* CSigRaw::Malloc(unsigned n) {
  writtenOutside_ = true;
  if (n > capacity_) {
    Free();  // kept: the old words are gone even when memory is short
  }
  static_cast<void>(MallocOrKeep(n));
  return data_;
}

void CSigRaw::Free() {
  if (owns_) {
    platform::FreeAligned(buffer_, kSignalAlignment);
  }
  buffer_ = nullptr;
  data_ = nullptr;
  capacity_ = 0;
  length_ = 0;
  owns_ = false;
}

void CSigRaw::SetBuffer(std::uint32_t* words, std::int32_t n) {
  Free();
  writtenOutside_ = true;
  data_ = words;
  length_ = words == nullptr ? 0 : static_cast<std::uint32_t>(std::max(n, 0));
}

void CSigRaw::SetBuffer(float* values, std::int32_t n) {
  SetBuffer(reinterpret_cast<std::uint32_t*>(values), n);
}

bool CSigRaw::CopyToRealData() {
  if (owns_ || length_ == 0) {
    return true;
  }
  std::uint32_t* const block = NewBlock(length_);
  if (block == nullptr) {
    return false;
  }
  Move(block, data_, length_);
  TakeBlock(block, length_);
  return true;
}

void CSigRaw::ShiftData(int k) {
  writtenOutside_ = true;
  const std::size_t n = length_;
  const auto by = static_cast<std::size_t>(k < 0 ? -std::int64_t{k} : std::int64_t{k});
  if (by >= n) {
    Zero(data_, n);
  } else if (k > 0) {
    Move(data_ + by, data_, n - by);
    Zero(data_, by);
  } else {
    Move(data_, data_ + by, n - by);
    Zero(data_ + (n - by), by);
  }
}

void CSigRaw::Nullsetzen() {
  writtenOutside_ = true;
  Zero(data_, length_);
}

bool CSigRaw::MallocOrKeep(unsigned n) {
  if (!AllocateOrKeep(n)) {
    return false;
  }
  Zero(data_, n);
  return true;
}

bool CSigRaw::AllocateOrKeep(unsigned n) {
  if (n > capacity_) {
    std::uint32_t* const block = NewBlock(n);
    if (block == nullptr) {
      return false;
    }
    TakeBlock(block, n);
  }
  data_ = buffer_ == nullptr ? data_ : buffer_;
  length_ = n;
  return true;
}

bool CSigRaw::Reserve(unsigned n) {
  if (n <= capacity_) {
    return true;
  }
  if (length_ > 0 && !owns_) {
    return n <= length_;  // foreign words cannot grow
  }
  std::uint32_t* const block = NewBlock(n);
  if (block == nullptr) {
    return false;
  }
  Move(block, data_, length_);
  TakeBlock(block, n);
  return true;
}

void CSigRaw::Shorten(unsigned n) { length_ = std::min(length_, n); }

/// Makes a block with room for words words the own buffer; the words in use keep their number.
void CSigRaw::TakeBlock(std::uint32_t* block, std::uint32_t words) noexcept {
  if (owns_) {
    platform::FreeAligned(buffer_, kSignalAlignment);
  }
  buffer_ = block;
  data_ = block;
  capacity_ = words;
  owns_ = true;
}

}  // namespace limes

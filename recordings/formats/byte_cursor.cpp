#include "recordings/formats/byte_cursor.h"

#include <algorithm>

#include "recordings/errors.h"

namespace limes::recordings {

CByteCursor::CByteCursor(CFileStream& stream, std::string file, std::string format)
    : stream_(&stream), file_(std::move(file)), format_(std::move(format)) {
  const std::int64_t left = stream.Remaining();
  if (left < 0) {
    throw CInputError(file_, format_ + " is read from a file, not from a pipe");
  }
  end_ = static_cast<std::uint64_t>(stream.Position() + left);
}

void CByteCursor::Fail(const std::string& reason) const {
  throw CInputError(file_, format_ + ", byte " + std::to_string(place_) + ": " + reason);
}

void CByteCursor::GoTo(std::uint64_t place) {
  if (place > end_) {
    Fail("leads to byte " + std::to_string(place) + ", behind the end at " + std::to_string(end_));
  }
  place_ = place;
}

void CByteCursor::Need(std::uint64_t count, std::uint64_t bytesEach,
                       const std::string& what) const {
  std::uint64_t bytes = 0;
  if (__builtin_mul_overflow(count, bytesEach, &bytes) || bytes > Left()) {
    Fail("cut short: " + what + " needs " + std::to_string(count) + " times " +
         std::to_string(bytesEach) + " bytes, " + std::to_string(Left()) + " are left");
  }
}

void CByteCursor::Skip(std::uint64_t bytes) {
  Need(bytes, 1, "what is skipped");
  place_ += bytes;
}

CByteCursor CByteCursor::At(std::uint64_t place, std::uint64_t bytes) const {
  CByteCursor part = *this;
  part.GoTo(place);
  part.Need(bytes, 1, "what is told to lie here");
  part.end_ = place + bytes;
  return part;
}

std::size_t CByteCursor::ReadSome(void* data, std::size_t bytes) {
  stream_->Seek(static_cast<std::int64_t>(place_));
  const std::size_t got =
      stream_->Read(data, static_cast<std::size_t>(std::min<std::uint64_t>(bytes, Left())));
  place_ += got;
  return got;
}

void CByteCursor::Read(void* data, std::size_t bytes) {
  Need(bytes, 1, "a field");
  if (ReadSome(data, bytes) != bytes) {
    Fail("cannot be read on");
  }
}

std::string CByteCursor::GetText(std::uint64_t bytes) {
  Need(bytes, 1, "a text");
  std::string text(static_cast<std::size_t>(bytes), '\0');
  Read(text.data(), text.size());
  return text;
}

}  // namespace limes::recordings

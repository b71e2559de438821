#include <string>

#include "limes/core/measuring_unit.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/record_io.h"

namespace limes {
namespace {

constexpr std::uint8_t kVersion = 2;
constexpr std::uint8_t kFirstUnknownVersion = 13;
constexpr std::size_t kMaxTextBytes = 255;

}  // namespace

bool CMeasuringUnit::WriteRecord(CFileStream& file, std::string_view text) const {
  detail::RecordWriter out;
  out.Put(kVersion);
  out.Put(static_cast<std::uint8_t>(text.size()));
  out.PutBytes(text.data(), text.size());
  out.Put(unit_);
  out.Put(exponent_);
  out.Put(power_);
  out.Put(logref_);
  out.Put(flags_);
  out.WriteTo(file);
  return true;
}

bool CMeasuringUnit::WriteToFile(CFileStream& file) const { return WriteRecord(file, {}); }

bool CMeasuringUnit::WriteToFileWithText(CFileStream& file) const {
  const wide_string& base = baseunit();
  const std::string text = WideToCp1252(base);
  return text.size() <= kMaxTextBytes && UpToZero(Cp1252ToWide(text)) == base &&
         WriteRecord(file, text);
}

bool CMeasuringUnit::ReadFromFile(CFileStream& file) {
  detail::RecordReader in(file);
  std::uint8_t version = 0;
  if (!in.Get(version) || version >= kFirstUnknownVersion) {
    return false;
  }
  clear();
  std::uint8_t length = 0;
  char bytes[kMaxTextBytes];
  if (!in.Get(length) || !in.GetBytes(bytes, length)) {
    return false;
  }
  const wide_string whole = Cp1252ToWide(std::string_view(bytes, length));
  const std::u16string_view text = UpToZero(whole);
  UnitStrings& strings = UnitStrings::theStrings();
  CMeasuringUnit read;
  if (version == 0) {
    if (length == 0) {
      buildstringrep();
      return in.Skip(8);
    }
    read.unit_ = strings.FindOrAdd(text, true, false);
  } else if (!in.Get(read.unit_)) {
    return false;
  } else if (read.unit_ >= kBuiltInUnits) {
    read.unit_ = strings.FindOrAdd(text, true, strings.Complains());
  }
  if (!in.Get(read.exponent_) || !in.Get(read.power_) || !in.Get(read.logref_)) {
    return false;
  }
  read.SetLogarithmic(read.logref_ != 0.0F);
  if (version >= 2 && !in.Get(read.flags_)) {
    return false;
  }
  read.buildstringrep();
  *this = std::move(read);
  return true;
}

}  // namespace limes

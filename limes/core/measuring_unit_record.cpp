#include <array>
#include <string>

#include "limes/core/measuring_unit.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/record_io.h"

namespace limes {
namespace {

constexpr std::uint8_t kVersion = 2;
constexpr std::uint8_t kFirstUnknownVersion = 13;
constexpr std::size_t kMaxTextBytes = 255;

/// Hands the fields behind the text to get, those that a record of the version holds; false when
/// that fails for one of them.
bool ForFields(auto& fields, std::uint8_t version, auto get) {
  constexpr std::array kSince = {1, 0, 0, 0, 2};  // version that brought each of the fields
  return std::apply(
      [&](auto&... field) {
        std::size_t i = 0;
        return ((version < kSince[i++] || get(field)) && ...);
      },
      SMeasuringUnitPOD::Fields(fields));
}

}  // namespace

bool CMeasuringUnit::WriteRecord(CFileStream& file, std::string_view text) const {
  return detail::IfMemoryAllows([&] {
    detail::RecordWriter out;
    out.Put(kVersion);
    out.Put(static_cast<std::uint8_t>(text.size()));
    out.PutBytes(text.data(), text.size());
    out.PutFields(fields_);
    out.WriteTo(file);
  });
}

bool CMeasuringUnit::WriteToFile(CFileStream& file) const { return WriteRecord(file, {}); }

bool CMeasuringUnit::WriteToFileWithText(CFileStream& file) const {
  return detail::IfMemoryAllows(false, [&] {
    const wide_string& base = baseunit();
    const std::string text = WideToCp1252(base);
    const bool isInTable =
        UnitStrings::theStrings().Find(base) == static_cast<std::int64_t>(fields_.unit);
    return isInTable && text.size() <= kMaxTextBytes && UpToZero(Cp1252ToWide(text)) == base &&
           WriteRecord(file, text);
  });
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
  if (version == 0 && length == 0) {
    _construct(true);
    return in.Skip(8);
  }
  SMeasuringUnitPOD read;
  if (!ForFields(read, version, [&](auto& field) { return in.Get(field); })) {
    return false;
  }
  return detail::IfMemoryAllows(false, [&] {
    const wide_string whole = Cp1252ToWide(std::string_view(bytes, length));
    UnitStrings& strings = UnitStrings::theStrings();
    if (version == 0 || read.unit >= kBuiltInUnits) {
      read.unit = strings.FindOrAdd(UpToZero(whole), true, version > 0 && strings.Complains());
    }
    if (version < 2) {
      read.flags = read.logref != 0.0F ? kLogarithmic : 0;
    }
    Take(read);
    return true;
  });
}

}  // namespace limes

// Texts of any 16-bit characters as signal names, code page and UTF-8 texts, formats and numbers.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "limes/core/signal_key.h"
#include "limes/platform/info_object.h"
#include "limes/platform/text.h"

namespace {

void Require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

void CheckName(const limes::wide_string& text) {
  limes::CQuinterMFC name;
  name.ReadIdentificationString(text.c_str());
  std::vector<limes::wide_char> buffer(1200);
  // Five separators may have been missing.
  if (name.BuildIdentificationString(buffer.data(), 1200)) {
    limes::CQuinterMFC again;
    again.ReadIdentificationString(buffer.data());
    Require(again == name);
  }
  name.SetChanPlusSensor(text);
  Require(name.GetChanPlusSensor().size() <= text.size());
  Require(name.matchesPattern(name) && name.matchesPattern(limes::CQuinterMFC::TheAsterisks()));
  Require(name.Overlay(name) == name.hasWildcard());
}

void CheckText(const limes::wide_string& wide, const std::string& bytes) {
  const limes::wide_string clean = limes::Utf8ToWide(bytes);
  Require(limes::Utf8ToWide(limes::WideToUtf8(clean)) == clean);
  Require(limes::WideToCp1252(limes::Cp1252ToWide(bytes)) == bytes);
  const std::string utf8 = limes::WideToUtf8(wide);
  for (std::size_t cut = 0; cut <= 8; ++cut) {
    Require(utf8.starts_with(limes::WideToUtf8(limes::Utf8ToWide(limes::Utf8Prefix(utf8, cut)))));
  }
}

void CheckNumbers(const limes::wide_string& wide) {
  limes::Format(wide, 1, -2.5, "a", u"b", 0xFFFFFFFFU, 1e300);
  float x = 0.0F;
  double y = 0.0;
  std::int32_t i = 0;
  limes::Scan(wide, u"%f %f %d", &x, &y, &i);
  limes::Scan(u"1 2 3", wide, &x, &y, &i);
  limes::CInfoNode node;
  node.Set(wide);
  node.AsInt();
  limes::CInfoNode number;
  number.Set(node.AsFloat());
  limes::CInfoNode text;
  text.Set(number.AsText());
  // The shortest text reads back the same.
  Require(text.AsFloat() == number.AsFloat() || number.AsFloat() != number.AsFloat());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  limes::wide_string wide;
  for (std::size_t i = 0; i + 1 < size; i += 2) {
    wide.push_back(static_cast<char16_t>(data[i] | data[i + 1] << 8));
  }
  CheckName(wide);
  CheckText(wide, std::string(data, data + size));
  CheckNumbers(wide);
  return 0;
}

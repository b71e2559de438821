// Texts of any 16-bit characters as signal names, code page and UTF-8 texts, formats and numbers.
#include <string>

#include "fuzz/fuzz.h"
#include "limes/core/signal_key.h"
#include "limes/platform/info_object.h"
#include "limes/platform/text.h"

namespace limes::fuzz {
namespace {

void CheckName(const wide_string& text) {
  CQuinterMFC name;
  name.ReadIdentificationString(text.c_str());
  std::vector<wide_char> buffer(1200);
  // Five separators may have been missing.
  if (name.BuildIdentificationString(buffer.data(), 1200)) {
    CQuinterMFC again;
    again.ReadIdentificationString(buffer.data());
    Require(again == name);
  }
  name.SetChanPlusSensor(text);
  Require(name.GetChanPlusSensor().size() <= text.size());
  Require(name.matchesPattern(name) && name.matchesPattern(CQuinterMFC::TheAsterisks()));
  Require(name.Overlay(name) == name.hasWildcard());
}

void CheckText(const wide_string& wide, const std::string& bytes) {
  const wide_string clean = Utf8ToWide(bytes);
  Require(Utf8ToWide(WideToUtf8(clean)) == clean);
  Require(WideToCp1252(Cp1252ToWide(bytes)) == bytes);
  const std::string utf8 = WideToUtf8(wide);
  for (std::size_t cut = 0; cut <= 8; ++cut) {
    Require(utf8.starts_with(WideToUtf8(Utf8ToWide(Utf8Prefix(utf8, cut)))));
  }
}

void CheckNumbers(const wide_string& wide) {
  Format(wide, 1, -2.5, "a", u"b", 0xFFFFFFFFU, 1e300);
  float x = 0.0F;
  double y = 0.0;
  std::int32_t i = 0;
  Scan(wide, u"%f %f %d", &x, &y, &i);
  Scan(u"1 2 3", wide, &x, &y, &i);
  CInfoNode node;
  node.Set(wide);
  node.AsInt();
  CInfoNode number;
  number.Set(node.AsFloat());
  CInfoNode text;
  text.Set(number.AsText());
  // The shortest text reads back the same.
  Require(text.AsFloat() == number.AsFloat() || number.AsFloat() != number.AsFloat());
}

}  // namespace

void Try(Input input) {
  const auto units = ArrayOf<wide_char>(input);
  const wide_string wide(units.begin(), units.end());
  CheckName(wide);
  CheckText(wide, std::string(TextOf(input)));
  CheckNumbers(wide);
}

}  // namespace limes::fuzz

#include "limes/platform/text.h"

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <random>

#include "limes/platform/conversions.h"
#include "tests/support/show.h"

namespace limes::test {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(Text, Utf8Table) {
  const struct {
    const char* name;
    std::string utf8;
    std::u16string wide;
    bool back = true;
  } kCases[] = {
      {"all lengths", "aä€\xF0\x9D\x84\x9E", u"aä€\xD834\xDD1E"},
      {"ends of the ranges", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80",
       u"\x7F\x80\x7FF\x800\xD7FF\xE000"},
      {"last code", "\xF4\x8F\xBF\xBF", u"\xDBFF\xDFFF"},
      {"NUL inside", std::string("a\0b", 3), std::u16string(u"a\0b", 3)},
      {"lone follower", "a\x80z", u"a\xFFFDz", false},
      {"overlong slash", "\xC0\xAF", u"\xFFFD\xFFFD", false},
      {"overlong three", "\xE0\x80\x80", u"\xFFFD\xFFFD\xFFFD", false},
      {"surrogate", "\xED\xA0\x80", u"\xFFFD\xFFFD\xFFFD", false},
      {"beyond the last code", "\xF4\x90\x80\x80", u"\xFFFD\xFFFD\xFFFD\xFFFD", false},
      {"no lead byte", "\xF5\xFF", u"\xFFFD\xFFFD", false},
      {"cut at the end is one", "\xF0\x9D\x84", u"\xFFFD", false},
      {"cut by a letter is one", "\xE2\x82x", u"\xFFFDx", false},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(Utf8ToWide(c.utf8), c.wide) << c.name;
    EXPECT_EQ(WideToUtf8(c.wide) == c.utf8, c.back) << c.name;
  }
  EXPECT_EQ(WideToUtf8(u"\xD834x\xDD1E"), "\xEF\xBF\xBDx\xEF\xBF\xBD");
}

// Random texts go there and back in signal_key_fuzz.
TEST(Text, EveryByteOf1252) {
  std::string bytes(256, '\0');
  std::iota(bytes.begin(), bytes.end(), '\0');
  EXPECT_EQ(WideToCp1252(Cp1252ToWide(bytes)), bytes);
  EXPECT_EQ(Cp1252ToWide("\x80\x81\x9F\xE4"), u"\u20AC\u0081\u0178ä");
  EXPECT_EQ(WideToCp1252(u"Ω\u0080\xD834\xDD1E\xD834x"), "????x");
}

TEST(Text, PrefixKeepsCharactersWhole) {
  const std::tuple<std::string, std::size_t, std::string> cases[] = {
      {"abc", 5, "abc"}, {"abc", 2, "ab"},
      {"aä", 2, "a"},    {"a€", 3, "a"},
      {"ä", 1, ""},      {"ab", 0, ""},
      {"€€", 3, "€"},    {"\x80\x80\x80\x80\x80", 4, "\x80\x80\x80\x80"}};
  for (const auto& [text, bytes, expected] : cases) {
    EXPECT_EQ(Utf8Prefix(text, bytes), expected);
  }
}

TEST(Format, Table) {
  const struct {
    wide_string got;
    std::u16string expected;
  } kCases[] = {
      {Format(u"%s|%5s|%-5s|%.2s", u"ab", u"ab", "ab", "abc"), u"ab|   ab|ab   |ab"},
      {Format(u"%s", "\xE4"), u"ä"},
      {Format(u"%d %5d %-5d| %05d %+d", -7, 42, 42, -42, 3), u"-7    42 42   | -0042 +3"},
      {Format(u"%x %X %x %x", 255, 255U, -1, std::int64_t{-1}), u"ff FF ffffffff ffffffffffffffff"},
      {Format(u"%u %d", 4000000000U, std::numeric_limits<std::int64_t>::min()),
       u"4000000000 -9223372036854775808"},
      {Format(u"%.3d %5.3d", 7, -7), u"007  -007"},
      {Format(u"%f %5.1f %.0f %-7.2f|", 1.5, 2.25, 2.5, 3.14159F), u"1.500000   2.2 2 3.14   |"},
      {Format(u"%e %g %G", 12345.678, 0.0001, 1e-10), u"1.234568e+04 0.0001 1E-10"},
      {Format(u"%5.1f|%f|%05f|%.1f", kNaN, -kInf, kInf, -0.0), u"  nan|-inf|  inf|-0.0"},
      {Format(u"%c%c", u'ä', u"xyz"), u"äx"},
      {Format(u"100%% %d", 5), u"100% 5"},
      {Format(u"%ld %hd %lld", 1, 2, 3), u"1 2 3"},
      {Format(u"%s %s", 0.1, 5), u"0.1 5"},
      {Format(u"%s %d %s", ~std::uint64_t{0}, ~std::uint64_t{0}, std::int64_t{-1}),
       u"18446744073709551615 18446744073709551615 -1"},
      {Format(u"%d %f", 2.9, 3), u"2 3.000000"},
      {Format(u"%d", u"text"), u"text"},
      {Format(u"%s", static_cast<const char16_t*>(nullptr)), u""},
      {Format(u"%s %s %d", u"a"), u"a %s %d"},
      {Format(u"a", 1, 2), u"a"},
      {Format(u"%q %", 1), u"%q %"},
      {Format(u"%5", 1), u"%5"},
      {Format(u"%n%*d", 1, 2), u"%n%*d"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(WideToUtf8(c.got), WideToUtf8(c.expected));
  }
  EXPECT_EQ(Format(u"%999999999s", u"").size(), 1000U);
  EXPECT_EQ(Format(u"%.999999999f", 1e308).size(), 309U + 1 + 350);
}

TEST(Format, PrintsAsTheStandardLibrary) {
  std::mt19937 random(3);
  for (int i = 0; i < 500; ++i) {
    const double value =
        std::ldexp(static_cast<double>(random()) - 2e9, static_cast<int>(random() % 80) - 60);
    char expected[200];
    std::snprintf(expected, sizeof expected, "%9.2f %.0e %g", value, value, value);
    EXPECT_EQ(WideToUtf8(Format(u"%9.2f %.0e %g", value, value, value)), expected);
  }
}

TEST(Scan, Table) {
  // Text | format: number of fields; their values, -99 where none was read.
  for (const auto& [input, shown] :
       Rows("1.5 -2e3 7 | %f %f %d: 3 1.5 -2000 7;   +1\t+2\n +3 | %f%f%d: 3 1 2 3; "
            "+-1 | %f: 0 -99 -99 -99; 1.5 | %f %f %d: 1 1.5 -99 -99; "
            "1 x 2 | %f %f %d: 1 1 -99 -99; 1.5Hz 2 | %f %f: 1 1.5 -99 -99; "
            "x=1;y=2 | x=%f;y=%f: 2 1 2 -99; 5% 6 | %f%% %f: 2 5 6 -99; 1,5 | %f,%f: 2 1 5 -99; "
            "1e39 1 | %f %f: 0 -99 -99 -99; 1e-60 1 | %f %f: 2 0 1 -99; "
            "-0.001e-99999999999999999999 1 | %f %f: 2 -0 1 -99; 0.1e400 | %f: 0 -99 -99 -99; "
            "1 2 2147483648 | %f %f %d: 2 1 2 -99; "
            "1 2 -2147483648 | %f %f %d: 3 1 2 -2147483648; 1 2 3.9 | %f %f %d: 3 1 2 3; "
            "1 2 3 | %f %s %f: 1 1 -99 -99;  | %f: 0 -99 -99 -99; 1 % | %f %: 1 1 -99 -99")) {
    const std::size_t apart = input.find(u" | ");
    float a = -99;
    float b = -99;
    std::int32_t i = -99;
    const int fields = Scan(input.substr(0, apart), input.substr(apart + 3), &a, &b, &i);
    EXPECT_SHOWN(shown, fields, a, b, i) << WideToUtf8(input);
  }
  double d = 0;
  std::uint32_t u = 5;
  EXPECT_SHOWN("1 inf 5", Scan(u"inf -1", u"%f %d", &d, &u), d, u);
  EXPECT_SHOWN("1 0 0 0", Scan(u"1e-400", u"%f", &d), d, Scan(u"1e400", u"%f", &d), d);
  EXPECT_SHOWN("1 0 1", Scan(u"nan", u"%f", &u), u, Scan(u"1 2", u"%f %f", &d));
}

TEST(Scan, LongDigitsAndOtherLocales) {
  float value = 0;
  EXPECT_EQ(Scan(std::u16string(1000000, u'0') + u"7", u"%f", &value), 1);
  EXPECT_EQ(value, 7.0F);
  const std::string former = std::setlocale(LC_ALL, nullptr);
  std::setlocale(LC_ALL, "de_DE.UTF-8");  // where it is installed
  EXPECT_EQ(Scan(u"1.5", u"%f", &value), 1);
  EXPECT_EQ(value, 1.5F);
  EXPECT_EQ(Format(u"%.1f", 1.5), u"1.5");
  std::setlocale(LC_ALL, former.c_str());
}

TEST(Conversions, EveryInputHasAResult) {
  // Value: as 8, 16, 32 and 64 bits.
  for (const auto& [text, shown] :
       Rows("0.9: 0 0 0 0; -0.9: 0 0 0 0; -1.9: 0 -1 -1 -1; 255.9: 255 255 255 255; "
            "32767.9: 255 32767 32767 32767; -32768.9: 0 -32768 -32768 -32768; "
            "-32769: 0 -32768 -32769 -32769; 2147483647.9: 255 32767 2147483647 2147483647; "
            "2147483648: 255 32767 2147483647 2147483648; "
            "9223372036854775807: 255 32767 2147483647 9223372036854775807; "
            "-1e300: 0 -32768 -2147483648 -9223372036854775808; "
            "inf: 255 32767 2147483647 9223372036854775807; "
            "nan: 0 -32768 -2147483648 -9223372036854775808")) {
    const double value = std::strtod(WideToUtf8(text).c_str(), nullptr);
    EXPECT_SHOWN(shown, TruncToUint8(value), TruncToInt16(value), TruncToInt32(value),
                 TruncToInt64(value));
  }
}

}  // namespace
}  // namespace limes::test

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "recordings/part_writer.h"
#include "tests/recordings/shown_parts.h"
#include "tests/support/messages.h"

namespace limes::recordings {
namespace {

using testing::HasSubstr;

SQuantity Made(const std::string& name, const char* unit, const char* xUnit, double x0, double dx,
               std::vector<float> values, std::vector<float> x = {}) {
  SQuantity q;
  q.name = name;
  q.unit = ParseUnit(unit);
  q.xUnit = ParseUnit(xUnit);
  q.x0 = x0;
  q.dx = dx;
  q.x = std::move(x);
  q.values = std::move(values);
  return q;
}

const test::Messages kMessages;  // of units that the library does not know
const float kThird = 1.0F / 3.0F;
const SQuantity kEven = Made("a", "m/s²", "s", 0.5, 0.25, {kThird, -2, 3e-9F});
const SQuantity kFine = Made("ä b", "kg", "mm", 1.0 / 3.0, 1.0 / 7.0, {1, 2, 3});
const SQuantity kFree = Made("x", "Ω", "Hz", 0.1, 1, {1, 2, 3}, {0.1F, 0.3F, 9.7F});

/// What is written, as it is read again, and what the writer could not write.
std::string Back(const std::vector<SQuantity>& quantities, OutputFormat format,
                 const std::string& ending) {
  CMemoryStream out;
  std::string losses;
  try {
    for (const std::string& loss : WriteParts({{"p", std::nullopt, quantities}}, format, out)) {
      losses += "! " + loss;
    }
  } catch (const CReadError& e) {
    return e.what();
  }
  const auto path =
      std::filesystem::temp_directory_path() / ("limes_back_" + std::to_string(getpid()) + ending);
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(out.Bytes().data()),
             static_cast<std::streamsize>(out.Bytes().size()));
  CDiskStream stream(path, CDiskStream::Mode::kRead);
  std::string read = ReadStream(stream, path.string());
  std::filesystem::remove(path);
  return read + losses;
}

const std::string kEvenShown = "a [m/s²] 0.5+0.25[s]: 0.333333 -2 3e-09; ";
const std::string kFineShown = "ä b [kg] 0.333333+0.142857[mm]: 1 2 3; ";
const std::string kFreeShown = "x [Ω] 0.1+4.8[Hz]: 0.1@1 0.3@2 9.7@3; ";

TEST(Writers, UffComesBack) {
  EXPECT_EQ(Back({kEven, kFine, kFree}, OutputFormat::kUff, ".uff"),
            kEvenShown + kFineShown + kFreeShown +
                "! 'ä b': start and step of x are written with 7 digits");
  const SQuantity longest = Made(std::string(90, 'n'), "furlongs per fortnight and more", "s",
                                 1048576.25, 0.25, {kThird, 2, 3});
  const std::string back = Back({longest}, OutputFormat::kUff, ".uff");
  EXPECT_THAT(back, HasSubstr(std::string(80, 'n') +
                              " [furlongs per fortnig] 1.04858e+06+0.25[s]: 0.333333 2 3; !"));
  EXPECT_THAT(back.substr(back.find('!')),
              testing::AllOf(HasSubstr("the name is written in one line of 80 bytes"),
                             HasSubstr("is cut to 20 bytes"), testing::Not(HasSubstr("7 digits"))));
}

TEST(Writers, NpyComesBack) {
  SQuantity other = kEven;
  other.name = "it's \\";
  EXPECT_EQ(Back({kEven, other}, OutputFormat::kNpy, ".npy"),
            "a [] 0.5+0.25[s]: 0.333333 -2 3e-09; it's _ [] 0.5+0.25[s]: 0.333333 -2 3e-09; "
            "| x is in s, as the name time says! 'a': the unit m/s² is left out"
            "! 'it's \\': the name is written as 'it's _'! 'it's \\': the unit m/s² is left out");
  EXPECT_EQ(Back({kFine}, OutputFormat::kNpy, ".npy"),
            "ä b [] 0.333333+0.142857[]: 1 2 3; ! 'ä b': the unit kg is left out! the unit of x, "
            "mm, is left out");
  EXPECT_THAT(Back({kFree}, OutputFormat::kNpy, ".npy"), HasSubstr("x [] 0.1+4.8[Hz]: 0.1@1"));
  EXPECT_THAT(Back({kEven, kFree}, OutputFormat::kNpy, ".npy"),
              HasSubstr("x: has another x than 'a'; a .npy file holds one table"));
}

#ifdef LIMES_ARRAYS_FILE

TEST(Writers, Hdf5ComesBack) {
  setenv("LIMES_ARRAYS", LIMES_ARRAYS_FILE, 1);
  SQuantity slash = kEven;
  slash.name = "b/c";
  EXPECT_EQ(Back({kEven, kFine, kFree, slash}, OutputFormat::kHdf5, ".h5"),
            kEvenShown + "b_c" + kEvenShown.substr(1) + "x_" + kFreeShown.substr(1) + kFineShown +
                "! 'x': the name is written as 'x_'! 'b/c': the name is written as 'b_c'");
  std::vector<SQuantity> many(500, kFree);
  for (std::size_t i = 0; i < many.size(); ++i) {
    many[i].name = "q" + std::to_string(i);
  }
  EXPECT_THAT(Back(many, OutputFormat::kHdf5, ".h5"), HasSubstr("; q499 [Ω] 0.1+4.8[Hz]: 0.1@1 "));
  unsetenv("LIMES_ARRAYS");
}

#endif

}  // namespace
}  // namespace limes::recordings

#include <gmock/gmock.h>
#include <zlib.h>

#include <functional>
#include <string>

#include "limes/platform/record_io.h"
#include "recordings/errors.h"
#include "tests/recordings/shown_parts.h"
#include "tests/support/messages.h"

namespace limes::recordings {
namespace {

using testing::HasSubstr;

/// A file made by hand: numbers little endian, texts as they are.
class Made : public std::string {
 public:
  using std::string::string;
  Made(const std::string& text) : std::string(text) {}

  template <class... T>
  Made& Put(T... numbers) {
    const auto put = [this](auto number) {
      std::array<std::uint8_t, sizeof(number)> raw;
      detail::ToLittleEndian(number, raw.data());
      this->append(reinterpret_cast<const char*>(raw.data()), raw.size());
    };
    (put(numbers), ...);
    return *this;
  }
  Made& Text(const std::string& text) {
    Put(static_cast<std::uint32_t>(text.size()));
    append(text);
    return *this;
  }
};

/// Refused wherever it is cut, but for so many bytes at its end, and safe with any byte changed.
void ExpectHostileSafe(const std::string& bytes, std::size_t rest) {
  const test::Messages units;
  for (std::size_t n = 0; n < bytes.size(); ++n) {
    const std::string got = Read(bytes.substr(0, n));
    EXPECT_TRUE(n + rest >= bytes.size() || got.starts_with("f:")) << n << got;
    for (const unsigned change : {0x01U, 0x80U, 0xFFU}) {
      std::string changed = bytes;
      changed[n] = static_cast<char>(static_cast<unsigned char>(changed[n]) ^ change);
      Read(changed);
    }
  }
}

Made Function(const std::string& number, const std::string& form, const std::string& unit,
              const std::string& data) {
  const std::string axis = "    0    0    0 label                ";
  return {"    -1\n" + number + "\nlevel: -1\r\nNONE\nNONE\nNONE\nNONE\n" +
          "    1         0    0         0 NONE               0   0 NONE               0   0\n" +
          form + "\n        18" + axis + "Hz\n        12" + axis + unit + "\n         0" + axis +
          "NONE\n         0" + axis + "NONE\n" + data + "    -1\n"};
}

const std::string kEven = "         2         3         1  1.00000E+00  5.00000E-01  0.00000E+00";
const std::string kBinary = "    58b     1     2          11          12     0     0           0";

TEST(Uff, FunctionsOfAllTypesAreRead) {
  const std::string blanks = "             ";
  const std::pair<Made, std::string> cases[] = {
      {Function("    58", kEven, "g\xB2/Hz",
                " -1.00000E+00-2.00000D+00 3.00000E+000" + blanks + "\n"),
       "level: -1 [g²/Hz] 1+0.5[Hz]: -1 -2 3; "},
      {Function(kBinary, kEven, "m/s^2", Made().Put(-1.0F, 2.0F, 3.0F) + "\n"),
       "level: -1 [m/s²] 1+0.5[Hz]: -1 2 3; "},
      {Function(kBinary, kEven, "NONE", Made().Put(-1.0F, 2.0F, 3.0F)),
       "level: -1 [] 1+0.5[Hz]: -1 2 3; "},
      {Function("    58", "         4         3         0", "V",
                "  1.00000E+00  1.000000000000E+00  2.00000E+00  2.500000000000E+00\n"
                "  4.00000E+00  3.000000000000E+00\n"),
       "level: -1 [V] 1+1.5[Hz]: 1@1 2@2.5 4@3; "},
      {Function("    58", "         5         2         0", "V",
                "  1.00000E+00  3.00000E+00  4.00000E+00  2.00000E+00  6.00000E+00  8.00000E+00\n"),
       "level: -1 [V] 1+1[Hz]: 5 10; | complex values are read as their magnitude"},
      {Function("    58", kEven, "V", "  1.00000E+00  2.00000E+00\n"),
       "3 values are stated, 2 are there"},
      {Function(kBinary, "         2  99999999         1", "V", "123456789012"),
       "cut short: function of values needs 99999999 times 4 bytes, 19 are left"},
      {Function(kBinary, "         2         1         1", "V", "123456789012"),
       "1 values take 4 bytes, but 12 are stated"},
      {{"    -1\n    15\n  1 0 0\n    -1\n"},
       "f: holds no function (dataset 58); there are datasets 15"},
  };
  for (const auto& [file, shown] : cases) {
    EXPECT_THAT(Read(file), HasSubstr(shown));
  }
  ExpectHostileSafe(cases[0].first, 1);
  ExpectHostileSafe(cases[2].first, 1);
}

/// A segment with the objects and the raw data.
Made Segment(std::uint32_t flags, const Made& meta, const Made& raw) {
  Made file;
  file.append("TDSm").append(Made().Put(flags, 4713U, std::uint64_t{meta.size() + raw.size()},
                                        std::uint64_t{meta.size()}));
  file.append(meta).append(raw);
  return file;
}

/// An object with float data and two properties, one of them a number.
Made Channel(const char* path, std::uint32_t type, std::uint64_t count, const char* property,
             double number) {
  Made object;
  object.Text(path).Put(20U, type, 1U, count, 2U).Text("unit_string").Put(0x20U).Text("V");
  object.Text(property).Put(0x0AU, number);
  return object;
}

TEST(Tdms, SegmentsAreReadToChannels) {
  constexpr std::uint32_t kAll = 2 | 4 | 8;
  const Made two = Made().Put(2U) + Channel("/'g'/'a''b'", 9, 2, "wf_increment", 0.5) +
                   Channel("/'h'/'c'", 3, 2, "x", 0.0);
  const Made raw = Made().Put(1.0F, 2.0F, 7, 8);
  const Made mixed = Made().Put(1.0F, 7, 2.0F, 8, 3.0F, 9);
  const std::string plain = "a'b [V] 0+0.5[s]: 1 2";
  const std::string note = "| no step in the file: x is the number of the value, of 'c'";
  const Made scaled = Made()
                          .Put(1U)
                          .Text("/'g'/'c'")
                          .Put(20U, 3U, 1U, std::uint64_t{2}, 4U)
                          .Text("NI_Number_Of_Scales")
                          .Put(7U, 1U)
                          .Text("NI_Scale[0]_Scale_Type")
                          .Put(0x20U)
                          .Text("Linear")
                          .Text("NI_Scale[0]_Linear_Slope")
                          .Put(0x0AU, 2.0)
                          .Text("NI_Scale[0]_Linear_Y_Intercept")
                          .Put(0x0AU, 0.5);
  Made daqmx = Made().Put(1U).Text("/'g'/'c'").Put(0x1269U);
  Made unfinished = Segment(kAll, two, Made(raw + "\x01"));
  unfinished.replace(12, 8, 8, '\xFF');
  const std::pair<Made, std::string> cases[] = {
      {Segment(kAll, two, raw), plain + "; c [V] 0+1[]: 7 8; " + note},
      {Segment(kAll, two, raw + raw) + Segment(8, {}, raw),
       plain + " 1 2 1 2; c [V] 0+1[]: 7 8 7 8 7 8; " + note},
      {Segment(kAll | 0x20, two, mixed), plain + " 3; c [V] 0+1[]: 7 8 9; " + note},
      {Segment(kAll, scaled, Made().Put(1, 2)), "c [] 0+1[]: 2.5 4.5; " + note},
      {unfinished, plain +
                       "; c [V] 0+1[]: 7 8; | the recording was not finished; what is there is "
                       "read" +
                       note},
      {Segment(kAll, two, raw + "\x01"),
       "cut short: raw data of 17 bytes are no "
       "whole number of chunks of 16"},
      {Segment(kAll, daqmx, raw), "channel 'c' holds DAQmx raw data, which are not read"},
      {Segment(kAll, Made().Put(0xFFFFFFFFU), raw),
       "cut short: the list of "
       "objects needs 4294967295 times 12 bytes, 0 "
       "are left"},
  };
  for (const auto& [file, shown] : cases) {
    EXPECT_THAT(Read(file), HasSubstr(shown));
  }
  ExpectHostileSafe(cases[0].first, 0);
  ExpectHostileSafe(cases[3].first, 0);
}

Made Npy(const std::string& descr, const std::string& shape, bool fortran, const Made& data) {
  const std::string head = "{'descr': " + descr +
                           ", 'fortran_order': " + (fortran ? "True" : "False") +
                           ", 'shape': " + shape + ", }\n";
  Made file("\x93NUMPY\x01");
  file.append(1, '\0').append(Made().Put(static_cast<std::uint16_t>(head.size())));
  file.append(head).append(data);
  return file;
}

TEST(Npy, ArraysAreReadByTheirHead) {
  SReadSettings step;
  step.dx = 0.5;
  const Made six = Made().Put(1.0F, 2.0F, 3.0F, 4.0F, 5.0F, 6.0F);
  const std::pair<Made, std::string> cases[] = {
      {Npy("'<f4'", "(1, 6)", false, six), "f [] 0+0.5[]: 1 2 3 4 5 6; "},
      {Npy("'<f4'", "(3, 2)", false, six), "f 1 [] 0+0.5[]: 1 3 5; f 2 [] 0+0.5[]: 2 4 6; "},
      {Npy("'<f4'", "(3, 2)", true, six), "f 1 [] 0+0.5[]: 1 2 3; f 2 [] 0+0.5[]: 4 5 6; "},
      {Npy("'>i2'", "(2,)", false, {"\x01\x02\xFF\xFF"}), "f [] 0+0.5[]: 258 -1; "},
      {Npy("'<f2'", "(3,)", false, {"\x01\x3C\x01\x80\xFF\xFB"}),
       "f [] 0+0.5[]: 1.00098 -5.96046e-08 -65504; "},
      {Npy("'<c8'", "(2,)", false, Made().Put(3.0F, 4.0F, 6.0F, 8.0F)),
       "f [] 0+0.5[]: 5 10; | complex values are read as their magnitude"},
      {Npy("[('t', '<f4'), ('a', '<f4')]", "(3,)", false, six),
       "a [] 0+0.5[s]: 2 4 6; "
       "| x is in s, as the name t says| --dx is taken instead of what the file says"},
      {Npy("'|O'", "(2,)", false, six),
       "f: NPY: holds no array of numbers; left out, as they hold Python objects, which are never "
       "unpickled: 'f'"},
      {Npy("'<f8'", "(4294967296, 4294967296)", false, six),
       "cut short: the array needs 18446744073709551615 times 8 bytes, 24 are "
       "left"},
      {Npy("'<f4", "(6,)", false, six), "the head of an array is malformed at 'fortran_order"},
  };
  for (const auto& [file, shown] : cases) {
    EXPECT_THAT(Read(file, step), HasSubstr(shown));
  }
  EXPECT_THAT(Read(cases[0].first), HasSubstr("give the step by --dx, or the channel by --x"));
  ExpectHostileSafe(cases[1].first, 0);
}

/// Blocks of an MDF file; the places of blocks are known as each is a multiple of 8 long.
class Mdf : public Made {
 public:
  Mdf() : Made("MDF     4.10    program ") { Put(0U, std::uint16_t{410}); }

  /// Returns the place of the block.
  std::uint64_t Block(const char* id, const std::vector<std::uint64_t>& links, Made data) {
    resize((std::max<std::size_t>(size(), 64) + 7) / 8 * 8);
    const std::uint64_t place = size();
    append("##").append(id).append(4, '\0');
    Put(std::uint64_t{24 + 8 * links.size() + data.size()}, std::uint64_t{links.size()});
    for (const std::uint64_t link : links) {
      Put(link);
    }
    append(data);
    return place;
  }
  std::uint64_t Channel(std::uint64_t next, const char* name, const char* unit, std::uint64_t rule,
                        std::uint8_t type, std::uint8_t dataType, std::uint8_t bit,
                        std::uint32_t byte, std::uint32_t bits) {
    const std::uint64_t nameAt = Block("TX", {}, {name});
    const std::uint64_t unitAt = Block("MD", {}, {std::string("<CNunit><TX>") + unit + "</TX>"});
    return Block("CN", {next, 0, nameAt, 0, rule, 0, unitAt, 0},
                 Made().Put(type, std::uint8_t{1}, dataType, bit, byte, bits, 0U, 0U, 0U) +
                     std::string(48, '\0'));
  }
  std::uint64_t Rule(std::uint8_t type, const std::vector<double>& values) {
    Made data = Made().Put(type, std::uint8_t{0}, std::uint16_t{0}, std::uint16_t{0},
                           static_cast<std::uint16_t>(values.size()), 0.0, 0.0);
    for (const double v : values) {
      data.Put(v);
    }
    return Block("CC", {0, 0, 0, 0}, data);
  }
};

/// Records of time, an integer of 16 bits, and three bits of it.
std::string MdfFile(std::uint8_t ruleType, const std::vector<double>& rule,
                    const std::function<std::uint64_t(Mdf&, const Made&)>& data,
                    std::uint64_t records = 3, std::uint64_t kinds = 1) {
  Mdf file;
  const Made bytes =
      Made().Put(1.0F, std::int16_t{5}, 1.5F, std::int16_t{-2}, 2.0F, std::int16_t{16});
  file.Block("HD", {0, 0, 0, 0, 0, 0}, {std::string(32, '\0')});
  const std::uint64_t ccAt = ruleType == 0 ? 0 : file.Rule(ruleType, rule);
  const std::uint64_t bitsAt = file.Channel(0, "bits\\CAN", "", 0, 0, 0, 1, 4, 3);
  const std::uint64_t valueAt = file.Channel(bitsAt, "value", "m &lt;", ccAt, 0, 2, 0, 4, 16);
  const std::uint64_t timeAt = file.Channel(valueAt, "t", "", 0, 2, 4, 0, 0, 32);
  const Made counts = Made().Put(std::uint64_t{0}, records, 0U, 0U, 6U, 0U);
  std::uint64_t kindAt = 0;
  for (; kinds > 0; --kinds) {
    kindAt = file.Block("CG", {kindAt, timeAt, 0, 0, 0, 0}, counts);
  }
  const std::uint64_t dataAt = data(file, bytes);
  const std::uint64_t groupAt =
      file.Block("DG", {0, kindAt, dataAt, 0}, Made().Put(std::uint64_t{0}));
  file.replace(64 + 24, 8, Made().Put(groupAt));
  return file;
}

std::uint64_t Zipped(Mdf& file, const Made& bytes, std::uint8_t method, std::uint32_t columns,
                     std::uint64_t stated) {
  std::string packed(200, '\0');
  uLongf size = packed.size();
  EXPECT_EQ(compress(reinterpret_cast<Bytef*>(packed.data()), &size,
                     reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()),
            Z_OK);
  packed.resize(size);
  return file.Block(
      "DZ", {},
      Made("DT").Put(method, std::uint8_t{0}, columns, stated, std::uint64_t{size}) + packed);
}

TEST(MdfFiles, SortedGroupsAreReadFromBlocksOfAllKinds) {
  const auto plain = [](Mdf& file, const Made& bytes) { return file.Block("DT", {}, bytes); };
  const auto list = [](Mdf& file, const Made& bytes) {
    const std::uint64_t first = file.Block("DT", {}, {bytes.substr(0, 7)});
    const std::uint64_t second = Zipped(file, bytes.substr(7), 0, 0, bytes.size() - 7);
    const Made counts = Made().Put(0U, 1U, std::uint64_t{0});
    const std::uint64_t end = file.Block("DL", {0, second}, counts);
    return file.Block("HL", {file.Block("DL", {end, first}, counts)}, {"12345678"});
  };
  const auto transposed = [](Mdf& file, const Made& bytes) {
    Made turned;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      turned += bytes[i % 3 * 6 + i / 3];
    }
    return Zipped(file, turned, 1, 6, bytes.size());
  };
  const auto bomb = [](Mdf& file, const Made& bytes) {
    return Zipped(file, bytes, 0, 0, std::uint64_t{1} << 40);
  };
  const auto circle = [](Mdf& file, const Made&) {
    const std::uint64_t place = (file.size() + 7) / 8 * 8;
    return file.Block("DL", {place}, Made().Put(0U, 0U));
  };
  const std::string bits = "bits [] 1+0.5[s]: 2 7 0; ";
  const auto read = [&](const char* values) {
    return "value [m <] 1+0.5[s]: " + std::string(values) + "; " + bits;
  };
  const std::pair<std::string, std::string> cases[] = {
      {MdfFile(0, {}, plain), read("5 -2 16")},
      {MdfFile(0, {}, list), read("5 -2 16")},
      {MdfFile(0, {}, transposed), read("5 -2 16")},
      {MdfFile(1, {0.5, 2.0}, plain), read("10.5 -3.5 32.5")},
      {MdfFile(2, {0, 2, 0, 0, 0, 4}, plain), read("2.5 -1 8")},
      {MdfFile(4, {0, 1, 10, 3}, plain), read("2 1 3")},
      {MdfFile(5, {0, 1, 10, 3}, plain), read("1 1 3")},
      {MdfFile(6, {0, 5, 7, 6, 20, 8, -1}, plain), read("7 -1 8")},
      {MdfFile(7, {}, plain), bits + "| left out, as a rule makes texts of their values: 'value'"},
      {MdfFile(0, {}, plain, 4), "4 records of 6 bytes are stated, the data blocks hold 18 bytes"},
      {MdfFile(0, {}, plain, UINT64_MAX), "cut short: 18446744073709551615 records"},
      {MdfFile(0, {}, plain, 3, 2), "unsorted: records of 2 groups lie among each other"},
      {MdfFile(0, {}, bomb), "zipped data cannot expand to what is stated"},
      {MdfFile(0, {}, circle), "lists lead in a circle, to a block for a second time"},
      {Mdf().replace(28, 2, "\x40\x01").append(64, ' '), "version 4.10; only version 4 is read"},
  };
  for (const auto& [file, shown] : cases) {
    EXPECT_THAT(Read(file), HasSubstr(shown));
  }
  ExpectHostileSafe(cases[1].first, 0);
  ExpectHostileSafe(cases[2].first, 0);
  ExpectHostileSafe(cases[5].first, 0);
}

}  // namespace
}  // namespace limes::recordings

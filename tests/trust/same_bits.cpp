// Prints a hash of the results of every operation and kernel, one per line. All builds on all
// processors print the same lines.
// usage: same_bits [FILE]               prints where they differ from those in the file, and
// returns
//                                       1 when they do
//        same_bits --write|--read FILE  writes one record of every kind, or reads what another
//                                       processor wrote and compares with what it reads of its own
#include <bit>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>

#include "limes/learning/common_modes.h"
#include "limes/platform/record_io.h"
#include "tests/support/reduction_cases.h"
#include "tests/trust/operations.h"

namespace limes::test {
namespace {

std::string Line(const std::string& name, const Sink& sink) {
  char hash[17];
  std::snprintf(hash, sizeof(hash), "%016llx", static_cast<unsigned long long>(sink.Hash()));
  return std::string(hash) + " " + name;
}

/// Puts the bytes or shorts that a kernel sees in floats into the order that little-endian
/// processors have them in, or back.
void OrderParts(std::span<float> values, std::string_view name, std::string_view of) {
  const auto sees = [&](std::string_view part) {
    return std::endian::native == std::endian::big &&
           name.find(std::string(part).append("(").append(of).append(")")) != name.npos;
  };
  const bool bytes = sees("Bytes");
  if (!bytes && !sees("Shorts")) {
    return;
  }
  for (float& value : values) {
    const std::uint32_t halves = std::rotl(std::bit_cast<std::uint32_t>(value), 16);
    const std::uint32_t swapped = (halves & 0x00FF00FFU) << 8 | (halves >> 8 & 0x00FF00FFU);
    const std::uint32_t word = bytes ? swapped : halves;
    std::memcpy(&value, &word, sizeof(value));
  }
}

/// Kernels on blocks of all kinds of values, next to each other and with gaps.
void Kernels(std::map<std::string, Sink>& sinks, const std::vector<KernelCase>& cases) {
  std::mt19937 random(12);
  for (const int kind : {0, 1, 2}) {
    const std::vector<float> values = RandomFloats(random, 4096, kind);
    for (const KernelCase& c : cases) {
      for (const std::uint32_t inc : {1U, 3U}) {
        for (const std::uint32_t n : {1U, 7U, 64U, 333U}) {
          std::vector<float> block = values;
          const auto order = [&] {
            OrderParts(std::span(block).first(2048), c.name, "d");
            OrderParts(std::span(block).last(2048), c.name, "s");
          };
          order();
          c.fast({block.data(), inc, block.data() + 2048, inc, n});
          order();
          sinks[c.name] << block;
        }
      }
    }
  }
}

/// What modes learn and tell of parts with gaps, more than there are rows, to the last bit.
void Modes(std::map<std::string, Sink>& sinks) {
  for (const bool whole : {false, true}) {
    std::mt19937 random(3);
    const auto draw = [&random] { return 1e-3 * static_cast<double>(random() % 1000); };
    CCommonModes modes(6, CExpAverFacGenerator::kNoForgetting, whole);
    SModesOfPart told;
    Sink& sink = sinks[whole ? "modes and the whole" : "modes"];
    for (int i = 0; i < 170; ++i) {
      std::vector<double> part(205);
      const double amounts[] = {draw(), draw()};
      for (std::size_t j = 0; j < part.size(); ++j) {
        part[j] = amounts[j % 2] * static_cast<double>(j) + draw();
      }
      part[7] = i % 9 == 8 ? std::nan("") : part[7];
      sink << modes.Explain(part, told) << modes.Learn(part)
           << std::bit_cast<std::uint64_t>(told.whole);
      for (const std::vector<double>& row : {told.amounts, told.expected, told.spread}) {
        for (const double value : row) {
          sink << std::bit_cast<std::uint64_t>(value);
        }
      }
    }
    sink << modes;
  }
}

std::vector<std::string> AllLines() {
  std::vector<std::string> lines;
  for (const Operation& operation : AllOperations()) {
    const Outcome outcome = operation.run([](bool) {});
    lines.push_back(Line(operation.name, Sink() << outcome.ok << outcome.after << outcome.results));
  }
  std::map<std::string, Sink> sinks;
  for (const auto& cases : {ElementCases(), ReductionCases(), ApartCases()}) {
    Kernels(sinks, cases);
  }
  for (const auto& [name, sink] : sinks) {
    lines.push_back(Line("kernel " + name, sink));
  }
  std::map<std::string, Sink> modes;
  Modes(modes);
  for (const auto& [name, sink] : modes) {
    lines.push_back(Line(name, sink));
  }
  return lines;
}

/// Every record there is, each behind its length.
std::vector<std::uint8_t> Records() {
  CMemoryStream all;
  for (const Operation& operation : AllOperations()) {
    if (operation.write) {
      CMemoryStream file;
      const bool written = operation.write(file);
      detail::RecordWriter record;
      record.Put(static_cast<std::uint32_t>(written ? file.Bytes().size() : 0));
      record.PutArray(file.Bytes());
      record.WriteTo(all);
    }
  }
  return {all.Bytes().begin(), all.Bytes().end()};
}

/// How many records are not read as those of this processor.
int CompareRead(CFileStream& theirs) {
  CMemoryStream mine(Records());
  const auto next = [](CFileStream& file) {
    detail::RecordReader in(file);
    std::uint32_t size = 0;
    std::vector<std::uint8_t> bytes;
    const bool whole = in.Get(size) && size > 0 && in.GetArray(bytes, size);
    return whole ? bytes : std::vector<std::uint8_t>();
  };
  int differ = 0;
  for (const Operation& operation : AllOperations()) {
    if (operation.read) {
      CMemoryStream other(next(theirs));
      CMemoryStream own(next(mine));
      const Outcome a = operation.read(other, [](bool) {});
      const Outcome b = operation.read(own, [](bool) {});
      if (!a.ok || !b.ok || a.after != b.after) {
        std::cout << operation.name << " is read in another way\n";
        ++differ;
      }
    }
  }
  return differ;
}

}  // namespace
}  // namespace limes::test

int main(int argc, char** argv) {
  const std::string mode = argc > 2 ? argv[1] : "";
  if (mode == "--write") {
    const std::vector<std::uint8_t> bytes = limes::test::Records();
    std::ofstream file(argv[2], std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    return file.flush() ? 0 : 1;
  }
  if (mode == "--read") {
    limes::CDiskStream file(argv[2], limes::CDiskStream::Mode::kRead);
    return limes::test::CompareRead(file) == 0 ? 0 : 1;
  }
  const std::vector<std::string> lines = limes::test::AllLines();
  std::ifstream golden(argc > 1 ? argv[1] : "");
  int differ = 0;
  std::string other;
  for (const std::string& line : lines) {
    if (argc < 2) {
      std::cout << line << '\n';
    } else if (!std::getline(golden, other) || other != line) {
      std::cout << line << " but expected " << other << '\n';
      ++differ;
    }
  }
  differ += argc > 1 && std::getline(golden, other) ? 1 : 0;
  return differ == 0 ? 0 : 1;
}

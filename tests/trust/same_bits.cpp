// Prints a hash of the results of every operation and kernel, one per line. All builds on all
// processors print the same lines. usage: same_bits [FILE]: prints where they differ from those in
// the file, and returns 1 when they do.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>

#include "limes/learning/common_modes.h"
#include "tests/support/reduction_cases.h"
#include "tests/trust/operations.h"

namespace limes::test {
namespace {

std::string Line(const std::string& name, const Sink& sink) {
  char hash[17];
  std::snprintf(hash, sizeof(hash), "%016llx", static_cast<unsigned long long>(sink.Hash()));
  return std::string(hash) + " " + name;
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
          c.fast({block.data(), inc, block.data() + 2048, inc, n});
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

}  // namespace
}  // namespace limes::test

int main(int argc, char** argv) {
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

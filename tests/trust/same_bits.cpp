// Prints a hash of the results of every operation and kernel, one per line. All builds on all
// processors print the same lines. usage: same_bits [FILE]: prints where they differ from those in
// the file, and returns 1 when they do.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>

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

#include <filesystem>
#include <ostream>
#include <string>
#include <system_error>
#include <vector>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/demo_files.h"
#include "apps/limes/commands/simulated_bench.h"
#include "apps/limes/errors.h"

namespace limes::host {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kSeed = 20240229;
constexpr int kLearnt = 60;
constexpr int kGood = 20;
constexpr int kBad = 10;

/// Nothing of an earlier demo, or of somebody else, is replaced unasked.
void RefuseReplacing(const std::string& path) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(path, error)) {
    const std::string name = entry.path().filename().string();
    const bool sound =
        name.ends_with(".wav") &&
        (name.starts_with("learn_") || name.starts_with("good_") || name.starts_with("bad_"));
    if (sound || name.starts_with("bench.limes") || name == "report.html") {
      throw CUsageError(entry.path().string() +
                        ": is there already; name another folder, or replace it with --force");
    }
  }
}

std::string Numbered(const char* name, int number) {
  const std::string digits = std::to_string(number);
  return std::string(name) + "_" + std::string(digits.size() < 2 ? 1 : 0, '0') + digits + ".wav";
}

}  // namespace

int RunDemo(const SOptions& options, SConsole& console) {
  if (options.live) {
    return RunLiveDemo(options, console);
  }
  const CDemoFolder folder(options.demoFolder);
  if (!options.force) {
    RefuseReplacing(folder.File(""));
  }
  CSimulatedBench bench(kSeed);
  std::vector<std::string> learn;
  std::vector<std::string> test;
  for (int i = 1; i <= kLearnt; ++i) {
    learn.push_back(folder.File(Numbered("learn", i)));
    WriteDemoSound(learn.back(), bench.Measure(Fault::kNone));
  }
  for (int i = 1; i <= kGood; ++i) {
    test.push_back(folder.File(Numbered("good", i)));
    WriteDemoSound(test.back(), bench.Measure(Fault::kNone));
  }
  constexpr Fault kFaults[] = {Fault::kToothDamage, Fault::kBearing, Fault::kWrongMounting};
  for (int i = 1; i <= kBad; ++i) {
    const Fault fault = kFaults[(i - 1) % 3];
    test.push_back(folder.File(Numbered((std::string("bad_") + FaultText(fault)).c_str(), i)));
    WriteDemoSound(test.back(), bench.Measure(fault));
  }
  const std::string store = folder.File("bench.limes");
  for (const char* ending : {"", "-wal", "-shm"}) {
    std::error_code error;
    fs::remove(store + ending, error);  // of an earlier demo in the same folder
  }
  console.out << "A simulated gearbox bench: " << kLearnt << " good parts to learn from, then "
              << kGood << " good and " << kBad << " bad ones to judge.\n"
              << "Acceleration of 1 s each, judged by its level spectrum; limit = mean + 3 * "
                 "spread + 3 dB.\n";
  RunDemoCommand(console,
                 {"learn", store, "--name", "acceleration", "--unit", "m/s²", "--ref", "1e-6",
                  "--spectrum", "1024", "--base", "3"},
                 learn, " learn_*.wav");
  RunDemoCommand(console, {"show", store}, {}, "");
  std::vector<std::string> judge = {"test", store};
  if (!options.demoFolder.empty()) {
    judge.insert(judge.end(), {"--report", folder.File("report.html")});
    if (options.force) {
      judge.push_back("--force");
    }
  }
  RunDemoCommand(console, judge, test, " good_*.wav bad_*.wav");
  if (!options.demoFolder.empty()) {
    console.out << "\nOpen " << folder.File("report.html") << " in a browser.\n";
  }
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host

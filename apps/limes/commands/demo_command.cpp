#include <sndfile.h>

#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <string>
#include <system_error>
#include <vector>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/simulated_bench.h"
#include "apps/limes/errors.h"

namespace limes::host {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kSeed = 20240229;
constexpr int kLearnt = 60;
constexpr int kGood = 20;
constexpr int kBad = 10;

/// The demo's folder; a temporary one goes at the end.
class CFolder {
 public:
  explicit CFolder(const std::string& wanted) : path_(wanted), temporary_(wanted.empty()) {
    std::error_code error;
    if (temporary_) {
      std::string pattern = (fs::temp_directory_path(error) / "limes-demo-XXXXXX").string();
      if (mkdtemp(pattern.data()) == nullptr) {
        throw CStoreError("no temporary folder could be made");
      }
      path_ = pattern;
    } else if (fs::create_directories(path_, error); error) {
      throw CStoreError(wanted + ": " + error.message());
    }
  }
  ~CFolder() {
    std::error_code error;
    if (temporary_) {
      fs::remove_all(path_, error);
    }
  }
  CFolder(const CFolder&) = delete;
  CFolder& operator=(const CFolder&) = delete;

  std::string File(const std::string& name) const { return (path_ / name).string(); }

 private:
  fs::path path_;
  bool temporary_;
};

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

void WriteSound(const std::string& path, const std::vector<float>& signal) {
  SF_INFO info{};
  info.samplerate = CSimulatedBench::kSamplingRate;
  info.channels = 1;
  info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
  SNDFILE* sound = sf_open(path.c_str(), SFM_WRITE, &info);
  const auto n = static_cast<sf_count_t>(signal.size());
  const bool written = sound != nullptr && sf_writef_float(sound, signal.data(), n) == n;
  if (sound == nullptr || sf_close(sound) != 0 || !written) {
    throw CStoreError(path + ": cannot be written");
  }
}

std::string Numbered(const char* name, int number) {
  const std::string digits = std::to_string(number);
  return std::string(name) + "_" + std::string(digits.size() < 2 ? 1 : 0, '0') + digits + ".wav";
}

/// A command line as a user would type it, shown and run.
void RunCommand(SConsole& console, const std::vector<std::string>& options,
                const std::vector<std::string>& files, const std::string& shownFiles) {
  console.out << "\n$ limes";
  for (const std::string& word : options) {
    console.out << ' ' << word;
  }
  console.out << shownFiles << "\n\n";
  std::vector<std::string> arguments = options;
  arguments.insert(arguments.end(), files.begin(), files.end());
  const int code = RunHost(arguments, console);
  if (code > static_cast<int>(ExitCode::kNotGood)) {
    throw CHostError(static_cast<ExitCode>(code), "the demo failed");
  }
}

}  // namespace

int RunDemo(const SOptions& options, SConsole& console) {
  const CFolder folder(options.demoFolder);
  if (!options.force) {
    RefuseReplacing(folder.File(""));
  }
  CSimulatedBench bench(kSeed);
  std::vector<std::string> learn;
  std::vector<std::string> test;
  for (int i = 1; i <= kLearnt; ++i) {
    learn.push_back(folder.File(Numbered("learn", i)));
    WriteSound(learn.back(), bench.Measure(Fault::kNone));
  }
  for (int i = 1; i <= kGood; ++i) {
    test.push_back(folder.File(Numbered("good", i)));
    WriteSound(test.back(), bench.Measure(Fault::kNone));
  }
  constexpr Fault kFaults[] = {Fault::kToothDamage, Fault::kBearing, Fault::kWrongMounting};
  for (int i = 1; i <= kBad; ++i) {
    const Fault fault = kFaults[(i - 1) % 3];
    test.push_back(folder.File(Numbered((std::string("bad_") + FaultText(fault)).c_str(), i)));
    WriteSound(test.back(), bench.Measure(fault));
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
  RunCommand(console,
             {"learn", store, "--name", "acceleration", "--unit", "m/s²", "--ref", "1e-6",
              "--spectrum", "1024", "--base", "3"},
             learn, " learn_*.wav");
  RunCommand(console, {"show", store}, {}, "");
  std::vector<std::string> judge = {"test", store};
  if (!options.demoFolder.empty()) {
    judge.insert(judge.end(), {"--report", folder.File("report.html")});
    if (options.force) {
      judge.push_back("--force");
    }
  }
  RunCommand(console, judge, test, " good_*.wav bad_*.wav");
  if (!options.demoFolder.empty()) {
    console.out << "\nOpen " << folder.File("report.html") << " in a browser.\n";
  }
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host

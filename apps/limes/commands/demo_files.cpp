#include "apps/limes/commands/demo_files.h"

#include <sndfile.h>

#include <cstdlib>
#include <ostream>
#include <system_error>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/simulated_bench.h"
#include "apps/limes/errors.h"

namespace limes::host {

namespace fs = std::filesystem;

CDemoFolder::CDemoFolder(const std::string& wanted) : path_(wanted), temporary_(wanted.empty()) {
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

CDemoFolder::~CDemoFolder() {
  std::error_code error;
  if (temporary_) {
    fs::remove_all(path_, error);
  }
}

void WriteDemoSound(const std::string& path, const std::vector<float>& signal) {
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

void RunDemoCommand(SConsole& console, const std::vector<std::string>& options,
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

}  // namespace limes::host

#include <chrono>
#include <filesystem>
#include <ostream>
#include <sstream>
#include <thread>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/demo_files.h"
#include "apps/limes/commands/ending.h"
#include "apps/limes/commands/simulated_bench.h"
#include "apps/limes/errors.h"

namespace limes::host {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

constexpr std::uint32_t kSeed = 20240229;
constexpr int kLearnt = 60;

/// The bench: parts come in, a tooth breaks, bearings wear, a part is held back and accepted.
class CLiveBench {
 public:
  CLiveBench(const CDemoFolder& folder, CSimulatedBench& bench)
      : folder_(folder), bench_(bench), thread_([this] { Run(); }) {}
  ~CLiveBench() {
    CEnding::Want();
    thread_.join();
  }
  CLiveBench(const CLiveBench&) = delete;
  CLiveBench& operator=(const CLiveBench&) = delete;

 private:
  static constexpr milliseconds kPause{400};

  void Run() {
    CEnding::Pause(milliseconds(1500));  // until the page is served
    Parts(10, Fault::kNone);
    Parts(1, Fault::kToothDamage);
    Parts(4, Fault::kNone);
    for (int i = 1; i <= 30; ++i) {
      bench_.SetWear(0.12 * i);
      Parts(1, Fault::kNone);
    }
    bench_.SetWear(0.0);
    Parts(1, Fault::kBearing);
    HoldBack();
    Parts(10, Fault::kNone);
    Decide();
    for (int i = 1; !CEnding::IsWanted(); ++i) {
      Parts(1, i % 25 == 0 ? Fault::kWrongMounting : Fault::kNone);
    }
  }

  /// Each is written under another name and renamed when it is whole.
  void Parts(int count, Fault fault) {
    for (int i = 0; i < count && !CEnding::IsWanted(); ++i) {
      std::string number = std::to_string(++number_);
      number.insert(0, 4 - std::min<std::size_t>(4, number.size()), '0');
      const std::string name = "gear_" + number + ".wav";
      const std::string path = folder_.File("incoming/" + name);
      WriteDemoSound(folder_.File("." + name), bench_.Measure(fault));
      std::error_code error;
      fs::rename(folder_.File("." + name), path, error);
      CEnding::Pause(kPause);
      fs::remove(judged_, error);  // else a demo that runs for days fills the disk
      judged_ = before_;
      before_ = path;
    }
  }

  void HoldBack() {
    bench_.SetWear(9.0);
    odd_ = folder_.File("gear_of_new_supplier.wav");
    WriteDemoSound(odd_, bench_.Measure(Fault::kNone));
    bench_.SetWear(0.0);
    Quietly({"learn", folder_.File("bench.limes"), odd_, "--guard"});
  }

  void Decide() {
    Quietly({"accept", folder_.File("bench.limes"), odd_, "--because",
             "bearings of a new supplier, looked at"});
  }

  void Quietly(const std::vector<std::string>& words) {
    if (!CEnding::IsWanted()) {
      std::ostringstream out;
      SConsole console{out, out};
      RunHost(words, console);
    }
  }

  const CDemoFolder& folder_;
  CSimulatedBench& bench_;
  int number_ = 0;
  std::string before_;  ///< parts that came earlier; the oldest is judged for sure
  std::string judged_;
  std::string odd_;
  std::thread thread_;
};

}  // namespace

int RunLiveDemo(const SOptions& options, SConsole& console) {
  const CDemoFolder folder(options.demoFolder);
  const std::string store = folder.File("bench.limes");
  std::error_code error;
  if (fs::exists(store, error)) {
    throw CUsageError(store + ": is there already; name another folder");
  }
  fs::create_directories(folder.File("incoming"), error);
  CSimulatedBench bench(kSeed);
  std::vector<std::string> learn;
  for (int i = 1; i <= kLearnt; ++i) {
    learn.push_back(folder.File("learn_" + std::to_string(i) + ".wav"));
    WriteDemoSound(learn.back(), bench.Measure(Fault::kNone));
  }
  console.out << "A simulated gearbox bench: " << kLearnt
              << " good parts are learnt, then parts come in until Ctrl-C.\n";
  RunDemoCommand(console,
                 {"learn", store, "--name", "acceleration", "--unit", "m/s²", "--ref", "1e-6",
                  "--spectrum", "1024", "--base", "3", "--factor", "3", "--guard"},
                 learn, " learn_*.wav");
  SOptions serve = options;
  serve.store = store;
  serve.watch.folder = folder.File("incoming");
  serve.serve.allowsActions = true;
  console.out << "\n$ limes serve " << store << " --watch " << serve.watch.folder
              << " --allow-actions\n\n";
  const CEnding ending;
  const CLiveBench live(folder, bench);
  return RunServe(serve, console);
}

}  // namespace limes::host

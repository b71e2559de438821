#include <unistd.h>

#include <array>
#include <filesystem>
#include <ostream>

#include "apps/limes/commands/commands.h"
#include "apps/limes/errors.h"
#include "apps/limes/plant/plant_writer.h"
#include "apps/limes/store/store.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

/// The name of a bench that is given none: two of the same name are told apart when they are
/// pushed.
std::string NameOf(const std::string& store) {
  std::array<char, 256> host{};
  gethostname(host.data(), host.size() - 1);
  return std::string(host.data()) + "/" + std::filesystem::path(store).stem().string();
}

}  // namespace

int RunPush(const SOptions& options, SConsole& console) {
  CStore store(options.store, CStore::Mode::kReading);
  if (!store.Settings().value_or(SSettings()).variant.empty()) {
    throw CUsageError(options.store + ": the database has no place for variants yet");
  }
  const std::string bench =
      options.benches.empty() ? NameOf(options.store) : options.benches.front();
  CPlantConnection plant(options.plant);
  const SPushed pushed = CPlantWriter(plant, bench).Push(store, options.anew);
  console.out << "bench " << Escaped(bench) << ": " << pushed.learnt
              << (pushed.learnt == 1 ? " part" : " parts") << " learnt, " << pushed.judged
              << " more judged\n";
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host

#include <ostream>
#include <sstream>

#include "apps/limes/bench/bench.h"
#include "apps/limes/bench/bench_service.h"
#include "apps/limes/bench/mqtt_publisher.h"
#include "apps/limes/commands/bench_hooks.h"
#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/ending.h"
#include "apps/limes/commands/guarded_learning.h"
#include "apps/limes/errors.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

/// What a person wishes is what the command of that name does.
std::string Decide(const std::string& store, const SHeldAction& action) {
  SOptions options;
  options.store = store;
  options.files = {action.part};
  options.reason = action.reason;
  std::ostringstream out;
  std::ostringstream err;
  SConsole console{out, err};
  action.accepts ? RunAccept(options, console) : RunForget(options, console);
  return out.str();
}

std::vector<CBenchState::SHeld> HeldList(const std::vector<SHeldPart>& parts) {
  std::vector<CBenchState::SHeld> list;
  for (const SHeldName& held : HeldNames(parts)) {
    list.push_back({held.name, HeldText(held)});
  }
  return list;
}

}  // namespace

int RunServe(const SOptions& options, SConsole& console) {
  CBenchState state(options.store, options.serve.allowsActions, options.serve.shifts);
  CBench bench(options.store, options.settings, state, HeldList);
  CBenchLearning learning(options.store, console);
  std::unique_ptr<CPublisher> publisher;
  if (!options.watch.folder.empty()) {
    CheckFolders(options.watch);
    if (!options.mqtt.broker.empty()) {
      publisher = MakeMqttPublisher(options.mqtt);
    }
    SWatchSettings watch = options.watch;
    watch.variant = options.variant;
    watch.batch = std::chrono::milliseconds(5);  // who sends parts waits meanwhile
    bench.Watch(watch,
                HooksOf(
                    learning, [&bench] { return *bench.Settings(); }, console),
                publisher.get());
  }
  const CEnding ending;
  SServeSettings serve = options.serve;
  serve.variant = options.variant;
  const auto service =
      MakeBenchService(serve, bench, state, options.store,
                       [&](const SHeldAction& action) { return Decide(options.store, action); });
  console.out << "the bench is served at " << Escaped(service->Url()) << std::endl;
  bench.Run([] { return CEnding::IsWanted(); },
            [&](const std::string& text) { Warn(console, text); });
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host

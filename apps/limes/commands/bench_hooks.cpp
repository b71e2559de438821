#include "apps/limes/commands/bench_hooks.h"

#include <filesystem>

#include "apps/limes/errors.h"

namespace limes::host {
namespace {

void RequireFolder(const std::string& folder) {
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error)) {
    throw CHostError(ExitCode::kStore, folder + ": there is no such folder");
  }
}

}  // namespace

void CheckFolders(const SWatchSettings& watch) {
  RequireFolder(watch.folder);
  std::error_code error;
  if (!watch.done.empty()) {
    RequireFolder(watch.done);
    if (std::filesystem::equivalent(watch.folder, watch.done, error)) {
      throw CUsageError("--done names the folder that is watched");
    }
  }
}

SWatchHooks HooksOf(CBenchLearning& learning, const std::function<SSettings()>& settings,
                    SConsole& console) {
  SWatchHooks hooks;
  hooks.report = [](const auto&, const auto&, const auto&) {};
  hooks.learn = [&learning, settings](const SPart& part) {
    learning.With(settings(), [&](CPartLearner& learner) { learner.Learn(part); });
  };
  hooks.learnt = [&learning, settings] {
    learning.With(settings(), [](CPartLearner& learner) { learner.Store(); });
  };
  hooks.tell = [&console](const std::string& text) { Warn(console, text); };
  return hooks;
}

}  // namespace limes::host

#include <chrono>
#include <ctime>
#include <ostream>

#include "apps/limes/bench/result_text.h"
#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/meant_variants.h"
#include "apps/limes/errors.h"
#include "apps/limes/store/store.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

/// Rows that go in one transaction, so that whoever judges meanwhile waits for a moment only.
constexpr std::int64_t kAtOnce = 10'000;

std::int64_t Prune(CStore& store, const SOptions& options, std::int64_t before, bool& hasRun) {
  std::int64_t gone = 0;
  for (std::int64_t now = kAtOnce; now == kAtOnce;) {
    const std::string variant = store.Chosen();
    store.Begin();
    store.Choose(variant);
    now = store.DropJudged(before, kAtOnce);
    if (now == 0) {
      store.Rollback();
      store.Choose(variant);
      break;
    }
    if (!hasRun) {
      store.SetReason(options.reason);
      store.AddRun("prune", store.Settings().value_or(SSettings()),
                   {"judged before " + TimeOf(before)});
      hasRun = true;
    }
    store.Commit();
    gone += now;
  }
  return gone;
}

}  // namespace

/// Judged parts go; what was learnt stays as it is.
int RunPrune(const SOptions& options, SConsole& console) {
  if (!options.older) {
    throw CUsageError("prune needs --older, such as 90d");
  }
  const auto now = std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::system_clock::now().time_since_epoch());
  const std::int64_t before = (now - *options.older).count();
  CStore store(options.store, CStore::Mode::kExisting);
  std::int64_t gone = 0;
  bool hasRun = false;
  if (options.variant.empty()) {
    gone = Prune(store, options, before, hasRun);  // of all variants, and of parts that are of none
  } else {
    ForEachVariant(store, options, [&](const SStoredVariant&) {
      hasRun = false;  // each has its line in the history
      gone += Prune(store, options, before, hasRun);
    });
  }
  if (gone > 0) {
    store.GiveSpaceBack();
  }
  console.out << "removed " << gone << (gone == 1 ? " judged part" : " judged parts")
              << ", judged before " << TimeOf(before) << "; what was learnt is as it was\n";
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host

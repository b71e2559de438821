#pragma once

#include <memory>
#include <string>

#include "apps/limes/bench/judging.h"
#include "apps/limes/bench/watching.h"
#include "apps/limes/commands/console.h"
#include "apps/limes/commands/part_learner.h"

namespace limes::host {

/// Throws CHostError when the folders of a watch are not there, or the same.
void CheckFolders(const SWatchSettings& watch);

/// Learns the parts that come, where it is wanted, by the present rule of the store.
class CBenchLearning {
 public:
  CBenchLearning(std::string store, SConsole& console)
      : store_(std::move(store)), console_(console) {}

  /// settings: of the store now. One that failed is given up with what it had not stored.
  template <class Use>
  void With(const SSettings& settings, Use use) {
    const std::string rule = SettingsToText(settings);
    if (!learner_ || rule != rule_) {
      learner_ = MakePartLearner(store_, true, console_);
      rule_ = rule;
    }
    try {
      use(*learner_);
    } catch (const CHostError&) {
      learner_.reset();
      throw;
    }
  }

 private:
  std::string store_;
  SConsole& console_;
  std::unique_ptr<CPartLearner> learner_;
  std::string rule_;  ///< that the learner was made for
};

/// Messages to the console, learning by learning; nothing is reported. All must outlive the hooks.
SWatchHooks HooksOf(CBenchLearning& learning, const std::function<SSettings()>& settings,
                    SConsole& console);

}  // namespace limes::host

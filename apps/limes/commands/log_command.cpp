#include <nlohmann/json.hpp>
#include <ostream>

#include "apps/limes/commands/commands.h"
#include "apps/limes/measurement/number_text.h"
#include "apps/limes/report/json_line.h"
#include "apps/limes/report/report_texts.h"
#include "apps/limes/store/store.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

using Json = nlohmann::ordered_json;

Json RuleOf(const std::string& text) {
  Json rule = Json::parse(text, nullptr, false);
  return rule.is_object() ? rule : Json(nullptr);
}

std::string ValueText(const Json& value) {
  return value.is_null()     ? "none"
         : value.is_number() ? Brief(value.get<double>())
         : value.is_string() ? value.get<std::string>()
                             : Dumped(value);
}

/// "base 3 → 4, reject none → 0.01"; empty when nothing changed, or nothing was there before.
std::string DifferenceText(const Json& before, const Json& after) {
  std::string text;
  const auto add = [&](const std::string& name, const Json& from, const Json& to) {
    if (from != to) {
      text += (text.empty() ? "" : ", ") + name + " " + ValueText(from) + " → " + ValueText(to);
    }
  };
  if (!before.is_object() || !after.is_object()) {
    return text;
  }
  for (const auto& [name, value] : before.items()) {
    add(name, value, after.contains(name) ? after[name] : Json(nullptr));
  }
  for (const auto& [name, value] : after.items()) {
    if (!before.contains(name)) {
      add(name, nullptr, value);
    }
  }
  return text;
}

void PrintJson(const SChange& change, SConsole& console) {
  PrintJsonLine(console.out, {{"run", change.run},
                              {"time", change.time},
                              {"command", change.command},
                              {"user", change.user},
                              {"host", change.host},
                              {"reason", change.reason},
                              {"parts", change.parts},
                              {"variant", change.variant},
                              {"learnt", change.learnt ? Json(*change.learnt) : Json(nullptr)},
                              {"before", RuleOf(change.before)},
                              {"after", RuleOf(change.after)}});
}

void PrintText(const SChange& change, SConsole& console) {
  constexpr std::size_t kMostNames = 3;
  std::string text = std::to_string(change.run) + "  " + TimeText(change.time) + "  " +
                     change.user + (change.host.empty() ? "" : "@" + change.host) + "  " +
                     change.command + (change.variant.empty() ? "" : " [" + change.variant + "]");
  for (std::size_t i = 0; i < std::min(change.parts.size(), kMostNames); ++i) {
    text += (i == 0 ? " " : ", ") + change.parts[i];
  }
  if (change.parts.size() > kMostNames) {
    text += " and " + std::to_string(change.parts.size() - kMostNames) + " more";
  }
  if (change.learnt) {
    text += ": " + std::to_string(*change.learnt) +
            (*change.learnt == 1 ? " part learnt" : " parts learnt");
  }
  if (const std::string rule = DifferenceText(RuleOf(change.before), RuleOf(change.after));
      !rule.empty()) {
    text += "; " + rule;
  }
  console.out << Escaped(text) << '\n';
  if (!change.reason.empty()) {
    console.out << "    because: " << Escaped(change.reason) << '\n';
  }
}

}  // namespace

int RunLog(const SOptions& options, SConsole& console) {
  CStore store(options.store, CStore::Mode::kReading);
  for (const SChange& change : store.ChangesMade()) {
    options.json ? PrintJson(change, console) : PrintText(change, console);
  }
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host

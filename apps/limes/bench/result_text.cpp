#include "apps/limes/bench/result_text.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>
#include <sstream>

#include "apps/limes/report/json_line.h"
#include "apps/limes/report/json_text.h"
#include "apps/limes/report/report.h"

namespace limes::host {

std::string TimeOf(std::int64_t milliseconds) {
  const std::time_t seconds = milliseconds / 1000;
  std::tm parts{};
  std::array<char, 40> text{};
  if (gmtime_r(&seconds, &parts) == nullptr) {
    return "";
  }
  const std::size_t size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(text.data() + size, text.size() - size, ".%03dZ",
                static_cast<int>(milliseconds % 1000));
  return text.data();
}

std::string VerdictLine(const SPartVerdict& verdict) {
  thread_local CJsonText json;
  std::ostringstream out;
  PrintVerdictJson(out, json, verdict);
  std::string line = out.str();
  line.pop_back();
  return line;
}

std::vector<std::string> ResultLines(const SArrival& arrival, const std::string& path,
                                     const std::vector<SPartVerdict>& verdicts, bool repeated) {
  std::vector<std::string> lines;
  const auto add = [&](std::string line, std::optional<std::int64_t> at) {
    nlohmann::ordered_json more = {{"file", arrival.name}};
    if (at) {
      more["time"] = TimeOf(*at);
    }
    if (repeated) {
      more["repeated"] = true;
    }
    line.back() = ',';  // both are objects
    lines.push_back(line + Dumped(more).substr(1));
  };
  for (const SPartVerdict& verdict : verdicts) {
    add(VerdictLine(verdict), verdict.at);
  }
  if (arrival.reason) {
    add(Dumped({{"part", path}, {"verdict", "not judged"}, {"reason", *arrival.reason}}),
        std::nullopt);
  }
  return lines;
}

std::vector<SPartVerdict> JudgedOf(CStore& store, const SArrival& arrival) {
  std::vector<SPartVerdict> verdicts;
  if (arrival.parts > 0) {
    store.ForEachJudged(arrival.part, arrival.part + arrival.parts - 1,
                        [&](const SPartVerdict& verdict) { verdicts.push_back(verdict); });
  }
  return verdicts;
}

}  // namespace limes::host

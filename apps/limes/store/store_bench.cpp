// What a store knows of who changed it, and of the files that came to a bench.
#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "apps/limes/store/store.h"
#include "apps/limes/store/store_schema.h"
#include "limes/version.h"

namespace limes::host {
namespace {

constexpr std::int64_t kBenchSince = 8;  ///< version of the tables

/// Who runs the program; behind sudo, who called that.
std::string UserName() {
  const uid_t user = getuid();
  const char* caller = user == 0 ? std::getenv("SUDO_USER") : nullptr;
  if (caller != nullptr && *caller != '\0') {
    return caller;
  }
  const passwd* known = getpwuid(user);
  return known != nullptr ? known->pw_name : std::to_string(user);
}

std::string HostName() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

/// The column that says whether a step was done.
const char* ColumnOf(CStore::Step step) {
  return step == CStore::Step::kReported    ? "reported"
         : step == CStore::Step::kPublished ? "published"
                                            : "learnt";
}

std::optional<std::int64_t> AsInt(const std::optional<bool>& done) {
  return done ? std::optional<std::int64_t>(*done ? 1 : 0) : std::nullopt;
}

std::optional<bool> AsBool(const std::optional<std::int64_t>& done) {
  return done ? std::optional(*done != 0) : std::nullopt;
}

}  // namespace

std::int64_t CStore::AddRun(const std::string& command, const SSettings& settings,
                            const std::vector<std::string>& parts) {
  const auto stored = replaced_ ? std::nullopt : Settings();
  const std::string before = replaced_.value_or(stored ? SettingsToText(*stored) : "");
  CStatement(database_->Handle(),
             "INSERT INTO run(command, program, settings, user, host, because, parts, before, "
             "variant) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?)")
      .Bind(command)
      .Bind(LIMES_VERSION_STRING)
      .Bind(SettingsToText(settings))
      .Bind(UserName())
      .Bind(HostName())
      .Bind(reason_)
      .Bind(nlohmann::json(parts).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace))
      .Bind(before)
      .Bind(chosenName_)
      .Run();
  const std::int64_t run = database_->LastRowId();
  replaced_.reset();                                // the next one may be of another variant
  bases_[run] = static_cast<float>(settings.base);  // as the limits have it
  return run;
}

std::vector<SChange> CStore::ChangesMade(bool all) {
  std::vector<SChange> result;
  CStatement list(
      database_->Handle(),
      std::string("SELECT id, started, command, program, ") + (version_ < 5 ? "''" : "settings") +
          (version_ < kBenchSince ? ", '', '', '', '', ''"
                                  : ", user, host, because, parts, before") +
          (version_ < 4                ? ", NULL"
           : version_ < kVariantsSince ? ", (SELECT max(learnt) FROM history WHERE run = run.id)"
                                       : ", (SELECT sum(parts) FROM (SELECT max(learnt) AS parts "
                                         "FROM history JOIN quantity ON quantity.id = quantity "
                                         "WHERE history.run = run.id GROUP BY variant))") +
          (version_ < kVariantsSince ? ", ''" : ", variant") + " FROM run" +
          (all ? "" : " WHERE command NOT IN ('test', 'watch', 'serve')") + " ORDER BY id");
  while (list.Step()) {
    SChange& change = result.emplace_back();
    change.run = list.Int(0);
    change.time = list.Text(1);
    change.command = list.Text(2);
    change.program = list.Text(3);
    change.after = list.Text(4);
    change.user = list.Text(5);
    change.host = list.Text(6);
    change.reason = list.Text(7);
    const auto parts = nlohmann::json::parse(list.Text(8), nullptr, false);
    for (const auto& part : parts.is_array() ? parts : nlohmann::json::array()) {
      change.parts.push_back(part.is_string() ? part.get<std::string>() : "");
    }
    change.before = list.Text(9);
    change.learnt = list.OptionalInt(10);
    change.variant = list.Text(11);
  }
  return result;
}

void CStore::AddArrival(SArrival& arrival) {
  CStatement(database_->Handle(),
             "INSERT INTO arrival(folder, name, bytes, changed, reason, part, parts, reported, "
             "published, learnt) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
      .Bind(arrival.folder)
      .Bind(arrival.name)
      .Bind(arrival.bytes)
      .Bind(arrival.changed)
      .Bind(arrival.reason)
      .Bind(arrival.part)
      .Bind(arrival.parts)
      .Bind(std::int64_t{arrival.reported ? 1 : 0})
      .Bind(AsInt(arrival.published))
      .Bind(AsInt(arrival.learnt))
      .Run();
  arrival.id = database_->LastRowId();
}

/// which: with the folder as its parameter.
std::vector<SArrival> CStore::ReadArrivals(const std::string& which, const std::string& folder) {
  std::vector<SArrival> result;
  CStatement list(database_->Handle(),
                  "SELECT id, folder, name, bytes, changed, reason, part, parts, reported, "
                  "published, learnt FROM arrival WHERE " +
                      which);
  list.Bind(folder);
  while (list.Step()) {
    result.push_back({list.Int(0), list.Text(1), list.Text(2), list.Int(3), list.Int(4),
                      list.OptionalText(5), list.Int(6), list.Int(7), list.Int(8) != 0,
                      AsBool(list.OptionalInt(9)), AsBool(list.OptionalInt(10))});
  }
  return result;
}

std::vector<SArrival> CStore::LatestArrivals(const std::string& folder) {
  return ReadArrivals("id IN (SELECT max(id) FROM arrival WHERE folder = ? GROUP BY name)", folder);
}

std::vector<SArrival> CStore::OpenArrivals(const std::string& folder, Step step,
                                           std::int64_t behind, std::int64_t most) {
  return ReadArrivals(std::string(ColumnOf(step)) + " = 0 AND folder = ? AND id > " +
                          std::to_string(behind) + " ORDER BY id LIMIT " + std::to_string(most),
                      folder);
}

bool CStore::IsKnown(const SArrival& arrival) {
  CStatement find(database_->Handle(),
                  "SELECT 1 FROM arrival WHERE folder = ? AND name = ? AND bytes = ? AND "
                  "changed = ?");
  return find.Bind(arrival.folder)
      .Bind(arrival.name)
      .Bind(arrival.bytes)
      .Bind(arrival.changed)
      .Step();
}

void CStore::SetDone(Step step, std::int64_t arrival) {
  CStatement(database_->Handle(),
             std::string("UPDATE arrival SET ") + ColumnOf(step) + " = 1 WHERE id = ?")
      .Bind(arrival)
      .Run();
}

}  // namespace limes::host

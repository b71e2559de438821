#include "apps/limes/store/last_change.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "apps/limes/errors.h"
#include "apps/limes/store/page_check.h"
#include "limes/platform/record_io.h"

namespace limes::host {
namespace {

constexpr std::size_t kIdentity = std::tuple_size_v<decltype(SChanges::identity)>;
constexpr std::size_t kCount = sizeof(std::int64_t);
using TNote = std::array<std::uint8_t, kIdentity + kCount + kCheckBytes>;

std::string NoteOf(const std::string& store) { return store + "-last"; }

std::optional<SChanges> StoredChanges(CDatabase& database) {
  CStatement statement(database.Handle(), "SELECT identity, changes FROM store");
  if (!statement.Step()) {
    return std::nullopt;
  }
  SChanges changes;
  const std::vector<std::uint8_t> identity = statement.Bytes(0);
  std::copy_n(identity.begin(), std::min(identity.size(), kIdentity), changes.identity.begin());
  changes.count = statement.Int(1);
  return changes;
}

}  // namespace

std::optional<SChanges> NotedChanges(const std::string& store) {
  TNote note{};
  std::ifstream in(NoteOf(store), std::ios::binary);
  if (!in.read(reinterpret_cast<char*>(note.data()), note.size()) || !CheckHolds(note, 0)) {
    return std::nullopt;
  }
  SChanges changes;
  std::copy_n(note.begin(), kIdentity, changes.identity.begin());
  changes.count = limes::detail::FromLittleEndian<std::int64_t>(note.data() + kIdentity);
  return changes;
}

void NoteChanges(const std::string& store, const SChanges& changes) {
  TNote note{};
  std::copy_n(changes.identity.begin(), kIdentity, note.begin());
  limes::detail::ToLittleEndian(changes.count, note.data() + kIdentity);
  PutCheck(note, 0);
  const std::string path = NoteOf(store);
  std::fstream out(path, std::ios::in | std::ios::out | std::ios::binary);  // written over in place
  if (!out) {
    out.open(path, std::ios::out | std::ios::binary);
    std::error_code error;  // whoever may write the store may write its note
    std::filesystem::permissions(path, std::filesystem::status(store, error).permissions(), error);
  }
  out.write(reinterpret_cast<const char*>(note.data()), note.size());
}

std::optional<SChanges> CountChange(CDatabase& database) {
  database.Execute("UPDATE store SET changes = changes + 1");
  return StoredChanges(database);
}

void CheckLastChange(CDatabase& database, const std::string& path,
                     const std::optional<SChanges>& noted) {
  const auto stored = noted ? StoredChanges(database) : std::nullopt;
  if (stored && stored->identity == noted->identity && stored->count < noted->count) {
    database.LeaveLog();
    const std::string missing = std::to_string(noted->count - stored->count);
    throw CStoreError(path + ": changes that were stored are missing (" + missing + "): " + path +
                      "-wal is damaged or lost, or an older copy was put in place of the store; " +
                      "remove " + path + "-last to go on without them");
  }
}

void RemoveNote(const std::string& store) {
  std::error_code error;
  if (!std::filesystem::exists(store + "-wal", error)) {
    std::filesystem::remove(NoteOf(store), error);
  }
}

}  // namespace limes::host

#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "apps/limes/store/database.h"

namespace limes::host {

/// Version of the tables that count changes.
inline constexpr std::int64_t kCountedSince = 9;

/// How many transactions have changed a store, and which store that is: a copy has the same
/// identity.
struct SChanges {
  std::array<std::uint8_t, 16> identity{};
  std::int64_t count = 0;
};

/// The last change stands beside the store too (STORE-last) while a log does: the first damaged
/// place of a log is its end for SQLite, and what was stored behind it would be gone unseen.
/// Written behind each transaction without a sync of its own, the note never is ahead of the store.
/// Nothing where there is no note, or none that can be read.
std::optional<SChanges> NotedChanges(const std::string& store);

/// Where it cannot be written the note stays behind, and sees less.
void NoteChanges(const std::string& store, const SChanges& changes);

/// Once no log is left.
void RemoveNote(const std::string& store);

/// Counts the transaction that is about to end; nothing in a store without settings.
std::optional<SChanges> CountChange(CDatabase& database);

/// Throws CStoreError for a store that holds less than was noted before it was opened; its log is
/// left as it is.
void CheckLastChange(CDatabase& database, const std::string& path,
                     const std::optional<SChanges>& noted);

}  // namespace limes::host

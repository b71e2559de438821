#pragma once

#include <cstdint>
#include <string>

#include "apps/limes/store/database.h"

namespace limes::host {

/// Version of the tables that this program makes; docs/store.md describes them.
inline constexpr std::int64_t kSchemaVersion = 10;
inline constexpr std::int64_t kVariantsSince = 9;

/// In the statements of a store: the quantity of a name, of the variant that is chosen.
inline constexpr const char* kChosenQuantity =
    "(SELECT id FROM quantity WHERE name = ? AND variant = chosen_variant())";

/// Version of a store's tables; 0 for a file without content. Throws CStoreError for a file that is
/// something else, and for a newer version.
std::int64_t SchemaVersion(CDatabase& database, const std::string& path);

/// Makes the tables in a file without content, and brings older ones up to this version, in one
/// transaction. Throws CStoreError.
void MakeSchema(CDatabase& database, const std::string& path);

}  // namespace limes::host

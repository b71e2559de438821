#pragma once

#include <cstdint>

#include "apps/limes/plant/connection.h"

namespace limes::host {

/// Tables of many benches in one database, in the schema "limes"; docs/plants.md describes them.
/// Their version is that of a store's tables, whose columns they have.

/// Version of the tables; 0 without any. Throws CStoreError for a newer one.
std::int64_t PlantVersion(CPlantConnection& plant);

/// Makes the tables where there are none, and brings older ones up to this version, in one
/// transaction; other processes that do so wait. Throws CStoreError.
void MakePlant(CPlantConnection& plant);

}  // namespace limes::host

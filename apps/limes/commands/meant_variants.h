#pragma once

#include <functional>
#include <string>
#include <vector>

#include "apps/limes/commands/options.h"
#include "apps/limes/store/store.h"

namespace limes::host {

/// The variants that --variant means, all without it; of a store without variants that one, which
/// has no name. Throws CUsageError when there is none.
std::vector<SStoredVariant> MeantVariants(CStore& store, const SOptions& options);

/// Chooses the one variant that is meant. Throws CUsageError when there are several: what is the
/// thing that is had of one alone.
void ChooseOne(CStore& store, const SOptions& options, const std::string& what);

/// Calls call with each of them chosen.
void ForEachVariant(CStore& store, const SOptions& options,
                    const std::function<void(const SStoredVariant&)>& call);

/// "product=A: ", to stand before a text about a variant; empty without one.
std::string BeforeText(const SStoredVariant& variant);

}  // namespace limes::host

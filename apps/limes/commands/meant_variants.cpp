#include "apps/limes/commands/meant_variants.h"

#include <algorithm>

#include "apps/limes/errors.h"
#include "recordings/text.h"
#include "recordings/variant.h"

namespace limes::host {
namespace {

std::string NamesOf(const std::vector<SStoredVariant>& variants) {
  constexpr std::size_t kMost = 5;
  std::string text;
  for (std::size_t i = 0; i < std::min(variants.size(), kMost); ++i) {
    text += (i > 0 ? ", " : "") + Quoted(variants[i].name);
  }
  return text + (variants.size() > kMost
                     ? " and " + std::to_string(variants.size() - kMost) + " more"
                     : "");
}

}  // namespace

std::vector<SStoredVariant> MeantVariants(CStore& store, const SOptions& options) {
  store.Choose("");
  const std::vector<std::string> names = store.Settings().value_or(SSettings()).variant;
  std::vector<SStoredVariant> all = store.Variants();
  if (names.empty()) {
    if (!options.variant.empty()) {
      throw CUsageError("--variant contradicts the store, which was learnt without");
    }
    return {all.empty() ? SStoredVariant() : all[0]};
  }
  for (const SCondition& value : options.variant) {
    if (std::find(names.begin(), names.end(), value.column) == names.end()) {
      throw CUsageError("--variant: the store does not tell variants apart by " +
                        Quoted(value.column));
    }
  }
  std::vector<SStoredVariant> meant;
  std::copy_if(all.begin(), all.end(), std::back_inserter(meant),
               [&](const SStoredVariant& v) { return IsVariant(v.name, names, options.variant); });
  if (meant.empty()) {
    throw CUsageError("no variant of this store fits --variant; it knows " +
                      (all.empty() ? "none" : NamesOf(all)));
  }
  return meant;
}

void ChooseOne(CStore& store, const SOptions& options, const std::string& what) {
  const std::vector<SStoredVariant> meant = MeantVariants(store, options);
  if (meant.size() > 1) {
    throw CUsageError(what + " is of one variant: --variant must leave one of " + NamesOf(meant));
  }
  store.Choose(meant[0].name);
}

void ForEachVariant(CStore& store, const SOptions& options,
                    const std::function<void(const SStoredVariant&)>& call) {
  for (const SStoredVariant& variant : MeantVariants(store, options)) {
    store.Choose(variant.name);
    call(variant);
  }
  store.Choose("");
}

std::string BeforeText(const SStoredVariant& variant) {
  return variant.name.empty() ? "" : variant.name + ": ";
}

}  // namespace limes::host

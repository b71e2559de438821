// Variants in the store: what a statement is about follows from the one that is chosen.
#include <sqlite3.h>

#include "apps/limes/store/store.h"
#include "apps/limes/store/store_schema.h"

namespace limes::host {
namespace {

/// chosen_variant(): the number of the variant that a store has chosen, for its own statements.
void TellChosen(sqlite3_context* context, int /*arguments*/, sqlite3_value** /*values*/) {
  sqlite3_result_int64(context, *static_cast<const std::int64_t*>(sqlite3_user_data(context)));
}

}  // namespace

void CStore::ShareChosen() {
  sqlite3_create_function(database_->Handle(), "chosen_variant", 0, SQLITE_UTF8, &chosen_,
                          TellChosen, nullptr, nullptr);
}

std::string CStore::IsChosen(const std::string& table) const {
  return version_ < kVariantsSince
             ? "1"
             : table + (table.empty() ? "" : ".") + "variant = chosen_variant()";
}

std::vector<SStoredVariant> CStore::Variants() {
  if (version_ < kVariantsSince) {
    return {{0, "", CountParts(true), false}};
  }
  std::vector<SStoredVariant> result;
  CStatement list(database_->Handle(),
                  "SELECT variant.id, variant.name, max(learnt), settings NOT NULL FROM variant "
                  "JOIN quantity ON quantity.variant = variant.id "
                  "JOIN state ON state.quantity = quantity.id "
                  "GROUP BY variant.id ORDER BY variant.name");
  while (list.Step()) {
    result.push_back({list.Int(0), list.Text(1), list.Int(2), list.Int(3) != 0});
  }
  return result;
}

bool CStore::Choose(const std::string& variant) {
  if (variant == chosenName_) {
    return true;
  }
  if (variant.empty() || version_ < kVariantsSince) {
    chosen_ = 0;
    chosenName_.clear();
    return variant.empty();
  }
  CStatement find(database_->Handle(), "SELECT id FROM variant WHERE name = ?");
  if (!find.Bind(variant).Step()) {
    return false;
  }
  chosen_ = find.Int(0);
  chosenName_ = variant;
  return true;
}

void CStore::ChooseOrMake(const std::string& variant) {
  if (!Choose(variant)) {
    CStatement(database_->Handle(), "INSERT INTO variant(name) VALUES(?)").Bind(variant).Run();
    Choose(variant);
  }
}

}  // namespace limes::host

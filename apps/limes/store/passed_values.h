#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apps/limes/measurement/verdict.h"
#include "apps/limes/store/database.h"

namespace limes::host {

/// What a single value is judged by; the same for many parts.
struct SValueLimit {
  std::size_t item = 0;      ///< of the value in the list of a part
  double base = 0.0;         ///< of the rule
  SQuantityVerdict verdict;  ///< its name, units, side, and what is the limit's
};

/// Verdict on a value within a limit, in the same numbers as it was given.
SQuantityVerdict PassedVerdict(const SValueLimit& limit, double value);

/// The limits of parts whose single values have all passed, in the table `limits`. Of these parts
/// the store keeps the values alone, as everything else of their verdicts follows from them.
class CPassedValues {
 public:
  explicit CPassedValues(sqlite3* database) : database_(database) {}

  /// How a part is kept.
  struct SKept {
    std::int64_t limits = 0;
    std::string values;  ///< a list as JSON
  };

  /// Stores the limits that the part was judged by where they are not those stored last of its
  /// variant, which is chosen; nothing when its verdicts do not follow from its values.
  std::optional<SKept> Keep(const SPartVerdict& verdict, double base, std::int64_t variant);

  /// Another process may have stored limits since.
  void Forget() { last_.clear(); }

  /// Adds the verdicts of a part. Throws CStoreError.
  void Read(const SKept& kept, SPartVerdict& verdict);

 private:
  using Limits = std::vector<SValueLimit>;

  const Limits& Find(std::int64_t id);
  std::int64_t NumberOf(const Limits& limits, std::int64_t variant);
  void Add(std::int64_t id, const Limits& limits);

  sqlite3* database_;
  std::map<std::int64_t, std::int64_t> last_;  ///< by variant: id of the limits stored last
  Limits found_;                               ///< those of an id
  std::int64_t foundId_ = 0;
};

}  // namespace limes::host

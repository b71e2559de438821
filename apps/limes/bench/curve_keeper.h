#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "apps/limes/measurement/verdict.h"
#include "apps/limes/store/store.h"
#include "recordings/measurement.h"

namespace limes::host {

/// Which curves of judged parts are kept in the store: those of NOK parts and of the newest 200
/// parts, as long as they take no more than so many bytes, else without the oldest. What waits to
/// be written keeps to the same bounds.
class CCurveKeeper {
 public:
  static constexpr std::size_t kNewest = 200;

  void SetMost(std::int64_t bytes) { most_ = bytes; }

  /// Takes a part that was judged, and waits at this place. Parts of single values alone need not
  /// be kept: their verdicts hold them.
  void Add(std::size_t place, const SPart& part, Verdict verdict, std::vector<std::uint8_t> record);

  /// Forgets what waits at this place and behind it.
  void Drop(std::size_t place);

  /// Writes what waits: verdicts holds the parts by their places, with their numbers.
  void Write(CStore& store, const std::vector<SPartVerdict>& verdicts) const;

 private:
  struct SWaiting {
    std::size_t place = 0;
    bool stays = false;
    std::vector<std::uint8_t> record;
  };

  void Remove(const std::deque<SWaiting>::iterator& waiting);

  std::deque<SWaiting> waiting_;
  std::int64_t bytes_ = 0;
  std::int64_t most_ = 0;
  std::size_t passing_ = 0;  ///< of those that wait
};

}  // namespace limes::host

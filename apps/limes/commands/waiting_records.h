#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "apps/limes/store/store.h"

namespace limes::host {

/// The records of learnt parts that wait for the end of their file: in memory up to a size, then in
/// a file without a name beside the store, so that a run ends with nothing left behind. Parts are
/// told apart by their content.
class CWaitingRecords {
 public:
  static constexpr std::size_t kMostBytes = std::size_t{32} << 20;  ///< in memory

  explicit CWaitingRecords(std::string store) : store_(std::move(store)) {}
  ~CWaitingRecords();
  CWaitingRecords(const CWaitingRecords&) = delete;
  CWaitingRecords& operator=(const CWaitingRecords&) = delete;

  /// Takes the record out of the part when there are too many. Throws CStoreError, with the part as
  /// it was, when it cannot be written.
  void Put(SLearntPart& part);

  /// Gives the record back to the part if it was taken out. Throws CStoreError.
  void Get(SLearntPart& part);

  /// Forgets all that wait.
  void Clear();

 private:
  struct SPlace {
    std::int64_t offset = 0;
    std::size_t size = 0;
  };

  void Open();
  [[noreturn]] void Fail() const;

  std::string store_;
  int file_ = -1;
  std::int64_t end_ = 0;
  std::size_t inMemory_ = 0;
  std::map<std::int64_t, SPlace> places_;
};

}  // namespace limes::host

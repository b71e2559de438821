#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>

#include "limes/limes.h"

/// Learn states in one file, one behind the other. It is replaced whole, so that a program that
/// ends at any time leaves the old states or the new ones (to survive a power cut, too, sync file
/// and folder). What cannot be read is never written over: it may be the work of weeks.
class CStateFile {
 public:
  explicit CStateFile(std::filesystem::path path) : path_(std::move(path)) {}

  /// Nothing happens when there is no file yet.
  template <class... Limits>
  void Load(Limits&... limits) const {
    if (!std::filesystem::exists(path_)) {
      return;
    }
    limes::CDiskStream file(path_, limes::CDiskStream::Mode::kRead);
    const auto load = [&](auto& limit) {
      const limes::LearnStateStatus status = limit.ReadState(file);
      if (status != limes::LearnStateStatus::kOk) {
        throw std::runtime_error(path_.string() + ": " + limes::WideToUtf8(limes::Text(status)));
      }
    };
    (load(limits), ...);
  }

  template <class... Limits>
  void Save(const Limits&... limits) const {
    std::filesystem::path beside = path_;
    beside += ".new";
    limes::CDiskStream file(beside, limes::CDiskStream::Mode::kWrite);
    if (!file.IsOpen() || !(limits.WriteState(file) && ...) || !file.Close()) {
      throw std::runtime_error(beside.string() + " cannot be written");
    }
    std::filesystem::rename(beside, path_);
  }

 private:
  std::filesystem::path path_;
};

#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "apps/limes/commands/console.h"

namespace limes::host {

/// The demo's folder; a temporary one goes at the end. Throws CStoreError.
class CDemoFolder {
 public:
  /// wanted: empty for a temporary one.
  explicit CDemoFolder(const std::string& wanted);
  ~CDemoFolder();
  CDemoFolder(const CDemoFolder&) = delete;
  CDemoFolder& operator=(const CDemoFolder&) = delete;

  std::string File(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
  bool temporary_;
};

/// Writes a measurement of the simulated bench. Throws CStoreError.
void WriteDemoSound(const std::string& path, const std::vector<float>& signal);

/// A command line as a user would type it, shown and run. Throws CHostError when it fails.
void RunDemoCommand(SConsole& console, const std::vector<std::string>& options,
                    const std::vector<std::string>& files, const std::string& shownFiles);

}  // namespace limes::host

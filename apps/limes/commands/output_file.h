#pragma once

#include <string>

#include "limes/platform/file_stream.h"

namespace limes::host {

/// A file that takes its name only when it is whole, so that no one reads half of it and what was
/// there stays when the writing fails; a signal that ends the program leaves no half of it behind.
/// A device or pipe is written as it comes. One at a time. Throws CHostError.
class COutputFile {
 public:
  /// Only a page or drawing of this program is replaced, anything when forced: throws CUsageError.
  COutputFile(const std::string& path, bool force);
  COutputFile(const COutputFile&) = delete;
  COutputFile& operator=(const COutputFile&) = delete;
  ~COutputFile();

  CFileStream& Stream() { return stream_; }

  void Write(const std::string& text);

  void Finish();

  [[noreturn]] void Fail(const std::string& reason) const;

 private:
  std::string path_;
  std::string target_;
  std::string written_;
  CDiskStream stream_;
  bool direct_ = false;
  bool done_ = false;
};

/// Throws CUsageError when the output would replace the store.
void RefuseStore(const std::string& output, const std::string& store);

/// Throws CUsageError for a name that no page should have.
void RequirePageName(const std::string& path);

/// Writes a whole text.
void WriteOutput(const std::string& path, const std::string& text, bool force);

}  // namespace limes::host

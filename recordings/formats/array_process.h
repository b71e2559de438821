#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "limes/platform/file_stream.h"
#include "recordings/formats/array_protocol.h"

namespace limes::recordings {

/// A process that reads a file of arrays through libraries and hands them over. It has limits on
/// memory, time and system calls, so that a file that leads a library astray harms nothing: what
/// goes wrong there is a CInputError here.
class CArrayProcess {
 public:
  /// stream: a file on disk, which the process opens by the path. format: for messages.
  CArrayProcess(CFileStream& stream, const std::string& path, std::string format);
  CArrayProcess(const CArrayProcess&) = delete;
  CArrayProcess& operator=(const CArrayProcess&) = delete;
  ~CArrayProcess();

  /// What the file holds; first, and once.
  SArrayList List();

  /// Rows of an array, all its columns, row by row: as many as there is room for.
  void Read(std::uint64_t array, std::uint64_t first, std::uint64_t rows,
            std::vector<double>& values);

 private:
  void Start(int file);
  std::uint64_t Answer(std::uint64_t mostBytes);
  void Receive(void* data, std::size_t bytes);
  void Send(const void* data, std::size_t bytes);
  [[noreturn]] void Fail(const std::string& reason) const;
  [[noreturn]] void FailEnded();
  int Stop();

  std::string path_;
  std::string format_;
  std::uint64_t fileBytes_ = 0;
  int channel_ = -1;
  int process_ = -1;
};

}  // namespace limes::recordings

#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "recordings/formats/array_protocol.h"

namespace limes::arrays {

using recordings::SArray;
using recordings::SArrayList;

/// Why a file cannot be read.
class CFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// An open file of arrays.
class CArraySource {
 public:
  virtual ~CArraySource() = default;

  const SArrayList& List() const { return list_; }

  /// Rows of an array, all its columns, row by row; the rows are there. Throws CFault.
  virtual void Read(std::size_t array, std::uint64_t first, std::uint64_t count,
                    std::vector<double>& values) = 0;

 protected:
  /// Counts an array that is read; too many are a fault.
  SArray& AddArray(const std::string& group, const std::string& name);
  void LeaveOut(const std::string& why, const std::string& name);

  SArrayList list_;
};

/// The file is the one that is open as descriptor 0.
inline constexpr char kFile[] = "/proc/self/fd/0";

/// Opened is called when the file is open and nothing of it is read yet.
std::unique_ptr<CArraySource> OpenHdf5File(void (*opened)());
std::unique_ptr<CArraySource> OpenMatFile(void (*opened)());

/// Whether an array of these dimensions is a vector, a matrix or a scalar: sets its rows and
/// columns. At most two dimensions may be longer than 1.
bool TakeShape(const std::vector<std::uint64_t>& dimensions, SArray& array);

}  // namespace limes::arrays

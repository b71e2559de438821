#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "recordings/formats/byte_cursor.h"
#include "recordings/formats/number_format.h"

namespace limes::recordings {

/// Numbers in each item of an array.
struct SNpyField {
  std::string name;  ///< empty where an item is one number
  SNumberFormat format;
  std::uint64_t offset = 0;  ///< in the item
  bool number = true;        ///< else neither read nor unpickled
};

/// What stands in front of the items of an array in a .npy file.
struct SNpyHeader {
  std::vector<SNpyField> fields;
  std::uint64_t itemBytes = 0;
  std::uint64_t textBytes = 0;  ///< of the one text that an item is, else 0
  bool wideText = false;        ///< of four bytes a character
  std::string otherType;        ///< of a field that is no number, for messages
  bool fortran = false;
  std::vector<std::uint64_t> shape;

  std::uint64_t Items() const;
};

/// Reads the head; the cursor then stands at the first item. Checks that all items are there.
SNpyHeader ReadNpyHeader(CByteCursor& at);

}  // namespace limes::recordings

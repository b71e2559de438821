#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include "limes/platform/file_stream.h"
#include "limes/platform/message_box.h"
#include "limes/platform/print_window.h"

// What all fuzz targets need. It defines the entry, so each program includes it once.
namespace limes::fuzz {

using Input = std::span<const std::uint8_t>;
using Bytes = std::vector<std::uint8_t>;

/// Tries one input; each target's own.
void Try(Input input);

inline void Require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

/// Takes the first byte off, which picks the way; 0 of an empty input.
inline unsigned TakeByte(Input& input) {
  const unsigned byte = input.empty() ? 0 : input[0];
  input = input.subspan(input.empty() ? 0 : 1);
  return byte;
}

inline std::string_view TextOf(Input input) {
  return {reinterpret_cast<const char*>(input.data()), input.size()};
}

/// The input as elements of another type; a rest that fills none is dropped.
template <class T>
std::vector<T> ArrayOf(Input input) {
  std::vector<T> elements(input.size() / sizeof(T));
  if (!elements.empty()) {
    std::memcpy(elements.data(), input.data(), elements.size() * sizeof(T));
  }
  return elements;
}

/// As many floats of the input, again and again; zeros when it holds none.
inline std::vector<float> FloatsOf(Input input, std::size_t count) {
  std::vector<float> values = ArrayOf<float>(input);
  const std::size_t given = values.size();
  values.resize(count);
  for (std::size_t i = given; i < count && given > 0; ++i) {
    values[i] = values[i - given];
  }
  return values;
}

constexpr auto kRead = [](auto& object, CFileStream& file) { return object.ReadFromFile(file); };
constexpr auto kWrite = [](auto& object, CFileStream& file) { return object.WriteToFile(file); };

/// What write(object, stream) puts out.
template <class Object, class Write>
Bytes Written(Object& object, Write write) {
  CMemoryStream file;
  Require(write(object, file));
  return {file.Bytes().begin(), file.Bytes().end()};
}

/// What read(object, stream) takes is written, and reads and writes the same again.
template <class Object, class Read, class Write>
bool RoundTrip(Object& object, Input input, Read read, Write write) {
  CMemoryStream in(input);
  if (!read(object, in)) {
    return false;
  }
  const Bytes once = Written(object, write);
  CMemoryStream back(once);
  Object again;
  Require(read(again, back) && Written(again, write) == once);
  return true;
}

}  // namespace limes::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  limes::PrWin::SetSink([](int, int, std::u16string_view) {});  // unit messages
  limes::MessageBoxes::SetHandler([](std::u16string_view) { return limes::MessageBoxes::kOk; });
  limes::fuzz::Try({data, size});
  return 0;
}

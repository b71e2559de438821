#include <algorithm>
#include <cmath>

#include "limes/platform/record_io.h"
#include "recordings/errors.h"
#include "recordings/part_writer.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

/// A text as a literal of Python without escapes.
std::string Literal(const std::string& name, std::vector<std::string>& losses) {
  std::string text = name;
  const char mark = text.find('\'') == std::string::npos ? '\'' : '"';
  for (char& c : text) {
    c = static_cast<unsigned char>(c) < ' ' || c == '\\' || c == mark ? '_' : c;
  }
  if (text != name) {
    losses.push_back(Quoted(name) + ": the name is written as " + Quoted(text));
  }
  return mark + text + mark;
}

/// The name by which readers know x and its unit, unless a quantity is called so.
std::string AxisName(const std::vector<SNamedQuantity>& quantities, const std::string& unit,
                     std::vector<std::string>& losses) {
  const auto taken = [&](const std::string& name) {
    return std::any_of(quantities.begin(), quantities.end(),
                       [&](const SNamedQuantity& q) { return q.name == name; });
  };
  for (const char* const name : {"time", "t", "frequency", "freq", "f", "x"}) {
    const bool seconds = name[0] == 't';
    const std::string told = seconds ? "s" : name[0] == 'f' ? "Hz" : unit;
    if (told == unit && !taken(name)) {
      if (name[0] == 'x' && !unit.empty()) {
        losses.push_back("the unit of x, " + unit + ", is left out");
      }
      return name;
    }
  }
  throw CInputError(quantities[0].name, "all names for x are those of quantities");
}

}  // namespace

std::vector<std::string> WriteNpy(const std::vector<SNamedQuantity>& quantities, CFileStream& out) {
  std::vector<std::string> losses;
  const SQuantity& first = *quantities[0].quantity;
  std::string fields;
  for (const SNamedQuantity& q : quantities) {
    if (!SameGrid(first, *q.quantity)) {
      throw CInputError(q.name, "has another x than " + Quoted(quantities[0].name) +
                                    "; a .npy file holds one table: pick quantities by --use, or "
                                    "write HDF5");
    }
    fields += ", (" + Literal(q.name, losses) + ", '<f4')";
    if (!q.quantity->unit.IsNone()) {
      losses.push_back(Quoted(q.name) + ": the unit " + q.quantity->unit.DisplayFull() +
                       " is left out");
    }
  }
  const std::string axis = AxisName(quantities, first.xUnit.Display(), losses);
  std::string head = "{'descr': [('" + axis + "', '<f8')" + fields +
                     "], 'fortran_order': False, 'shape': (" + std::to_string(first.values.size()) +
                     ",), }";
  const bool ascii = std::all_of(head.begin(), head.end(),
                                 [](char c) { return static_cast<unsigned char>(c) < 128; });
  constexpr std::size_t kAlign = 64;
  constexpr std::size_t kFront = 12;  // of version 3, in which texts are UTF-8
  head.resize((head.size() + 1 + kFront + kAlign - 1) / kAlign * kAlign - kFront - 1, ' ');
  head += '\n';
  detail::RecordWriter bytes;
  constexpr std::string_view kMagic = "\x93NUMPY";
  bytes.PutBytes(kMagic.data(), kMagic.size());
  bytes.Put(static_cast<std::uint8_t>(ascii ? 2 : 3));
  bytes.Put(std::uint8_t{0});
  bytes.Put(static_cast<std::uint32_t>(head.size()));
  bytes.PutBytes(head.data(), head.size());
  for (std::size_t i = 0; i < first.values.size(); ++i) {
    bytes.Put(XOf(first, i));
    for (const SNamedQuantity& q : quantities) {
      bytes.Put(q.quantity->values[i]);
    }
  }
  out.Write(bytes.Bytes().data(), bytes.Bytes().size());
  return losses;
}

}  // namespace limes::recordings

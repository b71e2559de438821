#include <algorithm>
#include <array>
#include <map>

#include "limes/platform/record_io.h"
#include "recordings/errors.h"
#include "recordings/formats/array_file.h"
#include "recordings/part_writer.h"
#include "recordings/text.h"

// The oldest form of the format, which all its readers know: superblock and object headers of
// version 0 and 1, groups as a heap of names and one node of symbols, data in one piece (HDF5 File
// Format Specification Version 2.0, The HDF Group).
namespace limes::recordings {
namespace {

constexpr std::uint64_t kNowhere = UINT64_MAX;
constexpr std::size_t kMostEntries = 100'000;  ///< of a group, in its one node of symbols

/// An attribute: a number or a text.
struct SAttribute {
  std::string name;
  double number = 0.0;
  std::string text;
};

/// Numbers of an array, written as float or double.
struct SDataSet {
  const SQuantity* quantity = nullptr;
  bool places = false;  ///< x, not values
  std::vector<SAttribute> attributes;

  std::uint64_t Bytes() const { return quantity->values.size() * (places ? 8U : 4U); }
};

struct SGroup {
  std::map<std::string, SGroup> groups;
  std::map<std::string, SDataSet> sets;

  /// Entries of the largest group.
  std::size_t Most() const {
    std::size_t most = groups.size() + sets.size();
    for (const auto& [name, group] : groups) {
      most = std::max(most, group.Most());
    }
    return most;
  }
};

class CBytes : public detail::RecordWriter {
 public:
  using detail::RecordWriter::RecordWriter;

  template <class... T>
  CBytes& Add(T... numbers) {
    (this->Put(numbers), ...);
    return *this;
  }
  CBytes& Text(std::string_view text) {
    PutBytes(text.data(), text.size());
    return *this;
  }
  CBytes& Append(const CBytes& other) {
    PutBytes(other.Bytes().data(), other.Bytes().size());
    return *this;
  }
  CBytes& Pad() {
    while (Size() % 8 != 0) {
      Put(std::uint8_t{0});
    }
    return *this;
  }
  std::size_t Size() const { return Bytes().size(); }
};

using U8 = std::uint8_t;
using U16 = std::uint16_t;
using U32 = std::uint32_t;
using U64 = std::uint64_t;

CBytes FloatType(bool wide) {
  return CBytes().Add(U8{0x11}, U8{0x20}, static_cast<U8>(wide ? 63 : 31), U8{0},
                      U32{wide ? 8U : 4U}, U16{0}, static_cast<U16>(wide ? 64 : 32),
                      static_cast<U8>(wide ? 52 : 23), static_cast<U8>(wide ? 11 : 8), U8{0},
                      static_cast<U8>(wide ? 52 : 23), U32{wide ? 1023U : 127U});
}

/// A file that is laid out from its start: heads of all objects first, then the data.
class CLayout {
 public:
  explicit CLayout(std::uint64_t dataStart) : data_(dataStart) {}

  /// All but the data, of which the places follow.
  CBytes Make(const SGroup& root) {
    constexpr U16 kInternal = 16;
    constexpr std::uint64_t kSuperblock = 96;
    place_ = kSuperblock;
    node_ = (root.Most() + 1) / 2 * 2;
    const SSymbols symbols = AddGroup(root);
    CBytes file;
    file.Text("\x89HDF\r\n\x1a\n").Add(U8{0}, U8{0}, U8{0}, U8{0}, U8{0}, U8{8}, U8{8}, U8{0});
    file.Add(static_cast<U16>(node_ / 2), kInternal, U32{0}, U64{0}, kNowhere, data_, kNowhere);
    file.Add(U64{0}, symbols.header, U32{1}, U32{0}, symbols.tree, symbols.heap);
    return file.Append(body_);
  }

  std::vector<SDataSet> Order() const { return order_; }

 private:
  struct SSymbols {
    std::uint64_t header;
    std::uint64_t tree;
    std::uint64_t heap;
  };
  struct SEntry {
    std::string name;
    std::uint64_t header;
    std::optional<SSymbols> group;
  };

  std::uint64_t Put(CBytes block) {
    const std::uint64_t place = place_;
    block.Pad();
    place_ += block.Size();
    body_.Append(block);
    return place;
  }

  static void AddMessage(CBytes& messages, U16 kind, CBytes content) {
    content.Pad();
    messages.Add(kind, static_cast<U16>(content.Size()), U8{0}, U8{0}, U8{0}, U8{0});
    messages.Append(content);
  }

  std::uint64_t PutHeader(const CBytes& messages, std::size_t count) {
    CBytes header;
    header.Add(U8{1}, U8{0}, static_cast<U16>(count), U32{1}, static_cast<U32>(messages.Size()),
               U32{0});
    return Put(std::move(header.Append(messages)));
  }

  SSymbols AddGroup(const SGroup& group) {
    std::map<std::string, SEntry> entries;  // readers search them by name
    for (const auto& [name, inner] : group.groups) {
      const SSymbols symbols = AddGroup(inner);
      entries[name] = {name, symbols.header, symbols};
    }
    for (const auto& [name, set] : group.sets) {
      entries[name] = {name, AddSet(set), std::nullopt};
    }
    CBytes names;
    names.Add(U64{0});  // the empty name
    CBytes symbols;
    std::uint64_t last = 0;
    for (const auto& [name, entry] : entries) {
      last = names.Size();
      names.Text(name).Add(U8{0}).Pad();
      symbols.Add(last, entry.header, U32{entry.group ? 1U : 0U}, U32{0});
      symbols.Add(entry.group ? entry.group->tree : 0, entry.group ? entry.group->heap : 0);
    }
    const std::uint64_t text = Put(names);
    const std::uint64_t heap =
        Put(std::move(CBytes().Text("HEAP").Add(U32{0}, U64{names.Size()}, U64{1}, text)));
    CBytes node;
    node.Text("SNOD").Add(U8{1}, U8{0}, static_cast<U16>(entries.size())).Append(symbols);
    constexpr std::size_t kEntry = 40;
    node.Text(std::string((node_ - entries.size()) * kEntry, '\0'));
    const std::uint64_t nodeAt = Put(std::move(node));
    CBytes tree;
    tree.Text("TREE").Add(U8{0}, U8{0}, U16{1}, kNowhere, kNowhere, U64{0}, nodeAt, last);
    constexpr std::size_t kTreeBytes = 24 + 33 * 8 + 32 * 8;
    tree.Text(std::string(kTreeBytes - tree.Size(), '\0'));
    const std::uint64_t treeAt = Put(std::move(tree));
    CBytes messages;
    AddMessage(messages, 0x11, std::move(CBytes().Add(treeAt, heap)));
    return {PutHeader(messages, 1), treeAt, heap};
  }

  std::uint64_t AddSet(const SDataSet& set) {
    const std::uint64_t count = set.quantity->values.size();
    CBytes messages;
    AddMessage(messages, 0x01, std::move(CBytes().Add(U8{1}, U8{1}, U8{0}, U8{0}, U32{0}, count)));
    AddMessage(messages, 0x03, FloatType(set.places));
    AddMessage(messages, 0x05, std::move(CBytes().Add(U8{2}, U8{2}, U8{2}, U8{0})));
    AddMessage(messages, 0x08, std::move(CBytes().Add(U8{3}, U8{1}, data_, set.Bytes())));
    for (const SAttribute& attribute : set.attributes) {
      AddMessage(messages, 0x0C, Attribute(attribute));
    }
    data_ += (set.Bytes() + 7) / 8 * 8;
    order_.push_back(set);
    return PutHeader(messages, 4 + set.attributes.size());
  }

  static CBytes Attribute(const SAttribute& attribute) {
    CBytes type = FloatType(true);
    CBytes value;
    value.Put(attribute.number);
    if (!attribute.text.empty()) {
      constexpr U8 kUtf8 = 0x10;
      value = CBytes();
      value.Text(attribute.text).Add(U8{0});
      type = CBytes();
      type.Add(U8{0x13}, kUtf8, U8{0}, U8{0}, static_cast<U32>(value.Size()));
    }
    CBytes message;
    message.Add(U8{1}, U8{0}, static_cast<U16>(attribute.name.size() + 1),
                static_cast<U16>(type.Size()), U16{8});
    message.Text(attribute.name).Add(U8{0}).Pad();
    return std::move(message.Append(type).Pad().Add(U64{1}).Append(value));
  }

  std::uint64_t place_ = 0;
  std::size_t node_ = 0;  ///< entries for which each group has room
  std::uint64_t data_;
  CBytes body_;
  std::vector<SDataSet> order_;
};

std::string LinkName(const std::string& name, std::vector<std::string>& losses) {
  std::string link = name;
  for (char& c : link) {
    c = c == '/' || c == '\0' ? '_' : c;
  }
  if (link.empty() || link == "." || link == "..") {
    link = "_" + link;
  }
  if (link != name) {
    losses.push_back(Quoted(name) + ": the name is written as " + Quoted(link));
  }
  return link;
}

void AddText(SDataSet& set, const char* name, const SUnit& unit) {
  constexpr std::size_t kMost = 4096;
  if (!unit.IsNone()) {
    set.attributes.push_back({name, 0.0, unit.Display().substr(0, kMost)});
  }
}

/// A quantity in the file's own group with step and start, or in one of its own with its x.
void AddQuantity(const SNamedQuantity& named, SGroup& root, std::vector<std::string>& losses) {
  const SQuantity& q = *named.quantity;
  std::string base = LinkName(named.name, losses);
  if (!q.x.empty() && IsAxisName(base)) {
    base += "_";
    losses.push_back(Quoted(named.name) + ": the name is written as " + Quoted(base));
  }
  std::string name = base;
  for (int k = 2; root.sets.count(name) + root.groups.count(name) > 0; ++k) {
    name = base + " " + std::to_string(k);
  }
  SDataSet set{&q, false, {}};
  AddText(set, "units", q.unit);
  if (q.x.empty()) {
    const bool time = q.xUnit.Display() == "s";
    set.attributes.push_back({time ? "dt" : "dx", q.dx, ""});
    set.attributes.push_back({time ? "t0" : "x0", q.x0, ""});
    AddText(set, "x_unit", q.xUnit);
  }
  if (q.x.empty() && !IsAxisName(name)) {
    root.sets[name] = std::move(set);
    return;
  }
  SGroup& own = root.groups[name];
  own.sets[name] = std::move(set);
  if (!q.x.empty()) {
    SDataSet& x = own.sets["x"];
    x = {&q, true, {}};
    AddText(x, "units", q.xUnit);
  }
}

/// In pieces, so that nothing is held twice.
void WriteData(const SDataSet& set, CFileStream& out) {
  constexpr std::size_t kPiece = std::size_t{1} << 16;
  const std::size_t n = set.quantity->values.size();
  for (std::size_t first = 0; first < n; first += kPiece) {
    CBytes bytes;
    for (std::size_t i = first; i < std::min(n, first + kPiece); ++i) {
      set.places ? bytes.Put(XOf(*set.quantity, i)) : bytes.Put(set.quantity->values[i]);
    }
    if (first + kPiece >= n) {
      bytes.Pad();
    }
    out.Write(bytes.Bytes().data(), bytes.Size());
  }
}

}  // namespace

std::vector<std::string> WriteHdf5(const std::vector<SNamedQuantity>& quantities,
                                   CFileStream& out) {
  std::vector<std::string> losses = LostReferences(quantities);
  if (quantities.size() > kMostEntries) {
    throw CInputError(quantities[0].name, "there are too many quantities for one HDF5 file");
  }
  SGroup root;
  for (const SNamedQuantity& q : quantities) {
    AddQuantity(q, root, losses);
  }
  const std::size_t heads = CLayout(0).Make(root).Size();
  CLayout layout(heads);
  const CBytes made = layout.Make(root);
  out.Write(made.Bytes().data(), made.Size());
  for (const SDataSet& set : layout.Order()) {
    WriteData(set, out);
  }
  return losses;
}

}  // namespace limes::recordings

#include <algorithm>
#include <bit>
#include <map>
#include <utility>

#include "recordings/errors.h"
#include "recordings/formats/channel_file.h"
#include "recordings/formats/mdf_blocks.h"
#include "recordings/formats/mdf_conversion.h"
#include "recordings/formats/number_format.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

/// Where the number of a channel lies in a record.
struct SField {
  bool virtualNumber = false;  ///< the number of the record is the value
  bool isSigned = false;
  bool isFloat = false;
  bool complex = false;
  bool bigEndian = false;
  unsigned bitOffset = 0;
  unsigned bits = 0;
  std::uint64_t byteOffset = 0;
  std::optional<std::uint64_t> invalidBit;
  CMdfConversion rule;
  std::string name;

  std::uint64_t Bytes() const { return (bitOffset + std::uint64_t{bits} + 7) / 8; }
};

/// Records of one kind: their length and what they hold.
struct SGroup {
  std::string name;
  CMdfData data;
  std::uint64_t records = 0;
  std::uint64_t idBytes = 0;
  std::uint64_t dataBytes = 0;
  std::uint64_t recordBytes = 0;
  std::optional<SField> master;
  std::string masterUnit;
};

/// An integer of up to 64 bits anywhere in its bytes.
double Integer(const SField& field, const std::uint8_t* from) {
  std::uint64_t value = 0;
  const auto bytes = static_cast<std::size_t>(field.Bytes());
  for (std::size_t i = 0; i < bytes; ++i) {
    value = value << 8 | from[field.bigEndian ? i : bytes - 1 - i];
  }
  value >>= field.bitOffset;
  const unsigned unused = 64 - field.bits;
  value <<= unused;
  return field.isSigned ? static_cast<double>(static_cast<std::int64_t>(value) >> unused)
                        : static_cast<double>(value >> unused);
}

/// Measurement data format, version 4: groups of sorted records.
class CMdf : public CChannelFile {
 public:
  CMdf(CFileStream& stream, const std::string& path) : file_(stream, path) {
    CheckIdentification();
    const SMdfBlock head = file_.Block(64, "HD");
    for (std::uint64_t place = head.Link(0); place != 0;) {
      SMdfBlock group = file_.ListBlock(place, "DG");
      ReadDataGroup(group);
      place = group.Link(0);
    }
    std::string reasons;
    for (const auto& [why, names] : leftOut_) {
      notes_.push_back(LeftOut(why, names));
      reasons += "; " + notes_.back();
    }
    if (channels_.empty()) {
      throw CInputError(path, "MDF: holds no channel of numbers" + reasons);
    }
    if (complex_) {
      notes_.emplace_back("complex values are read as their magnitude");
    }
    if (numbered_) {
      notes_.emplace_back("groups without a master channel: x is the number of the record");
    }
  }

  void Read(std::size_t channel, std::uint64_t first, std::span<double> values) override {
    ReadField(groups_[fields_[channel].first], fields_[channel].second, first, values);
  }
  void ReadX(std::size_t channel, std::uint64_t first, std::span<double> x) override {
    SGroup& group = groups_[fields_[channel].first];
    ReadField(group, *group.master, first, x);
  }

 private:
  enum ChannelType : std::uint8_t {
    kValue,
    kVariable,
    kMaster,
    kVirtualMaster,
    kSync,
    kMostLength,
    kVirtual
  };

  void CheckIdentification() const {
    CByteCursor at = file_.Bytes();
    const std::string mark = at.GetText(8);
    const std::string text = at.GetText(8);
    at.Skip(12);
    const auto version = at.Get<std::uint16_t>();
    at.Skip(30);
    const auto open = at.Get<std::uint16_t>();
    if (mark != "MDF     " && mark != "UnFinMF ") {
      at.Fail("is no measurement data file");
    }
    if (version < 400 || version >= 500) {
      at.Fail("version " + Escaped(text.substr(0, text.find_first_of(std::string("\0 ", 2)))) +
              "; only version 4 is read");
    }
    if (mark == "UnFinMF " && open != 0) {
      at.Fail("the recording was not finished (flags " + std::to_string(open) +
              "), so its counts do not hold; let the recorder finish it");
    }
  }

  void ReadDataGroup(SMdfBlock& block) {
    const auto idBytes = block.data.Get<std::uint8_t>();
    std::vector<SMdfBlock> kinds;  // those with records
    for (std::uint64_t place = block.Link(1); place != 0;) {
      SMdfBlock kind = file_.ListBlock(place, "CG");
      place = kind.Link(0);
      CByteCursor at = kind.data;
      at.Skip(8);
      if (at.Get<std::uint64_t>() > 0) {
        kinds.push_back(std::move(kind));
      }
    }
    if (kinds.size() > 1) {
      block.data.Fail("unsorted: records of " + std::to_string(kinds.size()) +
                      " groups lie among each other; let the recorder sort the file");
    }
    if (kinds.empty()) {
      return;
    }
    SGroup group{
        file_.Text(kinds[0].Link(2)), CMdfData(file_, block.Link(2)), 0, idBytes, 0, 0, {}, {}};
    ReadGroup(kinds[0], std::move(group));
  }

  void ReadGroup(SMdfBlock& block, SGroup group) {
    CByteCursor& at = block.data;
    at.Skip(8);
    group.records = at.Get<std::uint64_t>();
    const auto flags = at.Get<std::uint16_t>();
    at.Skip(6);
    group.dataBytes = at.Get<std::uint32_t>();
    const auto invalidBytes = at.Get<std::uint32_t>();
    at.Require((flags & 1) == 0, "unsorted: a group holds texts of variable length");
    group.recordBytes = group.idBytes + group.dataBytes + invalidBytes;
    std::uint64_t bytes = 0;
    if (__builtin_mul_overflow(group.records, group.recordBytes, &bytes) ||
        bytes > group.data.Bytes()) {
      at.Fail("cut short: " + std::to_string(group.records) + " records of " +
              std::to_string(group.recordBytes) + " bytes are stated, the data blocks hold " +
              std::to_string(group.data.Bytes()) + " bytes");
    }
    if (group.recordBytes == 0) {
      leftOut_["as their records are empty"].push_back(group.name);
      return;
    }
    if (group.name.empty()) {
      group.name = "group " + std::to_string(groups_.size() + 1);
    }
    const std::size_t before = channels_.size();
    std::vector<std::uint64_t> places = {block.Link(1)};
    while (!places.empty()) {
      const std::uint64_t place = places.back();
      places.pop_back();
      if (place != 0) {
        ReadChannel(file_.ListBlock(place, "CN"), group, invalidBytes, places);
      }
    }
    for (std::size_t i = before; i < channels_.size(); ++i) {
      channels_[i].hasX = group.master.has_value();
      channels_[i].xUnit = group.masterUnit;
      channels_[i].dx = group.master ? std::nullopt : std::optional(1.0);
      numbered_ = numbered_ || !group.master;
    }
    groups_.push_back(std::move(group));
  }

  void ReadChannel(SMdfBlock block, SGroup& group, std::uint64_t invalidBytes,
                   std::vector<std::uint64_t>& places) {
    places.push_back(block.Link(0));
    const std::string full = file_.Text(block.Link(2));
    SField field;
    field.name = full.substr(0, full.find('\\'));  // a device stands behind
    CByteCursor& at = block.data;
    const auto type = at.Get<std::uint8_t>();
    const auto sync = at.Get<std::uint8_t>();
    const auto dataType = at.Get<std::uint8_t>();
    field.bitOffset = at.Get<std::uint8_t>();
    field.byteOffset = at.Get<std::uint32_t>();
    field.bits = at.Get<std::uint32_t>();
    const auto flags = at.Get<std::uint32_t>();
    const auto invalidBit = at.Get<std::uint32_t>();
    std::string reason;
    if (block.Link(1) != 0) {
      const SMdfBlock parts = file_.Block(block.Link(1), "CN CA DS CL CV CU");
      if (parts.id == "CN") {
        places.push_back(block.Link(1));
        reason = "as they are structures, of which the members are read";
      } else {
        reason = "as they are arrays or alternatives";
      }
    }
    if (reason.empty()) {
      reason = SetForm(field, type, dataType);
    }
    if (reason.empty() && (flags & 1) != 0) {
      reason = "as all their values are marked invalid";
    }
    auto rule = reason.empty() ? CMdfConversion::Make(file_, block.Link(4), reason) : std::nullopt;
    const bool master = type == kMaster || type == kVirtualMaster;
    if (!rule) {
      at.Require(!master, "the master channel of a group holds no numbers");
      leftOut_[reason].push_back(field.name);
      return;
    }
    field.rule = std::move(*rule);
    CheckField(at, field, group, flags, invalidBit, invalidBytes);
    std::string unit = file_.Text(block.Link(6));
    unit = unit.empty() ? field.rule.Unit() : unit;
    if (master) {
      at.Require(!group.master, "a group has two master channels");
      constexpr std::uint8_t kTime = 1;
      group.masterUnit = unit.empty() && sync == kTime ? "s" : unit;
      group.master = std::move(field);
      return;
    }
    SFileChannel channel;
    channel.name = field.name;
    channel.group = group.name;
    channel.unit = unit;
    channel.count = group.records;
    channels_.push_back(std::move(channel));
    fields_.emplace_back(groups_.size(), std::move(field));
  }

  /// Why the channel holds no numbers; empty when it does.
  std::string SetForm(SField& field, std::uint8_t type, std::uint8_t dataType) {
    constexpr std::uint8_t kSigned = 2;
    constexpr std::uint8_t kFloat = 4;
    constexpr std::uint8_t kTexts = 6;
    constexpr std::uint8_t kComplex = 15;
    field.virtualNumber = type == kVirtualMaster || type == kVirtual;
    if (field.virtualNumber) {
      return "";
    }
    if (type != kValue && type != kMaster) {
      return type == kVariable || type == kMostLength ? "as they hold texts or bytes"
                                                      : "as they only synchronise";
    }
    if (dataType >= kTexts && dataType != kComplex && dataType != kComplex + 1) {
      return "as they hold texts or bytes";
    }
    field.complex = dataType >= kComplex;
    field.bigEndian = field.complex ? dataType > kComplex : dataType % 2 == 1;
    field.isSigned = dataType / 2 * 2 == kSigned;
    field.isFloat = dataType >= kFloat;
    complex_ = complex_ || field.complex;
    return "";
  }

  static void CheckField(const CByteCursor& at, SField& field, const SGroup& group,
                         std::uint32_t flags, std::uint32_t invalidBit,
                         std::uint64_t invalidBytes) {
    if ((flags & 2) != 0) {
      at.Require(invalidBit / 8 < invalidBytes, "an invalidation bit lies behind its record");
      field.invalidBit = invalidBit;
    }
    if (field.virtualNumber) {
      return;
    }
    const unsigned part = field.bits / (field.complex ? 2 : 1);
    const bool known = field.isFloat
                           ? (part == 16 || part == 32 || part == 64) && field.bitOffset == 0 &&
                                 field.bits % part == 0
                           : field.bits > 0 && field.bitOffset + std::uint64_t{field.bits} <= 64;
    if (!known || field.byteOffset + field.Bytes() > group.dataBytes) {
      at.Fail("channel " + Quoted(field.name) + " of " + std::to_string(field.bits) +
              " bits at byte " + std::to_string(field.byteOffset) +
              " is of unknown kind or lies behind its record");
    }
  }

  void ReadField(SGroup& group, const SField& field, std::uint64_t first,
                 std::span<double> values) {
    constexpr std::uint64_t kBufferBytes = std::uint64_t{4} << 20;
    const std::size_t most =
        static_cast<std::size_t>(std::max<std::uint64_t>(kBufferBytes / group.recordBytes, 1));
    while (!values.empty()) {
      const auto part = values.first(std::min(values.size(), most));
      ReadRecords(group, field, first, part);
      field.rule.Apply(part, !field.isFloat);
      first += part.size();
      values = values.subspan(part.size());
    }
  }

  void ReadRecords(SGroup& group, const SField& field, std::uint64_t first,
                   std::span<double> values) {
    const auto record = static_cast<std::size_t>(group.recordBytes);
    buffer_.resize(values.size() * record);
    group.data.Read(first * group.recordBytes, buffer_);
    if (field.invalidBit) {
      CheckValid(group, field, first, values.size());
    }
    const std::uint8_t* const from =
        buffer_.data() + group.idBytes + (field.virtualNumber ? 0 : field.byteOffset);
    if (field.virtualNumber) {
      for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = static_cast<double>(first + i);
      }
    } else if (field.isFloat) {
      const unsigned part = field.bits / (field.complex ? 2 : 1);
      const NumberType type = part == 16   ? NumberType::kFloat16
                              : part == 32 ? NumberType::kFloat32
                                           : NumberType::kFloat64;
      ReadNumbers({type, field.bigEndian, field.complex}, from, record, values);
    } else {
      for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = Integer(field, from + i * record);
      }
    }
  }

  void CheckValid(const SGroup& group, const SField& field, std::uint64_t first,
                  std::size_t count) const {
    const std::uint64_t byte = group.idBytes + group.dataBytes + *field.invalidBit / 8;
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint8_t bits =
          buffer_[i * static_cast<std::size_t>(group.recordBytes) + static_cast<std::size_t>(byte)];
      if ((bits >> (*field.invalidBit % 8) & 1) != 0) {
        throw CInputError(file_.Bytes().File(), "MDF: value " + std::to_string(first + i + 1) +
                                                    " of channel " + Quoted(field.name) +
                                                    " is marked invalid");
      }
    }
  }

  CMdfFile file_;
  std::vector<SGroup> groups_;
  std::vector<std::pair<std::size_t, SField>> fields_;       ///< of each channel, with its group
  std::map<std::string, std::vector<std::string>> leftOut_;  ///< by the reason
  std::vector<std::uint8_t> buffer_;
  bool complex_ = false;
  bool numbered_ = false;
};

}  // namespace

std::unique_ptr<CChannelFile> OpenMdf(CFileStream& stream, const std::string& path) {
  return std::make_unique<CMdf>(stream, path);
}

}  // namespace limes::recordings

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "recordings/errors.h"
#include "recordings/formats/byte_cursor.h"
#include "recordings/formats/channel_file.h"
#include "recordings/formats/number_format.h"
#include "recordings/formats/tdms_properties.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

/// Group and channel of a path; both are empty for the file, the channel for a group.
struct SPath {
  std::string group;
  std::string channel;
};

/// /'group'/'channel', quotation marks in them doubled.
SPath ParsePath(const CByteCursor& at, std::string_view path) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < path.size() && path != "/";) {
    if (path.substr(i, 2) != "/'") {
      at.Fail("path " + Quoted(path) + " is malformed");
    }
    std::string name;
    for (i += 2;; ++i) {
      const bool mark = i < path.size() && path[i] == '\'';
      if (i >= path.size() || (mark && path.substr(i + 1, 1) != "'")) {
        break;
      }
      i += mark ? 1 : 0;
      name += path[i];
    }
    at.Require(i < path.size() && names.size() < 2, "a path is malformed");
    ++i;
    names.push_back(TextOfFile(name));
  }
  names.resize(2);
  return {names[0], names[1]};
}

/// What one object has in each chunk of raw data.
struct SRawIndex {
  std::uint32_t type = 0;
  std::uint64_t count = 0;
  std::uint64_t bytes = 0;
};

/// Values of an object in one segment: in each chunk count of them.
struct SPiece {
  std::uint64_t first;  ///< number of the first value
  std::uint64_t offset;
  std::uint64_t count;
  std::size_t segment;
};

struct SObject {
  SPath path;
  TdmsProperties properties;
  std::optional<SRawIndex> index;
  bool listed = false;     ///< among those that have raw data now
  std::uint32_t type = 0;  ///< of the values so far
  std::uint64_t total = 0;
  std::vector<SPiece> pieces;
};

struct SSegment {
  std::uint64_t raw;  ///< place of the first chunk
  std::uint64_t chunkBytes;
  std::uint64_t stride;  ///< between values that lie interleaved, else 0
  bool bigEndian;
};

/// Segments, each of metadata and of chunks of raw data.
class CTdms : public CChannelFile {
 public:
  CTdms(CFileStream& stream, const std::string& path) : file_(stream, path, "TDMS") {
    while (file_.Left() > 0) {
      ReadSegment();
    }
    for (std::size_t i = 0; i < objects_.size(); ++i) {
      if (!objects_[i].path.channel.empty()) {
        AddChannel(i);
      }
    }
    if (channels_.empty()) {
      throw CInputError(path, std::string("TDMS: holds no channel of numbers") +
                                  (texts_.empty() ? "" : ", only texts and times"));
    }
    if (!texts_.empty()) {
      notes_.push_back(LeftOut("as they hold texts or times", texts_));
    }
    if (complex_) {
      notes_.emplace_back("complex values are read as their magnitude");
    }
    if (!stepless_.empty()) {
      notes_.push_back("no step in the file: x is the number of the value, of " +
                       Quoted(stepless_));
    }
  }

  void Read(std::size_t channel, std::uint64_t first, std::span<double> values) override {
    ReadRaw(channel, first, values);
    ApplyScales(scales_[channel], values);
  }

 private:
  static constexpr std::uint64_t kBufferBytes = std::uint64_t{8} << 20;

  void ReadRaw(std::size_t channel, std::uint64_t first, std::span<double> values) {
    const SObject& object = objects_[object_[channel]];
    SNumberFormat format = *TdmsFormat(object.type);
    auto piece = std::upper_bound(object.pieces.begin(), object.pieces.end(), first,
                                  [](std::uint64_t i, const SPiece& p) { return i < p.first; });
    --piece;
    while (!values.empty()) {
      const SSegment& segment = segments_[piece->segment];
      const auto next = piece + 1;
      const std::uint64_t end = next == object.pieces.end() ? object.total : next->first;
      if (first == end) {
        piece = next;
        continue;
      }
      const std::uint64_t within = (first - piece->first) % piece->count;
      const std::uint64_t chunk = (first - piece->first) / piece->count;
      const std::uint64_t stride = segment.stride > 0 ? segment.stride : format.Bytes();
      const std::size_t n = static_cast<std::size_t>(
          std::min({std::uint64_t{values.size()}, end - first, piece->count - within,
                    std::max<std::uint64_t>(kBufferBytes / stride, 1)}));
      const std::uint64_t inRow = segment.stride > 0 ? piece->offset : 0;
      ReadBytes(segment.raw + chunk * segment.chunkBytes + piece->offset - inRow + within * stride,
                n * static_cast<std::size_t>(stride));
      format.bigEndian = segment.bigEndian;
      ReadNumbers(format, bytes_.data() + inRow, static_cast<std::size_t>(stride), values.first(n));
      values = values.subspan(n);
      first += n;
    }
  }

  /// Rows that were read for one channel serve the others.
  void ReadBytes(std::uint64_t place, std::size_t bytes) {
    if (held_ == place && bytes_.size() == bytes) {
      return;
    }
    held_ = UINT64_MAX;
    bytes_.resize(bytes);
    CByteCursor at = file_;
    at.GoTo(place);
    at.Read(bytes_.data(), bytes);
    held_ = place;
  }

  void ReadSegment() {
    constexpr std::uint32_t kMeta = 2;
    constexpr std::uint32_t kNewList = 4;
    constexpr std::uint32_t kRaw = 8;
    constexpr std::uint32_t kInterleaved = 0x20;
    constexpr std::uint32_t kBigEndian = 0x40;
    constexpr std::uint32_t kDaqmx = 0x80;
    file_.SetBigEndian(false);
    const std::string tag = file_.GetText(4);
    if (tag == "TDSh") {
      file_.Fail("is an index; the measurement is in the .tdms file beside it");
    }
    file_.Require(tag == "TDSm", "a segment does not begin with TDSm");
    const auto flags = file_.Get<std::uint32_t>();
    file_.SetBigEndian((flags & kBigEndian) != 0);
    const auto version = file_.Get<std::uint32_t>();
    file_.Require(version == 4712 || version == 4713, "version is neither 4712 nor 4713");
    auto next = file_.Get<std::uint64_t>();
    const auto raw = file_.Get<std::uint64_t>();
    const std::uint64_t start = file_.Place();
    const bool open = next == UINT64_MAX;
    if (open) {
      notes_.emplace_back("the recording was not finished; what is there is read");
      next = file_.Left();
    }
    if (next > file_.Left()) {
      file_.Fail("cut short: the segment reaches " + std::to_string(next - file_.Left()) +
                 " bytes past the end of the file");
    }
    file_.Require(raw <= next, "raw data begin behind their segment");
    if ((flags & kNewList) != 0) {
      for (const std::size_t i : list_) {
        objects_[i].listed = false;
      }
      list_.clear();
    }
    if ((flags & kMeta) != 0) {
      ReadMetadata(file_.At(start, raw));
    }
    if ((flags & kDaqmx) != 0) {
      file_.Fail("DAQmx raw data are not read");
    }
    if ((flags & kRaw) != 0 && next > raw) {
      TakeRaw({start + raw, 0, 0, file_.IsBigEndian()}, next - raw, (flags & kInterleaved) != 0,
              open);
    }
    file_.GoTo(start + next);
  }

  void ReadMetadata(CByteCursor at) {
    constexpr std::uint64_t kLeastBytes = 12;
    constexpr std::uint32_t kNoData = 0xFFFFFFFF;
    const auto objects = at.Get<std::uint32_t>();
    at.Need(objects, kLeastBytes, "the list of objects");
    for (std::uint32_t i = 0; i < objects; ++i) {
      const std::string path = at.GetText(at.Get<std::uint32_t>());
      const auto [known, isNew] = paths_.try_emplace(path, objects_.size());
      if (isNew) {
        objects_.emplace_back().path = ParsePath(at, path);
        if (objects_.back().path.channel.empty()) {
          groups_.try_emplace(objects_.back().path.group, known->second);
        }
      }
      SObject& object = objects_[known->second];
      const auto length = at.Get<std::uint32_t>();
      if (length == kNoData) {
        if (std::exchange(object.listed, false)) {
          std::erase(list_, known->second);
        }
      } else {
        if (length != 0) {
          object.index = ReadIndex(at, length, object);
        } else if (!object.index) {
          at.Fail("data as before of " + Quoted(path) + ", of which there were none");
        }
        if (!std::exchange(object.listed, true)) {
          list_.push_back(known->second);
        }
      }
      const auto properties = at.Get<std::uint32_t>();
      at.Need(properties, kLeastBytes, "the list of properties");
      for (std::uint32_t k = 0; k < properties; ++k) {
        ReadTdmsProperty(at, object.properties);
      }
    }
  }

  static SRawIndex ReadIndex(CByteCursor& at, std::uint32_t length, const SObject& object) {
    if (length == 0x1269 || length == 0x126A || length == 0x1369) {
      at.Fail("channel " + Quoted(object.path.channel) + " holds DAQmx raw data" +
              (length == 0x1269 ? "" : " of digital lines") + ", which are not read");
    }
    SRawIndex index;
    index.type = at.Get<std::uint32_t>();
    const bool text = index.type == kTdmsText;
    at.Require(length == 20 || (text && length == 28), "a raw data index has an unknown length");
    at.Require(at.Get<std::uint32_t>() == 1, "raw data have more than one dimension");
    index.count = at.Get<std::uint64_t>();
    const SNumberFormat* const format = TdmsFormat(index.type);
    const std::uint64_t size = index.type == kTdmsTime ? 16
                               : format != nullptr     ? format->Bytes()
                                                       : 0;
    if (text) {
      index.bytes = at.Get<std::uint64_t>();
    } else if (size == 0) {
      at.Fail("channel " + Quoted(object.path.channel) + " holds data of the unknown type " +
              std::to_string(index.type));
    } else if (__builtin_mul_overflow(index.count, size, &index.bytes)) {
      at.Fail("a count of values is out of range");
    }
    return index;
  }

  void TakeRaw(SSegment segment, std::uint64_t bytes, bool interleaved, bool open) {
    std::uint64_t chunk = 0;
    std::uint64_t row = 0;
    for (const std::size_t i : list_) {
      const SRawIndex& index = *objects_[i].index;
      const bool fits = !__builtin_add_overflow(chunk, index.bytes, &chunk);
      file_.Require(fits, "a chunk of raw data is out of range");
      row += index.count > 0 ? index.bytes / index.count : 0;
      file_.Require(!interleaved ||
                        (index.type != kTdmsText && index.count == objects_[list_[0]].index->count),
                    "interleaved channels have unequal lengths, or are texts");
    }
    if (chunk == 0) {
      file_.Fail("raw data belong to no channel");
    }
    if (interleaved) {
      chunk = segment.stride = row;
    }
    segment.chunkBytes = chunk;
    const std::uint64_t chunks = bytes / chunk;
    if (bytes % chunk != 0 && !open) {
      file_.Fail("cut short: raw data of " + std::to_string(bytes) +
                 " bytes are no whole number of chunks of " + std::to_string(chunk));
    }
    std::uint64_t offset = 0;
    for (const std::size_t i : list_) {
      const SRawIndex& index = *objects_[i].index;
      if (index.count > 0 && chunks > 0) {  // rows follow each other through all chunks
        AddPiece(objects_[i], index,
                 {0, offset, interleaved ? chunks : index.count, segments_.size()},
                 interleaved ? 1 : chunks);
        offset += interleaved ? index.bytes / index.count : index.bytes;
      }
    }
    segments_.push_back(segment);
  }

  void AddPiece(SObject& object, const SRawIndex& index, SPiece piece, std::uint64_t chunks) {
    if (object.total > 0 && object.type != index.type) {
      file_.Fail("channel " + Quoted(object.path.channel) + " changes its type");
    }
    object.type = index.type;
    piece.first = object.total;
    const bool numbers = TdmsFormat(index.type) != nullptr;
    std::uint64_t added = 0;
    if (__builtin_mul_overflow(piece.count, chunks, &added) ||
        __builtin_add_overflow(object.total, added, &object.total)) {
      file_.Fail("a count of values is out of range");
    }
    if (numbers) {
      object.pieces.push_back(piece);
    }
  }

  void AddChannel(std::size_t i) {
    const SObject& object = objects_[i];
    const std::uint32_t type = object.total > 0 ? object.type
                               : object.index   ? object.index->type
                                                : 0;
    SFileChannel channel;
    channel.name = object.path.channel;
    channel.group = object.path.group;
    if (type == kTdmsText || type == kTdmsTime) {
      texts_.push_back(channel.name);
      return;
    }
    const auto group = groups_.find(object.path.group);
    const CTdmsLookUp look(object.properties,
                           group == groups_.end() ? nullptr : &objects_[group->second].properties);
    const SNumberFormat* const format = TdmsFormat(type);
    complex_ = complex_ || (format != nullptr && format->complex);
    channel.count = object.total;
    channel.unit = look.Text("unit_string");
    if (channel.unit.empty()) {
      channel.unit = look.Text("NI_UnitDescription");
    }
    channel.dx = 1.0;
    if (const double step = look.Number("wf_increment").value_or(0.0); step != 0.0) {
      channel.dx = step;
      channel.x0 = look.Number("wf_start_offset").value_or(0.0);
      channel.xUnit = look.Text("wf_xunit_string");
      channel.xUnit = channel.xUnit.empty() ? "s" : channel.xUnit;
    } else if (stepless_.empty()) {
      stepless_ = channel.name;
    }
    scales_.push_back(look.Scales(file_, channel.name));
    channels_.push_back(std::move(channel));
    object_.push_back(i);
  }

  CByteCursor file_;
  std::vector<SObject> objects_;
  std::map<std::string, std::size_t> paths_;
  std::map<std::string, std::size_t> groups_;
  std::vector<std::size_t> list_;  ///< objects with raw data in the segment at hand
  std::vector<SSegment> segments_;
  std::vector<std::size_t> object_;  ///< of each channel
  std::vector<std::vector<Polynomial>> scales_;
  std::vector<std::string> texts_;
  std::string stepless_;  ///< the first channel without a step
  bool complex_ = false;
  std::vector<std::uint8_t> bytes_;
  std::uint64_t held_ = UINT64_MAX;  ///< place of the bytes in the file
};

}  // namespace

std::unique_ptr<CChannelFile> OpenTdms(CFileStream& stream, const std::string& path) {
  return std::make_unique<CTdms>(stream, path);
}

}  // namespace limes::recordings

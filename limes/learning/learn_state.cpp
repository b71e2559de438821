#include "limes/learning/learn_state.h"

#include <tuple>

#include "limes/platform/file_stream.h"

namespace limes {
namespace {

struct SHead {
  std::uint32_t magic = 0x534D494C;  ///< "LIMS"
  std::uint16_t version = 1;
  std::uint16_t kind = 0;
  std::uint64_t payloadBytes = 0;

  static constexpr auto Fields(auto& h) {
    return std::tie(h.magic, h.version, h.kind, h.payloadBytes);
  }
};

constexpr std::size_t kSizeAt = 8;  ///< of payloadBytes in the record
constexpr std::size_t kHeadBytes = 16;

}  // namespace

const wide_char* Text(LearnStateStatus status) {
  switch (status) {
    case LearnStateStatus::kOk:
      return u"the learn state was read";
    case LearnStateStatus::kCutShort:
      return u"the learn state is cut short";
    case LearnStateStatus::kNoState:
      return u"this is no learn state";
    case LearnStateStatus::kOtherKind:
      return u"this is the learn state of another kind of limit";
    case LearnStateStatus::kVersion:
      return u"the learn state was written by a newer version";
    case LearnStateStatus::kChecksum:
      return u"the learn state is damaged: its checksum does not match";
    case LearnStateStatus::kContent:
      return u"the learn state contradicts itself";
    case LearnStateStatus::kMemory:
      return u"memory is short";
  }
  return u"";
}

namespace detail {

void BeginLearnState(RecordWriter& record, LearnStateKind kind, std::uint16_t version) {
  SHead head;
  head.version = version;
  head.kind = static_cast<std::uint16_t>(kind);
  record.PutFields(head);
}

void FinishLearnState(RecordWriter& record, CFileStream& file) {
  record.PutAt(kSizeAt, std::uint64_t{record.Bytes().size() - kHeadBytes});
  record.Put(Crc32(record.Bytes()));
  record.WriteTo(file);
}

constexpr std::uint16_t kNewestVersion = 2;  ///< of any kind of limit

LearnStateStatus ReadLearnState(CFileStream& file, LearnStateKind kind,
                                std::vector<std::uint8_t>& payload, std::uint16_t* version) {
  RecordReader in(file);
  SHead head;
  if (!in.GetFields(head)) {
    return LearnStateStatus::kCutShort;
  }
  if (head.magic != SHead().magic) {
    return LearnStateStatus::kNoState;
  }
  const bool ofThisKind = head.kind == static_cast<std::uint16_t>(kind);
  const std::uint16_t ofCaller = version != nullptr ? *version : 1;
  const std::uint16_t newest = ofThisKind ? ofCaller : kNewestVersion;
  if (head.version < 1 || head.version > newest) {
    return LearnStateStatus::kVersion;
  }
  if (version != nullptr) {
    *version = head.version;
  }
  std::uint32_t stated = 0;
  if (!in.Fits(head.payloadBytes, 1)) {
    return LearnStateStatus::kCutShort;
  }
  if (!in.GetArray(payload, head.payloadBytes)) {
    // With bytes enough, the array was not made: memory is short.
    return payload.size() < head.payloadBytes && in.Remaining() > 0 ? LearnStateStatus::kMemory
                                                                    : LearnStateStatus::kCutShort;
  }
  if (!in.Get(stated)) {
    return LearnStateStatus::kCutShort;
  }
  RecordWriter bytes;
  bytes.PutFields(head);
  if (Crc32(payload, Crc32(bytes.Bytes())) != stated) {
    return LearnStateStatus::kChecksum;
  }
  return ofThisKind ? LearnStateStatus::kOk : LearnStateStatus::kOtherKind;
}

}  // namespace detail
}  // namespace limes

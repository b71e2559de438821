// Learn states: the first byte picks the kind (bits 0 and 2) and, by bit 1, whether the checksum is
// made right, so that the fields behind it are reached. What is read is written again and read with
// the same bytes.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/learning/track_learning_tool.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/print_window.h"
#include "limes/signals/extended_curve.h"

namespace {

std::vector<std::uint8_t> BytesOf(const limes::CMemoryStream& file) {
  return {file.Bytes().begin(), file.Bytes().end()};
}

template <class Learner>
bool Check(const std::vector<std::uint8_t>& bytes, Learner& learner) {
  limes::CMemoryStream file(bytes);
  if (learner.ReadState(file) != limes::LearnStateStatus::kOk) {
    return false;
  }
  limes::CMemoryStream once;
  static_cast<void>(learner.WriteState(once));
  once.Seek(0);
  Learner back;
  limes::CMemoryStream twice;
  if (back.ReadState(once) != limes::LearnStateStatus::kOk || !back.WriteState(twice) ||
      BytesOf(once) != BytesOf(twice)) {
    std::abort();
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto kSilent = limes::PrWin::SetSink([](int, int, std::u16string_view) {});
  static_cast<void>(kSilent);
  if (size == 0) {
    return 0;
  }
  std::vector<std::uint8_t> bytes(data + 1, data + size);
  if ((data[0] & 2) != 0 && bytes.size() > 4) {
    const std::span<const std::uint8_t> covered(bytes.data(), bytes.size() - 4);
    limes::detail::ToLittleEndian(limes::detail::Crc32(covered), bytes.data() + covered.size());
  }
  if ((data[0] & 1) == 0) {
    limes::CLernenderGrenzwert limit;
    if (Check(bytes, limit)) {
      limit.NeueMessung(1.0F);
    }
    return 0;
  }
  if ((data[0] & 4) != 0) {
    limes::CTrackLernWerkzeug track;
    if (Check(bytes, track)) {
      const limes::CSigCurveExt probe = *track.Mittelwert();
      track.NeueMessung(&probe);
      track.GrenzeBilden();
      track.StdAbwKurve();
      track.LernzahlKurve();
      track.MaxAbweichung(&probe);
      track.Beurteilen(probe);
      track.Merge(track);
    }
    return 0;
  }
  limes::CKurvenLernWerkzeug tool;
  if (Check(bytes, tool)) {
    tool.Merge(tool);
    const limes::CSigCurveExt probe = limes::CSigCurveExt::Make(7, 10.0F, 15.0F);
    tool.NeueMessung(&probe);
    tool.StandardAbwBilden();
    tool.GrenzeBilden();
    tool.RmsAbweichung(&probe);
    tool.Beurteilen(probe);
    limes::CSigCurveExt fitted;
    static_cast<void>(limes::CSigCurveAssistent::AnpassenAn(probe, *tool.Mittelwert(), fitted));
  }
  return 0;
}

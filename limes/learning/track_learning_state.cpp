// The archive form and the learn state of a track learning tool.
#include <algorithm>
#include <utility>

#include "limes/core/object_archive.h"
#include "limes/learning/learn_record.h"
#include "limes/learning/track_learning_tool.h"
#include "limes/signals/extended_curve.h"

namespace limes {

constexpr std::uint32_t kArchiveVersion = 1;  ///< first byte of its word

bool CTrackLernWerkzeug::SState::IsCounted() const {
  return IsWhole() && counts.size() >= mean->DLen();
}

bool CTrackLernWerkzeug::InArchivSchreiben(CSerializer* archive) const {
  if (archive == nullptr || state_.mean == nullptr || state_.meanSquare == nullptr) {
    return false;
  }
  std::uint32_t words[] = {kArchiveVersion, static_cast<std::uint32_t>(state_.counts.size())};
  archive->StoreData(words, 1);
  archive->StoreData(words + 1, 1);
  if (archive->StoreObject(state_.mean.get()) == 0 ||
      archive->StoreObject(state_.meanSquare.get()) == 0) {
    return false;
  }
  archive->StoreData(state_.counts.data(), static_cast<int>(state_.counts.size()));
  return true;
}

bool CTrackLernWerkzeug::AusArchivLaden(CSerializer* archive) {
  std::uint32_t version = 0;
  std::uint32_t length = 0;
  if (archive == nullptr) {
    return false;
  }
  archive->LoadData(&version, 1);
  if (archive->LoadData(&length, 1) != 1 || length > archive->WordsToEnd()) {
    return false;
  }
  const bool loaded = detail::IfMemoryAllows(false, [&] {
    for (std::shared_ptr<CSigCurveExt>* const curve : {&state_.mean, &state_.meanSquare}) {
      if (*curve == nullptr) {
        *curve = std::make_shared<CSigCurveExt>(static_cast<int>(length));
      }
      if (archive->ReloadObject(curve->get()) == 0) {
        return false;
      }
    }
    return GrowCounts(length);
  });
  if (!loaded) {
    return false;
  }
  std::fill(state_.counts.begin(), state_.counts.end(), 0U);
  archive->LoadData(state_.counts.data(), static_cast<int>(length));
  state_.learnt = 1;
  GrenzeBilden();
  return true;
}

bool CTrackLernWerkzeug::WriteState(CFileStream& file) const {
  const auto put = [this](detail::RecordWriter& record) {
    const std::span<const std::uint32_t> counts(state_.counts);
    record.PutFields(state_);
    if (!detail::PutMeans(record, state_, counts.size_bytes())) {
      return false;
    }
    record.Put(static_cast<std::uint32_t>(counts.size()));
    record.PutArray(counts);
    return true;
  };
  return state_.IsCounted() && detail::WriteLearnState(file, detail::LearnStateKind::kTrack, put);
}

LearnStateStatus CTrackLernWerkzeug::ReadState(CFileStream& file) {
  const auto get = [](detail::RecordReader& in, SState& read, std::uint16_t /*version*/) {
    if (!in.GetFields(read) || read.timeScale != kTimeScale || read.learnt > 1) {
      return LearnStateStatus::kContent;
    }
    const LearnStateStatus status = detail::GetMeans(in, read);
    std::uint32_t length = 0;
    if (status != LearnStateStatus::kOk) {
      return status;
    }
    if (!in.Get(length) || !in.Fits(length, sizeof(std::uint32_t))) {
      return LearnStateStatus::kContent;
    }
    if (!in.GetArray(read.counts, length)) {
      return LearnStateStatus::kMemory;
    }
    return read.IsCounted() ? LearnStateStatus::kOk : LearnStateStatus::kContent;
  };
  const auto commit = [this](SState& read) {
    *this = CTrackLernWerkzeug();
    state_ = std::move(read);
  };
  return detail::ReadLearnState<SState>(file, detail::LearnStateKind::kTrack, get, commit);
}

}  // namespace limes

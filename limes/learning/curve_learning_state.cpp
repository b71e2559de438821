// The archive form and the learn state of a curve learning tool.
#include <utility>

#include "limes/core/object_archive.h"
#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learn_record.h"
#include "limes/signals/extended_curve.h"

namespace limes {

bool CKurvenLernWerkzeug::SState::IsConsistent() const {
  return generator->GetTime() >= 0 && generator->GetTimeScale() >= 0 && externalOn >= 0 &&
         externalOn <= 1;
}

int CKurvenLernWerkzeug::InArchivSchreiben(CSerializer* archive) const {
  if (archive == nullptr || state_.mean == nullptr || state_.meanSquare == nullptr) {
    return 0;
  }
  std::uint32_t words[] = {static_cast<std::uint32_t>(state_.count),
                           static_cast<std::uint32_t>(state_.generator->GetTimeScale())};
  return archive->StoreData(words, 2) == 2 && archive->StoreObject(state_.mean.get()) != 0 &&
                 archive->StoreObject(state_.meanSquare.get()) != 0
             ? 1
             : 0;
}

int CKurvenLernWerkzeug::AusArchivLaden(CSerializer* archive) {
  std::uint32_t words[2];
  if (archive == nullptr || archive->LoadData(words, 2) != 2) {
    return 0;
  }
  state_.count = static_cast<std::int32_t>(words[0]);
  state_.generator->SetTimeScale(static_cast<std::int32_t>(words[1]));
  state_.generator->SetTime(state_.count);
  if (!Make(state_.mean, 0) || !Make(state_.meanSquare, 0) ||
      archive->ReloadObject(state_.mean.get()) == 0 ||
      archive->ReloadObject(state_.meanSquare.get()) == 0) {
    return 0;
  }
  GrenzeBilden();
  return 1;
}

bool CKurvenLernWerkzeug::WriteState(CFileStream& file) const {
  return state_.IsWhole() && detail::WriteLearnState(file, detail::LearnStateKind::kCurve,
                                                     [this](detail::RecordWriter& record) {
                                                       record.PutFields(state_);
                                                       return detail::PutMeans(record, state_);
                                                     });
}

LearnStateStatus CKurvenLernWerkzeug::ReadState(CFileStream& file) {
  const auto get = [](detail::RecordReader& in, SState& read, std::uint16_t /*version*/) {
    return in.GetFields(read) && read.IsConsistent() ? detail::GetMeans(in, read)
                                                     : LearnStateStatus::kContent;
  };
  const auto commit = [this](SState& read) {
    state_ = std::move(read);
    spread_ = limit_ = ownLimit_ = nullptr;
    formed_ = nullptr;
    fitted_ = nullptr;
  };
  return detail::ReadLearnState<SState>(file, detail::LearnStateKind::kCurve, get, commit);
}

}  // namespace limes

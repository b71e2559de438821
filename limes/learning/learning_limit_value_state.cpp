// The archive form and the learn state of the limit of a value.
#include <bit>
#include <utility>

#include "limes/core/object_archive.h"
#include "limes/learning/learn_record.h"
#include "limes/learning/learning_limit_value.h"

namespace limes {
namespace {

constexpr std::size_t kNameWords = 20;  ///< two characters each
constexpr std::size_t kFloatWords = 8;

template <std::size_t n>
using Words = std::array<std::uint32_t, n>;

/// All words; false when only some fit, which then stay in the archive.
template <std::size_t n>
bool Store(CSerializer& archive, Words<n> words) {
  return archive.StoreData(words.data(), static_cast<int>(n)) == static_cast<int>(n);
}

template <std::size_t n>
bool Load(CSerializer& archive, Words<n>& words) {
  return archive.LoadData(words.data(), static_cast<int>(n)) == static_cast<int>(n);
}

}  // namespace

bool CLernenderGrenzwert::SState::IsConsistent() const {
  return bounded <= 1 && externalOn <= 1 && hasFixedLower <= 1 && hasFixedUpper <= 1 &&
         generator.GetTime() >= 0 && generator.GetTimeScale() >= 0 && name.back() == 0;
}

bool CLernenderGrenzwert::InArchivSchreiben(CSerializer* archive) const {
  if (archive == nullptr) {
    return false;
  }
  Words<kNameWords> name{};
  for (std::size_t i = 0; i < kNameWords; ++i) {
    name[i] = state_.name[2 * i] | static_cast<std::uint32_t>(state_.name[2 * i + 1]) << 16;
  }
  const Words<3> counts = {static_cast<std::uint32_t>(state_.count),
                           static_cast<std::uint32_t>(state_.generator.GetTimeScale()),
                           state_.bounded};
  const auto floats = std::apply(
      [](const auto&... field) {
        return Words<kFloatWords>{std::bit_cast<std::uint32_t>(static_cast<float>(field))...};
      },
      SState::ArchiveFields(state_));
  return Store(*archive, name) && Store(*archive, counts) && Store(*archive, floats);
}

bool CLernenderGrenzwert::AusArchivLaden(CSerializer* archive) {
  Words<kNameWords> name{};
  if (archive == nullptr || !Load(*archive, name)) {
    return false;
  }
  for (std::size_t i = 0; i < kNameWords; ++i) {
    state_.name[2 * i] = static_cast<wide_char>(name[i]);
    state_.name[2 * i + 1] = static_cast<wide_char>(name[i] >> 16);
  }
  Words<3> counts{};
  if (!Load(*archive, counts)) {
    return false;
  }
  state_.count = static_cast<std::int32_t>(counts[0]);
  state_.generator.SetTimeScale(static_cast<std::int32_t>(counts[1]));
  state_.generator.SetTime(state_.count);
  state_.bounded = counts[2] != 0 ? 1 : 0;
  Words<kFloatWords> floats{};
  if (!Load(*archive, floats)) {
    return false;
  }
  state_.exact = {};
  std::apply([next = floats.begin()](
                 auto&... field) mutable { ((field = std::bit_cast<float>(*next++)), ...); },
             SState::ArchiveFields(state_));
  FindGiven();
  return true;
}

bool CLernenderGrenzwert::WriteState(CFileStream& file) const {
  const bool checked = state_.exact.on || state_.unit;
  const auto put = [&](detail::RecordWriter& record) {
    record.PutFields(state_);
    if (checked) {
      record.Put(static_cast<std::uint8_t>((state_.exact.on ? 1 : 0) | (state_.unit ? 2 : 0)));
      record.PutFields(state_.exact);
      detail::PutUnit(record, state_.unit.value_or(CMeasuringUnit()));
    }
    return true;
  };
  return detail::WriteLearnState(file, detail::LearnStateKind::kLimitValue, put, checked ? 2 : 1);
}

LearnStateStatus CLernenderGrenzwert::ReadState(CFileStream& file) {
  const auto get = [](detail::RecordReader& in, SState& read, std::uint16_t version) {
    std::uint8_t has = 0;
    CMeasuringUnit unit;
    if (!in.GetFields(read) || !read.IsConsistent() ||
        (version == 2 &&
         (!in.Get(has) || has > 3 || !in.GetFields(read.exact) || !detail::GetUnit(in, unit)))) {
      return LearnStateStatus::kContent;
    }
    read.exact.on = (has & 1) != 0;
    if ((has & 2) != 0) {
      read.unit = std::move(unit);
    }
    return LearnStateStatus::kOk;
  };
  const auto commit = [this](SState& read) {
    state_ = std::move(read);
    FindGiven();
  };
  return detail::ReadLearnState<SState>(file, detail::LearnStateKind::kLimitValue, get, commit, 2);
}

}  // namespace limes

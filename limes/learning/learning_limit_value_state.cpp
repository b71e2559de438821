#include <bit>
#include <span>
#include <tuple>
#include <utility>

#include "limes/core/object_archive.h"
#include "limes/learning/learn_record.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/memory_errors.h"

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

std::uint32_t FloatWord(double value) {
  return std::bit_cast<std::uint32_t>(static_cast<float>(value));
}

}  // namespace

bool CLernenderGrenzwert::InArchivSchreiben(CSerializer* archive) const {
  if (archive == nullptr) {
    return false;
  }
  Words<kNameWords> name{};
  for (std::size_t i = 0; i < kNameWords; ++i) {
    name[i] = name_[2 * i] | static_cast<std::uint32_t>(name_[2 * i + 1]) << 16;
  }
  const Words<3> counts = {static_cast<std::uint32_t>(count_),
                           static_cast<std::uint32_t>(generator_.GetTimeScale()),
                           bounded_ ? 1U : 0U};
  const Words<kFloatWords> floats = {FloatWord(mean_),  FloatWord(meanSquare_), FloatWord(limit_),
                                     FloatWord(last_),  FloatWord(base_),       FloatWord(factor_),
                                     FloatWord(lower_), FloatWord(upper_)};
  return Store(*archive, name) && Store(*archive, counts) && Store(*archive, floats);
}

bool CLernenderGrenzwert::AusArchivLaden(CSerializer* archive) {
  Words<kNameWords> name{};
  if (archive == nullptr || !Load(*archive, name)) {
    return false;
  }
  for (std::size_t i = 0; i < kNameWords; ++i) {
    name_[2 * i] = static_cast<wide_char>(name[i]);
    name_[2 * i + 1] = static_cast<wide_char>(name[i] >> 16);
  }
  Words<3> counts{};
  if (!Load(*archive, counts)) {
    return false;
  }
  count_ = static_cast<std::int32_t>(counts[0]);
  generator_.SetTimeScale(static_cast<std::int32_t>(counts[1]));
  generator_.SetTime(count_);
  bounded_ = counts[2] != 0;
  Words<kFloatWords> floats{};
  if (!Load(*archive, floats)) {
    return false;
  }
  const auto value = [&floats](std::size_t i) { return double{std::bit_cast<float>(floats[i])}; };
  exact_ = {};
  mean_ = value(0);
  meanSquare_ = value(1);
  limit_ = value(2);
  last_ = std::bit_cast<float>(floats[3]);
  base_ = value(4);
  factor_ = value(5);
  lower_ = value(6);
  upper_ = value(7);
  FindGiven();
  return true;
}

/// Everything of a limit, in the order of its learn state.
struct CLernenderGrenzwert::SState {
  double mean = 0.0;
  double meanSquare = 0.0;
  double limit = 0.0;
  std::int32_t count = 0;
  float last = 0.0F;
  std::int32_t errorcode = 0;
  double base = 0.0;
  double factor = 0.0;
  double lower = 0.0;
  double upper = 0.0;
  std::uint8_t bounded = 0;
  std::uint8_t externalOn = 0;
  float external = 0.0F;
  std::int32_t time = 0;
  std::int32_t timeScale = 0;
  double fixedLower = 0.0;
  double fixedUpper = 0.0;
  std::uint8_t hasFixedLower = 0;
  std::uint8_t hasFixedUpper = 0;
  std::array<wide_char, kNameLength> name{};

  static constexpr auto Fields(auto& s) {
    return std::tie(s.mean, s.meanSquare, s.limit, s.count, s.last, s.errorcode, s.base, s.factor,
                    s.lower, s.upper, s.bounded, s.externalOn, s.external, s.time, s.timeScale,
                    s.fixedLower, s.fixedUpper, s.hasFixedLower, s.hasFixedUpper, s.name);
  }

  bool IsConsistent() const {
    return bounded <= 1 && externalOn <= 1 && hasFixedLower <= 1 && hasFixedUpper <= 1 &&
           time >= 0 && timeScale >= 0 && name.back() == 0;
  }
};

bool CLernenderGrenzwert::WriteState(CFileStream& file) const {
  SState state;
  state.mean = mean_;
  state.meanSquare = meanSquare_;
  state.limit = limit_;
  state.count = count_;
  state.last = last_;
  state.errorcode = errorcode_;
  state.base = base_;
  state.factor = factor_;
  state.lower = lower_;
  state.upper = upper_;
  state.bounded = bounded_ ? 1 : 0;
  state.externalOn = externalOn_ ? 1 : 0;
  state.external = external_;
  state.time = generator_.GetTime();
  state.timeScale = generator_.GetTimeScale();
  state.fixedLower = fixedLower_;
  state.fixedUpper = fixedUpper_;
  state.hasFixedLower = hasFixedLower_ ? 1 : 0;
  state.hasFixedUpper = hasFixedUpper_ ? 1 : 0;
  state.name = name_;
  try {
    detail::RecordWriter record;
    const bool checked = exact_.on || unit_;
    detail::BeginLearnState(record, detail::LearnStateKind::kLimitValue, checked ? 2 : 1);
    record.PutFields(state);
    if (checked) {
      record.Put(static_cast<std::uint8_t>((exact_.on ? 1 : 0) | (unit_ ? 2 : 0)));
      record.PutFields(exact_);
      detail::PutUnit(record, unit_.value_or(CMeasuringUnit()));
    }
    detail::FinishLearnState(record, file);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

LearnStateStatus CLernenderGrenzwert::ReadState(CFileStream& file) {
  return detail::IfMemoryAllows(LearnStateStatus::kMemory, [&] {
    std::vector<std::uint8_t> payload;
    std::uint16_t version = 2;
    const LearnStateStatus status =
        detail::ReadLearnState(file, detail::LearnStateKind::kLimitValue, payload, &version);
    if (status != LearnStateStatus::kOk) {
      return status;
    }
    CMemoryStream stream{std::span<const std::uint8_t>(payload)};
    detail::RecordReader in(stream);
    SState state;
    std::uint8_t has = 0;
    SExact exact;
    CMeasuringUnit unit;
    if (!in.GetFields(state) || !state.IsConsistent() ||
        (version == 2 &&
         (!in.Get(has) || has > 3 || !in.GetFields(exact) || !detail::GetUnit(in, unit))) ||
        stream.Remaining() != 0) {
      return LearnStateStatus::kContent;
    }
    exact_ = exact;
    exact_.on = (has & 1) != 0;
    unit_.reset();
    if ((has & 2) != 0) {
      unit_ = std::move(unit);
    }
    mean_ = state.mean;
    meanSquare_ = state.meanSquare;
    limit_ = state.limit;
    count_ = state.count;
    last_ = state.last;
    errorcode_ = state.errorcode;
    base_ = state.base;
    factor_ = state.factor;
    lower_ = state.lower;
    upper_ = state.upper;
    bounded_ = state.bounded != 0;
    externalOn_ = state.externalOn != 0;
    external_ = state.external;
    generator_ = CExpAverFacGenerator(state.time, state.timeScale);
    fixedLower_ = state.fixedLower;
    fixedUpper_ = state.fixedUpper;
    hasFixedLower_ = state.hasFixedLower != 0;
    hasFixedUpper_ = state.hasFixedUpper != 0;
    name_ = state.name;
    FindGiven();
    return LearnStateStatus::kOk;
  });
}

}  // namespace limes

#include "limes/c/state.h"

#include <vector>

#include "limes/platform/file_stream.h"

namespace limes::c {

AnyLimit Made(int kind, const SRatedRule& rule) {
  switch (kind) {
    case LIMES_VALUE:
      return ValueLimit(rule);
    case LIMES_CURVE:
      return CurveLimit(rule);
    case LIMES_TRACK:
      return TrackLimit(rule);
    case kPrecise:
      Require(rule.timeScale == CExpAverFacGenerator::kNoForgetting,
              "precise, but with a time scale");
      return PreciseLimit(rule);
    default:
      throw SFailure{LIMES_ARGUMENT, "no such kind"};
  }
}

namespace {

/// The other form of a limit of curves.
template <class To, class From>
AnyLimit OtherForm(const From& from) {
  To made;
  Require(from.Rule().timeScale == CExpAverFacGenerator::kNoForgetting,
          "precise, but with a time scale");
  if (!made.TakeFrom(from)) {
    throw std::bad_alloc();
  }
  return made;
}

/// Where a state of rated limits says what kind it is of: behind the head of the record.
constexpr std::size_t kKindAt = 16;

/// Where a state of a learner says what kind it is of: the numbers are those of the interface.
constexpr std::size_t kLearnerKindAt = 6;
constexpr int kPreciseLearner = 8;

}  // namespace

AnyLimit Converted(const AnyLimit& any) {
  const auto* const precise = std::get_if<PreciseLimit>(&any);
  return precise != nullptr ? OtherForm<CurveLimit>(*precise)
                            : OtherForm<PreciseLimit>(std::get<CurveLimit>(any));
}

AnyLimit Read(const void* bytes, std::size_t size) {
  Require(bytes != nullptr, "a null pointer");
  const std::span given(static_cast<const std::uint8_t*>(bytes), size);
  const int kind = size > kKindAt ? given[kKindAt] : 0;
  LearnStateStatus status = LearnStateStatus::kContent;
  if (kind >= LIMES_VALUE && kind <= kPrecise) {
    AnyLimit any = Made(kind, {});
    CMemoryStream stream(given);
    status = std::visit([&](auto& known) { return known.ReadState(stream); }, any);
    if (status == LearnStateStatus::kOk && stream.Remaining() == 0) {
      return any;
    }
  }
  if (status == LearnStateStatus::kMemory) {
    throw std::bad_alloc();
  }
  throw SFailure{LIMES_STATE, limes_status_text(LIMES_STATE)};
}

Bytes BytesOf(const void* bytes, std::size_t size) {
  Require(bytes != nullptr || size == 0, "a null pointer");
  return {static_cast<const std::uint8_t*>(bytes), size};
}

AnyLimit ReadRecords(const SRatedRule& rule, Bytes upper, Bytes lower, Bytes scores) {
  std::vector<Bytes> sides;
  if (rule.sides != Sides::kLower) {
    sides.push_back(upper);
  }
  if (rule.sides != Sides::kUpper) {
    sides.push_back(lower);
  }
  const int told = sides[0].size() > kLearnerKindAt ? sides[0][kLearnerKindAt] : 0;
  const int kind = told == kPreciseLearner ? kPrecise : told;
  if (kind >= LIMES_VALUE && (kind <= LIMES_TRACK || told == kPreciseLearner)) {
    AnyLimit any = Made(kind, rule);
    const LearnStateStatus status =
        std::visit([&](auto& known) { return known.ReadRecords(rule, sides, scores); }, any);
    if (status == LearnStateStatus::kOk) {
      return any;
    }
    if (status == LearnStateStatus::kMemory) {
      throw std::bad_alloc();
    }
  }
  throw SFailure{LIMES_STATE, limes_status_text(LIMES_STATE)};
}

}  // namespace limes::c

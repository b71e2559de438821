// States of the C interface, with their checksum made right for bit 0 of the first byte (bit 1:
// that of the first record inside, too). What is read is written with the same bytes, learns and
// judges a part, joins with itself and hands out its limits.
#include <array>
#include <cmath>

#include "fuzz/fuzz.h"
#include "limes/c/limes.h"
#include "limes/platform/record_io.h"

namespace limes::fuzz {
namespace {

constexpr std::size_t kHead = 16;
constexpr std::size_t kRatedHead = 35;  ///< kind, sides, given, base, rate, time scale, ...

void MakeChecksumRight(Bytes& bytes, std::size_t from, std::size_t size) {
  if (size > kHead + 4 && from + size <= bytes.size()) {
    const Input covered = Input(bytes).subspan(from, size - 4);
    detail::ToLittleEndian(detail::Crc32(covered), bytes.data() + from + size - 4);
  }
}

Bytes Written(const limes_limit* limit) {
  std::size_t size = 0;
  Require(limes_write(limit, nullptr, &size) == LIMES_BUFFER);
  Bytes bytes(size);
  Require(limes_write(limit, bytes.data(), &size) == LIMES_OK);
  return bytes;
}

void Use(limes_limit* limit) {
  std::array<float, 40> values;
  for (std::size_t i = 0; i < values.size(); ++i) {
    values[i] = 60.0F + static_cast<float>(i % 7);
  }
  limes_curve part = {};
  part.size = sizeof part;
  part.floats = values.data();
  part.count = values.size();
  part.dx = 10.0;
  limes_outcome outcome = LIMES_NOT_JUDGED;
  if (limes_kind_of(limit) == LIMES_VALUE) {
    Require(limes_judge_value(limit, 1.0, nullptr, &outcome) == LIMES_OK);
    limes_learn_value(limit, 1.0, "mm");
  } else {
    Require(limes_judge_curve(limit, &part, &outcome) == LIMES_OK);
    limes_learn_curve(limit, &part);
  }
  for (const limes_side side : {LIMES_UPPER, LIMES_LOWER}) {
    limes_judgement judgement = {};
    judgement.size = sizeof judgement;
    if (limes_judgement_of(limit, side, &judgement) == LIMES_OK) {
      Require(judgement.outcome != LIMES_PASS || judgement.excess <= 1.0);
    }
    std::vector<double> bound(1 << 16);
    std::size_t count = bound.size();
    limes_limits(limit, side, nullptr, nullptr, nullptr, bound.data(), &count);
  }
  limes_promise promise = {};
  promise.size = sizeof promise;
  Require(limes_promise_of(limit, &promise) == LIMES_OK);
}

}  // namespace

void Try(Input input) {
  const unsigned way = TakeByte(input);
  Bytes bytes(input.begin(), input.end());
  if ((way & 2U) != 0 && bytes.size() > kHead + kRatedHead + 8) {
    const auto size = detail::FromLittleEndian<std::uint64_t>(bytes.data() + kHead + kRatedHead);
    if (size < bytes.size()) {
      MakeChecksumRight(bytes, kHead + kRatedHead + 8, static_cast<std::size_t>(size));
    }
  }
  if ((way & 1U) != 0) {
    MakeChecksumRight(bytes, 0, bytes.size());
  }
  limes_limit* limit = nullptr;
  if (limes_read(bytes.data(), bytes.size(), &limit) != LIMES_OK) {
    Require(limit == nullptr);
    return;
  }
  limes_limit* again = nullptr;
  const Bytes written = Written(limit);
  Require(limes_read(written.data(), written.size(), &again) == LIMES_OK);
  Require(Written(again) == written);
  const std::int64_t learnt = limes_learnt(limit);
  if (limes_merge(limit, again) == LIMES_OK) {
    Require(limes_learnt(limit) >= learnt);
  }
  Use(limit);
  limes_free(again);
  limes_free(limit);
}

}  // namespace limes::fuzz

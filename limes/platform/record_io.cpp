#include "limes/platform/record_io.h"

#include "limes/platform/cpu_clones.h"
#include "limes/platform/file_stream.h"

#if defined(LIMES_HAS_WIDE)
#include <immintrin.h>
#endif

namespace limes::detail {

namespace {

/// Table k gives the effect of a byte that k further bytes follow, so that 16 are taken at once.
/// Source: Kounavis, Berry: A systematic approach to building high performance software-based CRC
/// generators, 2005 ("slicing").
constexpr auto kCrcTables = [] {
  std::array<std::array<std::uint32_t, 256>, 16> tables{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t crc = byte;
    for (int bit = 0; bit < 8; ++bit) {
      crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320U : crc >> 1;
    }
    tables[0][byte] = crc;
  }
  for (std::size_t k = 1; k < 16; ++k) {
    for (std::size_t byte = 0; byte < 256; ++byte) {
      const std::uint32_t crc = tables[k - 1][byte];
      tables[k][byte] = crc >> 8 ^ tables[0][crc & 0xFF];
    }
  }
  return tables;
}();

/// Goes on with bytes, 16 at a time; neither crc nor result is inverted.
std::uint32_t CrcBySlices(const std::uint8_t* bytes, std::size_t n, std::uint32_t crc) {
  std::size_t i = 0;
  // The effect of four bytes that `behind` further bytes follow.
  const auto effect = [](std::uint32_t four, std::size_t behind) {
    return kCrcTables[behind + 3][four & 0xFF] ^ kCrcTables[behind + 2][four >> 8 & 0xFF] ^
           kCrcTables[behind + 1][four >> 16 & 0xFF] ^ kCrcTables[behind][four >> 24];
  };
  for (; n - i >= 16; i += 16) {
    const auto four = [at = bytes + i](std::size_t k) {
      return FromLittleEndian<std::uint32_t>(at + 4 * k);
    };
    crc = effect(four(0) ^ crc, 12) ^ effect(four(1), 8) ^ effect(four(2), 4) ^ effect(four(3), 0);
  }
  for (; i < n; ++i) {
    crc = crc >> 8 ^ kCrcTables[0][(crc ^ bytes[i]) & 0xFF];
  }
  return crc;
}

#if defined(LIMES_HAS_WIDE)
#define LIMES_FOLDING __attribute__((target("pclmul,sse2")))

constexpr std::size_t kFold = 64;  ///< bytes

/// What 16 bytes add to the 16 that lie further behind: each half times x^distance, which a pair of
/// powers gives.
LIMES_FOLDING inline __m128i Folded(__m128i sum, __m128i powers, __m128i next) {
  return _mm_xor_si128(next, _mm_xor_si128(_mm_clmulepi64_si128(sum, powers, 0x00),
                                           _mm_clmulepi64_si128(sum, powers, 0x11)));
}

/// Takes whole folds of n >= kFold bytes and gives the crc behind them. The powers are x^(distance
/// +- 32) modulo the polynomial, reflected. Source: Gopal, Ozturk, Guilford, Wolrich, Feghali,
/// Dixon, Karakoyunlu: Fast CRC computation for generic polynomials using PCLMULQDQ, 2009.
LIMES_FOLDING std::uint32_t CrcByFolding(const std::uint8_t* bytes, std::size_t n,
                                         std::uint32_t crc) {
  const __m128i by64 = _mm_set_epi64x(0x1C6E41596, 0x154442BD4);
  const __m128i by16 = _mm_set_epi64x(0x0CCAA009E, 0x1751997D0);
  const auto at = [bytes](std::size_t i) LIMES_FOLDING {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i));
  };
  __m128i a = _mm_xor_si128(at(0), _mm_cvtsi32_si128(static_cast<int>(crc)));
  __m128i b = at(16);
  __m128i c = at(32);
  __m128i d = at(48);
  for (std::size_t i = kFold; i + kFold <= n; i += kFold) {
    a = Folded(a, by64, at(i));
    b = Folded(b, by64, at(i + 16));
    c = Folded(c, by64, at(i + 32));
    d = Folded(d, by64, at(i + 48));
  }
  std::uint8_t rest[16];
  _mm_storeu_si128(reinterpret_cast<__m128i*>(rest),
                   Folded(Folded(Folded(a, by16, b), by16, c), by16, d));
  return CrcBySlices(rest, sizeof(rest), 0);
}
#endif

}  // namespace

std::uint32_t Crc32(std::span<const std::uint8_t> bytes, std::uint32_t crc) {
  const std::uint8_t* at = bytes.data();
  std::size_t left = bytes.size();
  crc = ~crc;
#if defined(LIMES_HAS_WIDE)
  static const bool kFolds = __builtin_cpu_supports("pclmul") != 0;
  if (kFolds && left >= kFold) {
    const std::size_t taken = left / kFold * kFold;
    crc = CrcByFolding(at, taken, crc);
    at += taken;
    left -= taken;
  }
#endif
  return ~CrcBySlices(at, left, crc);
}

std::int64_t RecordReader::Remaining() const { return file_.Remaining(); }

bool RecordReader::Fits(std::uint64_t count, std::size_t elementBytes) const {
  const std::int64_t left = Remaining();
  return left < 0 || count <= static_cast<std::uint64_t>(left) / elementBytes;
}

bool RecordReader::GetBytes(void* data, std::size_t n) {
  // A stream may deliver less than asked for before its end, so ask again until nothing comes.
  auto* const bytes = static_cast<std::uint8_t*>(data);
  for (std::size_t done = 0; ok_ && done < n;) {
    const std::size_t got = file_.Read(bytes + done, n - done);
    if (got == 0 || got > n - done) {
      return Fail();
    }
    done += got;
  }
  return ok_;
}

bool RecordReader::Skip(std::uint64_t n) {
  if (!ok_ || !Fits(n, 1)) {
    return Fail();
  }
  std::array<std::uint8_t, 4096> buffer;
  while (n > 0 && ok_) {
    const auto piece = static_cast<std::size_t>(std::min<std::uint64_t>(n, buffer.size()));
    ok_ = GetBytes(buffer.data(), piece);
    n -= piece;
  }
  return ok_;
}

std::uint8_t* RecordWriter::Grow(std::size_t n) {
  const std::size_t at = bytes_.size();
  bytes_.resize(at + n);
  return bytes_.data() + at;
}

void RecordWriter::PutBytes(const void* data, std::size_t n) {
  const auto* const bytes = static_cast<const std::uint8_t*>(data);
  bytes_.insert(bytes_.end(), bytes, bytes + n);
}

void RecordWriter::PutChars(std::string_view text, std::size_t width) {
  const std::size_t n = std::min(text.size(), width);
  PutBytes(text.data(), n);
  bytes_.resize(bytes_.size() + (width - n));
}

void RecordWriter::WriteTo(CFileStream& file) const { file.Write(bytes_.data(), bytes_.size()); }

}  // namespace limes::detail

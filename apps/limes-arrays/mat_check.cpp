#include "apps/limes-arrays/mat_check.h"

#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "apps/limes-arrays/array_source.h"
#include "recordings/formats/expansion.h"

namespace limes::arrays {
namespace {

class CMatWalk {
 public:
  CMatWalk() {
    struct stat state {};
    fstat(STDIN_FILENO, &state);
    size_ = static_cast<std::uint64_t>(state.st_size);
  }

  std::size_t Count() {
    constexpr std::uint64_t kHead = 128;
    std::array<char, 4> start{};
    GetBytes(0, start.data(), start.size());
    const bool old = std::find(start.begin(), start.end(), '\0') != start.end();
    if (old) {
      return CountOld();
    }
    std::array<char, 2> order{};
    GetBytes(kHead - 2, order.data(), order.size());
    if (std::memcmp(order.data(), "IM", 2) != 0 && std::memcmp(order.data(), "MI", 2) != 0) {
      throw CFault("does not begin as such a file does");
    }
    swap_ = order[0] == 'M';
    return CountElements(kHead);
  }

 private:
  void GetBytes(std::uint64_t place, void* to, std::size_t bytes) const {
    if (place > size_ || bytes > size_ - place ||
        pread(STDIN_FILENO, to, bytes, static_cast<off_t>(place)) != static_cast<ssize_t>(bytes)) {
      throw CFault("cut short: ends at byte " + std::to_string(size_) + " in a variable");
    }
  }

  template <std::size_t n>
  std::array<std::uint32_t, n> Words(std::uint64_t place) const {
    std::array<std::uint32_t, n> words{};
    GetBytes(place, words.data(), sizeof(words));
    for (std::uint32_t& word : words) {
      word = swap_ ? __builtin_bswap32(word) : word;
    }
    return words;
  }

  std::size_t CountElements(std::uint64_t place) {
    constexpr std::uint32_t kMatrix = 14;
    constexpr std::uint32_t kCompressed = 15;
    std::size_t count = 0;
    for (; place < size_; ++count) {
      const auto [type, bytes] = Words<2>(place);
      place += 8;
      if (type != kMatrix && type != kCompressed) {
        throw CFault("byte " + std::to_string(place - 8) + ": no variable begins here (type " +
                     std::to_string(type) + ")");
      }
      if (bytes > size_ - place) {
        throw CFault("cut short: a variable reaches " + std::to_string(bytes - (size_ - place)) +
                     " bytes past the end of the file");
      }
      if (type == kCompressed) {
        Inflate(place, bytes);
      }
      place += bytes;
    }
    return count;
  }

  void Inflate(std::uint64_t place, std::uint64_t bytes) {
    constexpr std::size_t kBlock = std::size_t{1} << 16;
    std::vector<unsigned char> in(kBlock);
    std::vector<unsigned char> out(kBlock);
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK) {
      throw std::bad_alloc();
    }
    int state = Z_OK;
    while (state == Z_OK && (bytes > 0 || stream.avail_in > 0)) {
      if (stream.avail_in == 0) {
        const std::size_t n = std::min<std::uint64_t>(bytes, kBlock);
        GetBytes(place, in.data(), n);
        place += n;
        bytes -= n;
        stream.next_in = in.data();
        stream.avail_in = static_cast<unsigned>(n);
      }
      stream.next_out = out.data();
      stream.avail_out = kBlock;
      state = inflate(&stream, Z_NO_FLUSH);
      expanded_ += kBlock - stream.avail_out;
      if (expanded_ > recordings::MostExpanded(size_)) {
        inflateEnd(&stream);
        throw CFault("expands to more than " + std::to_string(recordings::MostExpanded(size_)) +
                     " bytes");
      }
    }
    inflateEnd(&stream);
    if (state != Z_STREAM_END) {
      throw CFault("the compressed data of a variable are damaged");
    }
  }

  std::size_t CountOld() {
    constexpr std::uint32_t kMostType = 4052;
    constexpr std::array<std::uint64_t, 6> kBytes = {8, 4, 4, 2, 2, 1};
    swap_ = Words<1>(0)[0] > kMostType;
    std::size_t count = 0;
    for (std::uint64_t place = 0; place < size_; ++count) {
      const auto [type, rows, columns, complex, name] = Words<5>(place);
      place += 20;
      const std::uint32_t number = type / 10 % 10;
      std::uint64_t bytes = 0;
      if (type > kMostType || number >= kBytes.size() || complex > 1 || type % 10 > 2) {
        throw CFault("byte " + std::to_string(place - 20) + ": no variable begins here");
      }
      if (__builtin_mul_overflow(std::uint64_t{rows} * columns, kBytes[number] * (1 + complex),
                                 &bytes) ||
          bytes > size_ - place || name > size_ - place - bytes) {
        throw CFault("cut short: a variable reaches past the end of the file");
      }
      place += bytes + name;
    }
    return count;
  }

  std::uint64_t size_ = 0;
  std::uint64_t expanded_ = 0;
  bool swap_ = false;
};

}  // namespace

std::size_t CheckMatFile() { return CMatWalk().Count(); }

}  // namespace limes::arrays

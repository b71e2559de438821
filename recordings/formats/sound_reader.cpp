#include <sndfile.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "recordings/errors.h"
#include "recordings/recording.h"

namespace limes::recordings {
namespace {

std::uint32_t Word(const std::uint8_t* p, bool bigEndian) {
  return bigEndian ? std::uint32_t{p[0]} << 24 | std::uint32_t{p[1]} << 16 |
                         std::uint32_t{p[2]} << 8 | p[3]
                   : std::uint32_t{p[3]} << 24 | std::uint32_t{p[2]} << 16 |
                         std::uint32_t{p[1]} << 8 | p[0];
}

/// libsndfile takes a file that ends early for a shorter recording, so the chunks are checked
/// against the size of the file: empty when all is there, else what is wrong.
std::string CheckChunks(CFileStream& stream) {
  constexpr std::uint32_t kUnknown = 0xFFFFFFFF;
  std::array<std::uint8_t, 36> block{};
  stream.Seek(0);
  if (stream.Read(block.data(), 12) != 12) {
    return "shorter than the head of a sound file";
  }
  const auto is = [&](std::size_t at, const char* id) {
    return std::memcmp(block.data() + at, id, 4) == 0;
  };
  const bool bigEndian = is(0, "RIFX") || is(0, "FORM");
  if (!bigEndian && !is(0, "RIFF") && !is(0, "RF64")) {
    return "";  // not made of chunks; the number of samples read is checked
  }
  std::int64_t longSize = -1;
  for (;;) {
    if (stream.Read(block.data(), 8) != 8) {
      return "cut short: no samples";
    }
    std::int64_t size = Word(block.data() + 4, bigEndian);
    const bool samples = is(0, "data") || is(0, "SSND");
    if (is(0, "ds64") && stream.Remaining() >= 16) {
      const std::int64_t back = stream.Position();
      if (stream.Read(block.data(), 16) == 16) {
        longSize = static_cast<std::int64_t>(Word(block.data() + 12, false)) << 32 |
                   Word(block.data() + 8, false);
      }
      stream.Seek(back);
    }
    if (samples && size == kUnknown) {
      size = longSize;
    }
    if (size < 0) {
      return "does not say how long it is; the recording was not finished";
    }
    if (size > stream.Remaining()) {
      return "cut short: " + std::to_string(stream.Remaining()) + " bytes where " +
             std::to_string(size) + " are announced";
    }
    if (samples) {
      return "";
    }
    stream.Seek(stream.Position() + std::min(size + (size & 1), stream.Remaining()));
  }
}

sf_count_t Length(void* user) {
  auto& stream = *static_cast<CFileStream*>(user);
  return stream.Position() + stream.Remaining();
}

sf_count_t SeekTo(sf_count_t offset, int whence, void* user) {
  auto& stream = *static_cast<CFileStream*>(user);
  const sf_count_t length = Length(user);
  const sf_count_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? stream.Position() : length;
  sf_count_t target = 0;
  if (__builtin_add_overflow(base, offset, &target) || target < 0) {
    return -1;
  }
  stream.Seek(std::min(target, length));
  return stream.Position();
}

sf_count_t ReadBytes(void* data, sf_count_t count, void* user) {
  return count <= 0 ? 0
                    : static_cast<sf_count_t>(static_cast<CFileStream*>(user)->Read(
                          data, static_cast<std::size_t>(count)));
}

sf_count_t Tell(void* user) { return static_cast<CFileStream*>(user)->Position(); }

class CSound : public CRecording {
 public:
  CSound(CFileStream& stream, const std::string& name, const SReadSettings& settings)
      : name_(name) {
    const std::string fault = CheckChunks(stream);
    if (!fault.empty()) {
      throw CInputError(name, fault);
    }
    stream.Seek(0);
    SF_VIRTUAL_IO access{Length, SeekTo, ReadBytes, nullptr, Tell};
    sound_.reset(sf_open_virtual(&access, SFM_READ, &info_, &stream));
    if (!sound_) {
      throw CInputError(name, std::string("not a sound file: ") + sf_strerror(nullptr));
    }
    if (info_.channels < 1 || info_.samplerate < 1 || info_.frames < 1) {
      throw CInputError(name, "holds no samples");
    }
    const std::string base = settings.name.value_or("channel");
    for (int i = 1; i <= info_.channels; ++i) {
      channels_.push_back({base + " " + std::to_string(i), SUnit()});
    }
    if (settings.name && info_.channels == 1) {
      channels_[0].name = base;
    }
    x0_ = settings.x0.value_or(0.0);
    dx_ = settings.dx.value_or(1.0 / info_.samplerate);
    xUnit_ = ParseUnit(settings.xUnit.value_or("s"));
  }

  const std::vector<SChannel>& Channels() const override { return channels_; }
  double X0() const override { return x0_; }
  double Dx() const override { return dx_; }
  SUnit XUnit() const override { return xUnit_; }

  std::size_t Read(std::size_t count, std::vector<std::vector<float>>& channels) override {
    constexpr std::size_t kFrames = 16384;
    const auto width = static_cast<std::size_t>(info_.channels);
    channels.resize(width);
    for (auto& channel : channels) {
      channel.clear();
    }
    frames_.resize(kFrames * width);
    std::size_t total = 0;
    while (total < count) {
      const std::size_t wanted = std::min(count - total, kFrames);
      const sf_count_t got =
          sf_readf_float(sound_.get(), frames_.data(), static_cast<sf_count_t>(wanted));
      const auto frames = static_cast<std::size_t>(std::max<sf_count_t>(got, 0));
      for (std::size_t i = 0; i < width; ++i) {
        channels[i].resize(total + frames);
        float* const samples = channels[i].data() + total;
        for (std::size_t k = 0; k < frames; ++k) {
          samples[k] = frames_[k * width + i];
        }
      }
      total += frames;
      if (got < static_cast<sf_count_t>(wanted)) {
        CheckEnd(total);
        break;
      }
    }
    read_ += total;
    return total;
  }

 private:
  struct Close {
    void operator()(SNDFILE* sound) const { sf_close(sound); }
  };

  void CheckEnd(std::size_t last) const {
    if (sf_error(sound_.get()) != SF_ERR_NO_ERROR) {
      throw CInputError(name_, std::string("cannot be read on: ") + sf_strerror(sound_.get()));
    }
    if (read_ + last != static_cast<std::uint64_t>(info_.frames)) {
      throw CInputError(name_, "cut short: " + std::to_string(read_ + last) + " samples where " +
                                   std::to_string(info_.frames) + " are announced");
    }
  }

  std::string name_;
  SF_INFO info_{};
  std::unique_ptr<SNDFILE, Close> sound_;
  std::vector<SChannel> channels_;
  std::vector<float> frames_;
  std::uint64_t read_ = 0;
  double x0_ = 0.0;
  double dx_ = 1.0;
  SUnit xUnit_;
};

}  // namespace

std::unique_ptr<CRecording> OpenSound(CFileStream& stream, const std::string& name,
                                      const SReadSettings& settings) {
  return std::make_unique<CSound>(stream, name, settings);
}

}  // namespace limes::recordings

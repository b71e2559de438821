#include <zip.h>

#include <algorithm>
#include <filesystem>
#include <memory>

#include "limes/platform/text.h"
#include "recordings/errors.h"
#include "recordings/formats/array_file.h"
#include "recordings/formats/expansion.h"
#include "recordings/formats/npy_header.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

/// One array: a view of some fields of a member.
struct SView {
  std::size_t member;
  SNumberFormat format;
  std::uint64_t offset;  ///< in the item
};

/// Where the items of an array lie: its own file or a member of an archive.
struct SMember {
  std::string name;
  SNpyHeader header;
  std::uint64_t data = 0;  ///< of the first item
  std::uint64_t columns = 1;
  std::uint64_t rows = 0;
};

/// Arrays of a .npy or .npz file. Objects are never unpickled.
class CNumpy : public CArrayFile {
 protected:
  using Buffer = std::vector<std::uint8_t>;

  /// Bytes of a member; throws when they are not there.
  virtual void ReadBytes(std::size_t member, std::uint64_t place,
                         std::span<std::uint8_t> bytes) = 0;

  void Add(SMember member) {
    const auto& shape = member.header.shape;
    std::vector<std::uint64_t> lengths;
    std::copy_if(shape.begin(), shape.end(), std::back_inserter(lengths),
                 [](std::uint64_t length) { return length != 1; });
    const bool scalar = lengths.empty() && shape.size() < 3;
    if (shape.size() > 2) {
      leftOut_["as they have more than two dimensions"].push_back(member.name);
      return;
    }
    member.rows = lengths.empty() ? 1 : lengths[0];
    member.columns = lengths.size() > 1 ? lengths[1] : 1;
    members_.push_back(member);
    const bool table = !member.header.fields.empty() && !member.header.fields[0].name.empty();
    for (const SNpyField& field : member.header.fields) {
      SArray array;
      array.name = table ? field.name : member.name;
      array.group = table && archive_ ? member.name : "";
      array.rows = member.rows;
      array.columns = member.columns;
      if (member.header.textBytes > 0 && scalar) {
        array.text = TextOf(member);
      } else if (!field.number) {
        const bool objects = member.header.otherType.find('O') != std::string::npos;
        leftOut_[objects ? "as they hold Python objects, which are never unpickled"
                         : "as they hold items of type " + Quoted(member.header.otherType)]
            .push_back(array.name);
        continue;
      }
      complex_ = complex_ || (field.number && field.format.complex);
      arrays_.push_back(array);
      views_.push_back({members_.size() - 1, field.format, field.offset});
      if (scalar && field.number) {
        double value = 0.0;
        ReadColumn(arrays_.size() - 1, 0, 0, std::span(&value, 1));
        arrays_.back().scalar = value;
      }
    }
  }

  void Finish(const std::string& path) {
    TellLeftOut(arrays_, leftOut_, complex_, path, archive_ ? "NPZ" : "NPY");
    MakeChannels(arrays_);
  }

  bool archive_ = false;
  std::vector<SMember> members_;

 private:
  std::string TextOf(const SMember& member) {
    constexpr std::uint64_t kMost = 4096;
    Buffer bytes(static_cast<std::size_t>(std::min(member.header.textBytes, kMost)));
    ReadBytes(members_.size() - 1, member.data, bytes);
    std::u16string wide;
    for (std::size_t i = 0; member.header.wideText && i + 4 <= bytes.size(); i += 4) {
      const bool big = member.header.otherType[0] == '>';
      const auto unit = static_cast<char16_t>(big ? bytes[i + 2] << 8 | bytes[i + 3]
                                                  : bytes[i + 1] << 8 | bytes[i]);
      wide += unit;
    }
    std::string text =
        member.header.wideText
            ? WideToUtf8(wide)
            : TextOfFile({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    text.erase(std::min(text.find('\0'), text.size()));
    return text;
  }

  /// Rows that were read for one column serve the others.
  void ReadColumn(std::size_t array, std::uint64_t column, std::uint64_t first,
                  std::span<double> values) override {
    const SView& view = views_[array];
    const SMember& member = members_[view.member];
    const std::uint64_t item = member.header.itemBytes;
    const bool apart = member.header.fortran || member.columns == 1;
    const std::uint64_t row = apart ? item : item * member.columns;
    const std::uint64_t place =
        member.data + first * row + (apart ? column * member.rows * item : 0);
    const std::size_t bytes = values.size() * static_cast<std::size_t>(row);
    if (held_ != std::tuple(view.member, place, bytes)) {
      buffer_.resize(bytes);
      held_ = {SIZE_MAX, 0, 0};
      ReadBytes(view.member, place, buffer_);
      held_ = {view.member, place, bytes};
    }
    ReadNumbers(view.format, buffer_.data() + view.offset + (apart ? 0 : column * item),
                static_cast<std::size_t>(row), values);
  }

  std::vector<SArray> arrays_;
  std::vector<SView> views_;
  std::map<std::string, std::vector<std::string>> leftOut_;  ///< by the reason
  bool complex_ = false;
  std::tuple<std::size_t, std::uint64_t, std::size_t> held_{SIZE_MAX, 0, 0};
  Buffer buffer_;
};

class CNpy : public CNumpy {
 public:
  CNpy(CFileStream& stream, const std::string& path) : file_(stream, path, "NPY") {
    SMember member;
    member.name = std::filesystem::path(path).stem().string();
    member.header = ReadNpyHeader(file_);
    member.data = file_.Place();
    Add(std::move(member));
    Finish(path);
  }

 private:
  void ReadBytes(std::size_t, std::uint64_t place, std::span<std::uint8_t> bytes) override {
    file_.GoTo(place);
    file_.Read(bytes.data(), bytes.size());
  }

  CByteCursor file_;
};

/// The archive's file for libzip.
struct SZipFile {
  CFileStream* stream;
  std::int64_t size;
  zip_error_t error;
};

zip_int64_t Serve(void* user, void* data, zip_uint64_t length, zip_source_cmd_t command) {
  auto& file = *static_cast<SZipFile*>(user);
  try {
    switch (command) {
      case ZIP_SOURCE_OPEN:
        file.stream->Seek(0);
        return 0;
      case ZIP_SOURCE_READ:
        return static_cast<zip_int64_t>(file.stream->Read(data, length));
      case ZIP_SOURCE_SEEK: {
        const zip_int64_t to = zip_source_seek_compute_offset(
            static_cast<zip_uint64_t>(file.stream->Position()),
            static_cast<zip_uint64_t>(file.size), data, length, &file.error);
        if (to < 0) {
          return -1;
        }
        file.stream->Seek(to);
        return 0;
      }
      case ZIP_SOURCE_TELL:
        return file.stream->Position();
      case ZIP_SOURCE_STAT: {
        auto* const stat = static_cast<zip_stat_t*>(data);
        zip_stat_init(stat);
        stat->size = static_cast<zip_uint64_t>(file.size);
        stat->valid = ZIP_STAT_SIZE;
        return sizeof(*stat);
      }
      case ZIP_SOURCE_ERROR:
        return zip_error_to_data(&file.error, data, length);
      case ZIP_SOURCE_SUPPORTS:
        return zip_source_make_command_bitmap(
            ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE, ZIP_SOURCE_STAT, ZIP_SOURCE_ERROR,
            ZIP_SOURCE_FREE, ZIP_SOURCE_SEEK, ZIP_SOURCE_TELL, ZIP_SOURCE_SUPPORTS, -1);
      default:
        return 0;
    }
  } catch (const CFileStream::failure&) {
    zip_error_set(&file.error, ZIP_ER_SEEK, 0);
    return -1;
  }
}

/// A member of an archive, read from its start on.
class CMemberStream : public CFileStream {
 public:
  CMemberStream(zip_t* archive, std::uint64_t index, std::uint64_t size)
      : archive_(archive), index_(index), size_(static_cast<std::int64_t>(size)) {}

  std::size_t Read(void* data, std::size_t bytes) override {
    if (!file_ && !Restart()) {
      return 0;
    }
    std::size_t total = 0;
    while (total < bytes) {
      const zip_int64_t got =
          zip_fread(file_.get(), static_cast<char*>(data) + total, bytes - total);
      if (got <= 0) {
        break;
      }
      total += static_cast<std::size_t>(got);
    }
    place_ += static_cast<std::int64_t>(total);
    return total;
  }
  void Write(const void*, std::size_t) override { throw failure("an archive is only read"); }
  void Seek(std::int64_t position) override {
    if (position < place_) {
      file_.reset();
      place_ = 0;
    }
    std::array<char, 16384> skipped;
    while (place_ < position) {
      const auto wanted = std::min<std::int64_t>(position - place_, skipped.size());
      if (Read(skipped.data(), static_cast<std::size_t>(wanted)) == 0) {
        throw failure("a member ends early");
      }
    }
  }
  std::int64_t Position() override { return place_; }
  std::int64_t Remaining() override { return size_ - place_; }

 private:
  struct Close {
    void operator()(zip_file_t* file) const { zip_fclose(file); }
  };

  bool Restart() {
    file_.reset(zip_fopen_index(archive_, index_, 0));
    return file_ != nullptr;
  }

  zip_t* archive_;
  std::uint64_t index_;
  std::int64_t size_;
  std::int64_t place_ = 0;
  std::unique_ptr<zip_file_t, Close> file_;
};

class CNpz : public CNumpy {
 public:
  CNpz(CFileStream& stream, const std::string& path) : path_(path) {
    const CByteCursor whole(stream, path, "NPZ");  // refuses a pipe
    archive_ = true;
    zip_error_init(&source_.error);
    source_.stream = &stream;
    source_.size = static_cast<std::int64_t>(whole.End());
    zip_source_t* const source = zip_source_function_create(Serve, &source_, &source_.error);
    if (source == nullptr) {
      throw std::bad_alloc();
    }
    zip_.reset(zip_open_from_source(source, ZIP_RDONLY, &source_.error));
    if (!zip_) {
      const std::string reason = zip_error_strerror(&source_.error);
      zip_source_free(source);
      throw CInputError(path, "NPZ: is no archive that can be read: " + reason);
    }
    ReadMembers(whole.End());
    Finish(path);
  }

 private:
  struct Discard {
    void operator()(zip_t* zip) const { zip_discard(zip); }
  };

  void ReadMembers(std::uint64_t fileBytes) {
    std::uint64_t total = 0;
    const zip_int64_t count = zip_get_num_entries(zip_.get(), 0);
    for (zip_int64_t i = 0; i < count; ++i) {
      const auto index = static_cast<zip_uint64_t>(i);
      zip_stat_t stat{};
      zip_stat_init(&stat);
      constexpr zip_uint64_t kNeeded = ZIP_STAT_NAME | ZIP_STAT_SIZE;
      if (zip_stat_index(zip_.get(), index, 0, &stat) != 0 || (stat.valid & kNeeded) != kNeeded) {
        Fail("member " + std::to_string(i + 1) + " says neither name nor size");
      }
      std::string name = TextOfFile(stat.name);
      if (!name.ends_with(".npy")) {
        continue;
      }
      if ((stat.valid & ZIP_STAT_ENCRYPTION_METHOD) != 0 && stat.encryption_method != 0) {
        Fail("member " + Quoted(name) + " is encrypted");
      }
      if (__builtin_add_overflow(total, stat.size, &total) || total > MostExpanded(fileBytes)) {
        Fail("expands to more than " + std::to_string(MostExpanded(fileBytes)) + " bytes");
      }
      name.resize(name.size() - 4);
      SMember member;
      streams_.push_back(std::make_unique<CMemberStream>(zip_.get(), index, stat.size));
      try {
        CByteCursor at(*streams_.back(), path_ + ":" + name, "NPZ");
        member.name = name;
        member.header = ReadNpyHeader(at);
        member.data = at.Place();
        const std::size_t before = members_.size();
        Add(std::move(member));
        if (members_.size() == before) {
          streams_.pop_back();
        }
      } catch (const CFileStream::failure&) {
        Fail("member " + Quoted(name) + " is damaged");
      }
    }
  }

  void ReadBytes(std::size_t member, std::uint64_t place, std::span<std::uint8_t> bytes) override {
    try {
      streams_[member]->Seek(static_cast<std::int64_t>(place));
    } catch (const CFileStream::failure&) {
      Fail("member " + Quoted(members_[member].name) + " ends early");
    }
    if (streams_[member]->Read(bytes.data(), bytes.size()) != bytes.size()) {
      Fail("member " + Quoted(members_[member].name) + " is damaged or ends early");
    }
  }

  [[noreturn]] void Fail(const std::string& reason) const {
    throw CInputError(path_, "NPZ: " + reason);
  }

  std::string path_;
  SZipFile source_{};
  std::unique_ptr<zip_t, Discard> zip_;
  std::vector<std::unique_ptr<CMemberStream>> streams_;
};

}  // namespace

std::unique_ptr<CChannelFile> OpenNumpy(CFileStream& stream, const std::string& path) {
  std::array<char, 2> start{};
  static_cast<void>(stream.Read(start.data(), start.size()));
  if (stream.Remaining() >= 0) {
    stream.Seek(0);
  }
  if (start[0] == 'P' && start[1] == 'K') {
    return std::make_unique<CNpz>(stream, path);
  }
  return std::make_unique<CNpy>(stream, path);
}

}  // namespace limes::recordings

#include "recordings/errors.h"
#include "recordings/formats/array_process.h"

namespace limes::recordings {
namespace {

/// Arrays of a MAT or HDF5 file, which a process of its own reads.
class CForeignArrays : public CArrayFile {
 public:
  CForeignArrays(CFileStream& stream, const std::string& path, const std::string& format)
      : process_(stream, path, format) {
    SArrayList list = process_.List();
    arrays_ = std::move(list.arrays);
    TellLeftOut(arrays_, list.leftOut, list.complex, path, format);
    MakeChannels(arrays_);
  }

 private:
  /// Rows that came for one column serve the others.
  void ReadColumn(std::size_t array, std::uint64_t column, std::uint64_t first,
                  std::span<double> values) override {
    const auto columns = static_cast<std::size_t>(arrays_[array].columns);
    if (held_ != std::tuple(array, first, values.size())) {
      rows_.resize(values.size() * columns);
      held_ = {SIZE_MAX, 0, 0};
      process_.Read(array, first, values.size(), rows_);
      held_ = {array, first, values.size()};
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
      values[i] = rows_[i * columns + static_cast<std::size_t>(column)];
    }
  }

  CArrayProcess process_;
  std::vector<SArray> arrays_;
  std::vector<double> rows_;
  std::tuple<std::size_t, std::uint64_t, std::size_t> held_{SIZE_MAX, 0, 0};
};

}  // namespace

std::unique_ptr<CChannelFile> OpenMat(CFileStream& stream, const std::string& path) {
  return std::make_unique<CForeignArrays>(stream, path, "MAT");
}

std::unique_ptr<CChannelFile> OpenHdf5(CFileStream& stream, const std::string& path) {
  return std::make_unique<CForeignArrays>(stream, path, "HDF5");
}

}  // namespace limes::recordings

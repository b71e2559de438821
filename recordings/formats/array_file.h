#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "recordings/formats/channel_file.h"

namespace limes::recordings {

/// A named array of a file that knows arrays only: a vector, the columns of a matrix, or a scalar
/// or text that says something about the others.
struct SArray {
  std::string name;
  std::string group;
  std::uint64_t rows = 0;
  std::uint64_t columns = 1;
  std::optional<double> scalar;
  std::optional<std::string> text;
  std::map<std::string, double> numbers;  ///< its attributes
  std::map<std::string, std::string> texts;
  std::optional<std::size_t> scale;  ///< the array that is attached as its x

  bool IsData() const { return !scalar && !text; }
};

/// Whether a vector of this name is taken for x of the others.
bool IsAxisName(std::string_view name);

/// A file of arrays, made channels by the usual names: fs or dt say the step, time or frequency
/// hold x, NAME_unit or an attribute the unit.
class CArrayFile : public CChannelFile {
 public:
  void Read(std::size_t channel, std::uint64_t first, std::span<double> values) override {
    ReadColumn(sources_[channel].array, sources_[channel].column, first, values);
  }
  void ReadX(std::size_t channel, std::uint64_t first, std::span<double> x) override {
    ReadColumn(*sources_[channel].x, 0, first, x);
  }

 protected:
  /// Notes what is no channel, with names by the reason, and that complex values are magnitudes.
  /// Throws CInputError when none of the arrays holds data.
  void TellLeftOut(const std::vector<SArray>& arrays,
                   const std::map<std::string, std::vector<std::string>>& leftOut, bool complex,
                   const std::string& path, const std::string& format);

  /// Makes channels of the arrays; those of an empty group are the file's own.
  void MakeChannels(const std::vector<SArray>& arrays);

  virtual void ReadColumn(std::size_t array, std::uint64_t column, std::uint64_t first,
                          std::span<double> values) = 0;

 private:
  struct SSource {
    std::size_t array;
    std::uint64_t column;
    std::optional<std::size_t> x;
  };

  void AddChannels(const std::vector<SArray>& arrays, std::size_t i);

  std::vector<SSource> sources_;
};

}  // namespace limes::recordings

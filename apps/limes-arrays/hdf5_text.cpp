#include "apps/limes-arrays/hdf5_text.h"

#include <vector>

#include "limes/platform/text.h"
#include "recordings/text.h"

namespace limes::arrays {
namespace {

constexpr std::size_t kMostText = 4096;

bool ReadItem(hid_t from, bool attribute, hid_t type, void* to) {
  return (attribute ? H5Aread(from, type, to)
                    : H5Dread(from, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, to)) >= 0;
}

CHdf5Id TypeOf(hid_t from, bool attribute) {
  return {attribute ? H5Aget_type(from) : H5Dget_type(from), H5Tclose};
}

CHdf5Id SpaceOf(hid_t from, bool attribute) {
  return {attribute ? H5Aget_space(from) : H5Dget_space(from), H5Sclose};
}

}  // namespace

std::string Hdf5Reason() {
  std::string reason;
  const auto take = [](unsigned, const H5E_error2_t* error, void* user) -> herr_t {
    auto& text = *static_cast<std::string*>(user);
    if (text.empty() && error->desc != nullptr) {
      text = error->desc;  // of the innermost call
    }
    return 0;
  };
  H5Ewalk2(H5E_DEFAULT, H5E_WALK_UPWARD, take, &reason);
  return reason;
}

std::optional<double> Hdf5Number(hid_t from, bool attribute) {
  const CHdf5Id type = TypeOf(from, attribute);
  const CHdf5Id space = SpaceOf(from, attribute);
  const H5T_class_t kind = H5Tget_class(type);
  double value = 0.0;
  if ((kind != H5T_INTEGER && kind != H5T_FLOAT) || H5Sget_simple_extent_npoints(space) != 1 ||
      !ReadItem(from, attribute, H5T_NATIVE_DOUBLE, &value)) {
    return std::nullopt;
  }
  return value;
}

std::optional<std::string> Hdf5Text(hid_t from, bool attribute) {
  const CHdf5Id type = TypeOf(from, attribute);
  const CHdf5Id space = SpaceOf(from, attribute);
  if (H5Tget_class(type) != H5T_STRING || H5Sget_simple_extent_npoints(space) != 1) {
    return std::nullopt;
  }
  std::string text;
  if (H5Tis_variable_str(type) > 0) {
    char* loose = nullptr;
    if (!ReadItem(from, attribute, type, &loose) || loose == nullptr) {
      return std::nullopt;
    }
    text = loose;
    H5free_memory(loose);
  } else {
    text.resize(H5Tget_size(type));
    if (text.size() > (std::size_t{1} << 20) || !ReadItem(from, attribute, type, text.data())) {
      return std::nullopt;
    }
    text.resize(std::min(text.find('\0'), text.size()));
    text.resize(text.find_last_not_of(' ') + 1);  // as it may be filled up
  }
  return text.size() <= kMostText ? std::optional(text) : std::nullopt;
}

std::optional<std::string> Hdf5WideText(hid_t set) {
  const CHdf5Id space = SpaceOf(set, false);
  const hssize_t count = H5Sget_simple_extent_npoints(space);
  if (count < 0 || count > static_cast<hssize_t>(kMostText)) {
    return std::nullopt;
  }
  std::vector<std::uint16_t> units(static_cast<std::size_t>(count));
  if (!ReadItem(set, false, H5T_NATIVE_UINT16, units.data())) {
    return std::nullopt;
  }
  return WideToUtf8(std::u16string(units.begin(), units.end()));
}

}  // namespace limes::arrays

#include <hdf5.h>
#include <hdf5_hl.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "apps/limes-arrays/array_source.h"
#include "apps/limes-arrays/hdf5_text.h"

namespace limes::arrays {
namespace {

/// Data sets of a file and what its groups say, of MATLAB 7.3 as well.
class CHdf5File : public CArraySource {
 public:
  explicit CHdf5File(void (*opened)()) {
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
    H5PLset_loading_state(0);
    file_ = {H5Fopen(kFile, H5F_ACC_RDONLY, H5P_DEFAULT), H5Fclose};
    opened();
    if (file_ < 0) {
      throw CFault("cannot be read: " + Hdf5Reason());
    }
    ListObjects();
    for (const SObject& object : objects_) {
      object.group ? TakeGroup(object) : TakeSet(object);
    }
    AttachScales();
  }

  void Read(std::size_t array, std::uint64_t first, std::uint64_t count,
            std::vector<double>& values) override {
    const SPlace& place = places_.at(array);
    const std::size_t r = place.rowDimension;
    const CHdf5Id space(H5Dget_space(*place.set), H5Sclose);
    std::vector<hsize_t> start(place.dimensions.size(), 0);
    std::vector<hsize_t> size = place.dimensions;
    if (!size.empty()) {
      start[r] = first;
      size[r] = count;
      H5Sselect_hyperslab(space, H5S_SELECT_SET, start.data(), nullptr, size.data(), nullptr);
    }
    const hsize_t items = values.size();
    const CHdf5Id memory(H5Screate_simple(1, &items, nullptr), H5Sclose);
    buffer_.resize(values.size() * (place.complex ? 2 : 1));
    if (H5Dread(*place.set, place.type, memory, space, H5P_DEFAULT, buffer_.data()) < 0) {
      throw CFault("data set " + list_.arrays[array].name + " cannot be read: " + Hdf5Reason());
    }
    const auto columns = static_cast<std::size_t>(list_.arrays[array].columns);
    const auto rows = static_cast<std::size_t>(count);
    for (std::size_t i = 0; i < values.size(); ++i) {
      const std::size_t from = place.columnsFirst ? i % columns * rows + i / columns : i;
      values[i] =
          place.complex ? std::hypot(buffer_[2 * from], buffer_[2 * from + 1]) : buffer_[from];
    }
  }

 private:
  struct SObject {
    std::string path;
    bool group;
  };
  struct SPlace {
    std::shared_ptr<CHdf5Id> set;
    CHdf5Id type;  ///< in memory
    bool complex = false;
    std::vector<hsize_t> dimensions;
    std::size_t rowDimension = 0;
    bool columnsFirst = false;
  };

  /// Visits each object once, along hard links only, so that neither circles nor other files are
  /// followed.
  void ListObjects() {
    const auto take = [](hid_t, const char* name, const H5O_info_t* info, void* user) -> herr_t {
      auto& objects = *static_cast<std::vector<SObject>*>(user);
      constexpr std::size_t kMost = 100'000;
      if (objects.size() == kMost) {
        return 1;
      }
      if (info->type == H5O_TYPE_GROUP || info->type == H5O_TYPE_DATASET) {
        objects.push_back({name, info->type == H5O_TYPE_GROUP});
      }
      return 0;
    };
    const herr_t state =
        H5Ovisit2(file_, H5_INDEX_NAME, H5_ITER_INC, take, &objects_, H5O_INFO_BASIC);
    if (state != 0) {
      throw CFault(state > 0 ? "holds too many objects" : "is damaged: " + Hdf5Reason());
    }
  }

  static std::optional<std::string> TextAttribute(hid_t object, const char* name) {
    if (H5Aexists(object, name) <= 0) {
      return std::nullopt;
    }
    const CHdf5Id attribute(H5Aopen(object, name, H5P_DEFAULT), H5Aclose);
    return Hdf5Text(attribute, true);
  }

  template <class Take>
  static void ForEachAttribute(hid_t object, Take take) {
    H5O_info_t info{};
    if (H5Oget_info2(object, &info, H5O_INFO_NUM_ATTRS) < 0) {
      throw CFault("is damaged: " + Hdf5Reason());
    }
    for (hsize_t i = 0; i < info.num_attrs; ++i) {
      const CHdf5Id attribute(
          H5Aopen_by_idx(object, ".", H5_INDEX_NAME, H5_ITER_INC, i, H5P_DEFAULT, H5P_DEFAULT),
          H5Aclose);
      std::string name(256, '\0');
      const ssize_t length = H5Aget_name(attribute, name.size(), name.data());
      name.resize(static_cast<std::size_t>(std::clamp<ssize_t>(length, 0, 255)));
      take(name, Hdf5Number(attribute, true), Hdf5Text(attribute, true));
    }
  }

  /// What lies below is no measurement of its own.
  bool IsHidden(const std::string& path) const {
    return path.starts_with("#refs#") || path.starts_with("#subsystem#") ||
           std::any_of(closed_.begin(), closed_.end(),
                       [&](const std::string& group) { return path.starts_with(group + "/"); });
  }

  void TakeGroup(const SObject& object) {
    const CHdf5Id group(H5Oopen(file_, object.path.c_str(), H5P_DEFAULT), H5Oclose);
    if (IsHidden(object.path)) {
      return;
    }
    if (H5Aexists(group, "MATLAB_sparse") > 0) {
      LeaveOut("as they are sparse", object.path);
      closed_.push_back(object.path);
      return;
    }
    ForEachAttribute(group, [&](const std::string& name, const auto& number, const auto& text) {
      if (number || (text && !name.starts_with("MATLAB_"))) {
        SArray& array = AddArray(object.path == "." ? "" : object.path, name);
        array.rows = 1;
        array.scalar = number;
        array.text = text;
      }
    });
  }

  void TakeSet(const SObject& object) {
    if (IsHidden(object.path)) {
      return;
    }
    auto set =
        std::make_shared<CHdf5Id>(H5Dopen2(file_, object.path.c_str(), H5P_DEFAULT), H5Dclose);
    if (*set < 0) {
      throw CFault("data set " + object.path + " cannot be opened: " + Hdf5Reason());
    }
    const std::size_t slash = object.path.rfind('/');
    const std::string group = slash == std::string::npos ? "" : object.path.substr(0, slash);
    const std::string name = object.path.substr(slash == std::string::npos ? 0 : slash + 1);
    const auto matlab = TextAttribute(*set, "MATLAB_class");
    const std::optional<std::string> text =
        matlab == "char" ? Hdf5WideText(*set) : Hdf5Text(*set, false);
    if (text) {
      SArray& array = AddArray(group, name);
      array.rows = 1;
      array.text = text;
      return;
    }
    const std::string reason = WhyNot(*set, matlab);
    if (!reason.empty()) {
      LeaveOut(reason, object.path);
      return;
    }
    AddNumbers(object.path, group, name, std::move(set), matlab.has_value());
  }

  static std::string WhyNot(hid_t set, const std::optional<std::string>& matlab) {
    const CHdf5Id made(H5Dget_create_plist(set), H5Pclose);
    const CHdf5Id space(H5Dget_space(set), H5Sclose);
    if (H5Pget_external_count(made) > 0 || H5Pget_layout(made) == H5D_VIRTUAL) {
      return "as their values lie in other files";
    }
    for (int i = 0; i < H5Pget_nfilters(made); ++i) {
      unsigned flags = 0;
      std::size_t none = 0;
      const H5Z_filter_t filter = H5Pget_filter2(made, static_cast<unsigned>(i), &flags, &none,
                                                 nullptr, 0, nullptr, nullptr);
      if (H5Zfilter_avail(filter) <= 0) {
        return "as they are compressed by method " + std::to_string(filter) +
               ", which is not known";
      }
    }
    if (matlab == "cell" || matlab == "function_handle" || H5Aexists(set, "MATLAB_empty") > 0) {
      return "as they are cells, functions or empty";
    }
    return H5Sget_simple_extent_type(space) == H5S_NULL ? "as they are empty" : "";
  }

  static bool IsNumber(hid_t type) {
    const H5T_class_t kind = H5Tget_class(type);
    return kind == H5T_INTEGER || kind == H5T_FLOAT || kind == H5T_ENUM;
  }

  static std::vector<std::pair<std::string, bool>> Members(hid_t type) {
    std::vector<std::pair<std::string, bool>> members;
    for (int i = 0; i < H5Tget_nmembers(type); ++i) {
      char* const name = H5Tget_member_name(type, static_cast<unsigned>(i));
      const CHdf5Id member(H5Tget_member_type(type, static_cast<unsigned>(i)), H5Tclose);
      members.emplace_back(name == nullptr ? "" : name, IsNumber(member));
      H5free_memory(name);
    }
    return members;
  }

  void AddNumbers(const std::string& path, const std::string& group, const std::string& name,
                  const std::shared_ptr<CHdf5Id>& set, bool matlab) {
    const CHdf5Id type(H5Dget_type(*set), H5Tclose);
    if (IsNumber(type)) {
      AddArray(group, name, set, CHdf5Id(H5Tcopy(H5T_NATIVE_DOUBLE), H5Tclose), false, matlab);
      return;
    }
    if (H5Tget_class(type) != H5T_COMPOUND) {
      LeaveOut("as they hold no numbers", path);
      return;
    }
    const auto members = Members(type);
    const bool complex = members.size() == 2 && members[0].second && members[1].second &&
                         ((members[0].first == "r" && members[1].first == "i") ||
                          (members[0].first == "real" && members[1].first == "imag"));
    if (complex) {
      CHdf5Id pair(H5Tcreate(H5T_COMPOUND, 2 * sizeof(double)), H5Tclose);
      H5Tinsert(pair, members[0].first.c_str(), 0, H5T_NATIVE_DOUBLE);
      H5Tinsert(pair, members[1].first.c_str(), sizeof(double), H5T_NATIVE_DOUBLE);
      AddArray(group, name, set, std::move(pair), true, matlab);
      return;
    }
    for (const auto& [field, number] : members) {
      if (!number) {
        LeaveOut("as they hold no numbers", path + "/" + field);
        continue;
      }
      CHdf5Id one(H5Tcreate(H5T_COMPOUND, sizeof(double)), H5Tclose);
      H5Tinsert(one, field.c_str(), 0, H5T_NATIVE_DOUBLE);
      AddArray(path, field, set, std::move(one), false, matlab);
    }
  }

  using CArraySource::AddArray;
  void AddArray(const std::string& group, const std::string& name, std::shared_ptr<CHdf5Id> set,
                CHdf5Id type, bool complex, bool matlab) {
    constexpr int kMostDimensions = 32;
    const CHdf5Id space(H5Dget_space(*set), H5Sclose);
    SPlace place;
    const int count = H5Sget_simple_extent_ndims(space);
    place.dimensions.resize(static_cast<std::size_t>(std::clamp(count, 0, kMostDimensions)));
    H5Sget_simple_extent_dims(space, place.dimensions.data(), nullptr);
    std::vector<std::uint64_t> shape(place.dimensions.begin(), place.dimensions.end());
    if (matlab) {  // which counts dimensions from the other end
      std::reverse(shape.begin(), shape.end());
    }
    SArray made;
    if (!TakeShape(shape, made)) {
      LeaveOut("as they have more than two dimensions", group.empty() ? name : group + "/" + name);
      return;
    }
    SArray& array = AddArray(group, name);
    array.rows = made.rows;
    array.columns = made.columns;
    ForEachAttribute(*set, [&](const std::string& key, const auto& number, const auto& text) {
      if (number) {
        array.numbers[key] = *number;
      } else if (text) {
        array.texts[key] = *text;
      }
    });
    const auto isLong = [](hsize_t length) { return length != 1; };
    const auto first = std::find_if(place.dimensions.begin(), place.dimensions.end(), isLong);
    const auto last = std::find_if(place.dimensions.rbegin(), place.dimensions.rend(), isLong);
    place.columnsFirst = matlab && array.columns > 1;
    place.rowDimension = first == place.dimensions.end() ? 0
                         : place.columnsFirst
                             ? static_cast<std::size_t>(last.base() - place.dimensions.begin()) - 1
                             : static_cast<std::size_t>(first - place.dimensions.begin());
    place.set = std::move(set);
    place.type = std::move(type);
    place.complex = complex;
    list_.complex = list_.complex || complex;
    const std::size_t index = list_.arrays.size() - 1;
    places_[index] = std::move(place);
    if (array.rows == 1 && array.columns == 1) {
      std::vector<double> value(1);
      Read(index, 0, 1, value);
      list_.arrays[index].scalar = value[0];
    }
  }

  static std::pair<unsigned long, haddr_t> Identity(hid_t set) {
    H5O_info_t info{};
    H5Oget_info2(set, &info, H5O_INFO_BASIC);
    return {info.fileno, info.addr};
  }

  /// Data sets that are attached as x of the first dimension.
  void AttachScales() {
    std::map<std::pair<unsigned long, haddr_t>, std::size_t> known;
    for (const auto& [index, place] : places_) {
      known.try_emplace(Identity(*place.set), index);
    }
    for (const auto& [index, place] : places_) {
      std::pair<unsigned long, haddr_t> scale{};
      const auto take = [](hid_t, unsigned, hid_t found, void* user) -> herr_t {
        *static_cast<std::pair<unsigned long, haddr_t>*>(user) = Identity(found);
        return 1;
      };
      if (place.dimensions.empty() || H5Aexists(*place.set, "DIMENSION_LIST") <= 0 ||
          H5DSiterate_scales(*place.set, static_cast<unsigned>(place.rowDimension), nullptr, take,
                             &scale) <= 0) {
        continue;
      }
      const auto found = known.find(scale);
      SArray& array = list_.arrays[index];
      if (found != known.end() && found->second != index) {
        const SArray& x = list_.arrays[found->second];
        if (x.rows == array.rows && x.columns == 1 && x.IsData() && array.IsData()) {
          array.scale = found->second;
        }
      }
    }
  }

  CHdf5Id file_;
  std::vector<SObject> objects_;
  std::vector<std::string> closed_;
  std::map<std::size_t, SPlace> places_;  ///< by the number of the array
  std::vector<double> buffer_;
};

}  // namespace

std::unique_ptr<CArraySource> OpenHdf5File(void (*opened)()) {
  return std::make_unique<CHdf5File>(opened);
}

}  // namespace limes::arrays

#include <matio.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "apps/limes-arrays/array_source.h"
#include "apps/limes-arrays/mat_check.h"
#include "limes/platform/text.h"
#include "recordings/text.h"

namespace limes::arrays {
namespace {

/// What the library said last; it has no other way to tell.
std::string g_complaint;

void TakeComplaint(int level, char* text) {
  if ((level & (MATIO_LOG_LEVEL_ERROR | MATIO_LOG_LEVEL_CRITICAL | MATIO_LOG_LEVEL_WARNING)) != 0 &&
      g_complaint.empty()) {
    g_complaint = text;
  }
}

void RequireNoComplaint(const char* what) {
  if (!g_complaint.empty()) {
    throw CFault(std::string(what) + ": " + recordings::Escaped(g_complaint));
  }
}

template <class T>
double At(const void* data, std::size_t i) {
  return static_cast<double>(static_cast<const T*>(data)[i]);
}

struct SNumbers {
  matio_classes kind;
  std::size_t bytes;
  double (*at)(const void* data, std::size_t i);
};

constexpr SNumbers kNumbers[] = {
    {MAT_C_DOUBLE, 8, At<double>},      {MAT_C_SINGLE, 4, At<float>},
    {MAT_C_INT8, 1, At<std::int8_t>},   {MAT_C_UINT8, 1, At<std::uint8_t>},
    {MAT_C_INT16, 2, At<std::int16_t>}, {MAT_C_UINT16, 2, At<std::uint16_t>},
    {MAT_C_INT32, 4, At<std::int32_t>}, {MAT_C_UINT32, 4, At<std::uint32_t>},
    {MAT_C_INT64, 8, At<std::int64_t>}, {MAT_C_UINT64, 8, At<std::uint64_t>},
};

const SNumbers* NumbersOf(const matvar_t& variable) {
  for (const SNumbers& numbers : kNumbers) {
    if (numbers.kind == variable.class_type) {
      return &numbers;
    }
  }
  return nullptr;
}

/// Variables of a MAT file of version 4 or 5; fields of structures as those of a group.
class CMatFile : public CArraySource {
 public:
  explicit CMatFile(void (*opened)()) {
    const std::size_t count = CheckMatFile();
    Mat_LogInitFunc("limes", TakeComplaint);
    file_.reset(Mat_Open(kFile, MAT_ACC_RDONLY));
    opened();
    if (!file_) {
      throw CFault("cannot be read: " + recordings::Escaped(g_complaint));
    }
    for (std::size_t i = 0; i < count; ++i) {
      g_complaint.clear();
      matvar_t* const variable = Mat_VarReadNextInfo(file_.get());
      RequireNoComplaint("a variable cannot be read");
      if (variable == nullptr) {
        throw CFault("variable " + std::to_string(i + 1) + " of " + std::to_string(count) +
                     " cannot be read");
      }
      variables_.emplace_back(variable);
    }
    for (const auto& variable : variables_) {
      Take(*variable, *variable, "", NameOf(*variable), 0);
    }
  }

  void Read(std::size_t array, std::uint64_t first, std::uint64_t count,
            std::vector<double>& values) override {
    const SPlace& place = places_[array];
    const SArray& made = list_.arrays[array];
    const SNumbers& numbers = *NumbersOf(*place.variable);
    const bool loaded = place.variable->data != nullptr;
    const bool slab = !loaded && place.variable == place.top && !place.top->isComplex &&
                      place.top->compression == MAT_COMPRESSION_NONE;
    if (!loaded && !slab) {
      Load(*place.top);
    }
    for (std::uint64_t column = 0; column < made.columns; ++column) {
      std::size_t at = static_cast<std::size_t>(column * made.rows + first);
      const void* data = nullptr;
      if (slab) {
        buffer_.resize(static_cast<std::size_t>(count) * numbers.bytes);
        LoadSlab(*place.top, at, static_cast<std::size_t>(count));
        data = buffer_.data();
        at = 0;
      }
      for (std::size_t i = 0; i < count; ++i) {
        values[i * static_cast<std::size_t>(made.columns) + static_cast<std::size_t>(column)] =
            slab ? numbers.at(data, i) : Value(*place.variable, numbers, at + i);
      }
    }
  }

 private:
  struct SPlace {
    matvar_t* variable;  ///< itself, or the field of a structure
    matvar_t* top;       ///< that it is or lies in
  };
  struct Close {
    void operator()(mat_t* file) const { Mat_Close(file); }
    void operator()(matvar_t* variable) const { Mat_VarFree(variable); }
  };

  static std::string NameOf(const matvar_t& variable) {
    return variable.name == nullptr ? "" : recordings::TextOfFile(variable.name);
  }

  void Load(matvar_t& top) {
    g_complaint.clear();
    if (Mat_VarReadDataAll(file_.get(), &top) != 0) {
      throw CFault("the values of " + NameOf(top) + " cannot be read");
    }
    RequireNoComplaint("values cannot be read");
  }

  void LoadSlab(matvar_t& top, std::size_t first, std::size_t count) {
    constexpr std::size_t kMost = std::numeric_limits<int>::max();
    if (first > kMost || count > kMost) {
      throw CFault("variable " + NameOf(top) + " has too many values");
    }
    g_complaint.clear();
    if (Mat_VarReadDataLinear(file_.get(), &top, buffer_.data(), static_cast<int>(first), 1,
                              static_cast<int>(count)) != 0) {
      throw CFault("the values of " + NameOf(top) + " cannot be read");
    }
    RequireNoComplaint("values cannot be read");
  }

  static double Value(const matvar_t& variable, const SNumbers& numbers, std::size_t i) {
    if (variable.isComplex == 0) {
      return numbers.at(variable.data, i);
    }
    const auto* const parts = static_cast<const mat_complex_split_t*>(variable.data);
    return std::hypot(numbers.at(parts->Re, i), numbers.at(parts->Im, i));
  }

  static std::vector<std::uint64_t> ShapeOf(const matvar_t& variable) {
    return {variable.dims, variable.dims + variable.rank};
  }

  void Take(matvar_t& variable, matvar_t& top, const std::string& group, const std::string& name,
            int depth) {
    constexpr int kMostDepth = 8;
    const std::string path = group.empty() ? name : group + "/" + name;
    SArray shape;
    const bool fits = variable.rank > 0 && TakeShape(ShapeOf(variable), shape);
    if (NumbersOf(variable) != nullptr && shape.rows > 0) {
      if (!fits) {
        LeaveOut("as they have more than two dimensions", path);
        return;
      }
      AddNumbers(variable, top, group, name, shape);
    } else if (variable.class_type == MAT_C_CHAR) {
      AddText(variable, top, group, name);
    } else if (variable.class_type == MAT_C_STRUCT && fits && shape.rows == 1 &&
               shape.columns == 1 && depth < kMostDepth) {
      const unsigned fields = Mat_VarGetNumberOfFields(&variable);
      char* const* const names = Mat_VarGetStructFieldnames(&variable);
      for (unsigned i = 0; i < fields; ++i) {
        matvar_t* const field = Mat_VarGetStructFieldByIndex(&variable, i, 0);
        if (field != nullptr && names[i] != nullptr) {
          Take(*field, top, path, recordings::TextOfFile(names[i]), depth + 1);
        }
      }
    } else {
      LeaveOut("as they are cells, lists of structures, sparse, functions or empty", path);
    }
  }

  void AddNumbers(matvar_t& variable, matvar_t& top, const std::string& group,
                  const std::string& name, const SArray& shape) {
    SArray& array = AddArray(group, name);
    array.rows = shape.rows;
    array.columns = shape.columns;
    list_.complex = list_.complex || variable.isComplex != 0;
    places_.resize(list_.arrays.size());
    places_.back() = {&variable, &top};
    if (array.rows == 1 && array.columns == 1) {
      std::vector<double> value(1);
      Read(list_.arrays.size() - 1, 0, 1, value);
      list_.arrays.back().scalar = value[0];
    }
  }

  void AddText(matvar_t& variable, matvar_t& top, const std::string& group,
               const std::string& name) {
    constexpr std::size_t kMost = 4096;
    std::uint64_t length = 1;
    for (const std::uint64_t n : ShapeOf(variable)) {
      length = n > kMost ? kMost + 1 : length * n > kMost ? kMost + 1 : length * n;
    }
    SArray& array = AddArray(group, name);
    array.rows = 1;
    array.text = "";
    places_.resize(list_.arrays.size());
    if (length == 0 || length > kMost) {
      return;
    }
    if (variable.data == nullptr) {
      Load(top);
    }
    const bool wide = variable.data_type == MAT_T_UINT16 || variable.data_type == MAT_T_UTF16;
    if (variable.data == nullptr || variable.nbytes > 4 * kMost) {
      return;
    }
    if (wide) {
      std::u16string units(variable.nbytes / 2, u'\0');
      std::memcpy(units.data(), variable.data, 2 * units.size());
      array.text = WideToUtf8(units);
    } else {
      array.text =
          recordings::TextOfFile({static_cast<const char*>(variable.data), variable.nbytes});
    }
    array.text->resize(std::min(array.text->find('\0'), array.text->size()));
  }

  std::unique_ptr<mat_t, Close> file_;
  std::vector<std::unique_ptr<matvar_t, Close>> variables_;
  std::vector<SPlace> places_;  ///< of each array
  std::vector<char> buffer_;
};

}  // namespace

std::unique_ptr<CArraySource> OpenMatFile(void (*opened)()) {
  return std::make_unique<CMatFile>(opened);
}

}  // namespace limes::arrays

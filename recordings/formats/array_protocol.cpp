#include "recordings/formats/array_protocol.h"

#include "recordings/formats/byte_cursor.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

class CEncoder {
 public:
  void Take(std::uint64_t number) { Put(number); }
  void Take(double number) { Put(number); }
  void Take(const std::string& text) {
    Put(std::uint64_t{text.size()});
    bytes_.insert(bytes_.end(), text.begin(), text.end());
  }
  template <class T>
  void Take(const std::optional<T>& value) {
    Put(std::uint64_t{value ? 1U : 0U});
    if (value) {
      Take(static_cast<std::conditional_t<std::is_integral_v<T>, std::uint64_t, T>>(*value));
    }
  }
  template <class T>
  void Take(const std::map<std::string, T>& values) {
    Put(std::uint64_t{values.size()});
    for (const auto& [name, value] : values) {
      Take(name);
      Take(value);
    }
  }
  template <class T>
  void Take(const std::vector<T>& values) {
    Put(std::uint64_t{values.size()});
    for (const T& value : values) {
      Take(value);
    }
  }
  void Take(const SArray& array) {
    ForEachField(array, [this](const auto& field) { this->Take(field); });
  }

  std::vector<std::uint8_t> bytes_;

  /// The fields of an array in the order in which they are sent.
  template <class Array, class Visit>
  static void ForEachField(Array& a, Visit visit) {
    visit(a.name);
    visit(a.group);
    visit(a.rows);
    visit(a.columns);
    visit(a.scalar);
    visit(a.text);
    visit(a.numbers);
    visit(a.texts);
    visit(a.scale);
  }

 private:
  template <class T>
  void Put(T number) {
    std::array<std::uint8_t, sizeof(T)> raw;
    detail::ToLittleEndian(number, raw.data());
    bytes_.insert(bytes_.end(), raw.begin(), raw.end());
  }
};

class CDecoder {
 public:
  explicit CDecoder(CByteCursor at) : at_(std::move(at)) {}

  void Take(std::uint64_t& number) { number = at_.Get<std::uint64_t>(); }
  void Take(double& number) { number = at_.Get<double>(); }
  void Take(std::string& text) { text = TextOfFile(at_.GetText(at_.Get<std::uint64_t>())); }
  template <class T>
  void Take(std::optional<T>& value) {
    if (Count(0) > 0) {
      Take(value.emplace());
    }
  }
  template <class T>
  void Take(std::map<std::string, T>& values) {
    for (std::uint64_t left = Count(2 * kLeastBytes); left > 0; --left) {
      std::string name;
      Take(name);
      Take(values[name]);
    }
  }
  template <class T>
  void Take(std::vector<T>& values) {
    for (std::uint64_t left = Count(kLeastBytes); left > 0; --left) {
      Take(values.emplace_back());
    }
  }
  void Take(SArray& array) {
    CEncoder::ForEachField(array, [this](auto& field) { this->Take(field); });
  }
  const CByteCursor& At() const { return at_; }

 private:
  static constexpr std::uint64_t kLeastBytes = 8;

  std::uint64_t Count(std::uint64_t bytesEach) {
    const auto count = at_.Get<std::uint64_t>();
    at_.Need(count, bytesEach, "a list");
    return count;
  }

  CByteCursor at_;
};

}  // namespace

std::vector<std::uint8_t> EncodeList(const SArrayList& list) {
  CEncoder out;
  out.Take(list.arrays);
  out.Take(list.leftOut);
  out.Take(std::uint64_t{list.complex ? 1U : 0U});
  return std::move(out.bytes_);
}

SArrayList DecodeList(std::span<const std::uint8_t> bytes, std::uint64_t mostExpanded,
                      const std::string& file, const std::string& format) {
  CMemoryStream stream(bytes);
  CDecoder in(CByteCursor(stream, file, format + ", list of arrays"));
  SArrayList list;
  std::uint64_t complex = 0;
  in.Take(list.arrays);
  in.Take(list.leftOut);
  in.Take(complex);
  list.complex = complex != 0;
  in.At().Require(in.At().Left() == 0, "bytes follow the list");
  std::uint64_t total = 0;
  for (const SArray& array : list.arrays) {
    std::uint64_t values = 0;
    const bool fits = !__builtin_mul_overflow(array.rows, array.columns, &values) &&
                      !__builtin_mul_overflow(values, sizeof(float), &values) &&
                      !__builtin_add_overflow(total, values, &total);
    if (!fits || total > mostExpanded) {
      in.At().Fail("the arrays expand to more than " + std::to_string(mostExpanded) + " bytes");
    }
    in.At().Require(array.columns > 0 && (!array.scale || *array.scale < list.arrays.size()),
                    "an array is malformed");
    in.At().Require(!array.scale || list.arrays[*array.scale].rows == array.rows,
                    "x of an array has another length");
    in.At().Require(!array.scale || list.arrays[*array.scale].IsData(),
                    "x of an array is one number");
  }
  return list;
}

}  // namespace limes::recordings

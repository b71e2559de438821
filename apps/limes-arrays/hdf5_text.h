#pragma once

#include <hdf5.h>

#include <optional>
#include <string>
#include <utility>

namespace limes::arrays {

/// An identifier of the library, closed by the call that belongs to it; negative: none.
class CHdf5Id {
 public:
  CHdf5Id() = default;
  CHdf5Id(hid_t id, herr_t (*close)(hid_t)) : id_(id), close_(close) {}
  CHdf5Id(CHdf5Id&& other) noexcept : id_(std::exchange(other.id_, -1)), close_(other.close_) {}
  CHdf5Id& operator=(CHdf5Id&& other) noexcept {
    std::swap(id_, other.id_);
    std::swap(close_, other.close_);
    return *this;
  }
  ~CHdf5Id() {
    if (id_ >= 0) {
      close_(id_);
    }
  }
  operator hid_t() const { return id_; }

 private:
  hid_t id_ = -1;
  herr_t (*close_)(hid_t) = nullptr;
};

/// What the library says went wrong last.
std::string Hdf5Reason();

/// Number or text of an attribute, or of a data set of one item; empty for anything else.
std::optional<double> Hdf5Number(hid_t from, bool attribute);
std::optional<std::string> Hdf5Text(hid_t from, bool attribute);

/// The texts that MATLAB stores as numbers of 16 bits.
std::optional<std::string> Hdf5WideText(hid_t set);

}  // namespace limes::arrays

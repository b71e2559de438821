#include <array>
#include <unordered_map>

#include "bindings.h"

namespace limes::python {
namespace {

/// How often each signal is held, by calls and by views. Touched with the interpreter lock only.
std::unordered_map<const CSigRaw*, std::array<int, 2>>& Holds() {
  static auto* holds =
      new std::unordered_map<const CSigRaw*, std::array<int, 2>>;  // arrays may outlive statics
  return *holds;
}

struct ViewOwner {
  ViewOwner(py::object object, const CSigRaw& signal)
      : owner(std::move(object)), hold(signal, Hold::For::kView) {}

  py::object owner;
  Hold hold;
};

}  // namespace

Hold::Hold(const CSigRaw& signal, For use) : signal_(&signal), use_(use) {
  ++Holds()[signal_][static_cast<std::size_t>(use_)];
}

Hold::~Hold() {
  const auto found = Holds().find(signal_);
  --found->second[static_cast<std::size_t>(use_)];
  if (found->second == std::array{0, 0}) {
    Holds().erase(found);
  }
}

void RefuseIfHeld(const CSigRaw& signal) {
  if (Holds().contains(&signal)) {
    throw py::buffer_error("the values are in use by an array or another thread");
  }
}

void RefuseIfUsed(const CSigRaw& signal) {
  if (const auto found = Holds().find(&signal); found != Holds().end() && found->second[0] > 0) {
    throw py::buffer_error("the signal is in use by another thread");
  }
}

py::capsule ViewBase(py::object owner, const CSigRaw& signal) {
  auto view = std::make_unique<ViewOwner>(std::move(owner), signal);
  py::capsule base(view.get(), [](void* p) { delete static_cast<ViewOwner*>(p); });
  static_cast<void>(view.release());  // the capsule owns it
  return base;
}

py::array_t<float> ValuesView(py::object owner, CSigRaw& signal, std::size_t n) {
  return py::array_t<float>(static_cast<py::ssize_t>(n), signal.FloatData(),
                            ViewBase(std::move(owner), signal));
}

py::array_t<float> FloatArray(py::object values) {
  if (py::isinstance<py::array_t<float>>(values)) {
    const auto array = py::reinterpret_borrow<py::array_t<float, py::array::c_style>>(values);
    constexpr int kPlain = py::detail::npy_api::NPY_ARRAY_C_CONTIGUOUS_ |
                           py::detail::npy_api::NPY_ARRAY_ALIGNED_ |
                           py::detail::npy_api::NPY_ARRAY_WRITEABLE_;
    if (array.ndim() == 1 && (array.flags() & kPlain) == kPlain) {
      return array;
    }
  }
  const py::array array = py::array::ensure(values);
  if (!array) {
    throw py::type_error("the values are no array of numbers");
  }
  if (array.ndim() != 1) {
    throw py::value_error("the values must be one-dimensional");
  }
  if (array.dtype().kind() == 'c') {
    throw py::type_error("complex values have no float");
  }
  // A forced copy: what cannot be written to must not be shared.
  return py::array_t<float>(py::module_::import("numpy").attr("array")(
      array, py::arg("dtype") = "float32", py::arg("copy") = true, py::arg("order") = "C"));
}

}  // namespace limes::python

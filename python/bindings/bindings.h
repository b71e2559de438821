#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "limes/limes.h"

/// What the parts of the Python module share: arrays over a signal's values, holding a signal while
/// the interpreter lock is open, texts and states.
namespace limes::python {

namespace py = pybind11;

void BindUnits(py::module_& module);
void BindCurves(py::module_& module);
void BindLearners(py::module_& module);
void BindCalibration(py::module_& module);
void BindModes(py::module_& module);
void BindDefects(py::module_& module);
void BindPairs(py::module_& module);
void BindPairVariants(py::module_& module);
void BindCurveArray(py::module_& module);
void BindKernels(py::module_& module);
void BindRecordings(py::module_& module);
void BindStore(py::module_& module);

/// Makes the functions of a module and of its classes say in a sentence what they take when they
/// are called otherwise.
void SpeakInSentences(const py::handle& scope);

/// Gives what has a name of C++ an English one of Python, too, under which its docstring names the
/// former.
void NameInEnglish(const py::module_& module);

/// Loops over fewer points keep the interpreter lock: opening it costs as much as they do.
inline constexpr std::size_t kLongLoop = 50000;

/// Holds a signal's values where they are: while one lives, what would move them is refused; while
/// a call uses it without the interpreter lock, so is what would change its head. Made and
/// destroyed with the interpreter lock.
class Hold {
 public:
  enum class For { kCall, kView };
  explicit Hold(const CSigRaw& signal, For use = For::kCall);
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;
  ~Hold();

 private:
  const CSigRaw* signal_;
  For use_;
};

/// Throws BufferError while anything holds the signal.
void RefuseIfHeld(const CSigRaw& signal);

/// Throws BufferError while a call uses the signal.
void RefuseIfUsed(const CSigRaw& signal);

/// Base of an array over a signal's values: keeps the owner alive and holds the signal.
py::capsule ViewBase(py::object owner, const CSigRaw& signal);

/// The values as an array without a copy. It keeps the owner alive and holds the signal.
py::array_t<float> ValuesView(py::object owner, CSigRaw& signal, std::size_t n);

/// One-dimensional values of an object: itself when it is a plain writable float array, else a
/// copy as one.
py::array_t<float> FloatArray(py::object values);

/// Pairs of two equally long columns, in their order.
template <class Pairs>
std::unique_ptr<Pairs> FromColumns(const py::object& x, const py::object& y) {
  const py::array_t<float> xs = FloatArray(x);
  const py::array_t<float> ys = FloatArray(y);
  if (xs.size() != ys.size()) {
    throw py::value_error("x and y must be equally long");
  }
  auto pairs = std::make_unique<Pairs>();
  if (xs.size() > 0 && !pairs->NeueGroesse(static_cast<unsigned>(xs.size()))) {
    throw std::bad_alloc();
  }
  for (py::ssize_t i = 0; i < xs.size(); ++i) {
    pairs->CSigPairs::NeuesPaar(xs.at(i), ys.at(i));
  }
  return pairs;
}

/// The curve on the grid of another one; throws ValueError when they have nothing in common.
std::unique_ptr<CSigCurveExt> Fitted(const CSigCurveExt& curve, const CSigCurveExt& grid,
                                     bool maximum);

/// An object of a class that is used by one thread at a time, with the lock that sees to it.
template <class T>
struct Locked : T {
  using T::T;
  Locked() = default;
  Locked(const Locked& other) : T(other) {}

  std::mutex mutex;
};

/// Runs f under the object's lock, and without the interpreter lock when n points are many.
template <class T, class F>
auto Exclusively(Locked<T>& object, std::size_t n, F f) {
  if (n < kLongLoop && object.mutex.try_lock()) {
    const std::lock_guard guard(object.mutex, std::adopt_lock);
    return f(static_cast<T&>(object));
  }
  const py::gil_scoped_release open;
  const std::lock_guard guard(object.mutex);
  return f(static_cast<T&>(object));
}

inline std::string Utf8(const wide_char* text) { return WideToUtf8(text); }

/// The bytes that an object's write function puts into a stream.
template <class F>
py::bytes WrittenBytes(F write) {
  CMemoryStream file;
  if (!write(file)) {
    throw py::value_error("nothing to write: there is no state yet, or memory is short");
  }
  const auto bytes = file.Bytes();
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Name and units of a signal, which its record may shorten.
template <class Signal>
py::tuple HeadOf(const Signal& signal) {
  return py::make_tuple(wide_string(signal.Name()), signal.XUnit(), signal.YUnit());
}

template <class Signal>
void SetHead(Signal& signal, const py::tuple& head) {
  if (!signal.SetName(head[0].cast<wide_string>())) {
    throw std::bad_alloc();
  }
  signal.SetXUnit(head[1].cast<CMeasuringUnit>());
  signal.SetYUnit(head[2].cast<CMeasuringUnit>());
}

/// A signal as a Series or a DataArray.
template <class Signal>
void BindTables(py::class_<Signal>& signal) {
  signal
      .def(
          "to_series",
          [](const py::object& self) {
            return py::module_::import("limes.frames").attr("series")(self);
          },
          "A pandas Series over x; the units are in attrs.")
      .def(
          "to_xarray",
          [](const py::object& self) {
            return py::module_::import("limes.frames").attr("data_array")(self);
          },
          "An xarray DataArray over the coordinate x, with the units as attributes.");
}

/// Name and units of a signal, and its plot in notebooks.
template <class Signal>
void BindHeading(py::class_<Signal>& signal) {
  signal
      .def_property(
          "name", [](const Signal& s) { return wide_string(s.Name()); },
          [](Signal& s, const wide_string& name) {
            RefuseIfUsed(s);
            if (!s.SetName(name)) {
              throw std::bad_alloc();
            }
          },
          "Name of the signal.")
      .def_property(
          "x_unit", [](const Signal& s) { return s.XUnit(); },
          [](Signal& s, const CMeasuringUnit& unit) {
            RefuseIfUsed(s);
            s.SetXUnit(unit);
          },
          "Unit of x; a text is taken, too.")
      .def_property(
          "y_unit", [](const Signal& s) { return s.YUnit(); },
          [](Signal& s, const CMeasuringUnit& unit) {
            RefuseIfUsed(s);
            s.SetYUnit(unit);
          },
          "Unit of the values; a text is taken, too.")
      .def("_repr_html_", [](const py::object& self) {
        return py::module_::import("limes.plots").attr("signal_plot")(self);
      });
  BindTables(signal);
}

/// A stream over the bytes of a Python object, which must outlive it.
inline CMemoryStream StreamOver(const py::bytes& bytes) {
  const auto view = bytes.cast<std::string_view>();
  return CMemoryStream(std::span(reinterpret_cast<const std::uint8_t*>(view.data()), view.size()));
}

inline py::bytes PairsRecord(const CSigPairs& pairs) {
  return WrittenBytes(
      [&](CMemoryStream& file) { return pairs.WriteToFile(file, CSignal::CurrentFileVersion()); });
}

inline void ReadPairs(CSigPairs& pairs, const py::bytes& record) {
  CMemoryStream file = StreamOver(record);
  if (!pairs.ReadFromFile(file, CSignal::CurrentFileVersion())) {
    throw py::value_error("the record is cut short or malformed");
  }
}

/// Copies and pickling of pairs. more: what the record does not hold; take: sets it, before the
/// pairs are read.
template <class Pairs, class... Base, class More, class Take>
void BindCopies(py::class_<Pairs, Base...>& pairs, More more, Take take) {
  pairs.def("__copy__", [](const Pairs& p) { return Pairs(p); })
      .def(
          "__deepcopy__", [](const Pairs& p, const py::dict&) { return Pairs(p); }, py::arg("memo"))
      .def(py::pickle(
          [more](const Pairs& p) { return py::make_tuple(PairsRecord(p), HeadOf(p), more(p)); },
          [take](const py::tuple& state) {
            auto read = std::make_unique<Pairs>();
            take(*read, state[2].cast<py::tuple>());
            ReadPairs(*read, state[0].cast<py::bytes>());
            SetHead(*read, state[1].cast<py::tuple>());
            return read;
          }));
}

}  // namespace limes::python

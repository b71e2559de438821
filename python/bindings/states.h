#pragma once

#include <memory>
#include <new>

#include "bindings.h"

namespace limes::python {

inline void Require(MergeStatus status) {
  if (status != MergeStatus::kOk) {
    throw py::value_error(Utf8(Text(status)));
  }
}

template <class T>
std::unique_ptr<Locked<T>> FromState(const py::bytes& bytes) {
  auto tool = std::make_unique<Locked<T>>();
  CMemoryStream file = StreamOver(bytes);
  if (const LearnStateStatus status = tool->ReadState(file); status != LearnStateStatus::kOk) {
    throw py::value_error(Utf8(Text(status)));
  }
  return tool;
}

/// Names of what BindState makes.
struct StateNames {
  const char* write = "WriteState";
  const char* read = "ReadState";
  const char* merge = "Merge";
};

/// What all that is learnt does alike: states, pickling, joining. ready makes of a state that was
/// read for pickling what its owner expects.
template <class T, class Ready>
void BindState(py::class_<Locked<T>>& tool, Ready ready, const StateNames& names = {}) {
  const auto state = [](Locked<T>& t) {
    return WrittenBytes([&](CMemoryStream& file) {
      return Exclusively(t, kLongLoop, [&](T& plain) { return plain.WriteState(file); });
    });
  };
  tool.def(names.write, state, "The whole state, bit for bit.")
      .def_static(names.read, &FromState<T>, py::arg("state"),
                  "What the bytes of a state hold; ValueError says what is wrong with it.")
      .def(
          names.merge,
          [](Locked<T>& t, Locked<T>& other) {
            if (&t == &other) {
              throw py::value_error("a state cannot be joined with itself");
            }
            MergeStatus status = MergeStatus::kOk;
            {
              const py::gil_scoped_release open;
              const std::scoped_lock both(t.mutex, other.mutex);
              status = t.T::Merge(other);
            }
            Require(status);
          },
          py::arg("other"), "Joins the state with one that was learnt elsewhere, as the later one.")
      .def(py::pickle([state](Locked<T>& t) { return py::make_tuple(state(t)); },
                      [ready](const py::tuple& s) {
                        auto read = FromState<T>(s[0].cast<py::bytes>());
                        ready(*read);
                        return read;
                      }));
}

}  // namespace limes::python

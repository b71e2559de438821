#include "bindings.h"

namespace limes::python {
namespace {

using Dispatch = PyObject* (*)(PyObject*, PyObject*, PyObject*);
Dispatch dispatch = nullptr;  ///< of the binding library, the same for all functions

/// "(value: float)" of "(self: limes._limes.CLernenderGrenzwert, value: float) -> ...", and of a
/// constructor's "limes._limes.CSigPairs(x: object)" what stands in its brackets.
std::string Parameters(const std::string& line) {
  const std::string all = line.substr(0, line.find(" -> "));
  std::string takes = all.substr(std::min(all.find('('), all.size()));
  if (takes.starts_with("(self: ")) {
    const std::size_t comma = takes.find(", ");
    takes = comma == std::string::npos ? "()" : "(" + takes.substr(comma + 2);
  }
  const std::string module = "limes._limes.";
  for (std::size_t at = 0; (at = takes.find(module)) != std::string::npos;) {
    takes.erase(at, module.size());
  }
  return takes;
}

std::string TypeNames(PyObject* args, PyObject* kwargs, bool hasSelf) {
  std::string names;
  for (Py_ssize_t i = hasSelf ? 1 : 0; i < PyTuple_Size(args); ++i) {
    names += std::string(names.empty() ? "" : ", ") + Py_TYPE(PyTuple_GetItem(args, i))->tp_name;
  }
  PyObject *key = nullptr, *value = nullptr;
  for (Py_ssize_t at = 0; kwargs != nullptr && PyDict_Next(kwargs, &at, &key, &value);) {
    names += (names.empty() ? "" : ", ") + py::str(key).cast<std::string>() + ": " +
             Py_TYPE(value)->tp_name;
  }
  return names;
}

/// Puts one sentence in place of the list of signatures that a refused call raises.
void Rephrase(PyObject* args, PyObject* kwargs) {
  py::error_already_set error;
  const std::string text = py::str(error.value());
  const std::size_t end = text.find("(): incompatible ");
  if (end == std::string::npos) {
    error.restore();
    return;
  }
  std::string takes;
  for (int i = 1;; ++i) {
    const std::string head = "\n    " + std::to_string(i) + ". ";
    const std::size_t at = text.find(head);
    if (at == std::string::npos) {
      break;
    }
    const std::size_t first = at + head.size();
    takes += (takes.empty() ? "" : " or ") +
             Parameters(text.substr(first, text.find('\n', first) - first));
  }
  const bool maker = text.starts_with("__init__");
  const bool hasSelf = maker || text.find("\n    1. (self: ") != std::string::npos;
  const std::string name = maker ? Py_TYPE(PyTuple_GetItem(args, 0))->tp_name : text.substr(0, end);
  const std::string sentence = name.substr(name.rfind('.') + 1) + " takes " + takes + ", not (" +
                               TypeNames(args, kwargs, hasSelf) + ")";
  PyErr_SetString(PyExc_TypeError, sentence.c_str());
}

PyObject* Call(PyObject* function, PyObject* args, PyObject* kwargs) {
  PyObject* result = dispatch(function, args, kwargs);
  if (result == nullptr && PyErr_ExceptionMatches(PyExc_TypeError) != 0) {
    try {
      Rephrase(args, kwargs);
    } catch (const std::exception& error) {
      PyErr_SetString(PyExc_TypeError, error.what());
    }
  }
  return result;
}

void Divert(py::handle function) {
  function = py::detail::get_function(function);
  if (PyCFunction_Check(function.ptr()) != 0) {
    PyMethodDef* method = reinterpret_cast<PyCFunctionObject*>(function.ptr())->m_ml;
    dispatch = reinterpret_cast<Dispatch>(reinterpret_cast<void (*)()>(method->ml_meth));
    method->ml_meth = reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(&Call));
  }
}

}  // namespace

void SpeakInSentences(const py::handle& scope) {
  for (const auto& [key, value] : py::dict(scope.attr("__dict__"))) {
    if (PyType_Check(value.ptr()) != 0 || PyModule_Check(value.ptr()) != 0) {
      SpeakInSentences(value);
    } else {
      Divert(py::isinstance<py::staticmethod>(value) ? value.attr("__func__")
                                                     : py::reinterpret_borrow<py::object>(value));
    }
  }
}

}  // namespace limes::python

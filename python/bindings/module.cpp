#include "bindings.h"
#include "judgements.h"

PYBIND11_MODULE(_limes, module) {
  module.doc() =
      "Measurement signals, learnt limits and verdicts: the C++ classes under their names.";
  module.attr("__version__") = LIMES_VERSION_STRING;
  // What goes wrong is told by exceptions.
  limes::PrWin::SetSink([](int /*category*/, int /*style*/, std::u16string_view /*text*/) {});
  limes::python::BindUnits(module);
  limes::python::BindCurves(module);
  limes::python::BindLearners(module);
  limes::python::BindSided(module);
  limes::python::BindCalibration(module);
  limes::python::BindModes(module);
  limes::python::BindDefects(module);
  limes::python::BindPairs(module);
  limes::python::BindPairVariants(module);
  limes::python::BindCurveArray(module);
  limes::python::BindKernels(module);
  limes::python::BindRecordings(module);
  limes::python::BindStore(module);
  limes::python::SpeakInSentences(module);
  limes::python::NameInEnglish(module);
}

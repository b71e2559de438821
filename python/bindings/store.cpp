#include "apps/limes/store/store.h"

#include <pybind11/stl.h>

#include <sstream>

#include "apps/limes/model/model.h"
#include "apps/limes/report/json_text.h"
#include "apps/limes/report/report.h"
#include "apps/limes/store/stored_model.h"
#include "bindings.h"

namespace limes::python {
namespace {

using namespace host;

/// A store that is only read. Each question is answered of one moment.
class ReadStore {
 private:
  template <class Ask>
  auto Read(Ask ask) const {
    const py::gil_scoped_release open;
    CStore store(path_, CStore::Mode::kReading);
    store.BeginReading();
    return ask(store);
  }

 public:
  explicit ReadStore(const std::string& path) : path_(path) {
    CStore(path_, CStore::Mode::kReading);  // says now that it is none
  }

  std::string Settings() const {
    return Read(
        [](CStore& store) { return SettingsToText(store.Settings().value_or(SSettings())); });
  }

  /// One JSON object per line, as the program prints them.
  std::string Limits() const {
    return Read([](CStore& store) {
      std::ostringstream out;
      PrintLimitsJson(out, store);
      return out.str();
    });
  }

  std::string Verdicts(bool all) const {
    return Read([all](CStore& store) {
      std::ostringstream out;
      CJsonText json;
      store.ForEachJudged(
          all, [&](const SPartVerdict& verdict) { PrintVerdictJson(out, json, verdict); });
      return out.str();
    });
  }

  using Learnt = std::tuple<std::string, std::optional<std::string>, std::int64_t,
                            std::optional<double>, std::optional<double>>;
  std::vector<Learnt> Parts() const {
    return Read([](CStore& store) {
      std::vector<Learnt> parts;
      for (const SStoredVariant& variant : store.Variants()) {
        store.Choose(variant.name);
        for (const SLearntPart& p : store.LearntParts()) {
          parts.emplace_back(p.name, p.label, p.run, p.scores.above, p.scores.below);
        }
      }
      return parts;
    });
  }

 private:
  std::string path_;
};

}  // namespace

void BindStore(py::module_& module) {
  py::class_<ReadStore>(module, "ReadStore", "What a store holds, as texts of JSON.")
      .def(py::init<const std::string&>(), py::arg("path"))
      .def("settings", &ReadStore::Settings)
      .def("limits", &ReadStore::Limits)
      .def("verdicts", &ReadStore::Verdicts, py::arg("all"))
      .def("parts", &ReadStore::Parts);
}

}  // namespace limes::python

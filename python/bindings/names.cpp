#include <cctype>
#include <map>
#include <string>

#include "bindings.h"

namespace limes::python {
namespace {

/// Names of C++ that are not English, or not of Python when written with underscores.
const std::map<std::string, const char*>& Names() {
  static const std::map<std::string, const char*> kNames = {
      {"AbschnittSumme", "section_sum"},
      {"BerichteFormatieren", "format_reports"},
      {"Berichtstext", "report_text"},
      {"Bildungsregel", "set_rule"},
      {"CDefectReport", "DefectReport"},
      {"CDefectReportOrdner", "DefectFolder"},
      {"CKurvenLernWerkzeug", "CurveLearner"},
      {"CLernenderGrenzwert", "ValueLearner"},
      {"CMeasuringUnit", "Unit"},
      {"CSigCurveArray", "CurveArray"},
      {"CSigCurveExt", "Curve"},
      {"CSigPairs", "Pairs"},
      {"CSigPairsTm", "TimePairs"},
      {"CSigPairsVM", "RunPairs"},
      {"CTrackLernWerkzeug", "TrackLearner"},
      {"DateiExport", "to_bytes"},
      {"DateiImport", "from_bytes"},
      {"DatenSortieren", "sort"},
      {"DownsamlingMax", "downsample_max"},
      {"DownsamlingMean", "downsample_mean"},
      {"DownsamlingMinMax", "downsample_min_max"},
      {"Faktor", "factor"},
      {"Glaetten", "smooth"},
      {"GrenzParameterText", "rule_text"},
      {"GrenzeBilden", "form_limit"},
      {"GrenzenGrenzen", "bound_limits"},
      {"Grenzkurve", "limit_curve"},
      {"Grenzwert", "limit"},
      {"GruppeLoeschen", "delete_group"},
      {"HatGelernt", "has_learnt"},
      {"HatWertBei", "has_value_at"},
      {"IndexZu", "index_at"},
      {"IstSortiert", "is_sorted"},
      {"KurveBilden", "to_curve"},
      {"Mittelwert", "mean"},
      {"ModeLoeschen", "delete_mode"},
      {"Naechster", "next_report"},
      {"Neu", "restart"},
      {"NeuesPaar", "append_pair"},
      {"NeuesPaarEinsortieren", "insert_pair"},
      {"Neustart", "restart"},
      {"NrGelernt", "parts_learnt"},
      {"Ordnen", "order"},
      {"QuadratMW", "mean_square"},
      {"Querschnitt", "cross_section"},
      {"RMS", "rms"},
      {"Resamling", "resample"},
      {"RmsWert", "rms"},
      {"Setzen", "set_pair"},
      {"SetzeTriggerMethode", "set_trigger_method"},
      {"SetzeTriggerStartStop", "set_trigger_range"},
      {"Sockel", "base"},
      {"StandardAbw", "spread"},
      {"StdAbwKurve", "spread"},
      {"StdDev", "spread"},
      {"Summe", "sum"},
      {"VectorVarianz", "vector_variance"},
      {"WertBei", "value_at"},
      {"ZeitraumAendern", "set_period"},
  };
  return kNames;
}

/// x_min of XMin, write_to_file of WriteToFile.
std::string EnglishName(const std::string& name) {
  if (const auto found = Names().find(name); found != Names().end()) {
    return found->second;
  }
  std::string english;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const auto isUpper = [&](std::size_t at) {
      return at < name.size() && std::isupper(static_cast<unsigned char>(name[at])) != 0;
    };
    const bool inWord = i > 0 && (!isUpper(i - 1) || (i + 1 < name.size() && !isUpper(i + 1)));
    english += isUpper(i) && inWord ? "_" : "";
    english += static_cast<char>(std::tolower(static_cast<unsigned char>(name[i])));
  }
  return english;
}

void NameMembers(const py::handle& scope) {
  const py::dict members(py::dict(scope.attr("__dict__")).attr("copy")());
  for (const auto& [key, value] : members) {
    const auto name = key.cast<std::string>();
    const std::string english = EnglishName(name);
    if (std::isupper(static_cast<unsigned char>(name[0])) != 0 && !members.contains(english)) {
      py::setattr(scope, english.c_str(), value);
    }
  }
}

}  // namespace

void NameInEnglish(const py::module_& module) {
  NameMembers(module.attr("DVL"));
  const py::dict members(py::dict(module.attr("__dict__")).attr("copy")());
  for (const auto& [key, value] : members) {
    if (PyType_Check(value.ptr()) != 0 && !py::hasattr(value, "__members__")) {
      NameMembers(value);
    }
    const auto found = Names().find(key.cast<std::string>());
    if (found != Names().end()) {
      py::setattr(module, found->second, value);
    }
  }
}

}  // namespace limes::python

#include "recordings/variant.h"

#include <algorithm>
#include <filesystem>

#include "recordings/text.h"

namespace limes::recordings {
namespace {

/// A pattern cut at its fields: texts[i] stands before field i, the last one behind all.
struct SPattern {
  std::vector<std::string> texts;
  std::vector<std::string> fields;
  bool isWhole = true;  ///< each bracket has its other one
};

SPattern Cut(std::string_view pattern) {
  SPattern cut;
  for (;;) {
    const std::size_t open = pattern.find('{');
    const std::string_view text = pattern.substr(0, open);
    cut.texts.emplace_back(text);
    cut.isWhole = cut.isWhole && text.find('}') == std::string_view::npos;
    if (open == std::string_view::npos) {
      return cut;
    }
    const std::size_t close = pattern.find('}', open);
    if (close == std::string_view::npos) {
      cut.isWhole = false;
      return cut;
    }
    cut.fields.emplace_back(pattern.substr(open + 1, close - open - 1));
    pattern.remove_prefix(close + 1);
  }
}

/// The texts of the fields; each text between them is taken as early, or as late, as it can be.
/// Empty when the name does not fit.
std::vector<std::string> Fitted(const SPattern& pattern, std::string_view name, bool early) {
  const std::size_t fields = pattern.fields.size();
  const std::string& front = pattern.texts.front();
  const std::string& back = pattern.texts.back();
  if (name.size() < front.size() + back.size() || !name.starts_with(front) ||
      !name.ends_with(back)) {
    return {};
  }
  name = name.substr(front.size(), name.size() - front.size() - back.size());
  std::vector<std::string> values(fields);
  for (std::size_t i = 0; i + 1 < fields; ++i) {
    const std::size_t field = early ? i : fields - 1 - i;
    const std::string& text = pattern.texts[early ? field + 1 : field];
    if (name.size() <= text.size()) {
      return {};
    }
    const std::size_t at =
        early ? name.find(text, 1) : name.rfind(text, name.size() - text.size() - 1);
    if (at == std::string_view::npos) {
      return {};
    }
    values[field] = early ? name.substr(0, at) : name.substr(at + text.size());
    name = early ? name.substr(at + text.size()) : name.substr(0, at);
  }
  values[early ? fields - 1 : 0] = name;
  const auto isEmpty = [](const std::string& value) { return value.empty(); };
  return std::any_of(values.begin(), values.end(), isEmpty) ? std::vector<std::string>() : values;
}

/// Whether a text can stand in the name of a variant.
bool MayName(const std::string& text) {
  return !text.empty() && text != "*" && text.find_first_of(",=") == std::string::npos &&
         std::all_of(text.begin(), text.end(), [](char c) { return c < '\0' || c >= ' '; });
}

std::size_t PlaceOf(const std::vector<std::string>& names, std::string_view name) {
  return static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin());
}

/// Adds what is known of a variant from one source.
class CVariantTeller {
 public:
  CVariantTeller(const std::vector<std::string>& names, SVariant& variant)
      : names_(names), variant_(variant), sources_(names.size(), "its column") {
    variant_.values.resize(names.size());
  }

  void Add(const std::string& name, const std::string& value, const char* source) {
    const std::size_t at = PlaceOf(names_, name);
    if (at == names_.size()) {
      return;
    }
    std::string& known = variant_.values[at];
    if (!known.empty() && known != value) {
      Fail(name + " is " + Quoted(known) + " by " + sources_[at] + ", " + Quoted(value) + " by " +
           source);
    }
    known = value;
    sources_[at] = source;
  }

  void Fail(const std::string& fault) {
    variant_.fault = variant_.fault.empty() ? fault : variant_.fault;
  }

  void Finish() {
    for (std::size_t i = 0; i < names_.size(); ++i) {
      const std::string& value = variant_.values[i];
      if (value.empty()) {
        Fail("what its " + names_[i] +
             " is stands in no column, no pattern of file names and no --variant " + names_[i] +
             "=VALUE");
      } else if (!MayName(value)) {
        Fail(names_[i] + " " + Quoted(value) + " cannot name a variant");
      }
      variant_.name += (i > 0 ? "," : "") + names_[i] + "=" + value;
    }
    if (!variant_.fault.empty()) {
      variant_.name.clear();
    }
  }

 private:
  const std::vector<std::string>& names_;
  SVariant& variant_;
  std::vector<const char*> sources_;
};

/// A key of these values, "*" where there is none.
CQuinterMFC KeyOf(const std::vector<std::string>& names, const std::vector<SCondition>& values) {
  CQuinterMFC key = CQuinterMFC::TheAsterisks();
  for (const SCondition& value : values) {
    if (const std::size_t at = PlaceOf(names, value.column); at < kMostVariantNames) {
      key.Field(static_cast<unsigned>(at), Utf8ToWide(value.value));
    }
  }
  return key;
}

}  // namespace

std::string FaultOfVariant(const std::vector<std::string>& names,
                           const std::optional<std::string>& pattern) {
  if (names.size() > kMostVariantNames) {
    return "--variant takes " + std::to_string(kMostVariantNames) + " names at most";
  }
  for (const std::string& name : names) {
    if (!MayName(name) || name.find_first_of("{}") != std::string::npos) {
      return "--variant: " + Quoted(name) + " cannot be a name";
    }
    if (std::count(names.begin(), names.end(), name) > 1) {
      return "--variant: " + Quoted(name) + " stands there twice";
    }
  }
  if (!pattern) {
    return "";
  }
  const SPattern cut = Cut(*pattern);
  const auto& fields = cut.fields;
  const auto isEmpty = [](const std::string& text) { return text.empty(); };
  if (!cut.isWhole || fields.empty() || std::any_of(fields.begin(), fields.end(), isEmpty)) {
    return "--variant-pattern needs fields in brackets, such as {product}_{gear}_{serial}.wav";
  }
  if (std::any_of(cut.texts.begin() + 1, cut.texts.end() - 1, isEmpty)) {
    return "--variant-pattern needs a text between two fields";
  }
  for (const std::string& field : fields) {
    if (std::count(fields.begin(), fields.end(), field) > 1) {
      return "--variant-pattern: " + Quoted(field) + " stands there twice";
    }
  }
  const bool any = std::any_of(fields.begin(), fields.end(), [&](const std::string& field) {
    return PlaceOf(names, field) < names.size();
  });
  return any ? "" : "--variant-pattern needs --variant with the fields that tell variants apart";
}

void TellVariant(const SReadSettings& settings, const std::vector<SCondition>& given,
                 const std::string& path, SVariant& variant) {
  if (settings.variant.empty()) {
    return;
  }
  if (!settings.rows && !settings.values) {
    variant.values.clear();  // no columns tell it
  }
  variant.name.clear();
  variant.fault.clear();
  CVariantTeller teller(settings.variant, variant);
  if (settings.variantPattern) {
    const SPattern pattern = Cut(*settings.variantPattern);
    const std::string name = std::filesystem::path(path).filename().string();
    const std::vector<std::string> values = Fitted(pattern, name, true);
    if (values.empty()) {
      teller.Fail("the name " + Quoted(name) + " does not fit " + *settings.variantPattern);
    } else if (values != Fitted(pattern, name, false)) {
      teller.Fail("the name " + Quoted(name) + " fits " + *settings.variantPattern +
                  " in several ways");
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
      teller.Add(pattern.fields[i], values[i], "its file's name");
    }
  }
  for (const SCondition& value : given) {
    if (PlaceOf(settings.variant, value.column) == settings.variant.size()) {
      teller.Fail(Quoted(value.column) + " does not tell variants apart here");
    }
    teller.Add(value.column, value.value, "--variant");
  }
  teller.Finish();
}

std::vector<SCondition> ValuesOf(std::string_view variant) {
  std::vector<SCondition> values;
  while (!variant.empty()) {
    const std::string_view pair = variant.substr(0, variant.find(','));
    const std::size_t equals = pair.find('=');
    values.push_back({std::string(pair.substr(0, equals)),
                      equals < pair.size() ? std::string(pair.substr(equals + 1)) : ""});
    variant.remove_prefix(std::min(variant.size(), pair.size() + 1));
  }
  return values;
}

bool IsVariant(std::string_view variant, const std::vector<std::string>& names,
               const std::vector<SCondition>& values) {
  return KeyOf(names, ValuesOf(variant)).matchesPattern(KeyOf(names, values));
}

}  // namespace limes::recordings

#include "recordings/formats/tdms_properties.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "recordings/text.h"

namespace limes::recordings {

const SNumberFormat* TdmsFormat(std::uint32_t type) {
  static constexpr struct {
    std::uint32_t type;
    SNumberFormat format;
  } kTypes[] = {
      {0x01, {NumberType::kInt8, false, false}},
      {0x02, {NumberType::kInt16, false, false}},
      {0x03, {NumberType::kInt32, false, false}},
      {0x04, {NumberType::kInt64, false, false}},
      {0x05, {NumberType::kUint8, false, false}},
      {0x06, {NumberType::kUint16, false, false}},
      {0x07, {NumberType::kUint32, false, false}},
      {0x08, {NumberType::kUint64, false, false}},
      {0x09, {NumberType::kFloat32, false, false}},
      {0x0A, {NumberType::kFloat64, false, false}},
      {0x19, {NumberType::kFloat32, false, false}},
      {0x1A, {NumberType::kFloat64, false, false}},
      {0x21, {NumberType::kUint8, false, false}},
      {0x08000C, {NumberType::kFloat32, false, true}},
      {0x10000D, {NumberType::kFloat64, false, true}},
  };
  const auto found = std::find_if(std::begin(kTypes), std::end(kTypes),
                                  [&](const auto& known) { return known.type == type; });
  return found == std::end(kTypes) ? nullptr : &found->format;
}

void ReadTdmsProperty(CByteCursor& at, TdmsProperties& properties) {
  const std::string name = at.GetText(at.Get<std::uint32_t>());
  const auto type = at.Get<std::uint32_t>();
  std::variant<double, std::string> value = 0.0;
  if (type == kTdmsText) {
    value = TextOfFile(at.GetText(at.Get<std::uint32_t>()));
  } else if (type == kTdmsTime) {
    at.Skip(16);
  } else if (const SNumberFormat* const known = TdmsFormat(type)) {
    SNumberFormat format = *known;
    format.bigEndian = at.IsBigEndian();
    std::array<std::uint8_t, 16> raw{};
    at.Read(raw.data(), format.Bytes());
    ReadNumbers(format, raw.data(), 0, std::span(&std::get<double>(value), 1));
  } else {
    at.Fail("property " + Quoted(name) + " is of the unknown type " + std::to_string(type));
  }
  if (name.starts_with("wf_") || name.starts_with("NI_") || name == "unit_string") {
    properties[name] = std::move(value);  // no others are asked for
  }
}

const std::variant<double, std::string>* CTdmsLookUp::Find(const std::string& name) const {
  if (const auto own = channel_.find(name); own != channel_.end()) {
    return &own->second;
  }
  if (group_ == nullptr) {
    return nullptr;
  }
  const auto found = group_->find(name);
  return found == group_->end() ? nullptr : &found->second;
}

std::string CTdmsLookUp::Text(const std::string& name) const {
  const auto* const found = Find(name);
  const auto* const text = found == nullptr ? nullptr : std::get_if<std::string>(found);
  return text == nullptr ? "" : *text;
}

std::optional<double> CTdmsLookUp::Number(const std::string& name) const {
  const auto* const found = Find(name);
  const auto* const number = found == nullptr ? nullptr : std::get_if<double>(found);
  return number == nullptr ? std::nullopt : std::optional(*number);
}

std::vector<Polynomial> CTdmsLookUp::Scales(const CByteCursor& at, const std::string& what) const {
  constexpr double kRaw = 0xFFFFFFFF;
  std::vector<Polynomial> scales;
  const double count = Number("NI_Number_Of_Scales").value_or(0.0);
  if (Text("NI_Scaling_Status") == "scaled" || !(count >= 1.0)) {
    return scales;
  }
  double k = count - 1.0;
  for (;;) {
    const std::string scale = "NI_Scale[" + NumberText(k) + "]_";
    const std::string kind = Text(scale + "Scale_Type");
    scales.push_back(Scale(at, what, scale, kind));
    const double source = Number(scale + kind + "_Input_Source").value_or(kRaw);
    if (source == kRaw) {
      break;
    }
    if (!(source >= 0.0 && source < k)) {
      at.Fail("the scales of " + Quoted(what) + " lead in a circle");
    }
    k = source;
  }
  std::reverse(scales.begin(), scales.end());
  return scales;
}

Polynomial CTdmsLookUp::Scale(const CByteCursor& at, const std::string& what,
                              const std::string& scale, const std::string& kind) const {
  const auto number = [&](const std::string& name) {
    const auto value = Number(scale + name);
    if (!value) {
      at.Fail("channel " + Quoted(what) + " lacks " + Quoted(scale + name));
    }
    return *value;
  };
  if (kind == "Linear") {
    return {number("Linear_Y_Intercept"), number("Linear_Slope")};
  }
  if (kind != "Polynomial") {
    at.Fail("channel " + Quoted(what) + " has a scale of the type " + Quoted(kind) +
            "; Linear and Polynomial are read");
  }
  Polynomial polynomial;
  const double size = number("Polynomial_Coefficients_Size");
  while (static_cast<double>(polynomial.size()) < size) {
    polynomial.push_back(
        number("Polynomial_Coefficients[" + std::to_string(polynomial.size()) + "]"));
  }
  return polynomial;
}

void ApplyScales(const std::vector<Polynomial>& scales, std::span<double> values) {
  for (const Polynomial& scale : scales) {
    for (double& value : values) {
      double sum = 0.0;
      for (auto c = scale.rbegin(); c != scale.rend(); ++c) {
        sum = sum * value + *c;
      }
      value = sum;
    }
  }
}

}  // namespace limes::recordings

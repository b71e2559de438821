#include "apps/limes/report/plot_values.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <nlohmann/json.hpp>

#include "apps/limes/measurement/number_text.h"

namespace limes::host {
namespace {

using Json = nlohmann::ordered_json;

Json Number(double value) {
  return std::isfinite(value) ? Json(Rounded(value, kPlaceDigits)) : Json(nullptr);
}

template <class T>
Json Numbers(const std::vector<T>& values) {
  Json list = Json::array();
  for (const T value : values) {
    list.push_back(Number(double{value}));
  }
  return list;
}

/// In the order of the processors that browsers run on.
std::string Packed(const std::vector<float>& values) {
  constexpr const char* kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::vector<std::uint8_t> bytes;
  for (const float value : values) {
    const auto bits = std::bit_cast<std::uint32_t>(std::isfinite(value) ? value : std::nanf(""));
    for (int shift = 0; shift < 32; shift += 8) {
      bytes.push_back(static_cast<std::uint8_t>(bits >> shift));
    }
  }
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t left = std::min<std::size_t>(bytes.size() - i, 3);
    std::uint32_t word = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      word = word << 8 | (k < left ? bytes[i + k] : 0U);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      text += k <= left ? kDigits[word >> (18 - 6 * k) & 63U] : '=';
    }
  }
  return text;
}

void AddEnds(Json& json, const std::vector<SVisExtremes>& columns, bool packed) {
  std::vector<float> low;
  std::vector<float> high;
  bool same = true;
  for (const SVisExtremes& column : columns) {
    low.push_back(column.low);
    high.push_back(column.high);
    same = same && (column.low == column.high || column.IsEmpty());
  }
  const auto list = [packed](const std::vector<float>& values) {
    return packed ? Json(Packed(values)) : Numbers(values);
  };
  json["low"] = list(low);
  if (!same) {
    json["high"] = list(high);
  }
}

/// Columns that lie evenly are told by their ends.
void AddPlaces(Json& json, const std::vector<double>& xs, bool packed) {
  const double step =
      xs.size() > 1 ? (xs.back() - xs.front()) / static_cast<double>(xs.size() - 1) : 0.0;
  bool even = packed && !xs.empty();
  for (std::size_t i = 0; i < xs.size() && even; ++i) {
    even = std::fabs(xs[i] - xs.front() - static_cast<double>(i) * step) <= 1e-3 * step;
  }
  if (even) {
    json["even"] = {{"first", xs.front()}, {"last", xs.back()}, {"count", xs.size()}};
  } else {
    json["xs"] = Numbers(xs);
  }
}

std::string JsonOf(const SPlotContent& content, double left, double right, bool packed) {
  Json json = {{"single", content.single},
               {"dots", content.dots},
               {"xName", content.xName},
               {"yName", content.yName},
               {"range", {Number(content.x.low), Number(content.x.high), left, right}},
               {"lines", Json::array()},
               {"marks", Json::array()},
               {"regions", Json::array()}};
  const bool shares = packed && !content.like.empty();
  if (shares) {
    json["like"] = content.like;
    json["shared"] = content.shared;
  } else {
    AddPlaces(json, content.xs, packed);
  }
  for (std::size_t i = shares ? content.shared : 0; i < content.lines.size(); ++i) {
    const SPlotLine& line = content.lines[i];
    Json entry = {{"name", line.name},
                  {"colour", line.colour},
                  {"width", line.width},
                  {"dashed", line.dashed}};
    if (line.dot > 0.0) {
      entry["dot"] = line.dot;
    }
    if (!line.joined) {
      entry["loose"] = true;
    }
    AddEnds(entry, line.columns, packed);
    json["lines"].push_back(std::move(entry));
  }
  if (!content.band.empty() && !shares) {
    AddEnds(json["band"], content.band, packed);
  }
  for (const SPlotContent::SMark& m : content.marks) {
    json["marks"].push_back({{"x", Number(m.mark.x)},
                             {"y", Number(m.mark.value)},
                             {"shape", m.shape},
                             {"colour", m.colour},
                             {"filled", m.filled},
                             {"text", m.mark.text}});
  }
  for (const SVisRange& region : content.regions) {
    json["regions"].push_back({Number(region.low), Number(region.high)});
  }
  if (!content.texts.empty()) {
    json["texts"] = content.texts;
  }
  if (!content.times.empty()) {
    json["times"] = content.times;
  }
  if (content.fixed) {
    json["fixed"] = {Number(content.y.low), Number(content.y.high)};
  }
  std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
  for (std::size_t at = 0; (at = text.find('<', at)) != std::string::npos; at += 6) {
    text.replace(at, 1, "\\u003c");
  }
  return text;
}

}  // namespace

std::string PlotJson(const SPlotContent& content, double left, double right) {
  return JsonOf(content, left, right, false);
}

std::string PlotValues(const SPlotContent& content, double left, double right) {
  return "<script type=\"application/json\">" + JsonOf(content, left, right, true) + "</script>\n";
}

}  // namespace limes::host

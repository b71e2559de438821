#include "apps/limes/report/plot_values.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "apps/limes/measurement/number_text.h"

namespace limes::host {
namespace {

using Json = nlohmann::ordered_json;

Json Number(double value) {
  return std::isfinite(value) ? Json(Rounded(value, kPlaceDigits)) : Json(nullptr);
}

Json Numbers(const std::vector<double>& values) {
  Json list = Json::array();
  for (const double value : values) {
    list.push_back(Number(value));
  }
  return list;
}

void AddEnds(Json& json, const std::vector<SVisExtremes>& columns) {
  Json low = Json::array();
  Json high = Json::array();
  for (const SVisExtremes& column : columns) {
    low.push_back(Number(column.low));
    high.push_back(Number(column.high));
  }
  const bool same = low == high;
  json["low"] = std::move(low);
  if (!same) {
    json["high"] = std::move(high);
  }
}

}  // namespace

std::string PlotJson(const SPlotContent& content, double left, double right) {
  Json json = {{"single", content.single},
               {"dots", content.dots},
               {"xName", content.xName},
               {"yName", content.yName},
               {"range", {Number(content.x.low), Number(content.x.high), left, right}},
               {"xs", Numbers(content.xs)},
               {"lines", Json::array()},
               {"marks", Json::array()},
               {"regions", Json::array()}};
  for (const SPlotLine& line : content.lines) {
    Json entry = {{"name", line.name},
                  {"colour", line.colour},
                  {"width", line.width},
                  {"dashed", line.dashed}};
    AddEnds(entry, line.columns);
    json["lines"].push_back(std::move(entry));
  }
  if (!content.band.empty()) {
    AddEnds(json["band"], content.band);
  }
  for (const SPlotContent::SMark& m : content.marks) {
    json["marks"].push_back({{"x", Number(m.mark.x)},
                             {"y", Number(m.mark.value)},
                             {"shape", PartShape(m.part)},
                             {"colour", PartColour(m.part)},
                             {"filled", m.mark.beyond},
                             {"text", m.mark.text}});
  }
  for (const SVisRange& region : content.regions) {
    json["regions"].push_back({Number(region.low), Number(region.high)});
  }
  std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
  for (std::size_t at = 0; (at = text.find('<', at)) != std::string::npos; at += 6) {
    text.replace(at, 1, "\\u003c");
  }
  return text;
}

std::string PlotValues(const SPlotContent& content, double left, double right) {
  return "<script type=\"application/json\">" + PlotJson(content, left, right) + "</script>\n";
}

}  // namespace limes::host

#pragma once

#include <string_view>

namespace limes::host {

/// What a page carries along, as it stands in apps/limes/page. The chart library's are empty where
/// scripts/setup could not fetch it.
extern const std::string_view kReportStyle;
extern const std::string_view kReportScript;
extern const std::string_view kChartStyle;
extern const std::string_view kChartScript;
extern const std::string_view kChartLicence;

}  // namespace limes::host

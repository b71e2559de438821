#pragma once

#include <string_view>

namespace limes::host {

/// The page of a bench and the description of its interface, as they stand in
/// apps/limes/bench/page.
extern const std::string_view kBenchPage;
extern const std::string_view kBenchStyle;
extern const std::string_view kBenchScript;
extern const std::string_view kBenchInterface;

}  // namespace limes::host

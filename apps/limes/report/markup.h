#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace limes::host {

/// What the pages and drawings of this program begin with, so that it knows them again.
inline constexpr const char* kPageMark = "<meta name=\"generator\" content=\"limes\"/>\n";
inline constexpr const char* kPlotMark = "<svg data-generator=\"limes\" ";

/// Text from files as it may be shown: what is no character becomes U+FFFD, what is longer than the
/// given bytes is cut and ends in an ellipsis.
std::string Shortened(std::string_view text, std::size_t most = 160);

/// The same as it may stand in HTML and XML, in quotes too.
std::string Markup(std::string_view text, std::size_t most = 160);

/// The end of a text, which tells paths apart better than their beginning.
std::string Ending(const std::string& text, std::size_t most);

}  // namespace limes::host

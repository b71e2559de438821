#pragma once

#include <string>

#include "apps/limes/report/margin_run.h"
#include "apps/limes/report/plot.h"

namespace limes::host {

/// The distances over the parts, drift alarms at their parts; what lies further beyond the limit
/// than is shown is marked at the lower edge, with its distance as text. named: with the names and
/// times of the parts.
SPlotContent MarginsOverParts(const CMarginRun& run, bool named);

/// How many parts keep which distance, as one svg element; those further beyond the limit than is
/// shown are a bar of their own.
std::string MarginHistogram(const CMarginRun& run);

/// What these pictures show, in words.
std::string MarginsText(const CMarginRun& run);

}  // namespace limes::host

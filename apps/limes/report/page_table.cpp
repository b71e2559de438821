#include "apps/limes/report/page_table.h"

#include "apps/limes/report/markup.h"

namespace limes::host {

std::string Cell(const std::string& markup, const char* type) {
  return std::string("<td") + type + ">" + markup + "</td>";
}

std::string TextCell(const std::string& text) { return Cell(Markup(text, 240), " class=\"t\""); }

std::string QuantityCell(const std::string& name) { return Cell(Markup(name), " class=\"q\""); }

std::string CountCell(std::int64_t count) { return Cell(std::to_string(count), " class=\"n\""); }

std::string VerdictCell(Verdict verdict) {
  return Cell(VerdictText(verdict), verdict == Verdict::kFail ? " class=\"NOK\"" : "");
}

CPageTable::CPageTable(std::string& page, const char* name, const std::string& heads)
    : page_(page) {
  page_ += "<div class=\"table\"><table data-name=\"" + std::string(name) + "\"><thead><tr>" +
           heads + "</tr></thead><tbody>\n";
}

CPageTable::~CPageTable() { page_ += "</tbody></table></div>\n"; }

}  // namespace limes::host

#pragma once

#include <cstdint>
#include <string>

#include "apps/limes/measurement/verdict.h"

namespace limes::host {

/// Cells of a table of a page. Texts come from files unless they are called markup.
std::string Cell(const std::string& markup, const char* type = "");
std::string TextCell(const std::string& text);
std::string QuantityCell(const std::string& name);
std::string CountCell(std::int64_t count);
std::string VerdictCell(Verdict verdict);

/// A table that the page's script sorts, filters and saves under a name; its end is that of the
/// object.
class CPageTable {
 public:
  /// heads: markup of the cells of its head.
  CPageTable(std::string& page, const char* name, const std::string& heads);
  ~CPageTable();
  CPageTable(const CPageTable&) = delete;
  CPageTable& operator=(const CPageTable&) = delete;

  void Row(const std::string& cells) { page_ += "<tr>" + cells + "</tr>\n"; }

 private:
  std::string& page_;
};

}  // namespace limes::host

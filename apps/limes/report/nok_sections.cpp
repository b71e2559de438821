#include "apps/limes/report/nok_sections.h"

#include <set>
#include <utility>

#include "apps/limes/report/markup.h"
#include "apps/limes/report/svg_plot.h"

namespace limes::host {
namespace {

class CSections {
 public:
  explicit CSections(const CJudgedParts& judged) : judged_(judged) {
    const std::vector<std::string> order = judged.PlottedQuantities();
    plotted_.insert(order.begin(), order.end());
  }

  std::string Write() {
    const auto parts = judged_.Nok().Items();
    if (parts.empty()) {
      return "";
    }
    const std::size_t all = judged_.Nok().Count();
    out_ = "<h2>NOK parts</h2>\n<p class=\"note\">" +
           (all > parts.size()
                ? std::to_string(parts.size()) + " of " + std::to_string(all) + " NOK parts, those"
                : std::string("Those")) +
           " furthest beyond a limit first, each over mean and limits, with the parts judged just "
           "before and behind it.</p>\n";
    bool open = true;
    for (const auto& part : parts) {
      WritePart(*part, open);
      open = false;
    }
    return std::move(out_);
  }

 private:
  std::string NameOf(const std::string& part) const {
    return Markup(judged_.Folder().Inside(part), 240);
  }

  void WritePart(const CNokParts::SNokPart& part, bool open) {
    out_ += std::string("<details") + (open ? " open" : "") + "><summary><b>" + NameOf(part.part) +
            "</b>, part " + std::to_string(part.number) +
            (part.label.empty() ? "" : ", labelled " + Markup(part.label, 60)) + "</summary>\n<ul>";
    for (const SDefect& defect : part.defects) {
      out_ += "<li>" + Markup(defect.quantity) + ": " +
              Markup(DefectText(defect, judged_.XUnitOf(defect.quantity)), 240) + ", priority " +
              std::to_string(defect.priority) + "</li>\n";
    }
    if (part.allDefects > part.defects.size()) {
      out_ += "<li>and " + std::to_string(part.allDefects - part.defects.size()) +
              " less important ones</li>\n";
    }
    out_ += "</ul>\n<p class=\"note\">" + Neighbour("before", part.before) + " " +
            Neighbour("behind", part.behind) + "</p>\n<div class=\"plots\">\n";
    for (const auto& [name, shown] : part.quantities) {
      WritePlot(part, name, shown);
    }
    out_ += "</div></details>\n";
  }

  std::string Neighbour(const char* where,
                        const std::shared_ptr<const CNokParts::SNeighbour>& part) const {
    return !part ? std::string("No part was judged ") + where + " it."
                 : std::string("Just ") + where + " it " + NameOf(part->part) + ": " +
                       VerdictText(part->verdict) +
                       (part->worst.empty() ? "" : ", " + Markup(part->worst, 240)) + ".";
  }

  void WritePlot(const CNokParts::SNokPart& part, const std::string& name, const SPlotPart& shown) {
    if (!plotted_.contains(name)) {
      return;
    }
    const CJudgedParts::SQuantity& quantity = judged_.Quantity(name);
    SPlot plot{quantity.sides, {shown}, judged_.Columns(), judged_.DrawnColumns(true)};
    plot.parts[0].name = judged_.Folder().Inside(shown.name);
    for (const auto& [where, neighbour] :
         {std::pair("before: ", part.before), std::pair("behind: ", part.behind)}) {
      if (neighbour) {
        const auto curve = neighbour->curves.find(name);
        if (curve != neighbour->curves.end() && !curve->second.empty()) {
          plot.parts.push_back(
              {where + judged_.Folder().Inside(neighbour->part), {}, curve->second});
        }
      }
    }
    const bool single = quantity.sides[0]->kind == "value";
    out_ += std::string("<section") + (single ? "" : " class=\"wide\"") + "><h3>" + Markup(name) +
            "</h3>\n" + PlotOnPage(plot, single ? "" : judged_.IdOf(name)) + "</section>\n";
  }

  const CJudgedParts& judged_;
  std::set<std::string> plotted_;
  std::string out_;
};

}  // namespace

std::string NokSections(const CJudgedParts& judged) { return CSections(judged).Write(); }

}  // namespace limes::host

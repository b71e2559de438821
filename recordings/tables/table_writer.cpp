#include <algorithm>
#include <charconv>
#include <cmath>

#include "recordings/errors.h"
#include "recordings/part_writer.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

struct SCell {
  char text[32];
  std::size_t size = 0;

  std::string_view View() const { return {text, size}; }
};

/// Shortest text that reads as the same number.
template <class T>
SCell ShortestCell(T value) {
  SCell cell;
  cell.size = static_cast<std::size_t>(
      std::to_chars(cell.text, cell.text + sizeof(cell.text), value).ptr - cell.text);
  return cell;
}

/// 15 digits: those that all doubles have.
SCell PlaceCell(double value) {
  SCell cell;
  cell.size = static_cast<std::size_t>(
      std::to_chars(cell.text, cell.text + sizeof(cell.text), value, std::chars_format::general, 15)
          .ptr -
      cell.text);
  return cell;
}

/// x or values of a quantity.
struct SColumnOut {
  std::string header;
  const SQuantity* quantity;
  bool isX;

  std::size_t Rows() const { return quantity->values.size(); }
  SCell Cell(std::size_t row) const {
    if (isX && quantity->x.empty()) {
      return PlaceCell(XOf(*quantity, row));
    }
    if (!isX && !quantity->covered.empty() && quantity->covered[row] == 0) {
      return {};
    }
    return ShortestCell(isX ? quantity->x[row] : quantity->values[row]);
  }
};

std::string Header(const std::string& name, const SUnit& unit) {
  return unit.IsNone() ? name : name + " [" + unit.Display() + "]";
}

std::string CsvCell(const std::string& text) {
  const bool blank = !text.empty() && (text.front() == ' ' || text.back() == ' ');
  if (!blank && text.find_first_of(",\"\r\n\t") == std::string::npos) {
    return text;
  }
  std::string cell = "\"";
  for (const char c : text) {
    cell.append(c == '"' ? 2 : 1, c);
  }
  return cell + "\"";
}

/// One x column for all when they have the same grid, else one for each.
std::vector<SColumnOut> CurveColumns(const std::vector<SNamedQuantity>& quantities) {
  const SQuantity& first = *quantities[0].quantity;
  const bool same = std::all_of(quantities.begin(), quantities.end(),
                                [&](const auto& q) { return SameGrid(first, *q.quantity); });
  std::vector<SColumnOut> columns;
  for (const auto& [name, quantity] : quantities) {
    if (columns.empty() || !same) {
      columns.push_back({Header(same ? "x" : "x of " + name, quantity->xUnit), quantity, true});
    }
    columns.push_back({Header(name, quantity->unit), quantity, false});
  }
  return columns;
}

/// Collects text and hands it on in large pieces.
class CTextOutput {
 public:
  CTextOutput(CFileStream& out, bool aligned) : out_(out), aligned_(aligned) {}

  void Cell(std::string_view text, std::size_t column, std::size_t width) {
    if (aligned_) {
      // Characters, not bytes: those that go on with a character begin with bits 10.
      const auto shown = static_cast<std::size_t>(
          std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
      text_.append((column > 0 ? 2 : 0) + (shown < width ? width - shown : 0), ' ');
    } else if (column > 0) {
      text_ += ',';
    }
    text_ += text;
  }

  void EndLine() {
    constexpr std::size_t kPiece = std::size_t{1} << 16;
    text_ += '\n';
    if (text_.size() >= kPiece) {
      Flush();
    }
  }

  void Flush() {
    out_.Write(text_.data(), text_.size());
    text_.clear();
  }

 private:
  CFileStream& out_;
  bool aligned_;
  std::string text_;
};

/// Writes the header and rows cells(row, column).
template <class Cells>
void WriteRows(const std::vector<std::string>& headers, std::size_t rows, bool aligned,
               CFileStream& out, Cells cells) {
  constexpr std::size_t kNumberWidth = 12;
  CTextOutput text(out, aligned);
  std::vector<std::size_t> widths;
  for (const std::string& header : headers) {
    text.Cell(aligned ? header : CsvCell(header), widths.size(), kNumberWidth);
    widths.push_back(std::max(header.size(), kNumberWidth));
  }
  text.EndLine();
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t column = 0; column < headers.size(); ++column) {
      const SCell cell = cells(row, column);
      text.Cell(cell.View(), column, widths[column]);
    }
    text.EndLine();
  }
  text.Flush();
}

/// One row a part; all must have the quantities of the first one.
void WriteValues(const std::vector<SPart>& parts, bool aligned, CFileStream& out) {
  std::vector<std::string> headers;
  for (const SQuantity& q : parts[0].quantities) {
    headers.push_back(Header(q.name, q.unit));
  }
  for (const SPart& part : parts) {
    const bool same =
        std::equal(part.quantities.begin(), part.quantities.end(), parts[0].quantities.begin(),
                   parts[0].quantities.end(), [](const SQuantity& a, const SQuantity& b) {
                     return a.single && b.single && a.name == b.name && a.unit == b.unit;
                   });
    if (!same) {
      throw CInputError(part.name, "has other quantities or units than " + parts[0].name);
    }
  }
  WriteRows(headers, parts.size(), aligned, out, [&](std::size_t row, std::size_t column) {
    return ShortestCell(parts[row].quantities[column].value);
  });
}

}  // namespace

std::vector<std::string> WriteTable(const std::vector<SPart>& parts,
                                    const std::vector<SNamedQuantity>& quantities, bool aligned,
                                    CFileStream& out) {
  if (quantities[0].quantity->single) {
    WriteValues(parts, aligned, out);
    return LostReferences(quantities);
  }
  const std::vector<SColumnOut> columns = CurveColumns(quantities);
  std::vector<std::string> headers;
  std::size_t rows = 0;
  for (const SColumnOut& column : columns) {
    headers.push_back(column.header);
    rows = std::max(rows, column.Rows());
  }
  WriteRows(headers, rows, aligned, out, [&](std::size_t row, std::size_t column) {
    return row < columns[column].Rows() ? columns[column].Cell(row) : SCell();
  });
  return LostReferences(quantities);
}

}  // namespace limes::recordings

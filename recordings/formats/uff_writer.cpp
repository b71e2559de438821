#include <charconv>
#include <cmath>

#include "limes/platform/record_io.h"
#include "limes/platform/text.h"
#include "recordings/errors.h"
#include "recordings/part_writer.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

constexpr std::size_t kNumberWidth = 10;
constexpr std::size_t kFloatWidth = 13;
constexpr double kOffGrid = 0.1;  ///< of a step, at the last value

std::string Right(const std::string& text, std::size_t width) {
  return std::string(width - std::min(width, text.size()), ' ') + text;
}

std::string Right(std::uint64_t number, std::size_t width) {
  return Right(std::to_string(number), width);
}

std::string Left(std::string text, std::size_t width) {
  text.resize(width, ' ');
  return text;
}

/// Seven digits: what 13 columns hold.
std::string Float(double value) {
  constexpr int kDigitsBehindPoint = 6;
  char text[32];
  const auto end = std::to_chars(text, text + sizeof(text), value, std::chars_format::scientific,
                                 kDigitsBehindPoint)
                       .ptr;
  std::string shown(text, end);
  shown[shown.find('e')] = 'E';
  return Right(shown, kFloatWidth);
}

double AsWritten(double value) {
  double read = value;
  const std::string text = Float(value);
  ParseNumber(std::string_view(text).substr(text.find_first_not_of(' ')), read);
  return read;
}

/// Numbers of the kinds of axes by their units.
std::uint64_t KindOf(const std::string& unit) {
  constexpr std::pair<std::string_view, std::uint64_t> kKinds[] = {
      {"s", 17}, {"Hz", 18},  {"rpm", 19},  {"ord", 20},
      {"m", 8},  {"m/s", 11}, {"m/s²", 12}, {"Pa", 15},
  };
  for (const auto& [known, kind] : kKinds) {
    if (known == unit) {
      return kind;
    }
  }
  return 0;
}

std::string AxisLine(const SNamedQuantity& q, const SUnit& unit, std::vector<std::string>& losses) {
  constexpr std::size_t kWidth = 20;
  const std::string shown = unit.IsNone() ? "NONE" : unit.Display();
  std::string bytes = WideToCp1252(Utf8ToWide(shown));
  if (WideToUtf8(Cp1252ToWide(bytes)) != shown || IsUtf8(bytes)) {
    bytes = shown;
  }
  if (bytes.size() > kWidth) {
    losses.push_back(Quoted(q.name) + ": the unit " + Quoted(shown) + " is cut to " +
                     std::to_string(kWidth) + " bytes");
    bytes = Utf8Prefix(bytes, kWidth);
  }
  return Right(KindOf(shown), kNumberWidth) + "    0    0    0 " + Left("NONE", kWidth) + " " +
         Left(bytes, kWidth) + "\n";
}

std::string NameLine(const SNamedQuantity& q, std::vector<std::string>& losses) {
  constexpr std::size_t kWidth = 80;
  std::string name = q.name;
  for (char& c : name) {
    c = static_cast<unsigned char>(c) < ' ' ? ' ' : c;
  }
  if (name != q.name || name.size() > kWidth) {
    losses.push_back(Quoted(q.name) + ": the name is written in one line of " +
                     std::to_string(kWidth) + " bytes");
  }
  name = Utf8Prefix(name, kWidth);
  return (name.empty() ? "NONE" : name) + "\n";
}

/// How values and x lie: floats at equal steps; floats with x; doubles with x where neither the
/// step as written nor floats lead to the places.
struct SForm {
  bool even;
  bool wide;

  std::uint64_t Type() const { return wide ? 4 : 2; }
  std::size_t PointBytes() const { return (wide ? 8U : 4U) * (even ? 1U : 2U); }
};

SForm FormOf(const SQuantity& q) {
  const double off = std::fabs(AsWritten(q.x0) - q.x0) +
                     std::fabs(AsWritten(q.dx) - q.dx) * static_cast<double>(q.values.size());
  return {q.x.empty() && off <= kOffGrid * q.dx, q.x.empty() && off > kOffGrid * q.dx};
}

std::string HeadOf(const SNamedQuantity& named, const SForm& form,
                   std::vector<std::string>& losses) {
  const SQuantity& q = *named.quantity;
  const std::string xUnit = q.xUnit.Display();
  const std::uint64_t function = xUnit == "s" ? 1 : xUnit == "Hz" ? 12 : xUnit == "ord" ? 27 : 0;
  const std::string none = " NONE               0   0";
  const std::size_t bytes = q.values.size() * form.PointBytes();
  return "    -1\n    58b" + Right(1, 6) + Right(2, 6) + Right(11, 12) + Right(bytes, 12) +
         "     0     0           0           0\n" + NameLine(named, losses) +
         "NONE\nNONE\nNONE\nNONE\n" + Right(function, 5) + "         0    0         0" + none +
         none + "\n" + Right(form.Type(), kNumberWidth) + Right(q.values.size(), kNumberWidth) +
         Right(form.even ? 1 : 0, kNumberWidth) + Float(form.even ? q.x0 : 0.0) +
         Float(form.even ? q.dx : 0.0) + Float(0.0) + "\n" + AxisLine(named, q.xUnit, losses) +
         AxisLine(named, q.unit, losses) + AxisLine(named, SUnit(), losses) +
         AxisLine(named, SUnit(), losses);
}

}  // namespace

std::vector<std::string> WriteUff(const std::vector<SNamedQuantity>& quantities, CFileStream& out) {
  constexpr std::size_t kMostPoints = 999'999'999;  // of which the digits fit
  std::vector<std::string> losses = LostReferences(quantities);
  for (const SNamedQuantity& named : quantities) {
    const SQuantity& q = *named.quantity;
    if (q.values.size() > kMostPoints) {
      throw CInputError(named.name, "has too many values for UFF");
    }
    const SForm form = FormOf(q);
    if (form.even && (AsWritten(q.dx) != q.dx || AsWritten(q.x0) != q.x0)) {
      losses.push_back(Quoted(named.name) + ": start and step of x are written with 7 digits");
    }
    const std::string head = HeadOf(named, form, losses);
    out.Write(head.data(), head.size());
    detail::RecordWriter points;
    for (std::size_t i = 0; i < q.values.size(); ++i) {
      if (form.wide) {
        points.Put(XOf(q, i));
        points.Put(double{q.values[i]});
      } else {
        if (!form.even) {
          points.Put(q.x[i]);
        }
        points.Put(q.values[i]);
      }
    }
    out.Write(points.Bytes().data(), points.Bytes().size());
    constexpr std::string_view kEnd = "\n    -1\n";
    out.Write(kEnd.data(), kEnd.size());
  }
  return losses;
}

}  // namespace limes::recordings

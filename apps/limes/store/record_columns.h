#pragma once

#include <concepts>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "apps/limes/measurement/verdict.h"
#include "apps/limes/store/database.h"

namespace limes::host {

/// Columns of a table that holds a record, by the record's one list of fields (VisitFields).

/// Calls visit(SField, field) for the stored fields.
template <class Record>
void VisitColumns(auto visit, Record& record) {
  VisitFields(
      [&](const SField& field, auto& value) {
        if (field.column != nullptr) {
          visit(field, value);
        }
      },
      record);
}

/// ", side, verdict, ...", what tables of a version do not have as NULL.
template <class Record>
std::string ColumnNames(std::int64_t version) {
  Record record;
  std::string names;
  VisitColumns(
      [&](const SField& field, auto&) {
        names += std::string(", ") + (field.since > version ? "NULL" : field.column);
      },
      record);
  return names;
}

/// ", ?" for each.
template <class Record>
std::string ColumnMarks() {
  Record record;
  std::string marks;
  VisitColumns([&](const SField&, auto&) { marks += ", ?"; }, record);
  return marks;
}

inline const char* ColumnType(const std::string&) { return " TEXT"; }
inline const char* ColumnType(const std::optional<std::string>&) { return " TEXT"; }
inline const char* ColumnType(std::integral auto) { return " INTEGER"; }
inline const char* ColumnType(const std::optional<double>&) { return " REAL"; }
inline const char* ColumnType(const TCorners&) { return " BLOB"; }
inline const char* ColumnType(Side) { return " TEXT CHECK(side IN ('upper', 'lower'))"; }
inline const char* ColumnType(Verdict) {
  return " TEXT CHECK(verdict IN ('OK', 'NOK', 'not judged'))";
}

/// The columns that came with a version, each with its type between the given texts:
/// ", priority INTEGER".
template <class Record>
std::string NewColumns(std::int64_t version, const std::string& before, const std::string& behind) {
  Record record;
  std::string columns;
  VisitColumns(
      [&](const SField& field, const auto& value) {
        if (field.since == version) {
          columns += before + field.column + ColumnType(value) + behind;
        }
      },
      record);
  return columns;
}

/// Two doubles each.
std::vector<std::uint8_t> CornerBytes(const TCorners& corners);

/// A row takes its values by Bind, as CStatement does.
inline void BindField(auto& row, const std::string& value) { row.Bind(value); }
inline void BindField(auto& row, const std::optional<std::string>& value) { row.Bind(value); }
inline void BindField(auto& row, const std::optional<double>& value) { row.Bind(value); }
inline void BindField(auto& row, double value) { row.Bind(std::optional(value)); }
inline void BindField(auto& row, std::integral auto value) { row.Bind(std::int64_t{value}); }
inline void BindField(auto& row, const TCorners& value) {
  row.Bind(std::span<const std::uint8_t>(CornerBytes(value)));
}
inline void BindField(auto& row, Side value) { row.Bind(SideText(value)); }
inline void BindField(auto& row, Verdict value) { row.Bind(VerdictText(value)); }

template <class Record>
void BindFields(auto& row, const Record& record) {
  VisitColumns([&](const SField&, const auto& value) { BindField(row, value); }, record);
}

inline void ReadField(const CStatement& s, int i, std::string& value) { value = s.Text(i); }
inline void ReadField(const CStatement& s, int i, std::optional<std::string>& value) {
  value = s.OptionalText(i);
}
inline void ReadField(const CStatement& s, int i, std::optional<double>& v) { v = s.Real(i); }
inline void ReadField(const CStatement& s, int i, double& value) {
  value = s.Real(i).value_or(0.0);
}
template <std::integral T>
void ReadField(const CStatement& s, int i, T& value) {
  value = static_cast<T>(s.Int(i));
}
void ReadField(const CStatement& s, int i, TCorners& value);
inline void ReadField(const CStatement& s, int i, Side& value) { value = SideFromText(s.Text(i)); }
inline void ReadField(const CStatement& s, int i, Verdict& value) {
  value = VerdictFromText(s.Text(i));
}

/// Reads from a column on; returns the column behind.
template <class Record>
int ReadFields(const CStatement& statement, int column, Record& record) {
  VisitColumns([&](const SField&, auto& value) { ReadField(statement, column++, value); }, record);
  return column;
}

}  // namespace limes::host

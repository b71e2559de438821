#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "apps/limes/plant/connection.h"
#include "apps/limes/store/record_columns.h"

namespace limes::host {

/// A text as a database takes it: one that is no UTF-8, or holds a zero, is escaped.
std::string PlantText(std::string_view text);

/// Rows as PostgreSQL's COPY takes them. Values are bound as to a CStatement, in the order of the
/// columns.
class CCopyRows {
 public:
  CCopyRows& Bind(std::int64_t value);
  CCopyRows& Bind(std::string_view text);
  CCopyRows& Bind(const std::string& text) { return Bind(std::string_view(text)); }
  CCopyRows& Bind(const char* text) { return Bind(std::string_view(text)); }
  CCopyRows& Bind(std::optional<double> value);
  CCopyRows& Bind(const std::optional<std::string>& text);
  CCopyRows& Bind(std::optional<std::int64_t> value);
  CCopyRows& Bind(std::span<const std::uint8_t> bytes);
  CCopyRows& Null();
  void EndRow();

  const std::string& Text() const { return text_; }
  void Clear() { text_.clear(); }

 private:
  void Next();

  std::string text_;
  bool begun_ = false;  ///< a row
};

/// ms since 1970 as a text of UTC; empty where a database has no such time.
std::optional<std::string> TimeText(std::optional<std::int64_t> at);

}  // namespace limes::host

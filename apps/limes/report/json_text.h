#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace limes::host {

/// JSON written piece by piece into one text, for output of which there is much: the bytes are
/// those of PrintJsonLine. Numbers that come again, as limits do from part to part, are formed
/// once.
class CJsonText {
 public:
  CJsonText();

  /// '{' or '[', with its name in an object; the end is the other one.
  void Begin(char bracket, std::string_view name = {});
  void End(char bracket);

  void Add(std::string_view name, double value);  ///< null where it is not finite
  void Add(std::string_view name, std::int64_t value);
  void Add(std::string_view name, std::string_view text);
  void AddNull(std::string_view name);

  /// JSON that was formed elsewhere.
  void AddJson(std::string_view name, std::string_view json);

  /// The text so far, which begins anew; valid until something is added.
  std::string_view Take();

 private:
  struct SNumber {
    std::uint64_t bits = 0;
    std::uint8_t size = 0;
    char text[31] = {};
  };

  void Name(std::string_view name);
  char* Room(std::size_t bytes);  ///< behind what is written
  void Put(char c) {
    *Room(1) = c;
    ++size_;
  }
  void Put(std::string_view text);

  std::string text_;      ///< the first bytes of it are written
  std::size_t size_ = 0;  ///< so many
  std::vector<SNumber> numbers_;
  bool first_ = true;
};

}  // namespace limes::host

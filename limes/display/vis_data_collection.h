#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "limes/display/vis_data_array.h"
#include "limes/display/vis_data_polygon.h"
#include "limes/display/vis_data_vector.h"
#include "limes/export.h"

namespace limes {

/// What a view shows together on the same axes, by name and in the order of drawing: curves,
/// polylines, arrays. Owns them. One thread at a time.
class LIMES_EXPORT CVisDataCollection {
 public:
  using Data = std::variant<CVisDataVector, CVisDataPolygon, CVisDataArray>;

  /// What lies nearest to a place; the name is valid until data are added or removed.
  struct SFound {
    const std::string* name = nullptr;
    std::size_t index = 0;  ///< of the value, or of the point
    double x = 0.0;
    double y = 0.0;
    double distance = 0.0;  ///< in pixels
  };

  /// Adds data behind the others, or replaces those of the same name where they are. False, with
  /// nothing changed, when memory is short.
  [[nodiscard]] bool Add(std::string name, Data data);

  /// No effect without data of that name.
  void Remove(std::string_view name);

  std::size_t Size() const { return members_.size(); }
  const std::string& NameOf(std::size_t i) const { return members_[i].name; }
  const Data& operator[](std::size_t i) const { return members_[i].data; }

  /// The data of a name as what they are; null when there are none, or others.
  template <class T>
  T* Find(std::string_view name) {
    Data* const data = FindData(name);
    return data == nullptr ? nullptr : std::get_if<T>(data);
  }

  /// What axes need to show all of it; of arrays y is t.
  SVisRange XRange() const;
  SVisRange YRange() const;

  /// The value or point nearest to a place, which counts pixels; arrays take no part. False without
  /// any. O(points).
  [[nodiscard]] bool At(const CVisAxis& x, const CVisAxis& y, const SVisPoint& place,
                        SFound& found) const;

  /// Where along x something has changed since the last call: what was added, replaced and
  /// removed, and the dirty parts of all; polylines and arrays as a whole. Empty when nothing has.
  SVisPlaces TakeDirty(const CVisAxis& x);

 private:
  struct SMember {
    std::string name;
    Data data;
    bool changed = true;
  };

  std::vector<SMember>::iterator Where(std::string_view name);
  Data* FindData(std::string_view name);

  std::vector<SMember> members_;
  SVisRange removed_;  ///< along x, since the last call
};

}  // namespace limes

#include "limes/display/vis_data_collection.h"

#include <algorithm>
#include <cmath>

#include "limes/platform/memory_errors.h"

namespace limes {

namespace {

SVisRange XOf(const CVisDataCollection::Data& data) {
  return std::visit([](const auto& member) { return member.XRange(); }, data);
}

SVisRange YOf(const CVisDataCollection::Data& data) {
  const CVisDataArray* const array = std::get_if<CVisDataArray>(&data);
  if (array != nullptr) {
    return array->TRange();
  }
  const CVisDataVector* const vector = std::get_if<CVisDataVector>(&data);
  return vector != nullptr ? vector->YRange() : std::get<CVisDataPolygon>(data).YRange();
}

/// The part of a range that lies on an axis, in places.
SVisPlaces PlacesOf(const SVisRange& range, const CVisAxis& x) {
  SVisPlaces places;
  if (!range.IsEmpty() && range.low <= x.Range().high && range.high >= x.Range().low) {
    places.Add(x.PlaceInside(range.low));
    places.Add(x.PlaceInside(range.high));
  }
  return places;
}

}  // namespace

bool CVisDataCollection::Add(std::string name, Data data) {
  const auto known = Where(name);
  if (known != members_.end()) {
    removed_.Add(XOf(known->data));
    known->data = std::move(data);
    known->changed = true;
    return true;
  }
  return detail::IfMemoryAllows([&] {
    members_.push_back({std::move(name), std::move(data), true});
  });
}

void CVisDataCollection::Remove(std::string_view name) {
  const auto found = Where(name);
  if (found != members_.end()) {
    removed_.Add(XOf(found->data));
    members_.erase(found);
  }
}

std::vector<CVisDataCollection::SMember>::iterator CVisDataCollection::Where(
    std::string_view name) {
  return std::find_if(members_.begin(), members_.end(),
                      [&](const SMember& member) { return member.name == name; });
}

CVisDataCollection::Data* CVisDataCollection::FindData(std::string_view name) {
  const auto found = Where(name);
  return found == members_.end() ? nullptr : &found->data;
}

SVisRange CVisDataCollection::XRange() const {
  SVisRange range;
  for (const SMember& member : members_) {
    range.Add(XOf(member.data));
  }
  return range;
}

SVisRange CVisDataCollection::YRange() const {
  SVisRange range;
  for (const SMember& member : members_) {
    range.Add(YOf(member.data));
  }
  return range;
}

bool CVisDataCollection::At(const CVisAxis& x, const CVisAxis& y, const SVisPoint& place,
                            SFound& found) const {
  found = {};
  found.distance = std::numeric_limits<double>::infinity();
  const auto take = [&](const std::string& name, std::size_t index, double atX, double atY) {
    const double distance = std::hypot(x.PlaceOf(atX) - place.x, y.PlaceOf(atY) - place.y);
    if (distance < found.distance) {
      found = {&name, index, atX, atY, distance};
    }
  };
  for (const SMember& member : members_) {
    if (const auto* vector = std::get_if<CVisDataVector>(&member.data)) {
      CVisDataVector::SPoint point;
      if (vector->At(x, place.x, point)) {
        take(member.name, point.index, point.x, double{point.value});
      }
    } else if (const auto* polygon = std::get_if<CVisDataPolygon>(&member.data)) {
      std::size_t index = 0;
      if (polygon->At(x, y, place, index)) {
        take(member.name, index, polygon->Points()[index].x, polygon->Points()[index].y);
      }
    }
  }
  return found.name != nullptr;
}

SVisPlaces CVisDataCollection::TakeDirty(const CVisAxis& x) {
  SVisPlaces places = PlacesOf(removed_, x);
  removed_ = {};
  for (SMember& member : members_) {
    const SVisIndices dirty = std::visit([](auto& data) { return data.TakeDirty(); }, member.data);
    const auto* vector = std::get_if<CVisDataVector>(&member.data);
    if (member.changed || (vector == nullptr && !dirty.IsEmpty())) {
      places.Add(PlacesOf(XOf(member.data), x));
    } else if (vector != nullptr) {
      places.Add(vector->PlacesOf(dirty, x));
    }
    member.changed = false;
  }
  return places;
}

}  // namespace limes

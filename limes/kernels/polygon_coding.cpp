#include "limes/kernels/polygon_coding.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <span>
#include <utility>

#include "limes/kernels/exact_sort.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/memory_errors.h"
#include "limes/platform/print_window.h"
#include "limes/platform/record_io.h"
#include "limes/platform/resource_sea.h"

namespace limes {
namespace {

constexpr std::size_t kPointBytes = 2 * sizeof(float);
constexpr std::size_t kMaxPoints = std::numeric_limits<std::int32_t>::max();

bool IsSamePoint(const SPolygonPoint& a, const SPolygonPoint& b) {
  return a.x == b.x && a.y == b.y;
}

// One number for all points that are the same, whatever the sign of their zeros.
std::uint64_t PointKey(const SPolygonPoint& point) {
  return std::uint64_t{std::bit_cast<std::uint32_t>(point.x + 0.0F)} << 32 |
         std::bit_cast<std::uint32_t>(point.y + 0.0F);
}

// First of the ascending points whose x is at or above x; the last one when there is none.
const SPolygonPoint* FirstAtOrAbove(std::span<const SPolygonPoint> points, float x) {
  const SPolygonPoint* first = points.data();
  for (std::size_t n = points.size(); n > 1;) {
    const std::size_t half = n / 2;
    first += first[half - 1].x < x ? half : 0;
    n -= half;
  }
  return first;
}

}  // namespace

float detail::PolylineValue(std::span<const SPolygonPoint> points, bool ascending, float x) {
  if (points.empty()) {
    return 0.0F;
  }
  if (x <= points.front().x) {
    return points.front().y;
  }
  const SPolygonPoint& last = points.back();
  if (points.size() == 1 || x >= last.x) {
    return last.y;
  }
  const SPolygonPoint* b = &points[1];
  if (ascending) {
    b = FirstAtOrAbove(points.subspan(1), x);
  } else {
    while (b < &last && !(b->x >= x)) {
      ++b;
    }
  }
  if (!(b->x >= x)) {
    return last.y;
  }
  const SPolygonPoint* a = b - 1;
  const float slope = (b->y - a->y) / (b->x - a->x);
  return (x - a->x) * slope + a->y;
}

CPolygonCodierung::~CPolygonCodierung() = default;

bool CPolygonCodierung::operator==(const CPolygonCodierung& other) const {
  constexpr std::size_t kFew = 16;
  if (points_.size() != other.points_.size()) {
    return false;
  }
  const auto plain = [&other](const SPolygonPoint& point) {
    return std::any_of(other.points_.begin(), other.points_.end(),
                       [&point](const SPolygonPoint& p) { return IsSamePoint(point, p); });
  };
  std::vector<std::uint64_t> keys;
  if (points_.size() <= kFew ||
      !detail::IfMemoryAllows([&] { keys.reserve(other.points_.size()); })) {
    return std::all_of(points_.begin(), points_.end(), plain);
  }
  for (const SPolygonPoint& point : other.points_) {
    keys.push_back(PointKey(point));
  }
  std::sort(keys.begin(), keys.end());
  return std::all_of(points_.begin(), points_.end(), [&keys](const SPolygonPoint& point) {
    return IsSamePoint(point, point) &&
           std::binary_search(keys.begin(), keys.end(), PointKey(point));
  });
}

// The first point's x is compared with no end of a segment, so it may be anything.
bool CPolygonCodierung::Ascends(std::size_t i) const {
  return i == 0 || (i == 1 ? !std::isnan(points_[1].x) : points_[i].x >= points_[i - 1].x);
}

void CPolygonCodierung::FindOrder() {
  ascending_ = true;
  for (std::size_t i = 1; i < points_.size() && ascending_; ++i) {
    ascending_ = Ascends(i);
  }
}

void CPolygonCodierung::Removed() {
  if (!ascending_) {
    FindOrder();  // what ascends goes on doing so
  }
}

bool CPolygonCodierung::Append(float x, float y) {
  if (points_.size() >= kMaxPoints || !detail::IfMemoryAllows([&] { points_.push_back({x, y}); })) {
    return false;
  }
  ascending_ = ascending_ && Ascends(points_.size() - 1);
  return true;
}

void CPolygonCodierung::Leeren() {
  points_.clear();
  ascending_ = true;
}

void CPolygonCodierung::PunktEntfernen(int i) {
  if (i >= 0 && i < Anzahl()) {
    points_.erase(points_.begin() + i);
    Removed();
  }
}

int CPolygonCodierung::PunktAusText(std::u16string_view text) {
  float x = 0.0F;
  float y = 0.0F;
  Scan(text, u"%f %f", &x, &y);
  Append(x, y);
  return Anzahl();
}

void CPolygonCodierung::Sortieren() {
  detail::ExchangeSort(std::span<SPolygonPoint>(points_));
  FindOrder();
}

void CPolygonCodierung::MirrorX() {
  std::reverse(points_.begin(), points_.end());
  for (SPolygonPoint& point : points_) {
    point.x = -point.x;
  }
  FindOrder();
}

void CPolygonCodierung::MirrorY() {
  for (SPolygonPoint& point : points_) {
    point.y = -point.y;
  }
}

void CPolygonCodierung::CutPosX() {
  while (!points_.empty() && points_.back().x > 0.0F) {
    points_.pop_back();
  }
  Removed();
}

void CPolygonCodierung::CutNegX() {
  const auto isLeft = [](const SPolygonPoint& point) { return point.x < 0.0F; };
  points_.erase(points_.begin(), std::find_if_not(points_.begin(), points_.end(), isLeft));
  Removed();
}

bool CPolygonCodierung::LiegtImBereich(float x) const {
  return !points_.empty() && points_.front().x <= x && x <= points_.back().x;
}

float CPolygonCodierung::WertBei(float x) const {
  return detail::PolylineValue(points_, ascending_, x);
}

int CPolygonCodierung::AusResListeLesen(const CResourceSea& store, std::u16string_view name) {
  Leeren();
  if (const CResourceList* list = store.List(name)) {
    for (const CResourceEntry& entry : *list) {
      Append(entry.Float(0), entry.Float(1));
    }
    Sortieren();
  }
  return Anzahl();
}

bool CPolygonCodierung::InResListeSchreiben(CResourceSea& store, std::u16string_view name) const {
  return detail::IfMemoryAllows([&] {
    CResourceList& list = store.MakeList(name);
    list.Clear();
    for (const SPolygonPoint& point : points_) {
      CResourceEntry& entry = list.Append();
      entry.SetFloat(0, point.x);
      entry.SetFloat(1, point.y);
    }
  });
}

namespace {

/// Bytes read into the span: fewer only at the end, while a stream may deliver them in pieces.
std::size_t ReadUpTo(CFileStream& file, std::span<std::uint8_t> bytes) {
  std::size_t done = 0;
  std::size_t got = 1;
  while (got > 0 && done < bytes.size()) {
    got = std::min(file.Read(bytes.data() + done, bytes.size() - done), bytes.size() - done);
    done += got;
  }
  return done;
}

}  // namespace

bool CPolygonCodierung::AusDateiLesen(CFileStream& file) {
  constexpr std::size_t kPiece = 1024;
  Leeren();
  detail::RecordReader head(file);
  std::int32_t count = 0;
  if (!head.Get(count)) {
    return false;
  }
  std::array<std::uint8_t, kPiece * kPointBytes> bytes;
  for (std::size_t left = count > 0 ? static_cast<std::size_t>(count) : 0; left > 0;) {
    const std::size_t wanted = std::min(left, kPiece);
    const std::size_t n = ReadUpTo(file, {bytes.data(), wanted * kPointBytes}) / kPointBytes;
    for (std::size_t i = 0; i < n; ++i) {
      const std::uint8_t* const at = bytes.data() + i * kPointBytes;
      if (!Append(detail::FromLittleEndian<float>(at),
                  detail::FromLittleEndian<float>(at + sizeof(float)))) {
        return false;
      }
    }
    if (n < wanted) {
      return false;
    }
    left -= n;
  }
  return true;
}

bool CPolygonCodierung::InDateiSchreiben(CFileStream& file) const {
  detail::RecordWriter out;
  const bool room = detail::IfMemoryAllows([&] {
    out.Reserve(sizeof(std::int32_t) + points_.size() * kPointBytes);
    out.Put(static_cast<std::int32_t>(Anzahl()));
    for (const SPolygonPoint& point : points_) {
      out.Put(point.x);
      out.Put(point.y);
    }
  });
  if (room) {
    out.WriteTo(file);
  }
  return room;
}

void CPolygonCodierung::PrWinAusgabe() const {
  if (points_.empty()) {
    PrWinPrintf(u"\t(keine Punkte)\n");
  }
  for (const SPolygonPoint& point : points_) {
    PrWinPrintf(u"\t%5.2f \t%5.2f\n", point.x, point.y);
  }
  PrWinPrintf(u"\n");
}

}  // namespace limes

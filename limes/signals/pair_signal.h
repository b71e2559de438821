#pragma once
#include <vector>
#include "limes/signals/signal.h"
namespace limes {
class CSigPairs : public CSignal {
 public:
  CSigPairs() = default;
  CSigPairs(const CSigPairs&) = default;
  void Abs() override {}
  void Clip(float, bool) override {}
  void Add(float) override {}
  void Scale(float) override {}
  void CutLeft(float) override {}
  bool Append(const CSignal&) override { return false; }
  CSigPairs* Clone(bool) const override { return new CSigPairs(*this); }
  unsigned NPaare() const { return unsigned(p.size()); }
  float Punkt(unsigned i) const { return p[i].first; }
  float Wert(unsigned i) const { return p[i].second; }
  std::int32_t Nummer() const { return 0; }
  void Neustart() { p.clear(); }
  bool NeueGroesse(unsigned) { p.clear(); return true; }
  int NeuesPaar(float x, float y) { p.push_back({x, y}); return int(p.size()); }
  void GetXRange(float& a, float& b) const { if (!p.empty()) { a = p[0].first; b = p.back().first; } }
  float WertBei(float x) const {
    if (p.empty()) return 0.0F;
    if (x <= p[0].first) return p[0].second;
    if (x >= p.back().first) return p.back().second;
    std::size_t i = 1;
    while (p[i].first < x) ++i;
    const float s = (p[i].second - p[i - 1].second) / (p[i].first - p[i - 1].first);
    return (x - p[i - 1].first) * s + p[i - 1].second;
  }
  std::vector<std::pair<float, float>> p;
};
}

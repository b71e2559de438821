#pragma once

#include <functional>

#include "limes/signals/pair_signal.h"
#include "tests/support/bits.h"

// What a run of pairs does as plain loops, held against CSigPairs step by step on random runs
// with equal x, NaN, falling order, flags that no longer fit, and pointers handed out.
namespace limes::test::pairs {

struct Point {
  float x, y;
};

struct Model {
  std::vector<Point> p;
  std::size_t room = 0;
  bool rises = true, falls = true;
  bool agrees = true;  ///< what single operations returned

  int Size() const { return static_cast<int>(p.size()); }
  Point& At(int i) { return p[static_cast<std::size_t>(i)]; }
  void Clear() {
    p.clear();
    rises = falls = true;
  }
  void Erase(int i, int n) {
    n = std::max(0, std::min(n, Size() - i));
    p.erase(p.begin() + std::min(i, Size()), p.begin() + std::min(i, Size()) + n);
  }
  void Grow() {
    if (p.size() == room) {
      room = p.empty() ? 2 : 2 * p.size();
    }
  }
  void Append(float x, float y) {
    Grow();
    rises = p.empty() || (rises && p.back().x < x);
    falls = p.empty() || (falls && p.back().x > x);
    p.push_back({x, y});
  }
  void Sort() {
    for (bool swapped = true; swapped;) {
      swapped = false;
      for (int i = 1; i < Size(); ++i) {
        for (int j = 0; j < i; ++j) {
          if (At(j).x > At(i).x) {
            std::swap(At(i), At(j));
            swapped = true;
            break;
          }
        }
      }
    }
    rises = true;
    falls = false;
  }
  int Insert(float x, float y) {
    if (p.empty()) {
      Append(x, y);
      return 0;
    }
    Grow();
    falls = falls && !(Size() == 1 && rises);
    if (!falls && !rises && Size() > 1) {
      Sort();
    }
    int at = Size();
    while (at > 0 && !(falls ? At(at - 1).x >= x : At(at - 1).x <= x)) {
      --at;
    }
    p.insert(p.begin() + at, {x, y});
    return at;
  }
  int Change(int i, float x, float y) {
    const bool first = i == 0;
    const bool last = i + 1 == Size();
    if (rises ? !((first || x > At(i - 1).x) && (last || x < At(i + 1).x))
              : falls && !((first || x < At(i - 1).x) && (last || x > At(i + 1).x))) {
      Erase(i, 1);
      return Insert(x, y);
    }
    At(i) = {x, y};
    return i;
  }
  void Cut(float x, bool left) {
    if (!rises) {
      Sort();
    }
    if (p.empty() || (left ? At(0).x >= x : p.back().x <= x)) {
      return;
    }
    if (left ? p.back().x <= x : !(At(0).x < x)) {
      Clear();
    } else if (left) {
      Erase(0, Index(x, 1) - 1);
    } else {
      Erase(Index(x, 0) + 1, Size());
    }
  }
  /// First index from 1 at or beyond x; -1 and -2 for the ends.
  int Find(float x) {
    const int n = Size();
    if (rises ? x <= At(0).x : x >= At(0).x) {
      return -1;
    }
    int i = 1;
    while (i < n && !(rises ? At(i).x >= x : At(i).x <= x)) {
      ++i;
    }
    return i == n || (rises ? x >= At(n - 1).x : x <= At(n - 1).x) ? -2 : i;
  }
  float Value(float x) {
    if (p.empty() || (!rises && !falls)) {
      return 0;
    }
    const int i = Find(x);
    if (i < 0) {
      return i == -1 ? p.front().y : p.back().y;
    }
    const float slope = (At(i).y - At(i - 1).y) / (At(i).x - At(i - 1).x);
    return (x - At(i - 1).x) * slope + At(i - 1).y;
  }
  int Index(float x, int mode) {
    if (Size() < 2) {
      return 0;
    }
    if (!rises && !falls) {
      int best = 0;
      for (int i = 1; i < Size(); ++i) {
        best = std::fabs(x - At(i).x) < std::fabs(x - At(best).x) ? i : best;
      }
      return best;
    }
    const int i = Find(x);
    if (i < 0 || At(i).x == x) {
      return i == -1 ? 0 : i < 0 ? Size() - 1 : i;
    }
    if (mode == 2) {
      return (rises ? x - At(i - 1).x : At(i - 1).x - x) < At(i).x - x ? i - 1 : i;
    }
    return (mode == 0) == rises ? i - 1 : i;
  }
  void Combine(Model o, float tol, int code) {
    std::size_t s = 0;
    for (const Point& q : o.p) {
      if (q.x >= p.front().x - tol && q.x <= p.back().x + tol) {
        const auto from = p.begin() + static_cast<std::ptrdiff_t>(std::min(s++, p.size()));
        if (std::none_of(from, p.end(), [&](Point a) { return std::fabs(a.x - q.x) <= tol; })) {
          Insert(q.x, code == 12 ? 0 : Value(q.x));
        }
      } else if (code == 0 || code == 12) {
        Insert(q.x, code == 0 ? q.y : 0);
      }
    }
    if (code == 0 || code == 12) {
      return;
    }
    const bool cut = code < 4 || (code > 5 && code < 8) || code > 9;
    while (cut && !p.empty() && p.front().x < o.p.front().x - tol) {
      Erase(0, 1);
    }
    while (cut && !p.empty() && p.back().x > o.p.back().x + tol) {
      p.pop_back();
    }
    if (p.empty()) {
      Clear();
    }
    for (Point& a : p) {
      const float v = o.Value(a.x);
      const bool inside = a.x >= o.p.front().x && a.x <= o.p.back().x;
      const float smaller = inside && v < a.y ? v : a.y;
      const float larger = inside && v > a.y ? v : a.y;
      const float results[] = {a.y,     a.y,     a.y + v, a.y - v, smaller,     larger,
                               a.y * v, a.y / v, larger,  smaller, a.y + v * v, a.y - v * v};
      a.y = code == 7 && v == 0 ? 0 : results[code];
    }
  }
  void Smooth(float w) {
    const std::vector<Point> old = p;
    for (Point& a : p) {
      float sum = 0;
      int n = 0;
      for (const Point& b : old) {
        if (std::fabs(a.x - b.x) < w) {
          sum += b.y;
          ++n;
        }
      }
      a.y = n > 0 && Size() > 2 ? sum / static_cast<float>(n) : a.y;
    }
  }
  void Thin(float tol) {
    for (int a = 0; (rises || falls) && a < Size() - 2; ++a) {
      const float slope = (At(a + 1).y - At(a).y) / (At(a + 1).x / At(a).x);
      while (a + 2 < Size() &&
             std::fabs((At(a + 2).y - At(a).y) - (At(a + 2).x - At(a).x) * slope) < tol) {
        Erase(a + 1, 1);
      }
    }
  }
};

struct Source {
  std::function<std::uint32_t()> random;
  int kind = 0;
  unsigned Below(unsigned n) { return static_cast<unsigned>(random() % n); }
  float X() {
    if (kind == 3) {  // near neighbours of a grid, rarely NaN
      return Below(90) == 0 ? std::nanf("") : static_cast<float>(Below(400)) / 4.0F;
    }
    return RandomFloat(random, kind);
  }
  float Y() { return RandomFloat(random, Below(9) == 0 ? 2 : 0); }
};

inline void Fill(Source& from, CSigPairs& run, Model& model) {
  const int shape = static_cast<int>(from.Below(4));
  const unsigned n = from.Below(4) == 0 ? 150 : from.Below(12);
  std::vector<float> x(n);
  std::generate(x.begin(), x.end(), [&] { return from.X(); });
  const auto less = [](float a, float b) { return a < b; };
  if (shape > 0 && std::none_of(x.begin(), x.end(), [](float v) { return std::isnan(v); })) {
    std::stable_sort(x.begin(), x.end(), less);
    if (shape > 1) {
      x.erase(std::unique(x.begin(), x.end()), x.end());
    }
    if (shape > 2) {
      std::reverse(x.begin(), x.end());
    }
  }
  for (const float at : x) {
    const float y = from.Y();
    run.NeuesPaar(at, y);
    model.Append(at, y);
  }
}

inline bool Agree(const CSigPairs& run, const Model& model) {
  bool same = model.agrees && run.NPaare() == model.p.size() && run.IstSortiert() == model.rises &&
              run.IstInversSortiert() == model.falls && run.PairCapacity() == model.room;
  for (std::uint32_t i = 0; same && i < run.NPaare(); ++i) {
    same = Same(run.Punkt(i), model.p[i].x) && Same(run.Wert(i), model.p[i].y);
  }
  return same;
}

/// One random operation on both; its number.
inline unsigned Step(Source& from, CSigPairs& run, Model& model) {
  const float x = from.X();
  const float y = from.Y();
  const unsigned n = run.NPaare();
  const unsigned i = from.Below(n + 1);
  const unsigned what = from.Below(15);
  if (what == 0) {
    run.NeuesPaar(x, y);
    model.Append(x, y);
  } else if (what <= 2) {
    model.agrees &= run.NeuesPaarEinsortieren(x, y) == model.Insert(x, y);
  } else if (what == 3 && i < n) {
    model.agrees &= run.Aendern(i, x, y) == model.Change(static_cast<int>(i), x, y);
  } else if (what == 4 && i < n) {
    model.p[i].x = x;
    const unsigned how = from.Below(9);
    CSigPairs changed(run);
    (how < 2 ? changed : run).Setzen(i, x, run.Wert(i));
    how == 0 ? void(run.ValArray()[2 * i] = x) : void();
    how == 1 ? void(static_cast<CSigRaw&>(run) = changed) : void();
  } else if (what == 5) {
    run.PunkteEntfernen(i, 3);
    model.Erase(static_cast<int>(i), 3);
  } else if (what == 6 && (i & 1) != 0) {
    run.DatenSortieren(true);
    n >= 2 ? model.Sort() : void();
  } else if (what == 7) {
    run.DatenWenden();
    std::reverse(model.p.begin(), model.p.end());
    const auto ordered = [&](auto breaks) {
      return std::adjacent_find(model.p.begin(), model.p.end(), breaks) == model.p.end();
    };
    model.rises = ordered([](Point a, Point b) { return !(a.x < b.x); });
    model.falls = ordered([](Point a, Point b) { return !(a.x > b.x); });
  } else if (what == 8) {
    run.Glaetten(x);
    model.Smooth(x);
  } else if (what == 9 && n > 2) {
    float lo = 0;
    float hi = 0;
    run.YBereich(lo, hi);
    run.Linearisieren(9);
    model.Thin((hi - lo) / 9);
  } else if (what == 10) {
    (i & 1) != 0 ? run.CutLeft(x) : run.CutRight(x);
    model.Cut(x, (i & 1) != 0);
  } else if (what > 10) {
    CSigPairs other;
    Model otherModel;
    Fill(from, other, otherModel);
    if (from.Below(2) == 0) {
      other.DatenSortieren(true);
      other.NPaare() >= 2 ? otherModel.Sort() : void();
    }
    const float tols[] = {0, 0.5F, 30, INFINITY, NAN, -8};
    run.PunktgleichheitToleranz(tols[from.Below(6)]);
    const int code = static_cast<int>(from.Below(13));
    CSigPairs prepared(run);
    CSigPairs sorted(other);
    sorted.NPaare() > 0 && !sorted.IstSortiert() ? sorted.DatenSortieren(true) : void();
    !otherModel.rises ? otherModel.Sort() : void();
    n >= 2 && !model.rises ? model.Sort() : void();
    float tol = 0;
    const bool possible = prepared.OperationVorbereiten(other.IstSortiert() ? other : sorted, tol);
    run.Verrechnen(other, code);
    possible ? model.Combine(otherModel, tol, code) : model.Clear();
  }
  return what;
}

/// Lookups at a few x, those of points among them.
inline bool LooksUpAlike(Source& from, const CSigPairs& run, Model& model) {
  for (int k = 0; k < 4; ++k) {
    const float x = k == 0 || !run.Gueltig()
                        ? from.X()
                        : run.Punkt(from.Below(run.NPaare())) + 0.25F * static_cast<float>(k - 1);
    if (!Same(run.WertBei(x), model.Value(x))) {
      return false;
    }
    for (const int mode : {0, 1, 2}) {
      if (run.IndexZu(x, mode) != model.Index(x, mode)) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace limes::test::pairs

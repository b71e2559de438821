#include "limes/signals/curve_array.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>

#include "limes/platform/file_stream.h"
#include "limes/signals/extended_curve.h"
#include "limes/signals/pair_signal.h"
#include "limes/signals/signal_lists.h"
#include "tests/support/bits.h"
#include "tests/support/curves.h"
#include "tests/support/hostile.h"

namespace limes {
namespace {

using test::MakeCurve;
using test::ValuesOf;
using Floats = std::vector<float>;
using Ext = CSigCurveExt;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

/// Curves of the given T, the first values 0, 1, 2, ...; NaN stands for an empty slot.
CSigCurveArray AtPositions(const Floats& positions) {
  CSigCurveArray array(static_cast<int>(positions.size()));
  for (int i = 0; i < array.Anzahl(); ++i) {
    const float t = positions[static_cast<std::size_t>(i)];
    if (!std::isnan(t)) {
      auto* const curve = new Ext(MakeCurve<Ext>({static_cast<float>(i), 5}, 0, 2));
      curve->Date(t);
      array.Attach(i, curve, true);
    }
  }
  return array;
}

Floats Positions(const CSigCurveArray& array) {
  Floats positions;
  for (int i = 0; i < array.Anzahl(); ++i) {
    positions.push_back(array.TPos(i));
  }
  return positions;
}

/// Reaches what only derived classes see.
struct Opened : CSigCurveArray {
  using CSigCurveArray::KurveBei;
};

TEST(CurveArray, BeginsEmpty) {
  const CSigCurveArray empty;
  EXPECT_EQ(empty.Anzahl(), 0);
  EXPECT_EQ(empty.TMin(), 0.0F);
  EXPECT_EQ(empty.TMax(), 1.0F);
  EXPECT_EQ(empty.TDelta(), 1.0F);
  EXPECT_EQ(empty.VBereich().min, 0.0F);
  EXPECT_EQ(empty.VBereich().max, 1.0F);
  EXPECT_EQ(empty.Modus(), 3);
  EXPECT_TRUE(empty.KurvenVoll());
  EXPECT_FALSE(empty.IstZeitreihe());
  EXPECT_EQ(empty.XDelta(), 0.0F);
  EXPECT_EQ(empty.TPos(0), 0.0F);
  EXPECT_EQ(empty.FindeKurveZu(1.0F), -1);
  EXPECT_EQ(CSigCurveArray(4).TDelta(), 0.25F);
  EXPECT_EQ(CSigCurveArray(-4).Kapazitaet(), 0);
}

TEST(CurveArray, SlotsGrowAndHandOver) {
  CSigCurveArray array;
  auto* const first = new Ext(3);
  first->Date(4.0F);
  EXPECT_TRUE(array.AttachNext(first, true));
  EXPECT_TRUE(array.AttachNext(new Ext(2), true));
  EXPECT_TRUE(array.Attach(3, new Ext(1), true));
  EXPECT_EQ(array.Anzahl(), 4);
  EXPECT_EQ(array[2], nullptr);
  EXPECT_EQ(array[4], nullptr);
  EXPECT_EQ(array[-1], nullptr);
  EXPECT_FALSE(array.Attach(-1, nullptr, true));
  array.TPos(3, 9.0F);
  array.AttachOperationComplete();
  EXPECT_EQ(array.TMin(), 4.0F);
  EXPECT_EQ(array.TMax(), 9.0F);
  EXPECT_EQ(array.TDelta(), 1.25F);
  EXPECT_TRUE(array.Expandieren(2));
  EXPECT_EQ(array.Kapazitaet(), 4);  // never shrinks
  EXPECT_FALSE(array.KurvenVoll());
  EXPECT_EQ(array.Detach(3), nullptr);
  const std::unique_ptr<Ext> detached(array.Detach(0));
  EXPECT_EQ(detached.get(), first);
  EXPECT_EQ(array.Detach(0), nullptr);

  EXPECT_TRUE(array.AlleKurvenAusstatten(7));
  EXPECT_EQ(array[0]->DLen(), 7U);
  EXPECT_EQ(array[1]->IMax(), 6);
  EXPECT_TRUE(array.KurveAusstatten(2, 5));  // within the capacity
  EXPECT_FALSE(array.KurveAusstatten(4, 5));
  const Ext* const kept = array[0];
  std::unique_ptr<Ext> former(array[0]);
  EXPECT_TRUE(array.Attach(0, new Ext(1), false));
  EXPECT_EQ(former.get(), kept);
  array.KurvenFreigeben();
  EXPECT_EQ(array.Kapazitaet(), 0);
  EXPECT_EQ(array.Anzahl(), 0);
  Ext outside(3);
  array.Attach(0, &outside, true);
  array.DetachAll();
  EXPECT_EQ(array[0], nullptr);
  array.AttachOperationComplete();
  EXPECT_EQ(array.Anzahl(), 0);
}

TEST(CurveArray, FillsFromCurves) {
  CSigCurveArray array;
  CSigCurve plain = MakeCurve({1, 2}, 10, 30);
  plain.SetXUnit(u"Hz");
  plain.SetYUnit(u"Pa");
  Ext dated = MakeCurve<Ext>({3, 4});
  dated.Date(8.0F);
  EXPECT_EQ(array.ErsteKurve(plain), 0);
  EXPECT_EQ(array.XUnit(), plain.XUnit());
  EXPECT_EQ(array.YUnit(), plain.YUnit());
  EXPECT_EQ(array.Kapazitaet(), 8);
  EXPECT_EQ(array.WeitereKurve(plain), 1);
  EXPECT_EQ(array.WeitereKurve(plain, 3.5F), 2);
  EXPECT_EQ(array.WeitereKurve(dated), 3);
  for (int i = 4; i < 20; ++i) {
    EXPECT_EQ(array.WeitereKurve(plain), i);
  }
  array.KurvenKomplett(4);
  EXPECT_EQ(Positions(array), (Floats{0, 1, 3.5F, 8}));
  EXPECT_EQ(array.TMax(), 8.0F);
  EXPECT_EQ(array.TDelta(), 2.0F);
  EXPECT_EQ(array.VBereich().max, 30.0F);
  EXPECT_EQ(array.Wert(3, 1), 4.0F);
  EXPECT_EQ(array.Wert(3, 2), 0.0F);
  array.WertSetzen(3, 1, 9.0F);
  array.WertSetzen(9, 9, 9.0F);
  EXPECT_EQ(array.Wert(3, 1), 9.0F);

  EXPECT_EQ(array.KurveSetzen(2, plain), 2);
  EXPECT_EQ(array.KurveSetzen(3, dated, 7.0F), 3);
  EXPECT_EQ(array.KurveSetzen(0, dated), 0);
  EXPECT_EQ(array.KurveSetzen(1, *array[1], 6.0F), 1);  // itself
  EXPECT_EQ(array.KurveSetzen(4, plain), -1);
  EXPECT_EQ(Positions(array), (Floats{8, 6, 3.5F, 7}));
  array.VonAnfangAn();
  EXPECT_EQ(array.WeitereKurve(dated), 0);
  array.KurvenKomplett(1000);
  EXPECT_EQ(array.Anzahl(), array.Kapazitaet());
}

TEST(CurveArray, SortsByPositionWithEmptySlotsLast) {
  CSigCurveArray array = AtPositions({3, 1, kNaN, 2, 1});
  array[3]->Date(std::nanf("1"));
  array.KurvenSortieren();
  EXPECT_EQ(array.Wert(0, 0), 1.0F);
  EXPECT_EQ(array.Wert(1, 0), 4.0F);  // equal ones keep their order
  EXPECT_EQ(array.Wert(2, 0), 0.0F);
  EXPECT_TRUE(std::isnan(array.TPos(3)));
  EXPECT_EQ(array[4], nullptr);

  CSigCurveArray filled;
  filled.ErsteKurve(MakeCurve({1}));
  filled.WeitereKurve(MakeCurve({2}), -5.0F);
  filled.KurvenKomplettUndSortieren();
  EXPECT_EQ(filled.Wert(0, 0), 2.0F);
  EXPECT_EQ(filled.TMin(), -5.0F);
}

TEST(CurveArray, TimeSeriesScalesToTheNumberOfCurves) {
  Opened array;
  const Ext curve = MakeCurve<Ext>({1, 2});
  EXPECT_EQ(array.ErsteKurve(curve, 1000, 1100, 1000), 0);
  EXPECT_EQ(array.WeitereKurveTm(curve, 1050), 1);
  EXPECT_EQ(array.WeitereKurveTm(curve, 1090), 2);
  EXPECT_EQ(array.WeitereKurveTm(curve, 1100), 3);
  for (int repeat = 0; repeat < 2; ++repeat) {
    array.KurvenKomplett();
    EXPECT_EQ(Positions(array), (Floats{0, 2, 0.9F * 4, 4}));
    EXPECT_EQ(array.TMax(), 4.0F);
  }
  EXPECT_EQ(array.ZeitPos(1), 1050);
  EXPECT_EQ(array.ErsteZeit(), 1000);
  EXPECT_EQ(array.LetzteZeit(), 1100);
  EXPECT_TRUE(array.ZeitImBereich(1100));
  EXPECT_FALSE(array.ZeitImBereich(1101));
  EXPECT_EQ(array.KurveBei(1060), 1);

  array.ZeitraumAendern(900, 1100);
  // The times are truncated to seconds, so the third curve loses one.
  EXPECT_EQ(Positions(array), (Floats{2, 3, static_cast<float>(0.945F * 4.0), 4}));
  EXPECT_EQ(array.StartZeit(), 900);
  EXPECT_EQ(array.ZeitPos(1), 1050);
  Opened later;
  later.ErsteKurve(curve, 1100, 1300, 1200);
  EXPECT_TRUE(array.Append(later));
  EXPECT_EQ(array.ZeitPos(4), 1200);
  EXPECT_EQ(array.TMax(), 5.0F);

  array.ZeitraumAendern(std::numeric_limits<std::int64_t>::max(),
                        std::numeric_limits<std::int64_t>::min());
  array.ZeitraumAendern(7, 7);
  EXPECT_EQ(Positions(array), Floats(5));
  EXPECT_EQ(array.ErsteZeit(), 7);
  CSigCurveArray plain = AtPositions({1, 2});
  plain.ZeitraumAendern(3, 4);
  EXPECT_EQ(plain.StartZeit(), 0);
  EXPECT_FALSE(plain.ZeitImBereich(0));
}

TEST(CurveArray, RangesAndSearch) {
  CSigCurveArray array = AtPositions({1, 3, 3, kNaN, 8});
  array.TBereich(2, 1);
  array.TBereich(kNaN, 1);
  EXPECT_EQ(array.TMax(), 1.0F);
  array.TBereich(1, 8, 0.5F);
  EXPECT_EQ(array.TDelta(), 0.5F);
  array.TVBereich(-5, 4);
  EXPECT_EQ(array.TVMin(), 1.0F);
  EXPECT_EQ(array.TVMax(), 4.0F);
  array.XVBereich(0.5F, 7);
  EXPECT_EQ(array.VBereich().min, 0.5F);
  EXPECT_EQ(array.VBereich().max, 2.0F);
  const struct {
    float t;
    int start, at, behind;
  } cases[] = {{0, 0, 0, 0}, {1, 0, 0, 0},  {2, 0, 0, 1}, {3, 0, 3, 1},   {3, 2, 3, 2},
               {8, 0, 4, 4}, {9, -7, 4, 5}, {0, 4, 4, 4}, {0, 99, 4, 99}, {kNaN, 0, 4, 5}};
  for (const auto& c : cases) {
    EXPECT_EQ(array.FindeKurveZu(c.t, c.start), c.at) << c.t << " from " << c.start;
    EXPECT_EQ(array.FindeKurveHinter(c.t, c.start), c.behind) << c.t << " from " << c.start;
  }
  const CMeasuringUnit hertz(commonUnits::hertz);
  array.AlleKurvenBereich(5, 15, hertz, hertz);
  EXPECT_EQ(array[4]->XMin(), 5.0F);
  EXPECT_EQ(array[4]->VMax(), 15.0F);
  EXPECT_EQ(array[4]->YUnit(), hertz);
  EXPECT_EQ(array.XDelta(), 5.0F);
  EXPECT_TRUE(array.SetTUnit(u"rpm"));
  EXPECT_EQ(array.TEinheit(), u"rpm");
}

TEST(CurveArray, ArithmeticIsThatOfTheCurves) {
  CSigCurveArray a = AtPositions({1, 2, kNaN});
  const CSigCurveArray b = AtPositions({1, kNaN, 3});
  a[0]->SetVIMinMax(1, 1);
  a += 2.0F;
  EXPECT_EQ(ValuesOf(*a[0]), (Floats{0, 7}));
  a *= 2.0F;
  EXPECT_EQ(ValuesOf(*a[1]), (Floats{6, 14}));
  a += b;
  EXPECT_EQ(ValuesOf(*a[0]), (Floats{0, 19}));
  a[0]->ResetVMinMax();
  a.QuadratAddieren(b, 2.0F);
  EXPECT_EQ(ValuesOf(*a[0]), (Floats{0, 69}));
  a.SetYUnit(u"Pa");
  a[0]->SetYUnit(u"Pa");
  a.Log(2.0F);
  EXPECT_TRUE(a.YUnit().is_log());
  CSigCurveArray squares = AtPositions({1, 2});
  squares.WurzelZiehen();
  EXPECT_EQ(ValuesOf(*squares[1]), (Floats{1, std::sqrt(5.0F)}));
  EXPECT_TRUE(a.FitTogether(a));
  EXPECT_FALSE(a.FitTogether(b));
  EXPECT_FALSE(squares.FitTogether(a));
  float low = 77;
  float high = 77;
  EXPECT_FALSE(CSigCurveArray(3).GlobalesMinMax(low, high));
  EXPECT_EQ(low, 77.0F);
  squares.WertSetzen(0, 0, kNaN);
  squares.WertSetzen(1, 0, -3);
  EXPECT_TRUE(squares.GlobalesMinMax(low, high));
  EXPECT_EQ(low, -3.0F);
  EXPECT_EQ(high, std::sqrt(5.0F));
}

// ---- Reductions against the operations of curves, one after the other.

/// Curves of one or of several lengths and x ranges, some with a part of them valid.
CSigCurveArray RandomArray(std::mt19937& random, int kind, bool alike) {
  const int count = 1 + static_cast<int>(random() % 20);
  const int n = 1 + static_cast<int>(random() % (random() % 8 == 0 ? 40000 : 60));
  CSigCurveArray array(count);
  for (int i = 0; i < count; ++i) {
    const bool other = !alike && random() % 3 == 0;
    const int length = other ? 1 + static_cast<int>(random() % 60) : n;
    const float start = other ? static_cast<float>(random() % 5) : 0.0F;
    auto* const curve =
        new Ext(MakeCurve<Ext>(test::RandomFloats(random, static_cast<std::size_t>(length), kind),
                               start, start + static_cast<float>(length)));
    if (!alike && random() % 3 == 0) {
      curve->SetVIMinMax(static_cast<int>(random() % 5), static_cast<int>(random() % 60));
    }
    if (!alike && random() % 16 == 0) {
      curve->Malloc(3);  // indices that are no longer true
    }
    curve->Date(static_cast<float>(i));
    array.Attach(i, curve, true);
    if (random() % 12 == 0 && i > 0) {
      array.Attach(i, nullptr, true);
    }
  }
  return array;
}

template <class Step>
Ext Sequence(const CSigCurveArray& array, Step step) {
  Ext target;
  bool first = true;
  for (int i = 0; i < array.Anzahl(); ++i) {
    if (array[i] != nullptr) {
      if (first) {
        target = *array[i];
      }
      step(target, *array[i], first);
      first = false;
    }
  }
  return target;
}

void ExpectSame(const Ext& actual, const Ext& expected) {
  ASSERT_EQ(actual.DLen(), expected.DLen());
  EXPECT_EQ(actual.IMin(), expected.IMin());
  EXPECT_EQ(actual.IMax(), expected.IMax());
  EXPECT_EQ(actual.VMin(), expected.VMin());
  EXPECT_EQ(actual.VMax(), expected.VMax());
  for (unsigned i = 0; i < actual.DLen(); ++i) {
    ASSERT_TRUE(test::Same(actual.ValArray()[i], expected.ValArray()[i]))
        << i << ": " << actual.ValArray()[i] << " instead of " << expected.ValArray()[i];
  }
}

/// What the reductions must give, by the curves' own operations.
struct Model {
  const CSigCurveArray& array;
  const CSigPairs& weights;
  float count = 0;
  float total = 0;

  Model(const CSigCurveArray& curves, const CSigPairs& pairs) : array(curves), weights(pairs) {
    for (int i = 0; i < array.Anzahl(); ++i) {
      count += array[i] != nullptr ? 1.0F : 0.0F;
      total += array[i] != nullptr ? weights.WertBei(array.TPos(i)) : 0.0F;
    }
  }

  Ext Sum(bool byWeight) const {
    return Sequence(array, [&](Ext& target, const Ext& curve, bool first) {
      const float w = weights.WertBei(curve.Date());
      if (!first) {
        target.Schrumpfen(curve.XMin(), curve.XMax());
      }
      if (byWeight && first) {
        target *= w;
      } else if (byWeight) {
        target.AddWithWeight(curve, w, 0);
      } else if (!first) {
        target += curve;
      }
    });
  }

  Ext Squares(bool byWeight) const {
    return Sequence(array, [&](Ext& target, const Ext& curve, bool first) {
      const float w = byWeight ? weights.WertBei(curve.Date()) : 1.0F;
      if (!first) {
        target.Schrumpfen(curve.XMin(), curve.XMax());
      }
      const int end = std::min(first ? static_cast<int>(target.DLen()) - 1 : target.IMax(),
                               static_cast<int>(std::min(curve.DLen(), target.DLen())) - 1);
      for (int i = first ? 0 : target.IMin(); i <= end; ++i) {
        const float s = curve.ValArray()[i];
        target.ValArray()[i] = (first ? 0.0F : target.ValArray()[i]) + (w * s) * s;
      }
    });
  }

  Ext Rms(bool byWeight) const {
    const float divisor = byWeight ? total : count;
    Ext result = Squares(byWeight);
    result *= divisor == 0.0F ? 0.0F : 1.0F / divisor;
    if (divisor == 0.0F) {
      std::fill_n(result.ValArray(), result.DLen(), 0.0F);
    }
    result.SquareRoot();
    return result;
  }

  Ext Mean(bool byWeight) const {
    const float divisor = byWeight ? total : count;
    Ext result = Sum(byWeight);
    if (divisor != 0.0F) {
      result *= 1.0F / divisor;
    }
    return result;
  }

  Ext Largest(int mode) const {
    return Sequence(array, [mode](Ext& target, const Ext& curve, bool first) {
      if (!first) {
        target.Maximize(&curve, mode);
        target ^= curve;
      }
    });
  }
};

TEST(CurveArrayReductions, EqualTheStepsOneAfterTheOther) {
  std::mt19937 random(3);
  for (int round = 0; round < 400; ++round) {
    SCOPED_TRACE(round);
    const CSigCurveArray array = RandomArray(random, round % 3, round % 2 == 0);
    CSigPairs weights;
    for (int i = 0; i < 22; ++i) {
      weights.NeuesPaar(static_cast<float>(i), test::RandomFloat(random, 2 * (round % 2)));
    }
    const Model model(array, weights);
    Ext target;
    EXPECT_TRUE(array.Summe(&target));
    ExpectSame(target, model.Sum(false));
    EXPECT_TRUE(array.Summe(&target, &weights));
    ExpectSame(target, model.Sum(true));
    EXPECT_TRUE(array.QuadratSumme(&target));
    ExpectSame(target, model.Squares(false));
    EXPECT_TRUE(array.QuadratSumme(&target, &weights));
    ExpectSame(target, model.Squares(true));
    EXPECT_TRUE(array.RMS(&target));
    ExpectSame(target, model.Rms(false));
    EXPECT_TRUE(array.RMS(&target, &weights));
    ExpectSame(target, model.Rms(true));
    EXPECT_TRUE(array.Mittelwert(&target));
    ExpectSame(target, model.Mean(false));
    EXPECT_TRUE(array.Mittelwert(&target, &weights));
    ExpectSame(target, model.Mean(true));
    for (const int mode : {0, 1}) {
      EXPECT_TRUE(array.Maximum(&target, mode));
      ExpectSame(target, model.Largest(mode));
    }
  }
}

TEST(CurveArrayReductions, UnitsAndTargetsInTheArray) {
  CSigCurveArray array = AtPositions({0, 1});
  array[0]->SetYUnit(u"Pa");
  Ext target;
  EXPECT_TRUE(array.QuadratSumme(&target));
  EXPECT_EQ(target.YUnit().mainunit(), u"Pa\u00B2");
  EXPECT_TRUE(array.RMS(&target));
  EXPECT_EQ(target.YUnit().mainunit(), u"Pa");
  EXPECT_TRUE(array.Mittelwert(array[1]));
  EXPECT_EQ(ValuesOf(*array[1]), (Floats{0.5F, 5}));
  EXPECT_TRUE(array.Maximum(array[0], 1));
  EXPECT_EQ(ValuesOf(*array[0]), (Floats{0.5F, 5}));
  EXPECT_FALSE(array.Mittelwert(nullptr));
  EXPECT_FALSE(array.Mittelwert(&target, nullptr));
  EXPECT_FALSE(CSigCurveArray(3).Maximum(&target, 1));
}

TEST(CurveArray, SectionsAcrossTheCurves) {
  CSigCurveArray array = AtPositions({2, 4, kNaN, 8});
  array.SetTUnit(u"rpm");
  array[0]->SetYUnit(u"Pa");
  array[1]->Malloc(1);
  array[1]->SetAt(0, 3);
  CSigPairs pairs;
  EXPECT_EQ(array.Querschnitt(1, &pairs), 2);
  EXPECT_EQ(pairs.Punkt(1), 8.0F);
  EXPECT_EQ(pairs.Wert(1), 5.0F);
  EXPECT_EQ(pairs.XUnit(), array.TUnit());
  EXPECT_EQ(pairs.YUnit(), array[0]->YUnit());
  EXPECT_EQ(array.Querschnitt(0.5F, &pairs), 3);
  EXPECT_EQ(pairs.Wert(2), 4.0F);
  EXPECT_EQ(array.Querschnitt(5.0F, &pairs), 0);
  EXPECT_EQ(array.Querschnitt(-1, &pairs), 0);
  Ext curve;
  EXPECT_EQ(array.Querschnitt(0, &curve), 3);
  EXPECT_EQ(ValuesOf(curve), (Floats{0, 3, 0, 3}));
  EXPECT_EQ(curve.XMin(), 2.0F);
  EXPECT_EQ(curve.XMax(), 10.0F);
  array.Attach(3, nullptr, true);
  EXPECT_EQ(array.Querschnitt(0, &curve), 2);
  EXPECT_EQ(curve.IMax(), 1);
  EXPECT_EQ(array.FlaechenKurveBilden(&curve, 0, 2, false), 2);
  EXPECT_EQ(ValuesOf(curve), (Floats{5, 3, 0, 0}));
  EXPECT_EQ(array.Querschnitt(9, &curve), 0);
  EXPECT_FALSE(curve.IsValid());
  EXPECT_EQ(array.Querschnitt(0, static_cast<Ext*>(nullptr)), 0);
  EXPECT_EQ(array.Querschnitt(0, static_cast<CSigPairs*>(nullptr)), 0);
}

TEST(CurveArray, CopiesAndAppends) {
  CSigCurveArray array = AtPositions({1, kNaN, 3});
  array.SetName(u"run-up");
  array.Quinter().Mode(u"warm");
  array.Modus(5);
  array.TBereich(1, 3);
  const std::unique_ptr<CSigCurveArray> clone(array.Clone(true));
  EXPECT_EQ(clone->Name(), u"run-up");
  EXPECT_EQ(clone->Quinter(), array.Quinter());
  EXPECT_EQ(clone->Modus(), 5);
  EXPECT_EQ(clone->TMax(), 3.0F);
  EXPECT_EQ((*clone)[1], nullptr);
  EXPECT_NE((*clone)[0], array[0]);
  EXPECT_FALSE(array.Copy(array, true));
  EXPECT_FALSE(array.Copy(Ext(2), true));
  CSigCurveArray data;
  EXPECT_TRUE(data.CopyData(array));
  EXPECT_EQ(Positions(data), Positions(array));
  EXPECT_TRUE(data.Name().empty());

  EXPECT_TRUE(array.Append(array));
  EXPECT_EQ(Positions(array), (Floats{1, 0, 3, 1, 0, 3}));
  CSigCurveList list;
  list.Add(std::make_unique<Ext>(MakeCurve<Ext>({7})))->Date(9);
  EXPECT_TRUE(array.Append(list));
  EXPECT_EQ(array.TMax(), 9.0F);
  EXPECT_EQ(array.Wert(6, 0), 7.0F);
  EXPECT_TRUE(array.Append(CSigCurveArray()));
  EXPECT_EQ(array.Anzahl(), 7);
  EXPECT_STREQ(array.GetRuntimeClass()->name, "CSigCurveArray");
  const std::unique_ptr<CObject> made(CSigCurveArray::GetThisClass()->CreateObject());
  EXPECT_NE(dynamic_cast<CSigCurveArray*>(made.get()), nullptr);
}

TEST(CurveArray, KeepsTheLastPositionWithoutItsStart) {
  CSigCurveArray array = AtPositions({0, 0, 0});
  array.KurvenKomplettUndPositionieren(10, 2);
  EXPECT_EQ(Positions(array), Floats(3)) << "nothing was delivered";
  array.KurvenKomplett(3);
  array.KurvenKomplettUndPositionieren(10, 0);
  array.KurvenKomplettUndPositionieren(10, 2);
  EXPECT_EQ(Positions(array), (Floats{10, 12, 14}));
  EXPECT_EQ(array.TMin(), 10.0F);
  EXPECT_EQ(array.TMax(), 4.0F);
  EXPECT_EQ(array.TDelta(), 2.0F);
}

TEST(CurveArray, KeepsTheIndexBeforeTheExtensionData) {
  CSigCurveArray array = AtPositions({0, 1, 2, 3});
  CSigCurve data;
  array[3]->AttachExtData(&data);
  array[3]->AttachExtData(false);
  EXPECT_EQ(array.FindeKurveZuExtData(&data), 2);
  EXPECT_EQ(array.FindeKurveZuExtData(&data, 3), -1);
  array[0]->AttachExtData(&array);
  array[0]->AttachExtData(false);
  EXPECT_EQ(array.FindeKurveZuExtData(&array, -5), -1) << "curve 0 is never looked at";
}

// ---- File record

constexpr auto kWrite = [](const CSigCurveArray& array, CFileStream& file) {
  return array.DateiExportRaw(file);
};
constexpr auto kRead = [](CSigCurveArray& array, CFileStream& file) {
  int status = 0;
  const bool ok = array.DateiImport(file, status);
  EXPECT_EQ(ok, status == CSigCurveArray::kStatusOk);
  return ok;
};

CSigCurveArray Stored() {
  CSigCurveArray array;
  Ext curve = MakeCurve<Ext>({1, 2.5F, -3}, 10, 40);
  curve.SetName(u"gear");
  curve.SetXUnit(u"Hz");
  curve.SetYUnit(u"Pa");
  array.ErsteKurve(curve);
  curve.Date(5);
  array.WeitereKurve(curve);
  array.KurvenKomplett();
  array.SetName(u"Hochlauf \u03A9");
  array.SetTUnit(u"rpm");
  return array;
}

test::Bytes WithVersion(test::Bytes record, int version) {
  if (version == 0) {
    record.erase(record.begin(), record.begin() + 8);
  } else {
    record[4] = static_cast<std::uint8_t>(version);
  }
  return record;
}

TEST(CurveArrayRecord, EveryVersionReadsTheSame) {
  const test::Bytes record = test::Written(Stored(), kWrite);
  ASSERT_EQ(record.size(), 12U + 200 + 18 + 28 + 2 * (116 + 12));
  for (const int version : {0, 1, 2}) {
    std::ifstream in(LIMES_TEST_DATA "/curve_array_v" + std::to_string(version) + ".bin",
                     std::ios::binary);
    const test::Bytes golden{std::istreambuf_iterator<char>(in), {}};
    EXPECT_EQ(golden, WithVersion(record, version)) << version;
    CSigCurveArray array;
    EXPECT_TRUE(test::ReadBlock(array, golden, kRead)) << version;
    EXPECT_EQ(test::Written(array, kWrite), record);
    EXPECT_EQ(array.XUnit().mainunit(), u"Hz");
    EXPECT_EQ(array.YUnit().mainunit(), u"Pa");
    EXPECT_EQ(array.VBereich().max, 40.0F);
    EXPECT_EQ(array.Name(), u"Hochlauf \u03A9");
  }
}

TEST(CurveArrayRecord, RefusesWhatIsNewerOrMalformed) {
  const test::Bytes record = test::Written(Stored(), kWrite);
  CMemoryStream newer(WithVersion(record, 3));
  CSigCurveArray array;
  int status = 0;
  EXPECT_FALSE(array.DateiImport(newer, status));
  EXPECT_EQ(status, CSigCurveArray::kStatusVersion);
  constexpr std::size_t kCount = 12 + 200 + 18;
  const struct {
    const char* name;
    std::size_t at;
    std::uint32_t word;
  } cases[] = {{"text length", 8, 200},       {"text length", 8, 0xFFFFFFFF},
               {"count", kCount, 0xFFFFFFFF}, {"count", kCount, 1000000000},
               {"section", kCount + 24, 0},   {"section", kCount + 24, 3}};
  for (const auto& c : cases) {
    test::Bytes changed = record;
    for (std::size_t i = 0; i < 4; ++i) {
      changed[c.at + i] = static_cast<std::uint8_t>(c.word >> (8 * i));
    }
    EXPECT_FALSE(test::ReadBlock(array, changed, kRead)) << c.name << " " << c.word;
  }
  EXPECT_EQ(array.Anzahl(), 0);
}

TEST(CurveArrayRecord, SurvivesHostileBytes) {
  // A unit registered by its text has no text in the record, so it does not come back.
  const auto unitless = [](const CSigCurveArray& stored, CFileStream& file) {
    CSigCurveArray copy = stored;
    copy.SetTUnit(CMeasuringUnit());
    for (int i = 0; i < copy.Anzahl(); ++i) {
      copy[i]->ClearUnits();
    }
    return copy.DateiExportRaw(file);
  };
  test::ExpectHostileSafe(
      test::Written(Stored(), unitless), [] { return CSigCurveArray(); }, kRead, unitless);
}

TEST(CurveArrayRecord, CodedValuesEmptySlotsAndLongNames) {
  CSigCurveArray array = Stored();
  array.Attach(1, nullptr, true);
  std::u16string name(198, u'x');
  name += u"\u00E4\u00F6";
  array.SetName(name);
  CMeasuringUnit linear(commonUnits::rpm);
  linear.logref(2.0F);
  linear.set_log(false);
  array.SetTUnit(linear);
  CMemoryStream stream;
  EXPECT_TRUE(array.DateiExport(stream));
  stream.Seek(0);
  CSigCurveArray read;
  int status = 0;
  ASSERT_TRUE(read.DateiImport(stream, status));
  EXPECT_EQ(read.Name(), std::u16string(198, u'x')) << "cut before a character";
  EXPECT_EQ(read.TUnit().logref(), 0.0F);
  EXPECT_EQ(read[1]->DLen(), 0U);
  EXPECT_NEAR(read.Wert(0, 1), 2.5F, 5.5F / 255);
}

}  // namespace
}  // namespace limes

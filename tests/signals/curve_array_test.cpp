#include "limes/signals/curve_array.h"

#include "limes/signals/pair_signal.h"
#include "limes/signals/signal_lists.h"
#include "tests/support/curves.h"
#include "tests/support/hostile.h"

namespace limes::test {
namespace {

using Ext = CSigCurveExt;

/// Curves of x from 0 to 2 at the given T, the first values 0, 1, 2, ..., the second 5; NaN stands
/// for an empty slot.
CSigCurveArray AtPositions(const Floats& positions) {
  CSigCurveArray array(static_cast<int>(positions.size()));
  for (int i = 0; i < array.Anzahl(); ++i) {
    const float t = positions[static_cast<std::size_t>(i)];
    if (!std::isnan(t)) {
      array.Attach(i, new Ext(MakeCurve<Ext>({static_cast<float>(i), 5}, 0, 2)), true);
      array.TPos(i, t);
    }
  }
  return array;
}

/// T of the curves with their first values, then T min, T max and T delta, then the x range.
std::string State(const CSigCurveArray& array) {
  std::string text;
  for (int i = 0; i < array.Anzahl(); ++i) {
    text += array[i] == nullptr ? "- " : Shown(array.TPos(i)) + ":" + Shown(array.Wert(i, 0)) + " ";
  }
  return text + Shown("T", array.TMin(), array.TMax(), array.TDelta(), "x", array.VBereich().min,
                      array.VBereich().max);
}

TEST(CurveArray, SlotsGrowAndHandOver) {
  CSigCurveArray array;
  EXPECT_SHOWN("T 0 1 1 x 0 1 -1", State(array), array.FindeKurveZu(1.0F));
  EXPECT_EQ(State(CSigCurveArray(4)), "- - - - T 0 1 0.25 x 0 1");
  auto* const first = new Ext(3);
  first->Date(4.0F);
  EXPECT_TRUE(array.AttachNext(first, true) && array.AttachNext(new Ext(2), true) &&
              array.Attach(3, new Ext(1), true));
  EXPECT_FALSE(array.Attach(-1, first, true) || array.Attach(7, nullptr, true));
  array.TPos(3, 9.0F);
  array.AttachOperationComplete();
  EXPECT_EQ(State(array), "4:0 0:0 - 9:0 T 4 9 1.25 x 0 1");
  EXPECT_TRUE(array.Expandieren(2) && array.SlotCapacity() == 4) << "never shrinks";
  EXPECT_EQ(array.Detach(3), nullptr);
  const std::unique_ptr<Ext> detached(array.Detach(0));
  EXPECT_EQ(detached.get(), first);
  EXPECT_TRUE(array.AlleKurvenAusstatten(7) && array.KurveAusstatten(2, 5));
  EXPECT_SHOWN("lengths 7 7", "lengths", array[0]->DLen(), array[1]->DLen());
  const std::unique_ptr<Ext> former(array[0]);
  EXPECT_TRUE(array.Attach(0, new Ext(1), false));
  array.KurvenFreigeben();
  Ext outside(3);
  array.Attach(0, &outside, true);
  array.DetachAll();
  array.AttachOperationComplete();
  EXPECT_EQ(array.Anzahl(), 0);
}

TEST(CurveArray, FillsSortsAndAppends) {
  CSigCurveArray array;
  CSigCurve plain = MakeCurve({1, 2}, 10, 30);
  plain.SetXUnit(u"Hz");
  Ext dated = MakeCurve<Ext>({3, 4});
  dated.Date(8.0F);
  EXPECT_SHOWN("at 0 1 2 unit Hz", "at", array.ErsteKurve(plain), array.WeitereKurve(plain),
               array.WeitereKurve(plain, 3.5F), "unit", array.XUnit().mainunit());
  for (int i = 3; i < 20; ++i) {
    EXPECT_EQ(array.WeitereKurve(dated), i);
  }
  array.KurvenKomplett(4);
  EXPECT_EQ(State(array), "0:1 1:1 3.5:1 8:3 T 0 8 2 x 10 30");
  EXPECT_SHOWN("set 0 1 3 none -1", "set", array.KurveSetzen(0, dated),
               array.KurveSetzen(1, *array[1], 6.0F), array.KurveSetzen(3, plain), "none",
               array.KurveSetzen(4, plain));
  array.WertSetzen(2, 0, 9.0F);
  array.WertSetzen(9, 9, 9.0F);
  EXPECT_EQ(State(array), "8:3 6:1 3.5:9 8:1 T 0 8 2 x 10 30");
  array.KurvenKomplettUndSortieren();
  EXPECT_EQ(State(array), "3.5:9 6:1 8:3 8:1 T 3.5 8 1.125 x 10 30");
  array.VonAnfangAn();
  EXPECT_EQ(array.WeitereKurve(dated), 0);
  array.KurvenKomplett(1000);
  EXPECT_TRUE(array.KurvenVoll());

  array = AtPositions({3, kNaN, 1, 2});
  array[3]->Date(kNaN);
  array.KurvenSortieren();
  EXPECT_EQ(State(array), "1:2 3:0 nan:3 - T 0 1 0.25 x 0 1");
  array = AtPositions({1, kNaN, 3});
  array.SetName(u"run-up");
  const std::unique_ptr<CSigCurveArray> clone(array.Clone(true));
  EXPECT_EQ(WideToUtf8(clone->Name()) + State(*clone), "run-up" + State(array));
  CSigCurveList list;
  list.Add(std::make_unique<Ext>(dated));
  EXPECT_TRUE(array.Append(array) && array.Append(list) && array.Append(CSigCurveArray()));
  EXPECT_EQ(State(array), "1:0 - 3:2 1:0 - 3:2 8:3 T 1 8 1 x 0 2");
}

/// An array whose search by time is open, of curves put at times.
struct Series : CSigCurveArray {
  using CSigCurveArray::KurveBei;

  Series(std::int64_t start, std::int64_t end, const std::vector<std::int64_t>& times) {
    const Ext curve = MakeCurve<Ext>({1, 2});
    for (const std::int64_t t : times) {
      EXPECT_GE(Anzahl() == 0 ? ErsteKurve(curve, start, end, t) : WeitereKurveTm(curve, t), 0);
      KurvenKomplett();
    }
  }

  std::vector<std::int64_t> Times() const {
    std::vector<std::int64_t> times;
    for (int i = 0; i < Anzahl(); ++i) {
      times.push_back(ZeitPos(i));
    }
    return times;
  }
};

TEST(CurveArray, TimeSeriesScalesToTheNumberOfCurves) {
  Series array(1000, 1100, {1000, 1050, 1090, 1100});
  for (int repeat = 0; repeat < 2; ++repeat) {
    EXPECT_EQ(State(array), "0:1 2:1 3.6:1 4:1 T 0 4 1 x 0 1");
    array.KurvenKomplett();
  }
  EXPECT_SHOWN("in range 1 1 0 at 1060 1", "in range", array.ZeitImBereich(array.ErsteZeit()),
               array.ZeitImBereich(1100), array.ZeitImBereich(1101), "at 1060",
               array.KurveBei(1060));
  array.ZeitraumAendern(900, 1100);
  EXPECT_EQ(State(array), "2:1 3:1 3.8:1 4:1 T 0 4 1 x 0 1");
  array.TPos(1, 0.5F);
  EXPECT_EQ(array.ZeitPos(1), 925) << "of a T that the host set";
  array.ZeitraumAendern(std::numeric_limits<std::int64_t>::max(),
                        std::numeric_limits<std::int64_t>::min());
  array.ZeitraumAendern(7, 7);
  EXPECT_EQ(State(array), "0:1 0:1 0:1 0:1 T 0 4 1 x 0 1");
  delete array.Detach(1);
  EXPECT_TRUE(array.KurveAusstatten(1, 2));
  EXPECT_EQ(array.ZeitPos(1), 7) << "not the time of the curve that was there";
}

TEST(CurveArray, TimesOfASeriesStay) {
  std::mt19937 random(5);
  const std::int64_t years = 200000000;  // a float of the interval holds no seconds
  std::vector<std::int64_t> times;
  for (int i = 0; i < 300; ++i) {
    times.push_back(1000 + i * (years / 300) + static_cast<std::int64_t>(random() % 1000));
  }
  Series array(1000, 1000 + years, times);
  EXPECT_EQ(array.Times(), times) << "completed after each";
  array.ZeitraumAendern(900, 2000 + 2 * years);
  EXPECT_EQ(array.Times(), times);
  const Series later(3 * years, 4 * years, {3 * years + 1, 4 * years - 1});
  ASSERT_TRUE(array.Append(later));
  times.insert(times.end(), {3 * years + 1, 4 * years - 1});
  EXPECT_EQ(array.Times(), times);
  EXPECT_LE(array.TPos(301), array.TMax());
  EXPECT_TRUE(array.ZeitImBereich(array.ErsteZeit()) && array.ZeitImBereich(array.LetzteZeit()));
  EXPECT_SHOWN("interval 900 800000000", "interval", array.StartZeit(), array.EndZeit());
  CSigCurveArray moved = std::move(array);
  EXPECT_SHOWN("moved 302 0", "moved", moved.Anzahl(), array.Anzahl());
}

TEST(CurveArray, RangesAndSearch) {
  CSigCurveArray array = AtPositions({1, 3, 3, kNaN, 8});
  array.TBereich(2, 1);
  array.TBereich(kNaN, 1);
  EXPECT_EQ(array.TMax(), 1.0F);
  array.TBereich(1, 8, 0.5F);
  array.TVBereich(-5, 4);
  EXPECT_SHOWN("visible 1 4", "visible", array.TVMin(), array.TVMax());
  array.XVBereich(0.5F, 7);
  EXPECT_EQ(State(array), "1:0 3:1 3:2 - 8:4 T 1 8 0.5 x 0.5 2");
  const std::tuple<float, int, int, int> cases[] = {
      // t, start; at or before, at or behind
      {0, 0, 0, 0}, {1, 0, 0, 0},  {2, 0, 0, 1}, {3, 0, 3, 1},   {3, 2, 3, 2},
      {8, 0, 4, 4}, {9, -7, 4, 5}, {0, 4, 4, 4}, {0, 99, 4, 99}, {kNaN, 0, 4, 5}};
  for (const auto& [t, start, at, behind] : cases) {
    EXPECT_EQ(std::pair(array.FindeKurveZu(t, start), array.FindeKurveHinter(t, start)),
              std::pair(at, behind))
        << t << " from " << start;
  }
  array.AlleKurvenBereich(5, 15, CMeasuringUnit(), CMeasuringUnit());
  EXPECT_SHOWN("valid to 15 step 5", "valid to", array[4]->VMax(), "step", array.XDelta());
}

TEST(CurveArray, ArithmeticIsThatOfTheCurves) {
  CSigCurveArray a = AtPositions({1, 2, kNaN});
  const CSigCurveArray b = AtPositions({1, kNaN, 3});
  a[0]->SetVIMinMax(1, 1);
  ((a += 2.0F) *= 2.0F) += b;
  EXPECT_SHOWN("{0 19} {6 14}", ValuesOf(*a[0]), ValuesOf(*a[1]));
  a[0]->ResetVMinMax();
  a.QuadratAddieren(b, 2.0F);
  EXPECT_SHOWN("{0 69}", ValuesOf(*a[0]));
  EXPECT_TRUE(a.FitTogether(a) && !a.FitTogether(b));
  float low = 77;
  float high = 77;
  EXPECT_TRUE(!CSigCurveArray(3).GlobalesMinMax(low, high) && low == 77) << "untouched";
  a.WertSetzen(1, 0, kNaN);
  EXPECT_TRUE(a.GlobalesMinMax(low, high));
  EXPECT_SHOWN("from 0 to 69", "from", low, "to", high);
}

// ---- Reductions against the operations of curves, one after the other.

/// Curves of one or of several lengths and x ranges, some with a part of them valid.
CSigCurveArray RandomArray(std::mt19937& random, int kind, bool alike) {
  CSigCurveArray array(1 + static_cast<int>(random() % 20));
  const std::size_t n = 1 + random() % (random() % 8 == 0 ? 40000 : 60);
  for (int i = 0; i < array.Anzahl(); ++i) {
    const unsigned what = alike ? 15 : random() % 16;
    const Floats values = RandomFloats(random, what < 5 ? 1 + random() % 60 : n, kind);
    const auto length = static_cast<float>(values.size());
    const auto x = static_cast<float>(what < 5 ? what : 0);
    Ext curve = MakeCurve<Ext>(values, x, x + length);
    if (what < 10 && what % 2 == 0) {
      curve.SetVIMinMax(static_cast<int>(random() % 5), static_cast<int>(random() % 60));
    }
    if (what == 7) {
      curve.Malloc(3);  // indices that are no longer true
    }
    if (i == 0 || random() % 12 != 0) {
      array.Attach(i, new Ext(curve), true);
      array.TPos(i, static_cast<float>(i));
    }
  }
  return array;
}

void ExpectSame(bool reduced, const Ext& actual, const Ext& expected) {
  EXPECT_TRUE(reduced);
  EXPECT_EQ(ValidOf(actual), ValidOf(expected));
  EXPECT_EQ(Difference(actual.Values(), expected.Values()), "");
}

enum class Way { kSum, kSquares, kLargest, kSmallest };

/// Combines the curves one after the other with a copy of the first.
Ext Plain(const CSigCurveArray& array, const CSigPairs* weights, Way way) {
  Ext all = *array[0];
  for (int i = 0; i < array.Anzahl(); ++i) {
    const Ext& curve = *array[array[i] == nullptr ? 0 : i];
    const float w = weights == nullptr ? 1.0F : weights->WertBei(curve.Date());
    if (array[i] == nullptr || (i == 0 && way > Way::kSquares)) {
      continue;
    }
    if (way > Way::kSquares) {
      all.Maximize(&curve, way == Way::kLargest ? 1 : 0);
      all ^= curve;
      continue;
    }
    if (i > 0) {
      all.Schrumpfen(curve.XMin(), curve.XMax());
    }
    const auto shared = static_cast<int>(std::min(curve.DLen(), all.DLen()));
    if (way == Way::kSquares) {
      for (int j = i == 0 ? 0 : all.IMin(); j < shared && (i == 0 || j <= all.IMax()); ++j) {
        const float s = curve.ValArray()[j];
        all.ValArray()[j] = (i == 0 ? 0.0F : all.ValArray()[j]) + (w * s) * s;
      }
    } else if (weights != nullptr) {
      i == 0 ? void(all *= w) : all.AddWithWeight(curve, w, 0);
    } else if (i > 0) {
      all += curve;
    }
  }
  return all;
}

TEST(CurveArrayReductions, EqualTheStepsOneAfterTheOther) {
  std::mt19937 random(3);
  for (int round = 0; round < 400; ++round) {
    SCOPED_TRACE(round);
    const CSigCurveArray array = RandomArray(random, round % 3, round % 2 == 0);
    CSigPairs pairs;
    for (int i = 0; i < 22; ++i) {
      pairs.NeuesPaar(static_cast<float>(i), RandomFloat(random, 2 * (round % 2)));
    }
    Ext target;
    for (const CSigPairs* const weights : std::initializer_list<CSigPairs*>{nullptr, &pairs}) {
      float total = 0;
      for (int i = 0; i < array.Anzahl(); ++i) {
        const bool counts = array[i] != nullptr;
        total += !counts ? 0 : weights == nullptr ? 1 : weights->WertBei(array.TPos(i));
      }
      const float factor = total != 0 ? 1 / total : 1;
#define LIMES_REDUCED(f) (weights == nullptr ? array.f(&target) : array.f(&target, weights))
      Ext expected = Plain(array, weights, Way::kSum);
      ExpectSame(LIMES_REDUCED(Summe), target, expected);
      expected *= factor;
      ExpectSame(LIMES_REDUCED(Mittelwert), target, expected);
      expected = Plain(array, weights, Way::kSquares);
      ExpectSame(LIMES_REDUCED(QuadratSumme), target, expected);
      expected *= factor;
      expected.SquareRoot();
      if (total == 0) {
        std::fill_n(expected.ValArray(), expected.DLen(), 0.0F);
      }
      ExpectSame(LIMES_REDUCED(RMS), target, expected);
    }
    for (const int mode : {0, 1}) {
      ExpectSame(array.Maximum(&target, mode), target,
                 Plain(array, nullptr, mode != 0 ? Way::kLargest : Way::kSmallest));
    }
  }
}

TEST(CurveArrayReductions, UnitsAndTargetsInTheArray) {
  CSigCurveArray array = AtPositions({0, 1});
  array[0]->SetYUnit(u"Pa");
  Ext target;
  EXPECT_TRUE(array.QuadratSumme(&target));
  EXPECT_SHOWN("unit Pa²", "unit", target.YUnit().mainunit());
  EXPECT_TRUE(array.Mittelwert(array[1]) && array.Maximum(array[0], 1));
  EXPECT_SHOWN("{0.5 5}", ValuesOf(*array[0]));
  EXPECT_FALSE(array.Mittelwert(nullptr) || array.Mittelwert(&target, nullptr) ||
               CSigCurveArray(3).Maximum(&target, 1));
}

TEST(CurveArray, SectionsAcrossTheCurves) {
  CSigCurveArray array = AtPositions({2, 4, kNaN, 8});
  array[1]->Malloc(1);
  array[1]->SetAt(0, 3);
  CSigPairs pairs;
  EXPECT_SHOWN("2 pairs to 8,5", array.Querschnitt(1, &pairs), "pairs to", pairs.Point(1));
  EXPECT_SHOWN("3 pairs to 4", array.Querschnitt(0.5F, &pairs), "pairs to", pairs.Wert(2));
  EXPECT_SHOWN("beside x 0 i 0 inside 3 empty 0 0", "beside x", array.Querschnitt(5.0F, &pairs),
               "i", array.Querschnitt(-1, &pairs), "inside", array.Querschnitt(0, &pairs), "empty",
               CSigCurveArray().Querschnitt(0, &pairs), pairs.NPaare());
  Ext curve;
  EXPECT_SHOWN("3 {0 3 0 3} x 2 10", array.Querschnitt(0, &curve), ValuesOf(curve), "x",
               curve.XMin(), curve.XMax());
  delete array.Detach(3);
  EXPECT_SHOWN("2 valid to 1", array.Querschnitt(0, &curve), "valid to", curve.IMax());
  EXPECT_SHOWN("2 {5 3 0 0}", array.FlaechenKurveBilden(&curve, 0, 2, false), ValuesOf(curve));
  EXPECT_TRUE(array.Querschnitt(9, &curve) == 0 && !curve.IsValid());
}

TEST(CurveArray, KeepsTheLastPositionWithoutItsStart) {
  CSigCurveArray array = AtPositions({0, 0, 0});
  array.KurvenKomplettUndPositionieren(10, 2);
  EXPECT_EQ(State(array), "0:0 0:1 0:2 T 0 1 0.333333 x 0 1") << "nothing was delivered";
  array.KurvenKomplett(3);
  array.KurvenKomplettUndPositionieren(10, 0);
  array.KurvenKomplettUndPositionieren(10, 2);
  EXPECT_EQ(State(array), "10:0 12:1 14:2 T 10 4 2 x 0 2");
}

TEST(CurveArray, KeepsTheIndexBeforeTheExtensionData) {
  CSigCurveArray array = AtPositions({0, 1, 2, 3});
  CSigCurve data;
  for (const int i : {0, 3}) {
    array[i]->AttachExtData(i == 0 ? static_cast<CObject*>(&array) : &data);
    array[i]->AttachExtData(false);
  }
  EXPECT_SHOWN("2 -1 -1", array.FindeKurveZuExtData(&data), array.FindeKurveZuExtData(&data, 3),
               array.FindeKurveZuExtData(&array, -5))
      << "curve 0 is never looked at";
}

// ---- File record

constexpr auto kExport = [](const CSigCurveArray& array, CFileStream& file) {
  return array.ExportRaw(file);
};
constexpr auto kImport = [](CSigCurveArray& array, CFileStream& file) {
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

TEST(CurveArrayRecord, EveryVersionReadsTheSame) {
  const Bytes record = Written(Stored(), kExport);
  ASSERT_EQ(record.size(), 12U + 200 + 18 + 28 + 2 * (116 + 12));
  for (const char version : {'\0', '\1', '\2'}) {
    const Bytes golden = Golden("curve_array_v" + std::to_string(int{version}) + ".bin");
    Bytes expected = record;
    expected[4] = static_cast<std::uint8_t>(version);
    expected.erase(expected.begin(), expected.begin() + (version == 0 ? 8 : 0));
    EXPECT_EQ(golden, expected) << version;
    CSigCurveArray array;
    EXPECT_TRUE(ReadBlock(array, golden, kImport)) << version;
    EXPECT_EQ(Written(array, kExport), record);
    EXPECT_SHOWN("Hz Pa 40", array.XUnit().mainunit(), array.YUnit().mainunit(),
                 array.VBereich().max);
  }
}

TEST(CurveArrayRecord, RefusesWhatIsNewerOrMalformed) {
  constexpr std::uint32_t kAt = 12 + 200 + 18;  // count, five floats, version of the curves
  const std::array<std::uint32_t, 3> cases[] = {
      // byte, word, status
      {4, 3, 1},     {8, 200, 2},      {8, ~0U, 2},     {kAt, 1000000000, 2},
      {kAt, ~0U, 2}, {kAt + 24, 0, 2}, {kAt + 24, 3, 2}};
  for (const auto& [at, word, expected] : cases) {
    Bytes changed = Written(Stored(), kExport);
    detail::ToLittleEndian(word, &changed[at]);
    CSigCurveArray array;
    CMemoryStream stream(changed);
    int status = 0;
    EXPECT_FALSE(array.DateiImport(stream, status)) << at << " " << word;
    EXPECT_EQ(status, static_cast<int>(expected));
  }
  // A unit registered by its text has no text in the record, so it does not come back.
  const auto unitless = [](const CSigCurveArray& stored, CFileStream& file) {
    CSigCurveArray copy = stored;
    copy.SetTUnit(CMeasuringUnit());
    for (int i = 0; i < copy.Anzahl(); ++i) {
      copy[i]->ClearUnits();
    }
    return copy.ExportRaw(file);
  };
  ExpectHostileSafe(
      Written(Stored(), unitless), [] { return CSigCurveArray(); }, kImport, unitless);
}

TEST(CurveArrayRecord, CodedValuesEmptySlotsAndLongNames) {
  CSigCurveArray array = Stored();
  delete array.Detach(1);
  array.SetName(std::u16string(198, u'x') + u"\u00E4\u00F6");
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
  EXPECT_SHOWN("0 0", read.TUnit().logref(), read[1]->DLen());
  EXPECT_NEAR(read.Wert(0, 1), 2.5F, 5.5F / 255);
}

}  // namespace
}  // namespace limes::test

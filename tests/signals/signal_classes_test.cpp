// What the class of a signal decides behind a base pointer: names, creation, copies, appending.

#include <gtest/gtest.h>

#include "limes/signals/curve_array.h"
#include "limes/signals/measurement_pair_signal.h"
#include "limes/signals/time_pair_signal.h"
#include "tests/support/curves.h"
#include "tests/support/hostile.h"

namespace limes::test {
namespace {

constexpr auto kWrite = [](const CSignal& signal, CFileStream& file) {
  return signal.WriteToFile(file, CSignal::CurrentFileVersion());
};

/// Three values and a name.
template <class Class>
Class Sample() {
  Class signal;
  if constexpr (std::is_base_of_v<CSigPairs, Class>) {
    for (const float x : {1.0F, 2.0F, 4.0F}) {
      signal.CSigPairs::NeuesPaar(x, -x);
    }
  } else {
    signal = MakeCurve<Class>({1, -2, 4});
  }
  signal.SetName(u"left");
  return signal;
}

template <class Class>
void ExpectClass(const char* name, const CRuntimeClass* base) {
  SCOPED_TRACE(name);
  for (CObject* const made : {Class::GetThisClass()->CreateObject(), Class::CreateObject()}) {
    const std::unique_ptr<CObject> object(made);
    ASSERT_NE(dynamic_cast<Class*>(made), nullptr);
    EXPECT_STREQ(made->GetRuntimeClass()->name, name);
    EXPECT_SHOWN("1 0", made->IsKindOf(base), base->IsDerivedFrom(made->GetRuntimeClass()));
  }
  const Class sample = Sample<Class>();
  const Bytes record = Written<CSignal>(sample, kWrite);
  const CSignal& any = sample;
  const std::unique_ptr<CClonable> clone(any.Clone(true));
  auto* const copy = dynamic_cast<Class*>(clone.get());
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(Written<CSignal>(*copy, kWrite), record);
  Class assigned;
  assigned = sample;
  EXPECT_EQ(Written<CSignal>(assigned, kWrite), record);
  EXPECT_SHOWN("1 6", copy->Append(any), copy->XLen());
  Class header = sample;
  header.InitHeader();
  EXPECT_STREQ(Exact{header.Name()}.text.c_str(), "");
}

TEST(SignalClasses, AreWhatTheirNamesSay) {
  const CRuntimeClass* const signal = CSignal::GetThisClass();
  ExpectClass<CSigCurve>("CSigCurve", signal);
  ExpectClass<CSigCurveExt>("CSigCurveExt", CSigCurve::GetThisClass());
  ExpectClass<CSigPairs>("CSigPairs", signal);
  ExpectClass<CSigPairsTm>("CSigPairsTm", CSigPairs::GetThisClass());
  ExpectClass<CSigPairsVM>("CSigPairsVM", CSigPairs::GetThisClass());
  EXPECT_STREQ(signal->name, "CSignal");
  EXPECT_EQ(signal->CreateObject(), nullptr);
  EXPECT_TRUE(signal->IsDerivedFrom(CSigRaw::GetThisClass()));
  CSigCurve curve = Sample<CSigCurve>();
  const CSigPairs pairs = Sample<CSigPairs>();
  EXPECT_SHOWN("0 3", curve.Append(static_cast<const CSignal&>(pairs)), curve.XLen());
}

/// Moving takes over the words, leaves an empty signal that can be used, and copies where there is
/// room or the words are someone else's.
template <class Class>
void ExpectMoves(const char* name) {
  SCOPED_TRACE(name);
  static_assert(std::is_nothrow_move_constructible_v<Class> &&
                std::is_nothrow_move_assignable_v<Class>);
  Class from = Sample<Class>();
  from.SetXUnit(u"Hz");
  const Bytes record = Written<CSignal>(from, kWrite);
  const auto words = [](const Class& signal) { return signal.FloatData(); };
  const float* const place = words(from);
  Class to(std::move(from));
  EXPECT_SHOWN("1 0", words(to) == place, from.DLen());
  EXPECT_STREQ(Exact{from.Name()}.text.c_str(), "");
  from.SetXUnit(u"s");
  from.AppendToName(u"used again");
  EXPECT_EQ(Written<CSignal>(to, kWrite), record);
  from = std::move(to);
  EXPECT_SHOWN("1 0", words(from) == place, to.DLen());
  EXPECT_EQ(Written<CSignal>(from, kWrite), record);
  Class room = Sample<Class>();
  const float* const kept = words(room);
  room = std::move(from);
  EXPECT_SHOWN("1", words(room) == kept);
  EXPECT_EQ(Written<CSignal>(room, kWrite), record);
  float foreign[] = {1, 2, 3, 4};
  to.SetBuffer(foreign, 4);
  const Class own(std::move(to));
  EXPECT_SHOWN("4 1", own.DLen(), own.OwnsData());
}

TEST(SignalClasses, MovesTakeOverTheWords) {
  ExpectMoves<CSigCurve>("CSigCurve");
  ExpectMoves<CSigCurveExt>("CSigCurveExt");
  ExpectMoves<CSigPairs>("CSigPairs");
  ExpectMoves<CSigPairsTm>("CSigPairsTm");
  ExpectMoves<CSigPairsVM>("CSigPairsVM");
  // A longer one into a curve that stands for an extended one: the class decides, as in copies.
  CSigCurveExt extended = MakeExt({1, 2});
  CSigCurve& base = extended;
  base = MakeRamp(5);
  EXPECT_SHOWN("{0 1 2 3 4} 0 4", extended, extended.IMin(), extended.IMax());
}

TEST(SignalClasses, SpansGoInAndOut) {
  const Floats values = {3, 1, 2};
  CSigCurveExt curve = CSigCurveExt::Make(values, 10, 40);
  curve.SetVIMinMax(1, 1);
  EXPECT_EQ(Floats(curve.begin(), curve.end()), values);
  EXPECT_TRUE(curve.SetValues(curve.Values().last(2)));
  EXPECT_SHOWN("{1 2} 0 1 2", curve, curve.IMin(), curve.IMax(), curve.XLen());
  CSigPairs run;
  EXPECT_SHOWN("0 1", run.SetPoints(values, Floats{1}), run.SetPoints(values, values));
  EXPECT_SHOWN("3 0 0", run.NPaare(), run.IstSortiert(), run.IstInversSortiert());
  float sum = 0;
  for (const auto& [x, y] : run) {
    sum += x * y;
  }
  EXPECT_SHOWN("14 1", sum, run.SetPoints(run.Points().last(2)));
  EXPECT_SHOWN("2 1 1,1 2,2", run.NPaare(), run.IstSortiert(), run.Point(0), run.Point(1));
  EXPECT_SHOWN("1.5", run.WertBei(1.5F));
}

TEST(SignalClasses, ArraysOfCurves) {
  const std::unique_ptr<CObject> made(CSigCurveArray::CreateObject());
  EXPECT_STREQ(made->GetRuntimeClass()->name, "CSigCurveArray");
  CSigCurveArray array;
  array.ErsteKurve(MakeCurve({4, 9}));
  array.WeitereKurve(MakeCurve({16, 25}), 0.5F);
  CSigCurveArray other;
  EXPECT_SHOWN("1 0", other.CopyData(array), other.CopyData(other));
  other.WurzelZiehen();
  EXPECT_SHOWN("{2 3} {4 5} 0.5 16", *other[0], *other[1], other.TPos(1), (*array[1])[0]);
}

}  // namespace
}  // namespace limes::test

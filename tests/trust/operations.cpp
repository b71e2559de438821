#include "tests/trust/operations.h"

#include <map>
#include <memory>

#include "limes/platform/module.h"
#include "tests/support/curves.h"

namespace limes::test {
namespace {

using Ext = CSigCurveExt;

/// A curve of n values of the given kind (see RandomFloat) with name and units.
template <class Curve = Ext>
Curve Noise(unsigned seed, int kind = 0, std::size_t n = 301) {
  std::mt19937 random(seed);
  Curve c = MakeCurve<Curve>(RandomFloats(random, n, kind), -1.0F, 29.1F);
  c.SetName(u"A name longer than any buffer inside of texts");
  c.SetXUnit(u"Hz");
  c.SetYUnit(u"dB(Pa)");
  return c;
}

/// The same, made once: operations allocate nothing for their arguments.
template <class Curve = Ext>
const Curve& Fixed(unsigned seed, int kind = 0, std::size_t n = 301) {
  thread_local std::map<std::tuple<unsigned, int, std::size_t>, Curve> made;
  const auto key = std::make_tuple(seed, kind, n);
  const auto found = made.find(key);
  return found != made.end() ? found->second
                             : made.emplace(key, Noise<Curve>(seed, kind, n)).first->second;
}

const CSigPairs& Run(unsigned seed, int n = 200) {
  thread_local std::map<std::pair<unsigned, int>, CSigPairs> made;
  const auto found = made.find({seed, n});
  if (found != made.end()) {
    return found->second;
  }
  std::mt19937 random(seed);
  CSigPairs& run = made[{seed, n}];
  for (int i = 0; i < n; ++i) {
    run.NeuesPaar(static_cast<float>(i) * 0.37F, RandomFloat(random, 0));
  }
  return run;
}

const CSigCurveArray& Curves(int count = 9) {
  thread_local std::map<int, CSigCurveArray> made;
  const auto found = made.find(count);
  if (found != made.end()) {
    return found->second;
  }
  CSigCurveArray& array = made[count];
  for (int i = 0; i < count; ++i) {
    const Ext c = Noise(static_cast<unsigned>(50 + i));
    i == 0 ? array.ErsteKurve(c) : array.WeitereKurve(c, 0.7F * static_cast<float>(i));
  }
  array.KurvenKomplett();
  array.SetName(u"A name longer than any buffer inside of texts");
  array.Quinter().Mode(u"A mode longer than any buffer inside of texts");
  return array;
}

template <class T>
T Sample() {
  if constexpr (std::is_base_of_v<CSigCurve, T>) {
    return Noise<T>(1);
  } else if constexpr (std::is_base_of_v<CSigPairs, T>) {
    return T(Run(2));
  } else if constexpr (std::is_same_v<T, CSigCurveArray>) {
    return Curves();
  } else if constexpr (std::is_same_v<T, CSigCurveList>) {
    CSigCurveList list;
    for (int i = 0; i < 5; ++i) {
      list.Add(std::make_unique<Ext>(Noise(60)), CClavis(i * 3 % 5, 0, 0, 0, 0, 0));
    }
    return list;
  } else if constexpr (std::is_same_v<T, CKurvenLernWerkzeug>) {
    CKurvenLernWerkzeug tool;
    const Ext grid = Noise(3);
    tool.Bildungsregel(1.0F, 3.0F, 1.0F);
    tool.Vorlage(&grid);
    tool.Neustart(70);
    for (unsigned i = 0; i < 25; ++i) {
      const Ext c = Noise(100 + i);
      tool.NeueMessung(&c);
    }
    return tool;
  } else if constexpr (std::is_same_v<T, CTrackLernWerkzeug>) {
    CTrackLernWerkzeug tool;
    const Ext grid = Noise(3);
    tool.Bildungsregel(1.0F, 3.0F);
    tool.Vorlage(&grid);
    for (unsigned i = 0; i < 12; ++i) {
      Ext c = Noise(100 + i);
      c.SetVIMinMax(static_cast<int>(i), 300 - static_cast<int>(i % 5));
      tool.NeueMessung(&c);
    }
    return tool;
  } else if constexpr (std::is_same_v<T, CLernenderGrenzwert>) {
    CLernenderGrenzwert limit;
    limit.Neustart(30);
    std::mt19937 random(4);
    for (int i = 0; i < 50; ++i) {
      limit.NeueMessung(RandomFloat(random, 0));
    }
    return limit;
  } else if constexpr (std::is_same_v<T, CPolygonCodierung>) {
    CPolygonCodierung line;
    for (const float x : {0.0F, 3.0F, 7.5F, 20.0F}) {
      line.NeuerPunkt(x, 10.0F - x * x * 0.1F);
    }
    return line;
  } else if constexpr (std::is_same_v<T, CSigND>) {
    const Ext a = Noise(5);
    const Ext b = Noise(6);
    const CSigCurve* const curves[] = {&a, &b};
    return CSigND(curves);
  } else if constexpr (std::is_same_v<T, CResourceSea>) {
    CResourceSea sea;
    sea.MakeList(u"A list with a name longer than any buffer").Append(u"1.5 2.5 3");
    return sea;
  } else {
    return T();
  }
}

template <class T>
const T& FixedSample() {
  thread_local const T kMade = Sample<T>();
  return kMade;
}

/// Archivable, with a name that is longer than any buffer inside of texts.
class LongNamed : public CSObject {
 public:
  static const CRuntimeClass* GetThisClass() {
    static constexpr CRuntimeClass kClass = {"CAnArchivableClassWithALongName",
                                             [] { return static_cast<CObject*>(new LongNamed); },
                                             &detail::kObjectClass};
    return &kClass;
  }
  const CRuntimeClass* GetRuntimeClass() const override { return GetThisClass(); }
};
const CSObjectRegister g_longNamed(LongNamed::GetThisClass(), "CAnArchivableClassWithALongName");

/// Stores an object and loads it in every way; true when all of it was done.
bool StoreAndLoad(Sink& out) {
  std::uint32_t words[200] = {};
  CSerializer archive(words, 200, 0);
  archive.SetArchiveName("A name of an archive that is longer than the forty kept");
  LongNamed object;
  bool ok = archive.StoreObject(&object) != 0;
  archive.Init(words, 200, CSerializer::kLoad);
  wide_string name;
  ok = archive.TestLoadObject(name) != 0 && archive.TestReloadObject(&object) != 0 && ok;
  ok = archive.ReloadObject(&object) != 0 && ok;
  archive.Init(words, 200, CSerializer::kLoad);
  const std::unique_ptr<CSObject> loaded(archive.LoadObject());
  archive.Init(words, 200, CSerializer::kLoad);
  CSObject other;
  ok = archive.ReloadObject(&other) == 0 && loaded != nullptr && ok;
  out << std::span(words) << archive.GetPosition();
  return ok;
}

/// act(object, out): bool when it reports success; further results go to out.
template <class T, class Act, class Make>
Operation On(std::string name, Act act, Make make) {
  constexpr bool kReports = std::is_same_v<std::invoke_result_t<Act, T&, Sink&>, bool>;
  return {std::move(name), kReports, [=](const std::function<void(bool)>& armed) {
            T object = make();
            [[maybe_unused]] T sharing;  // of the info, which a change must copy first
            if constexpr (std::is_base_of_v<CSignal, T>) {
              sharing.Copy(object, false);
            }
            Outcome outcome;
            outcome.before = (Sink() << object).Hash();
            Sink out;
            armed(true);
            try {
              if constexpr (kReports) {
                outcome.ok = act(object, out);
              } else {
                act(object, out);
                outcome.ok = true;
              }
            } catch (const std::bad_alloc&) {
              outcome.threw = true;
            } catch (const CFileStream::failure&) {
              outcome.ok = false;  // of a stream that cannot grow
            }
            armed(false);
            outcome.after = (Sink() << object).Hash();
            outcome.results = out.Hash();
            return outcome;
          }};
}

template <class T, class Act>
Operation On(std::string name, Act act) {
  return On<T>(std::move(name), act, Sample<T>);
}

/// Reading back what was written of a sample.
template <class T, class Write, class Read>
Operation Reading(std::string name, Write write, Read read) {
  const auto bytes = std::make_shared<CMemoryStream>();
  static_cast<void>(write(Sample<T>(), *bytes));
  Operation operation = On<T>(std::move(name), [bytes, read](T& object, Sink&) -> bool {
    CMemoryStream file(bytes->Bytes());
    return read(object, file);
  });
  operation.write = [write](CFileStream& file) { return write(Sample<T>(), file); };
  operation.read = [read](CFileStream& file, const std::function<void(bool)>& armed) {
    return On<T>("", [&](T& object, Sink&) -> bool { return read(object, file); }).run(armed);
  };
  return operation;
}

// NOLINTBEGIN(readability-function-size): a table
#define LIMES_OP(Type, name, ...)        \
  all.push_back(On<Type>(#Type " " name, \
                         []([[maybe_unused]] Type & o, [[maybe_unused]] Sink & out) __VA_ARGS__))

void AddCurves(std::vector<Operation>& all) {
  for (const int kind : {0, 1, 2}) {
    const auto add = [&](const char* name, auto act) {
      const std::string label = std::string("values ") + std::to_string(kind) + " " + name;
      all.push_back(On<CSigCurve>(
          "CSigCurve " + label,
          [=](CSigCurve& c, Sink& out) { act(c, Fixed<CSigCurve>(8, kind, 280), out); },
          [=] { return Noise<CSigCurve>(7, kind); }));
      all.push_back(On<Ext>(
          "CSigCurveExt " + label, [=](Ext& c, Sink& out) { act(c, Fixed(8, kind, 280), out); },
          [=] {
            Ext c = Noise(7, kind);
            c.SetVIMinMax(20, 270);
            return c;
          }));
    };
    add("constants",
        [](auto& c, const auto&, Sink&) { c += 1.1F, c -= 0.3F, c *= 1.7F, c /= 3.0F; });
    add("sums", [](auto& c, const auto& d, Sink&) { c += d; });
    add("weights", [](auto& c, const auto& d, Sink&) {
      c.AddWithWeight(d, 0.3F);
      c.AddSquared(d, 0.7F);
      c.SubtractSquared(d);
    });
    add("extremes", [](auto& c, const auto& d, Sink&) { c.Max(d), c.Min(d), c.Clip(2.0F, true); });
    add("squares", [](auto& c, const auto&, Sink&) { c.Square(); });
    add("roots", [](auto& c, const auto&, Sink&) { c.SquareRoot(); });
    add("absolute", [](auto& c, const auto&, Sink&) { c.Abs(); });
    add("levels", [](auto& c, const auto&, Sink&) { c.Log(2e-5F); });
    add("mirrors", [](auto& c, const auto&, Sink&) { c.MirrorX().MirrorY().CutPositive(); });
    add("cuts", [](auto& c, const auto&, Sink& out) {
      c.CutLeft(2.03F), c.CutRight(20.2F);
      out << c.GetIndex(4.4F) << c.FindIndexOfY(1.0F, 0.5F) << c.GetValue(5.55F) << c[7.77F];
      float lo = 0.0F, hi = 0.0F;
      c.GetYRangeX(lo, hi, 3.0F, 9.0F);
      out << lo << hi << c.PointDistance(3.0F, 1.0F, nullptr);
    });
  }
  LIMES_OP(Ext, "ranges", { o.Expandieren(-5.0F, 40.0F), o.Schrumpfen(1.0F, 9.0F); });
  LIMES_OP(Ext, "AbschnittSumme",
           { out << o.AbschnittSumme(1.0F, 20.0F, false) << o.AbschnittSumme(1.0F, 20.0F, true); });
  LIMES_OP(Ext, "offsets", {
    const Ext& other = Fixed(8);
    o.AddWithWeight(other, 0.3F, 7), o.AddSquared(other, 0.3F, -7), o.Maximize(&other, 0);
  });
  LIMES_OP(Ext, "Copy", { return o.Copy(Fixed(9, 0, 900), true); });
  LIMES_OP(Ext, "Resize", { return o.Resize(5000U); });
  LIMES_OP(Ext, "ExtendRange", { return o.ExtendRange(-9.0F, 99.0F); });
  LIMES_OP(Ext, "CutToGrid", { return o.CutToGrid(3.0F, 9.0F); });
  LIMES_OP(Ext, "SetName", { return o.SetName(u"Another name longer than any buffer in texts"); });
  LIMES_OP(Ext, "Clone", {
    const std::unique_ptr<Ext> copy(o.Clone(true));
    out << (copy != nullptr ? *copy : o);
    return copy != nullptr;
  });
  LIMES_OP(CSigCurve, "Append", { return o.Append(Fixed<CSigCurve>(9)); });
  for (const unsigned version : {1U, 2U}) {
    const std::string label = " record version " + std::to_string(version);
    all.push_back(Reading<Ext>(
        "CSigCurveExt coded" + label,
        [=](const Ext& c, CFileStream& f) { return c.WriteToFile(f, version); },
        [=](Ext& c, CFileStream& f) {
          return c.ReadFromFileChecked(f, version) == CurveReadStatus::kOk;
        }));
    all.push_back(Reading<CSigCurve>(
        "CSigCurve raw" + label,
        [=](const CSigCurve& c, CFileStream& f) { return c.WriteToFileRaw(f, version); },
        [=](CSigCurve& c, CFileStream& f) {
          return c.ReadFromFileChecked(f, version) == CurveReadStatus::kOk;
        }));
  }
}

void AddLearning(std::vector<Operation>& all) {
  using Curves = CKurvenLernWerkzeug;
  using Track = CTrackLernWerkzeug;
  using Value = CLernenderGrenzwert;
  LIMES_OP(Curves, "limit", {
    const bool ok = o.StandardAbwBilden() == 1 && o.UpdateLimit() == 1;
    if (ok) {
      const Ext& c = Fixed(9);
      float result[3];
      out << *o.StandardAbw() << *o.Grenzkurve() << o.MaxAbweichung(&c, result) << result[0]
          << o.RmsAbweichung(&c, 1) << o.Judge(c);
    }
    return ok;
  });
  LIMES_OP(Curves, "Excesses", {
    std::vector<SCurveExcess> regions;
    const bool ok = o.UpdateLimit() == 1 && o.Excesses(Fixed(9, 1), regions);
    out << regions.size();
    for (const SCurveExcess& r : regions) {
      out << r.x0 << r.x1 << r.excess << r.x << r.value << r.limit << r.mean << r.spread;
    }
    return ok;
  });
  LIMES_OP(Curves, "Merge", { return o.Merge(FixedSample<Curves>()) == MergeStatus::kOk; });
  LIMES_OP(Curves, "Vorlage", { o.Vorlage(500, 0.0F, 1.0F, u"A name longer than any buffer"); });
  all.push_back(On<Track>(
      "Track NeueMessung", [](Track& o, Sink&) { o.NeueMessung(&Fixed(9)); },
      [] {
        Ext grid = Noise(3);
        grid.SetName(u"Limes");
        Track tool;
        tool.Vorlage(&grid);
        return tool;
      }));
  LIMES_OP(Track, "limit", {
    const bool ok = o.GrenzeBilden();
    if (ok) {
      out << *o.Grenzkurve() << o.Judge(Fixed(9));
    }
    return ok;
  });
  LIMES_OP(Track, "curves", {
    const Ext* const spread = o.StdAbwKurve();
    const Ext* const counts = spread == nullptr ? nullptr : o.LernzahlKurve();
    if (counts != nullptr) {
      out << *spread << *counts;
    }
    return counts != nullptr;
  });
  LIMES_OP(Track, "Merge", { return o.Merge(FixedSample<Track>()) == MergeStatus::kOk; });
  LIMES_OP(Track, "ExtendGrid", { return o.ExtendGrid(100, 3000); });
  LIMES_OP(Value, "rule", {
    o.GrenzwertErneuern(1.5F);
    const SValueJudgement j = o.Judge(3.0F);
    out << o.StdDev() << j.verdict << j.deviation << j.spread << j.limit
        << SurenessOf(o).rejectedPerPoint;
  });
  LIMES_OP(Value, "Merge", { return o.Merge(FixedSample<Value>()) == MergeStatus::kOk; });
  LIMES_OP(Value, "factors", {
    for (std::int32_t scale = 0; scale < 12000; scale = scale * 2 + 7) {
      for (std::int32_t n = 0; n < 100000; n = n * 3 + 1) {
        out << CExpAverFacGenerator::GetFactor(n, scale)
            << CExpAverFacGenerator::GetCorrFactor(n, scale);
      }
    }
  });
  const auto states = [&]<class Tool>(const char* name, Tool*) {
    all.push_back(Reading<Tool>(
        std::string(name) + " ReadState",
        [](const Tool& t, CFileStream& f) { return t.WriteState(f); },
        [](Tool& t, CFileStream& f) { return t.ReadState(f) == LearnStateStatus::kOk; }));
    all.push_back(On<Tool>(std::string(name) + " WriteState", [](Tool& t, Sink& out) {
      CMemoryStream file;
      const bool ok = t.WriteState(file);
      out << file.Bytes();
      return ok;
    }));
  };
  states("Curves", static_cast<Curves*>(nullptr));
  states("Track", static_cast<Track*>(nullptr));
  states("Value", static_cast<Value*>(nullptr));

  using Assistant = CSigCurveAssistent;
  for (const auto mode : {Assistant::Smoothing::kMean, Assistant::Smoothing::kMedian,
                          Assistant::Smoothing::kMaximum}) {
    all.push_back(On<Ext>("Assistant Glaetten " + std::to_string(static_cast<int>(mode)),
                          [=](Ext& o, Sink&) { return Assistant::Glaetten(o, 7, mode); }));
  }
  LIMES_OP(Ext, "Derive", { return CSigCurveAssistent::Derive(o); });
  LIMES_OP(Ext, "IntegralCurve", {
    out << CSigCurveAssistent::Integral(o, 1.0F, 9.0F);
    return CSigCurveAssistent::IntegralCurve(o);
  });
  LIMES_OP(Ext, "FitTo", { return CSigCurveAssistent::FitTo(Fixed(9, 0, 900), Fixed(1), o); });
  LIMES_OP(Ext, "MeanAndSpread", {
    const Ext& a = Fixed(9);
    const Ext& b = Fixed(10);
    const Ext* const curves[] = {&a, &b};
    thread_local Ext spread;
    const bool ok = CSigCurveAssistent::MeanAndSpread(curves, o, spread);
    if (ok) {
      out << spread;
    }
    return ok;
  });
  LIMES_OP(Ext, "Text", {
    CMemoryStream file;
    if (!CSigCurveAssistent::TextExport(Fixed(9), file)) {
      return false;
    }
    out << file.Bytes();
    file.Seek(0);
    return CSigCurveAssistent::TextImport(file, o) == CurveTextStatus::kOk;
  });
}

/// A signal with units whose texts are longer than any buffer inside of texts.
template <class T>
const T& WithLongUnits(const T& signal) {
  thread_local const T kMade = [&signal] {
    T made = signal;
    made.SetXUnit(CMeasuringUnit(CMeasuringUnit::radianPerSecond2, 0, -1));
    made.SetYUnit(CMeasuringUnit(CMeasuringUnit::metrePerSecond2, 0, 4));
    return made;
  }();
  return kMade;
}

/// A run whose pairs lie between those of the sample and before them; a NaN leaves its x without a
/// known order.
const CSigPairs& Between(bool hasNan) {
  thread_local std::map<bool, CSigPairs> made;
  CSigPairs& run = made[hasNan];
  for (int i = static_cast<int>(run.NPaare()); i < 150; ++i) {
    run.NeuesPaar(hasNan && i == 75 ? kNaN : static_cast<float>(i) * 0.41F - 2.0F,
                  static_cast<float>(i % 7));
  }
  return run;
}

void AddPairsAndArrays(std::vector<Operation>& all) {
  for (const int code : {0, 1, 2, 3, 4, 5, 6, 7, 10, 11, 12}) {
    all.push_back(On<CSigPairs>("CSigPairs Verrechnen " + std::to_string(code),
                                [=](CSigPairs& o, Sink&) { o.Verrechnen(Between(false), code); }));
  }
  LIMES_OP(CSigPairs, "Verrechnen itself", { o.Verrechnen(o, 2); });
  LIMES_OP(CSigPairs, "Verrechnen unordered", { o.Verrechnen(Between(true), 2); });
  LIMES_OP(CSigPairs, "UnionWith", { o.UnionWith(Between(false)); });
  thread_local CSigPairsVM described(Run(9));
  described.SetDataName(u"A text longer than any buffer inside of texts");
  LIMES_OP(CSigPairsVM, "Copy", { return o.Copy(described, true); });
  LIMES_OP(CSigPairs, "values", {
    float d = 0.0F;
    out << o.Mittelwert(&d) << d << o.RmsWert() << o.MittelwertDb() << o.WertBei(3.3F)
        << o.IndexZu(5.1F, 2) << o.PointDistance(4.0F, 1.0F) << o.MinStepSize();
  });
  LIMES_OP(CSigPairs, "Glaetten", { o.Glaetten(1.5F); });
  LIMES_OP(CSigPairs, "Unterabtasten", { o.Unterabtasten(3, true); });
  LIMES_OP(CSigPairs, "Linearisieren", { o.Linearisieren(0.5F); });
  LIMES_OP(CSigPairs, "NeueGroesse", { return o.NeueGroesse(5000); });
  LIMES_OP(CSigPairs, "NeuesPaar", { return o.NeuesPaar(99.0F, 1.0F) != 0; });
  LIMES_OP(CSigPairs, "NeuesPaarEinsortieren",
           { return o.NeuesPaarEinsortieren(9.9F, 1.0F) >= 0; });
  LIMES_OP(CSigPairs, "Append", { return o.Append(Run(9)); });
  LIMES_OP(CSigPairs, "AbschnittKopieren",
           { return o.AbschnittKopieren(Run(9, 900), 1, 300) >= 0; });
  LIMES_OP(CSigPairs, "DatenSortieren",
           { o.DatenWenden(), o.DatenSpiegeln(), o.DatenSortieren(true); });
  LIMES_OP(Ext, "KurveBilden", { WithLongUnits(Run(9)).KurveBilden(&o, true); });
  LIMES_OP(CSigPairs, "AusSigCurveBilden", { o.AusSigCurveBilden(WithLongUnits(Fixed(9))); });
  LIMES_OP(CSigPairs, "WurzelZiehen", { out << o.WurzelZiehen().YUnit(); });
  LIMES_OP(CSigPairsTm, "times", {
    o.Neustart(1000, 5000);
    out << o.NeuesPaar(1500, 2.0F) << o.NeuesPaar(700, 3.0F) << o.WertBei(900) << o.Zeitpunkt(0);
  });
  all.push_back(Reading<CSigPairs>(
      "CSigPairs record", [](const CSigPairs& p, CFileStream& f) { return p.DateiExport(f) == 1; },
      [](CSigPairs& p, CFileStream& f) { return p.DateiImport(f) == 1; }));

  const CSigPairs weights = Run(9, 40);
  const auto reduce = [&](const char* name, auto call) {
    all.push_back(On<CSigCurveArray>(std::string("CSigCurveArray ") + name,
                                     [=](CSigCurveArray& o, Sink& out) -> bool {
                                       thread_local Ext target;
                                       const bool ok = call(o, target);
                                       if (ok) {
                                         out << target;
                                       }

                                       return ok;
                                     }));
  };
  reduce("Mittelwert", [](auto& a, Ext& t) { return a.Mittelwert(&t); });
  reduce("Mittelwert weighted", [=](auto& a, Ext& t) { return a.Mittelwert(&t, &weights); });
  reduce("Summe", [](auto& a, Ext& t) { return a.Summe(&t); });
  reduce("Summe weighted", [=](auto& a, Ext& t) { return a.Summe(&t, &weights); });
  reduce("RMS", [](auto& a, Ext& t) { return a.RMS(&t); });
  reduce("QuadratSumme", [](auto& a, Ext& t) { return a.QuadratSumme(&t); });
  LIMES_OP(Ext, "QuadratSumme of an array", { return Curves(4).QuadratSumme(&o); });
  LIMES_OP(Ext, "Maximum of an array", { return Curves(4).Maximum(&o, 1); });
  LIMES_OP(CSigCurveArray, "arithmetic",
           { o += 1.0F, o *= 0.3F, o.QuadratAddieren(Curves(5), 0.2F); });
  LIMES_OP(CSigCurveArray, "Log", { o.Log(2e-5F); });
  LIMES_OP(CSigCurveArray, "Expandieren", { return o.Expandieren(400); });
  LIMES_OP(CSigCurveArray, "AlleKurvenAusstatten", { return o.AlleKurvenAusstatten(700); });
  LIMES_OP(CSigCurveArray, "Append", { return o.Append(Curves(4)); });
  LIMES_OP(CSigCurveArray, "WeitereKurve", { return o.WeitereKurve(Fixed(9), 9.0F) >= 0; });
  LIMES_OP(CSigCurveArray, "Copy", { return o.Copy(Curves(20), true); });
  LIMES_OP(CSigCurveArray, "Resample2d", {
    CResampleTool tool;
    const bool ok = tool.Resample2d(&o, 64, 40);
    for (unsigned row = 0; ok && row < tool.Height(); ++row) {
      out << std::span<const float>(tool.PZeile(row), tool.Width());
    }
    return ok;
  });
  for (const CResampleTool::InterpOpts opts : {0, 1, 2, 3, 4, 5, 19}) {
    all.push_back(On<Ext>("CResampleTool 1d " + std::to_string(opts), [=](Ext& o, Sink& out) {
      thread_local std::vector<float> line(1000);
      std::fill(line.begin(), line.end(), 0.0F);
      for (const int n : {70, 301, 1000}) {
        CResampleTool::Resample1d(o.ValArray(), 301, line.data(), n, opts);
        out << line;
      }
    }));
  }
  LIMES_OP(CSigCurveArray, "Querschnitt", {
    thread_local Ext section;
    thread_local CSigPairs pairs;
    const bool ok = o.Querschnitt(3, &section) == 9 && o.Querschnitt(1.5F, &pairs) == 9;
    return ok && o.FlaechenKurveBilden(&section, 1.0F, 9.0F, true) == 9;
  });
  LIMES_OP(CSigCurveList, "Append", {
    std::unique_ptr<Ext> curve(Fixed(9).Clone(true));
    CSigCurveList other;
    return other.Add(std::move(curve)) != nullptr && o.Append(std::move(other));
  });
  LIMES_OP(CSigCurveList, "SortByKey", { return o.SortByKey(); });
  LIMES_OP(CSigND, "append", { return o.append(FixedSample<CSigND>()); });
  LIMES_OP(CSigND, "append row", { return o.append(FixedSample<CSigND>()[0], o.describe(1)); });
  LIMES_OP(CSigND, "slice", {
    const CSigNDBase part = o.slice({1, 0});
    for (std::uint32_t i = 0; i < part.xdim(); ++i) {
      out << part.row(i);
    }
    return part.xdim() == 2;
  });
  LIMES_OP(CSigND, "SigCurveArray", {
    const CSigCurveArray curves = o.SigCurveArray();
    out << curves;
    return curves.Anzahl() == 2;
  });
  all.push_back(Reading<CSigCurveArray>(
      "CSigCurveArray record",
      [](const CSigCurveArray& a, CFileStream& f) { return a.DateiExport(f); },
      [](CSigCurveArray& a, CFileStream& f) {
        int status = 0;
        return a.DateiImport(f, status);
      }));
}

void AddTexts(std::vector<Operation>& all) {
  for (const char16_t* text :
       {u"m/s²", u"dB(Pa)", u"kNm", u"dB(A)", u"rpm", u"µm", u"mm³", u"km/h", u"GHz", u"°C"}) {
    all.push_back(
        On<CMeasuringUnit>("CMeasuringUnit " + WideToUtf8(text), [=](CMeasuringUnit& o, Sink& out) {
          bool exact = false;
          out << (o = CMeasuringUnit::FromText(text, &exact)) << exact;
          out << o.ExactText() << o.mainunit();
          out << o.root(2) << o.power(-3).ExactText();
        }));
  }
  all.push_back(On<CMeasuringUnit>("Units without throwing", [](CMeasuringUnit& o, Sink& out) {
    o.set(CMeasuringUnit::metrePerSecond2, -6, 4, 1.0F), o.power(-2).invert(), o.clearExponent();
    out << o << o.set(u"dB(m/s²)") << o.set(u"q") << o.setA("an unknown unit");
    out << limes_module_count();
  }));
  all.push_back(On<CMeasuringUnit>("CSerializer long names",
                                   [](CMeasuringUnit&, Sink& out) { return StoreAndLoad(out); }));
  for (const int mode : {0, 1, 2, 3, 4, 5}) {
    all.push_back(On<CPolygonCodierung>(
        "CPolygonCodierung mode " + std::to_string(mode), [=](CPolygonCodierung& o, Sink& out) {
          thread_local Ext c;
          c = Fixed(9);
          float at = 0.0F;
          out << o.MaxKurvenAbstand(c, &at, mode) << at << o.IntegralAbstand(c, mode);
          o.KurveBegrenzen(&c, mode);
          out << c;
          o.HutAufsetzen(&c, 0.5F, 2.0F);
          out << c;
        }));
  }
  LIMES_OP(CPolygonCodierung, "points", {
    o.NeuerPunkt(2.0F, 5.0F), o.Sortieren(), o.MirrorX(), o.CutPosX();
    out << o.WertBei(-2.5F);
  });
  all.push_back(Reading<CPolygonCodierung>(
      "CPolygonCodierung file",
      [](const CPolygonCodierung& p, CFileStream& f) { return p.InDateiSchreiben(f); },
      [](CPolygonCodierung& p, CFileStream& f) { return p.AusDateiLesen(f); }));
  LIMES_OP(CIntervallCodierung, "intervals", {
    o.Neubeginn(7);
    for (const float x : {1.0F, 5.0F, 3.0F}) {
      o.WeiteresIntervall(x, x + 3.0F, static_cast<int>(x));
    }
    out << o.CodeFinden(4.0F) << o.CodeFinden(99.0F);
    return o.Anzahl() == 3;
  });
  LIMES_OP(CProtocolItemList, "reports", {
    CProtocolItem item;
    item.name = u"A name longer than any buffer inside of texts";
    item.state = Verdict::kFail;
    item.value = 3.25F;
    CDefectReportOrdner folder(4);
    if (o.Add(item) == nullptr || !o.ToFolder(folder)) {
      return false;
    }
    folder.Ordnen(), folder.BerichteFormatieren();
    out << std::u16string_view(folder.Ordered(0)->Berichtstext());
    return true;
  });
  all.push_back(Reading<CResourceSea>(
      "CResourceSea file", [](const CResourceSea& r, CFileStream& f) { return r.Save(f); },
      [](CResourceSea& r, CFileStream& f) { return r.Load(f); }));
  LIMES_OP(CLernenderGrenzwert, "archive", {
    std::uint32_t words[200] = {};
    CSerializer archive(words, 200, 0);
    const bool ok = o.InArchivSchreiben(&archive);
    out << std::span(words);
    return ok;
  });
}
#undef LIMES_OP
// NOLINTEND(readability-function-size)

}  // namespace

std::vector<Operation> AllOperations() {
  std::vector<Operation> all;
  AddCurves(all);
  AddLearning(all);
  AddPairsAndArrays(all);
  AddTexts(all);
  for (Operation& operation : all) {
    const auto isOne = [&](std::initializer_list<std::string_view> names) {
      return std::any_of(names.begin(), names.end(), [&](std::string_view name) {
        return std::string_view(operation.name).substr(0, name.size()) == name;
      });
    };
    operation.losesOnFailure = isOne(
        {"Curves Vorlage", "CSigCurveArray AlleKurvenAusstatten", "CSigPairs AusSigCurveBilden",
         "CSigPairs AbschnittKopieren", "Ext MeanAndSpread", "CPolygonCodierung points",
         "CIntervallCodierung", "CProtocolItemList", "CMeasuringUnit"});
    operation.throws = isOne({"CMeasuringUnit", "CProtocolItemList"});
  }
  return all;
}

}  // namespace limes::test

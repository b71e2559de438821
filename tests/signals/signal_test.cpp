#include "limes/signals/signal.h"

#include "limes/platform/file_stream.h"
#include "tests/support/curves.h"

namespace limes::test {
namespace {

/// Host data that counts how many of it live.
struct HostData : CObject {
  HostData() { ++alive; }
  ~HostData() override { --alive; }
  static inline int alive = 0;
};

TEST(Signal, NameTable) {
  const std::string longName(600, 'n');
  const std::string digits(39, '7');
  const std::string fifty(50, '5');
  const std::tuple<const char*, std::string, std::uint32_t> kCases[] = {
      {"", "", 40},
      {"Kupplung \xC3\xBC", "Kupplung ü", 40},
      {"\xF0\x9F\x94\xA7", "\xF0\x9F\x94\xA7", 40},
      {"a\xFF z", "a\xEF\xBF\xBD z", 40},
      {digits.c_str(), digits, 40},
      {fifty.c_str(), fifty, 51},
      {longName.c_str(), longName.substr(0, 499), 500},
  };
  for (const auto& [utf8, name, capacity] : kCases) {
    CSigCurve curve;
    EXPECT_TRUE(curve.SetName(utf8));
    EXPECT_EQ(WideToUtf8(curve.Name()), name);
    EXPECT_SHOWN(Exact(capacity, "1 x", capacity).text, curve.NameCapacity(), curve.SetName(u"x"),
                 curve.Name(), curve.NameCapacity())
        << "never shrinks";
  }
}

TEST(Signal, NamesMayBeTakenFromTheSignalItself) {
  CSigCurve curve;
  curve.SetName(u"0123456789012345678901234567890123456789");
  EXPECT_SHOWN("1 81", curve.AppendToName(curve.Name()), curve.NameCapacity());
  EXPECT_SHOWN("1 1 89-lim", curve.SetName(curve.Name() + 78), curve.AppendToName(u"-lim"),
               curve.Name());
}

TEST(Signal, NullTextsChangeNothing) {
  constexpr const wide_char* kNull = nullptr;
  CSigCurve curve;
  curve.SetName(u"gear");
  curve.SetXUnit(u"Hz");
  EXPECT_FALSE(curve.SetName(kNull) || curve.SetName(static_cast<const char*>(nullptr)) ||
               curve.AppendToName(kNull) || curve.SetXUnit(kNull) || curve.SetYUnit(kNull));
  EXPECT_SHOWN("gear Hz", curve.Name(), curve.XUnit().mainunit());
}

TEST(Signal, SharedInfoIsCopiedOnChange) {
  CSigCurve one(3);
  one[u"FftType"].Set(u"log");
  CSigCurve two(one, false);
  EXPECT_EQ(two.InfoID(), one.InfoID());
  EXPECT_SHOWN("log 1", std::as_const(two)[u"FftType"].AsText(),
               std::as_const(two)[u"missing"].IsEmpty());
  EXPECT_SHOWN("1 s -", two.SetXUnit(u"s"), two.XUnit().prefixunit(), one.XUnit().prefixunit());
  EXPECT_SHOWN("0 0 0 -", two.InfoID() == one.InfoID(),
               CSigCurve(one, true).InfoID() == one.InfoID(), two.SetXUnit(u""),
               two.XUnit().prefixunit());
}

TEST(Signal, CopyTakesAllButExtensionData) {
  CSigCurve source = MakeCurve({1, 2, 3}, 5, 8);
  source.SetName(u"gear");
  source.SetExtName(u"ext");
  source.SetTimestamp(1700000000);
  source.SetYUnit(u"V");
  source.SetSigId(4);
  const auto all = [](const CSigCurve& c) {
    return Exact(c.Name(), c.ExtName(), c.Timestamp(), c.YUnit().prefixunit(), c.SigId(), State(c))
        .text;
  };
  CSigCurve target = MakeCurve({1, 2});
  EXPECT_SHOWN("1 gear ext 1700000000 V 1 {1 2} 0 1 3", target.CopyInfo(source), all(target));
  EXPECT_SHOWN("1 0", target.InfoID() == source.InfoID(), target.CopyInfo(target));
  target.AttachExtData(&source);
  target.AttachExtData(false);
  EXPECT_TRUE(target.CopyInfo(source) && target.ExtData() == &source) << "not owned: attached";
  target.AttachExtData(new HostData);
  EXPECT_TRUE(target.CopyInfo(source) && target.ExtData() == nullptr) << "owned: deleted";
  target.AttachExtData(new HostData);
  EXPECT_SHOWN("1 0 1", target.Copy(source, true), HostData::alive, target.ExtData() == nullptr);
  EXPECT_SHOWN("gear ext 1700000000 V 4 {1 2 3} 5 8 3 0", all(target), target.Copy(target, true));
}

TEST(Signal, KeepsSixPartNameWhenTheSourceHasNone) {
  CSigCurve source(1);
  CSigCurve target;
  target.SetQuinter(CQuinterMFC(u"m", u"c", u"l", u"i", u"p", u"s"));
  EXPECT_SHOWN("1 1", target.Copy(source, false), target.HasQuinter());
  source.SetQuinter(CQuinterMFC(u"n", u"", u"", u"", u"", u""));
  EXPECT_SHOWN("1 n", target.CopyInfo(source), target.Quinter()->Mode());
  target.ClearQuinter();
  EXPECT_FALSE(target.HasQuinter());
}

TEST(Signal, ExtensionDataAreOwnedAsSaid) {
  {
    CSigCurve curve;
    curve.AttachExtData(new HostData);
    curve.AttachExtData(new HostData);
    curve.AttachExtData(curve.ExtData());
    EXPECT_EQ(HostData::alive, 1);
  }
  EXPECT_EQ(HostData::alive, 0);
  HostData own;
  {
    CSigCurve curve;
    curve.AttachExtData(&own);
    curve.AttachExtData(false);
    curve.InitHeader(CSigCurve());
    EXPECT_EQ(curve.ExtData(), nullptr);
  }
  EXPECT_EQ(HostData::alive, 1);
}

TEST(Signal, RangesExpandAndShrink) {
  CSignal::Range range = {{1, 1}, {10, 10}};
  CSignal::ExpandRange(range, {{0, 5}, {kNaN, 20}});
  EXPECT_SHOWN("0,1,10,20", range);
  CSignal::ShrinkRange(range, {{-1, 7}, {3, kNaN}});
  EXPECT_SHOWN("0,7,3,20", range);
}

TEST(Signal, FileRecordBytes) {
  CSigCurve curve;
  curve.SetName(u"1234567890123456789012345678901234567\u20AC");  // ends in a character of 3 bytes
  curve.SetXUnit(u"Hz");
  CMeasuringUnit unit(CMeasuringUnit::pascal, 0, 1, 2e-5F);
  unit.set_log(false);
  curve.SetYUnit(unit);
  CMemoryStream file;
  ASSERT_TRUE(curve.CSignal::WriteToFile(file, 7));
  ASSERT_EQ(file.Bytes().size(), 40U + 18U + 18U);
  EXPECT_SHOWN("55 0 8", file.Bytes()[36], file.Bytes()[37], file.Bytes()[42])
      << "cut before the character that does not fit";
  EXPECT_SHOWN("{0 0 0 0}", file.Bytes().subspan(68, 4)) << "reference of a unit that is no level";
  CSigCurve back;
  file.Seek(0);
  ASSERT_TRUE(back.CSignal::ReadFromFile(file, 2));
  EXPECT_EQ(back.Name(), std::u16string(u"1234567890123456789012345678901234567"));
  EXPECT_TRUE(back.XUnit() == curve.XUnit() && back.YUnit().Unit_e() == unit.Unit_e());
}

TEST(Signal, FileRecordVersions) {
  CMemoryStream file;
  const CSigCurve curve;
  EXPECT_SHOWN("1 0", curve.CSignal::WriteToFile(file, 0), file.Bytes().size());
  ASSERT_TRUE(curve.CSignal::WriteToFile(file, CSignal::CurrentFileVersion()));
  for (const unsigned version : {0U, 3U, 0xFFFFFFFFU}) {
    file.Seek(0);
    CSigCurve back;
    EXPECT_SHOWN("0 0", back.CSignal::ReadFromFile(file, version), file.Position())
        << "refused without reading";
  }
}

TEST(Signal, KeepsNameReadBeforeAUnitFailed) {
  CSigCurve curve;
  curve.SetName(u"new");
  CMemoryStream file;
  ASSERT_TRUE(curve.CSignal::WriteToFile(file, 2));
  CMemoryStream cut(file.Bytes().first(50));
  CSigCurve back;
  back.SetName(u"old");
  EXPECT_FALSE(back.CSignal::ReadFromFile(cut, 2));
  EXPECT_EQ(back.Name(), std::u16string(u"new"));
}

}  // namespace
}  // namespace limes::test

#include "limes/signals/signal.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "limes/platform/file_stream.h"
#include "tests/support/curves.h"

namespace limes {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

/// Host data that counts how many of it live.
struct HostData : CObject {
  HostData() { ++alive; }
  ~HostData() override { --alive; }
  static inline int alive = 0;
};

TEST(Signal, NameTable) {
  const std::string longName(600, 'n');
  const struct {
    const char* utf8;
    std::u16string expected;
    std::uint32_t capacity;
  } kCases[] = {
      {"", u"", 40},
      {nullptr, u"", 40},
      {"Kupplung \xC3\xBC", u"Kupplung \u00FC", 40},
      {"\xF0\x9F\x94\xA7", u"\U0001F527", 40},
      {"a\xFF z", u"a\uFFFD z", 40},
      {"123456789012345678901234567890123456789", u"123456789012345678901234567890123456789", 40},
      {"12345678901234567890123456789012345678901234567890",
       u"12345678901234567890123456789012345678901234567890", 51},
      {longName.c_str(), std::u16string(499, u'n'), 500},
  };
  for (const auto& c : kCases) {
    CSigCurve curve;
    EXPECT_TRUE(curve.SetName(c.utf8));
    EXPECT_EQ(curve.Name(), c.expected);
    EXPECT_EQ(curve.NameCapacity(), c.capacity);
    EXPECT_TRUE(curve.SetName(u"x"));
    EXPECT_EQ(curve.Name(), std::u16string(u"x"));
    EXPECT_EQ(curve.NameCapacity(), c.capacity) << "never shrinks";
  }
}

TEST(Signal, NamesMayBeTakenFromTheSignalItself) {
  CSigCurve curve;
  curve.SetName(u"0123456789012345678901234567890123456789");
  ASSERT_TRUE(curve.AppendToName(curve.Name()));
  EXPECT_EQ(curve.NameCapacity(), 81U);
  ASSERT_TRUE(curve.SetName(curve.Name() + 78));
  EXPECT_EQ(curve.Name(), std::u16string(u"89"));
  ASSERT_TRUE(curve.AppendToName(u"-lim"));
  ASSERT_TRUE(curve.AppendToName(static_cast<const wide_char*>(nullptr)));
  EXPECT_EQ(curve.Name(), std::u16string(u"89-lim"));
}

TEST(Signal, UnitsAreParsedAndCleared) {
  CSigCurve curve;
  EXPECT_EQ(curve.XUnit().prefixunit(), u"-");
  EXPECT_TRUE(curve.SetXUnit(u"kHz"));
  EXPECT_TRUE(curve.SetYUnit(std::u16string(u"dB(Pa)")));
  EXPECT_EQ(curve.XUnit().exponent(), 3);
  EXPECT_TRUE(curve.YUnit().is_log());
  EXPECT_FALSE(curve.SetYUnit(u""));
  EXPECT_EQ(curve.YUnit().prefixunit(), u"-");
  curve.SetYUnit(CMeasuringUnit::volt);
  curve.ClearUnits();
  EXPECT_TRUE(curve.XUnit().empty());
  EXPECT_TRUE(curve.YUnit().empty());
}

TEST(Signal, SharedInfoIsCopiedOnChange) {
  CSigCurve one(3);
  one[u"FftType"].Set(u"log");
  CSigCurve two(one, false);
  EXPECT_EQ(two.InfoID(), one.InfoID());
  EXPECT_EQ(std::as_const(two)[u"FftType"].AsText(), u"log");
  EXPECT_TRUE(std::as_const(two)[u"missing"].IsEmpty());
  two.SetXUnit(u"s");
  EXPECT_NE(two.InfoID(), one.InfoID());
  EXPECT_TRUE(one.XUnit().empty());
  const CSigCurve three(one, true);
  EXPECT_NE(three.InfoID(), one.InfoID());
  one.SigType(5);
  EXPECT_EQ(three.SigType(), 0U);
}

TEST(Signal, CopyTakesAllButExtensionData) {
  CSigCurve source = test::MakeCurve({1, 2, 3}, 5, 8);
  source.SetName(u"gear");
  source.SetExtName(u"ext");
  source.SetTimestamp(1700000000);
  source.SetYUnit(u"V");
  source.SetSigId(4);
  CSigCurve target;
  target.SetQuinter(CQuinterMFC(u"m", u"c", u"l", u"i", u"p", u"s"));
  target.AttachExtData(new HostData);
  ASSERT_TRUE(target.Copy(source, true));
  EXPECT_EQ(HostData::alive, 0);
  EXPECT_EQ(target.ExtData(), nullptr);
  EXPECT_EQ(target.Name(), std::u16string(u"gear"));
  EXPECT_EQ(target.ExtName(), u"ext");
  EXPECT_EQ(target.Timestamp(), 1700000000);
  EXPECT_EQ(target.YUnit().prefixunit(), u"V");
  EXPECT_EQ(target.SigId(), 4);
  EXPECT_EQ(target.XLen(), 3U);
  EXPECT_EQ(test::ValuesOf(target), (std::vector<float>{1, 2, 3}));
  EXPECT_FALSE(target.Copy(target, true));
  EXPECT_EQ(target.DLen(), 3U);
}

TEST(Signal, KeepsSixPartNameWhenTheSourceHasNone) {
  CSigCurve source(1);
  CSigCurve target;
  target.SetQuinter(CQuinterMFC(u"m", u"c", u"l", u"i", u"p", u"s"));
  ASSERT_TRUE(target.Copy(source, false));
  ASSERT_TRUE(target.HasQuinter());
  source.SetQuinter(CQuinterMFC(u"n", u"", u"", u"", u"", u""));
  ASSERT_TRUE(target.CopyInfo(source));
  EXPECT_EQ(target.Quinter()->Mode(), u"n");
  target.ClearQuinter();
  EXPECT_FALSE(target.HasQuinter());
}

TEST(Signal, CopyInfoLeavesTheData) {
  CSigCurve source(7);
  source.SetName(u"name");
  source.SetTimestamp(3);
  CSigCurve target = test::MakeCurve({1, 2});
  ASSERT_TRUE(target.CopyInfo(source));
  EXPECT_EQ(target.InfoID(), source.InfoID());
  EXPECT_EQ(target.Name(), std::u16string(u"name"));
  EXPECT_EQ(target.Timestamp(), 3);
  EXPECT_EQ(test::ValuesOf(target), (std::vector<float>{1, 2}));
  EXPECT_FALSE(target.CopyInfo(target));
}

TEST(Signal, ExtensionDataAreOwnedAsSaid) {
  {
    CSigCurve curve;
    curve.AttachExtData(new HostData);
    curve.AttachExtData(curve.ExtData());
    EXPECT_EQ(HostData::alive, 1);
    curve.AttachExtData(new HostData);
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
  const CSignal::Range other = {{0, 5}, {kNaN, 20}};
  CSignal::Range range = {{1, 1}, {10, 10}};
  CSignal::ExpandRange(range, other);
  EXPECT_EQ(range, (CSignal::Range{{0, 1}, {10, 20}}));
  CSignal::ShrinkRange(range, {{-1, 7}, {3, kNaN}});
  EXPECT_EQ(range, (CSignal::Range{{0, 7}, {3, 20}}));
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
  EXPECT_EQ(file.Bytes()[36], '7');
  EXPECT_EQ(file.Bytes()[37], 0) << "cut before the character that does not fit";
  EXPECT_EQ(file.Bytes()[42], 8);
  for (std::size_t i = 68; i < 72; ++i) {
    EXPECT_EQ(file.Bytes()[i], 0) << "the reference of a unit that is no level";
  }
  CSigCurve back;
  file.Seek(0);
  ASSERT_TRUE(back.CSignal::ReadFromFile(file, 2));
  EXPECT_EQ(back.Name(), std::u16string(u"1234567890123456789012345678901234567"));
  EXPECT_EQ(back.XUnit(), curve.XUnit());
  EXPECT_EQ(back.YUnit().Unit_e(), unit.Unit_e());
}

TEST(Signal, FileRecordVersions) {
  CMemoryStream file;
  const CSigCurve curve;
  EXPECT_TRUE(curve.CSignal::WriteToFile(file, 0));
  EXPECT_TRUE(file.Bytes().empty());
  ASSERT_TRUE(curve.CSignal::WriteToFile(file, CSignal::CurrentFileVersion()));
  for (const unsigned version : {0U, 3U, 0xFFFFFFFFU}) {
    file.Seek(0);
    CSigCurve back;
    EXPECT_FALSE(back.CSignal::ReadFromFile(file, version));
    EXPECT_EQ(file.Position(), 0) << "refused without reading";
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
}  // namespace limes

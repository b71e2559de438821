#include "limes/core/object_archive.h"

#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "limes/platform/file_stream.h"
#include "limes/platform/message_box.h"
#include "limes/platform/print_window.h"
#include "limes/platform/record_io.h"
#include "limes/signals/extended_curve.h"

namespace limes {
namespace {

using Words = std::vector<std::uint32_t>;

/// An archivable object of one word; the class is a parameter, so that names can be odd.
class Item : public CSObject {
 public:
  explicit Item(const CRuntimeClass* itemClass) : class_(itemClass) {}
  const CRuntimeClass* GetRuntimeClass() const override { return class_; }
  using CSObject::Serialize;
  int Serialize(CSerializer* archive) override {
    return archive->IsStoring() != 0 ? archive->StoreData(&value, 1) : archive->LoadData(&value, 1);
  }
  std::uint32_t value = 0;

 private:
  const CRuntimeClass* class_;
};

CObject* MakeItem();
const CRuntimeClass kItem = {"Prüfling", MakeItem, CSObject::GetThisClass()};
const CRuntimeClass kAbstract = {"Abstrakt", nullptr, nullptr};
const CRuntimeClass kWrong = {"Falsch", [] { return static_cast<CObject*>(new CSerializer); },
                              nullptr};
const CRuntimeClass kNameless = {};
const CRuntimeClass kLong = {"A_class_name_of_more_than_forty_characters_x", nullptr, nullptr};
CObject* MakeItem() { return new Item(&kItem); }

/// Registers the classes of this file once and returns their number.
int RegisterOwn() {
  static const CSObjectRegister kEntries[] = {
      {&kItem, "Prüfling"}, {&kAbstract, "Abstrakt"}, {&kWrong, "Falsch"}, {&kWrong, "Prüfling"}};
  return 4;
}

/// Collects message boxes and print lines while it lives.
struct Messages {
  Messages() {
    box = MessageBoxes::SetHandler([this](std::u16string_view text) {
      boxes.push_back(WideToUtf8(text));
      return MessageBoxes::kOk;
    });
    print = PrWin::SetSink([this](int category, int, std::u16string_view text) {
      EXPECT_EQ(category, 1);
      lines.push_back(WideToUtf8(text));
    });
  }
  ~Messages() {
    MessageBoxes::SetHandler(box);
    PrWin::SetSink(print);
  }
  MessageBoxes::Handler box;
  PrWin::Sink print;
  std::vector<std::string> boxes, lines;
};

std::unique_ptr<CSObject> Load(CSerializer& archive) {
  return std::unique_ptr<CSObject>(archive.LoadObject());
}

TEST(ObjectRegister, HoldsTheTwoCurvesAndFindsByExactName) {
  const int own = RegisterOwn();
  const CSObjectRegister unlinked;
  EXPECT_EQ(CSObjectRegister::Anzahl(), 2 + own);
  ASSERT_NE(CSObjectRegister::ObjektSuchen("CSigCurve"), nullptr);
  EXPECT_STREQ(CSObjectRegister::ObjektSuchen("CSigCurve")->name, "CSigCurve");
  EXPECT_STREQ(CSObjectRegister::ObjektSuchen("CSigCurveExt")->name, "CSigCurveExt");
  EXPECT_EQ(CSObjectRegister::ObjektSuchen("Prüfling"), &kItem) << "the first of two";
  for (const char* name : {"csigcurve", "CSigCurve ", "CSigPairs", ""}) {
    EXPECT_EQ(CSObjectRegister::ObjektSuchen(name), nullptr) << name;
  }
  EXPECT_EQ(CSObjectRegister::ObjektSuchen(nullptr), nullptr);
}

TEST(Serializer, HeaderWordsAndCounts) {
  Words words(60, 0xAAAAAAAAU);
  CSerializer archive(words.data(), 60, 0);
  EXPECT_EQ(archive.Groesse(), 42U);
  EXPECT_EQ(archive.GetPosition(), 0U);
  EXPECT_NE(archive.IsStoring(), 0);
  archive.SetArchiveName("a\xE4");
  archive.SetMarker(0xCAFE);
  const std::uint32_t data[] = {7, 8};
  EXPECT_EQ(archive.StoreData(data, 2), 2);
  EXPECT_EQ(words[0], 0xCAFEU);
  EXPECT_EQ(words[1], 44U);
  EXPECT_EQ(words[2], 0x61U);
  EXPECT_EQ(words[3], 0xFFFFFFE4U) << "sign-extended";
  EXPECT_EQ(words[4], 0U);
  EXPECT_EQ(words[41], 0U);
  EXPECT_EQ(words[43], 8U);

  CSerializer loaded(words.data(), 60, 1);
  EXPECT_EQ(loaded.IsStoring(), 0);
  EXPECT_EQ(loaded.Marker(), 0xCAFEU);
  EXPECT_EQ(loaded.Groesse(), 44U);
  EXPECT_EQ(loaded.DataLeft(), 2U);
  EXPECT_STREQ(loaded.ArchiveName(), "a\xE4");
  std::uint32_t got[3] = {};
  EXPECT_EQ(loaded.LoadDataNoMove(got, 1), 1);
  EXPECT_EQ(loaded.GetPosition(), 0U);
  EXPECT_EQ(loaded.LoadData(got, 2), 2);
  EXPECT_EQ(got[1], 8U);
  EXPECT_EQ(loaded.DataLeft(), 0U);
  loaded.Init(nullptr, 10, 0);
  EXPECT_STREQ(loaded.ArchiveName(), "");
}

TEST(Serializer, LongNamesAreCutWithAMessage) {
  Messages messages;
  Words words(42);
  CSerializer archive(words.data(), 42, 0);
  const std::string forty(40, 'n');
  archive.SetArchiveName(forty.c_str());
  EXPECT_TRUE(messages.lines.empty());
  archive.SetArchiveName((forty + "x").c_str());
  ASSERT_EQ(messages.lines.size(), 1U);
  EXPECT_EQ(messages.lines[0],
            "CSerializer::SetArchiveName '" + forty + "x' too long, cutting to 40 char's.\n");
  EXPECT_EQ(archive.ArchiveName(), forty);
  EXPECT_EQ(words[41], std::uint32_t{'n'});
  EXPECT_EQ(CSerializer(words.data(), 42, 1).ArchiveName(), forty) << "40 without a terminator";
  archive.SetArchiveName(nullptr);
  EXPECT_STREQ(archive.ArchiveName(), "");
}

TEST(Serializer, StoresWhatFits) {
  Words words(46);
  Words data(10);
  std::iota(data.begin(), data.end(), 1U);
  CSerializer archive(words.data(), 46, 0);
  EXPECT_EQ(archive.StoreData(data.data(), 10), 4);
  EXPECT_EQ(archive.Groesse(), 46U);
  EXPECT_EQ(archive.StoreData(data.data(), 10), 0);
  EXPECT_EQ(archive.SkipStoreData(1), 0);
  EXPECT_EQ(words[45], 4U);

  CSerializer counting(nullptr, UINT_MAX, 0);
  EXPECT_EQ(counting.StoreData(nullptr, 10), 10);
  EXPECT_EQ(counting.SkipStoreData(UINT_MAX), INT_MAX);
  EXPECT_EQ(counting.StoreBytes(nullptr, 5), 8);
  EXPECT_EQ(counting.StoreBytes(nullptr, INT_MAX), INT_MAX);
  EXPECT_EQ(counting.Groesse(), 42U + 10 + INT_MAX + 2 + (1U << 29));
  CSerializer none;
  none.SetMarker(5);
  EXPECT_EQ(none.Marker(), 5U);
  EXPECT_EQ(none.StoreData(data.data(), 1), 0);
  EXPECT_EQ(none.Groesse(), 42U);
}

TEST(Serializer, BytesArePaddedWithZeros) {
  Words words(50, 0xFFFFFFFFU);
  CSerializer out(words.data(), 50, 0);
  const std::unique_ptr<char[]> text(new char[5]{'a', 'b', 'c', '\xE4', 'e'});
  EXPECT_EQ(out.StoreBytes(text.get(), 5), 8);
  EXPECT_EQ(words[42], 0xE4636261U);
  EXPECT_EQ(words[43], 0x65U);
  EXPECT_EQ(words[44], 0xFFFFFFFFU);
  CSerializer in(words.data(), 50, 1);
  char back[6] = "-----";
  EXPECT_EQ(in.LoadBytes(back, 5), 5);
  EXPECT_EQ(std::string(back), "abc\xE4\x65");
  EXPECT_EQ(in.GetPosition(), 2U);
}

TEST(Serializer, KeepsTheLooseBoundOfLoadBytes) {
  Words words(43, 0x01010101U);
  CSerializer in(words.data(), 43, 1);
  std::string back(8, '-');
  EXPECT_EQ(in.LoadBytes(back.data(), 8), 8) << "one word of two is there";
  EXPECT_EQ(back, std::string("\1\1\1\1\0\0\0\0", 8));
  EXPECT_EQ(in.GetPosition(), 2U);
  EXPECT_EQ(in.LoadBytes(back.data(), 8), 8) << "44 lies below 43 + 2";
  EXPECT_EQ(back, std::string(8, '\0'));
  EXPECT_EQ(in.LoadBytes(back.data(), 4), 0);
  EXPECT_EQ(in.LoadData(words.data(), 1), 0) << "behind the end";
  EXPECT_EQ(in.SkipData(1), nullptr);
  EXPECT_EQ(in.WordsToEnd(), 0U);
}

TEST(Serializer, SkipsInsideTheArray) {
  Words words(50);
  CSerializer in(words.data(), 50, 1);
  EXPECT_EQ(in.SkipData(0), words.data() + 42);
  EXPECT_EQ(in.SkipData(3), words.data() + 42);
  EXPECT_EQ(in.WordsToEnd(), 5U);
  EXPECT_EQ(in.SkipData(INT_MAX), words.data() + 45);
  EXPECT_EQ(in.GetPosition(), 8U);
  EXPECT_EQ(in.SkipData(1), nullptr);
  CSerializer out(words.data(), 50, 0);
  words[42] = 99;
  EXPECT_EQ(out.SkipStoreData(3), 3);
  EXPECT_EQ(words[42], 99U) << "not copied";
  EXPECT_EQ(words[1], 45U);
}

TEST(Serializer, HostileCountsAndShortArraysNeverLeaveTheArray) {
  for (const unsigned capacity : {0U, 1U, 2U, 3U, 41U, 42U}) {
    SCOPED_TRACE(capacity);
    const auto words = std::make_unique<std::uint32_t[]>(capacity);
    for (const unsigned mode : {0U, 1U}) {
      CSerializer archive(words.get(), capacity, mode);
      std::uint32_t word = 5;
      archive.SetMarker(1);
      archive.SetArchiveName("name");
      EXPECT_EQ(archive.StoreData(&word, 1), 0);
      EXPECT_EQ(archive.SkipStoreData(1), 0);
      EXPECT_EQ(archive.StoreBytes("abc", 3), 0);
      EXPECT_EQ(archive.LoadData(&word, 1), 0);
      EXPECT_EQ(archive.SkipData(1), nullptr);
      EXPECT_EQ(archive.LoadObject(), nullptr);
      if (capacity < 42) {
        EXPECT_EQ(archive.Groesse(), mode == 1 ? 0U : 42U);
      }
    }
  }
  Words words(50);
  CSerializer archive(words.data(), 50, 1);
  std::uint32_t word = 5;
  char byte = 'x';
  for (const int n : {0, -1, INT_MIN}) {
    EXPECT_EQ(archive.StoreData(&word, n), 0);
    EXPECT_EQ(archive.StoreBytes(&byte, n), 0);
    EXPECT_EQ(archive.LoadData(&word, n), 0);
    EXPECT_EQ(archive.LoadDataNoMove(&word, n), 0);
    EXPECT_EQ(archive.LoadBytes(&byte, n), 0);
    EXPECT_EQ(archive.SkipData(n), n == 0 ? words.data() + 42 : nullptr);
  }
  EXPECT_EQ(archive.LoadData(nullptr, 1) + archive.LoadBytes(nullptr, 1), 0);
  EXPECT_EQ(archive.StoreData(nullptr, 1) + archive.StoreBytes(nullptr, 1), 0);
  EXPECT_EQ(archive.StoreObject(nullptr) + archive.ReloadObject(nullptr), 0);
  EXPECT_EQ(archive.TestReloadObject(nullptr), 0);
  EXPECT_EQ(archive.GetPosition(), 0U);
  CSerializer noArray(nullptr, 100, 1);
  EXPECT_EQ(noArray.Groesse(), 0U);
  EXPECT_EQ(noArray.LoadData(&word, 1), 0);
  EXPECT_EQ(noArray.SkipData(1), nullptr);
  EXPECT_EQ(noArray.LoadBytes(&byte, 1), 1);
  EXPECT_EQ(byte, '\0');
}

TEST(Serializer, ObjectsComeBackByName) {
  RegisterOwn();
  Words words(200);
  CSerializer out(words.data(), 200, 0);
  Item item(&kItem);
  item.value = 77;
  EXPECT_EQ(out.StoreObject(&item), 1);
  EXPECT_EQ(out.GetPosition(), 41U);
  EXPECT_EQ(words[44], 0xFFFFFFC3U) << "third character, UTF-8, sign-extended";
  CSerializer in(words.data(), 200, 1);
  wide_string name = u"old";
  EXPECT_EQ(in.TestLoadObject(name), 1);
  EXPECT_EQ(name, Cp1252ToWide("Prüfling"));
  EXPECT_EQ(in.TestReloadObject(&item), 1);
  EXPECT_EQ(in.GetPosition(), 0U);
  const auto loaded = Load(in);
  ASSERT_NE(loaded, nullptr);
  EXPECT_EQ(static_cast<Item&>(*loaded).value, 77U);
  in.Init(words.data(), 200, 1);
  Item other(&kItem);
  EXPECT_EQ(in.ReloadObject(&other), 1);
  EXPECT_EQ(other.value, 77U);
  EXPECT_EQ(in.TestLoadObject(name), 0) << "zeros name no class";
  EXPECT_TRUE(name.empty());
}

TEST(Serializer, NamesThatCannotBeCreated) {
  RegisterOwn();
  Messages messages;
  const struct {
    const CRuntimeClass* stored;
    std::size_t boxes;
    const char* text;
  } kCases[] = {
      {&kAbstract, 1, "Interner Fehler: konnte kein\n'Abstrakt' erzeugen"},
      {&kWrong, 1, "Interner Fehler: konnte kein\n'Falsch' erzeugen"},
      {&kNameless, 0, nullptr},
      {&kLong, 0, nullptr},
  };
  for (const auto& c : kCases) {
    messages.boxes.clear();
    Words words(100);
    CSerializer out(words.data(), 100, 0);
    Item item(c.stored);
    EXPECT_EQ(out.StoreObject(&item), 1);
    EXPECT_EQ(words[42 + 39], 0U) << "at most 39 characters";
    CSerializer in(words.data(), 100, 1);
    EXPECT_EQ(in.LoadObject(), nullptr);
    EXPECT_EQ(in.GetPosition(), 40U);
    ASSERT_EQ(messages.boxes.size(), c.boxes);
    if (c.boxes > 0) {
      EXPECT_EQ(messages.boxes[0], c.text);
    }
  }
  Words words(81);
  CSerializer full(words.data(), 81, 0);
  Item item(&kItem);
  EXPECT_EQ(full.StoreObject(&item), 0) << "39 words of room";
  EXPECT_EQ(full.Groesse(), 81U) << "the part is counted";
}

TEST(Serializer, ReloadOfAnotherClassSaysSo) {
  Messages messages;
  Words words(100);
  CSerializer out(words.data(), 100, 0);
  Item stored(&kAbstract);
  out.StoreObject(&stored);
  CSerializer in(words.data(), 100, 1);
  Item item(&kItem);
  EXPECT_EQ(in.TestReloadObject(&item), 0);
  EXPECT_EQ(in.ReloadObject(&item), 0);
  EXPECT_EQ(in.GetPosition(), 40U) << "behind the name";
  ASSERT_EQ(messages.boxes.size(), 1U);
  EXPECT_EQ(messages.boxes[0], WideToUtf8(Cp1252ToWide("Serialisierungsfehler:\nes wird versucht, "
                                                       "Prüfling\nmit Abstrakt (=4162...) zu ")) +
                                   "überladen!");
  const CRuntimeClass huge = {
      "0123456789012345678901234567890123456789012345678901234567890123456789"
      "0123456789012345678901234567890123456789012345678901234567890123456789"
      "0123456789012345678901234567890123456789012345678901234567890123456789",
      nullptr, nullptr};
  Item longName(&huge);
  in.Init(words.data(), 100, 1);
  in.ReloadObject(&longName);
  EXPECT_EQ(messages.boxes[1].size(), 199U);
}

TEST(Serializer, KeepsStoringOnlyTheNamesOfCurves) {
  RegisterOwn();
  Words words(200);
  CSerializer out(words.data(), 200, 0);
  CSigCurve curve;
  ASSERT_TRUE(curve.CSignal::Resize(5));
  CSigCurveExt extended;
  EXPECT_EQ(out.StoreObject(&curve), 0);
  EXPECT_EQ(out.StoreObject(&extended), 0);
  EXPECT_EQ(out.GetPosition(), 80U);
  CSerializer in(words.data(), 200, 1);
  EXPECT_EQ(in.ReloadObject(&curve), 0);
  in.Init(words.data(), 200, 1);
  const auto first = Load(in);
  const auto second = Load(in);
  ASSERT_TRUE(first != nullptr && second != nullptr);
  EXPECT_STREQ(first->GetRuntimeClass()->name, "CSigCurve");
  EXPECT_EQ(dynamic_cast<CSigCurve&>(*first).DLen(), 0U);
  EXPECT_NE(dynamic_cast<CSigCurveExt*>(second.get()), nullptr);
  EXPECT_TRUE(second->IsKindOf(CSObject::GetThisClass()));
}

/// A stream with an archive of the given words.
CMemoryStream ArchiveFile(const Words& words) {
  detail::RecordWriter record;
  record.PutArray(std::span<const std::uint32_t>(words));
  return CMemoryStream(std::vector<std::uint8_t>(record.Bytes().begin(), record.Bytes().end()));
}

TEST(Serializer, FetchFromFileTable) {
  Words stored(44, 0);
  stored[0] = 5;
  stored[1] = 44;
  stored[2] = 'n';
  stored[43] = 9;
  const struct {
    const char* name;
    std::size_t fileWords;
    std::uint32_t count;
    unsigned capacity;
    int result, reported;
  } kCases[] = {
      {"exact", 44, 44, 44, 1, 44},
      {"room to spare", 44, 44, 50, 1, 44},
      {"above the capacity", 44, 44, 43, 0, 44},
      {"empty count", 44, 0, 50, 0, 0},
      {"file too short", 43, 44, 50, 0, 44},
      {"no count in the file", 1, 44, 50, 0, 0},
      {"nothing in the file", 0, 44, 50, 0, 0},
      {"count beyond int", 44, 0xFFFFFFFFU, 50, 0, INT_MAX},
      {"header cut, marker only", 44, 1, 50, 1, 1},
      {"header cut inside the name", 44, 3, 50, 1, 3},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    Words file = stored;
    file[1] = c.count;
    file.resize(c.fileWords);
    CMemoryStream stream = ArchiveFile(file);
    Words words(c.capacity, 0xEEEEEEEEU);
    CSerializer archive(words.data(), c.capacity, 0);
    int reported = 77;
    EXPECT_EQ(archive.FetchFromFile(stream, &reported), c.result);
    EXPECT_EQ(reported, c.reported);
    EXPECT_EQ(archive.IsStoring(), c.result == 1 ? 0 : 1);
    if (c.result == 1) {
      EXPECT_EQ(archive.Marker(), 5U);
      EXPECT_EQ(archive.Groesse(), c.count > 1 ? c.count : 0U);
      EXPECT_STREQ(archive.ArchiveName(), c.count > 2 ? "n" : "");
      EXPECT_EQ(stream.Position(), 4 * std::int64_t{c.count});
    } else {
      EXPECT_EQ(archive.Groesse(), 42U);
    }
  }
  CSerializer none;
  CMemoryStream stream = ArchiveFile(stored);
  int reported = 0;
  EXPECT_EQ(none.FetchFromFile(stream, &reported), 0);
  EXPECT_EQ(reported, -1);
  EXPECT_EQ(none.FetchFromFile(stream), 0);
  EXPECT_EQ(stream.Position(), 0);
}

TEST(Serializer, KeepsHeaderWordsUntilSomethingIsStored) {
  Words words(60, 0xAAAAAAAAU);
  CSerializer archive(words.data(), 60, 0);
  EXPECT_EQ(words, Words(60, 0xAAAAAAAAU));
  archive.SkipStoreData(1);
  EXPECT_EQ(words[1], 43U);
  EXPECT_EQ(words[0], 0xAAAAAAAAU) << "unnamed and unmarked";
}

TEST(Serializer, KeepsLoadsBoundedByTheCapacityNotTheCount) {
  Words words(50, 3);
  words[1] = 42;
  CSerializer in(words.data(), 50, 1);
  std::uint32_t word = 0;
  EXPECT_EQ(in.DataLeft(), 0U);
  EXPECT_EQ(in.LoadData(&word, 1), 1);
  EXPECT_EQ(word, 3U);
}

}  // namespace
}  // namespace limes

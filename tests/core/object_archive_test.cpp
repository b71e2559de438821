#include "limes/core/object_archive.h"

#include <climits>
#include <iterator>
#include <memory>

#include "limes/platform/file_stream.h"
#include "limes/platform/record_io.h"
#include "limes/signals/extended_curve.h"
#include "tests/support/messages.h"

namespace limes::test {
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

std::unique_ptr<CSObject> Load(CSerializer& archive) {
  return std::unique_ptr<CSObject>(archive.LoadObject());
}

TEST(ObjectRegister, HoldsTheTwoCurvesAndFindsByExactName) {
  const int own = RegisterOwn();
  const CSObjectRegister unlinked;
  EXPECT_EQ(CSObjectRegister::Anzahl(), 2 + own);
  for (const char* name : {"CSigCurve", "CSigCurveExt"}) {
    ASSERT_NE(CSObjectRegister::ObjektSuchen(name), nullptr);
    EXPECT_STREQ(CSObjectRegister::ObjektSuchen(name)->name, name);
  }
  EXPECT_EQ(CSObjectRegister::ObjektSuchen("Prüfling"), &kItem) << "the first of two";
  EXPECT_EQ(CSObjectRegister::ObjektSuchen(nullptr), nullptr);
  for (const char* name : {"csigcurve", "CSigCurve ", "CSigPairs", ""}) {
    EXPECT_EQ(CSObjectRegister::ObjektSuchen(name), nullptr);
  }
}

TEST(Serializer, HeaderWordsAndCounts) {
  Words words(60, 0xAAAAAAAAU);
  CSerializer archive(words.data(), 60, 0);
  EXPECT_SHOWN("1 42 0", archive.IsStoring() != 0, archive.Groesse(), archive.GetPosition());
  archive.SetArchiveName("a\xE4");
  archive.SetMarker(0xCAFE);
  EXPECT_EQ(archive.StoreData(Words{7, 8}.data(), 2), 2);
  Words expected = {0xCAFE, 44, 0x61, 0xFFFFFFE4};  // characters are sign-extended
  expected.resize(42);
  expected.insert(expected.end(), {7, 8});
  EXPECT_EQ(Words(words.begin(), words.begin() + 44), expected);

  CSerializer loaded(words.data(), 60, 1);
  std::uint32_t got[2] = {};
  EXPECT_SHOWN("0 51966 44 2 a\xE4", loaded.IsStoring(), loaded.Marker(), loaded.Groesse(),
               loaded.DataLeft(), loaded.ArchiveName());
  EXPECT_SHOWN("1 0 2 0 {7 8}", loaded.LoadDataNoMove(got, 1), loaded.GetPosition(),
               loaded.LoadData(got, 2), loaded.DataLeft(), got);
  loaded.Init(nullptr, 10, 0);
  EXPECT_STREQ(loaded.ArchiveName(), "");
}

TEST(Serializer, LongNamesAreCutWithAMessage) {
  const Messages messages;
  Words words(42);
  CSerializer archive(words.data(), 42, 0);
  const std::string forty(40, 'n');
  archive.SetArchiveName(forty.c_str());
  EXPECT_EQ(messages.printed, "");
  archive.SetArchiveName((forty + "x").c_str());
  EXPECT_EQ(messages.printed,
            "1 3 CSerializer::SetArchiveName '" + forty + "x' too long, cutting to 40 char's.\n");
  EXPECT_EQ(archive.ArchiveName(), forty);
  EXPECT_EQ(CSerializer(words.data(), 42, 1).ArchiveName(), forty) << "40 without a terminator";
  archive.SetArchiveName(nullptr);
  EXPECT_STREQ(archive.ArchiveName(), "");
}

TEST(Serializer, StoresWhatFits) {
  Words words(46);
  Words data(10, 4);
  CSerializer archive(words.data(), 46, 0);
  EXPECT_SHOWN("4 46 0 0 4", archive.StoreData(data.data(), 10), archive.Groesse(),
               archive.StoreData(data.data(), 10), archive.SkipStoreData(1), words[45]);
  CSerializer counting(nullptr, UINT_MAX, 0);
  EXPECT_SHOWN("10 2147483647 8 2147483647", counting.StoreData(nullptr, 10),
               counting.SkipStoreData(UINT_MAX), counting.StoreBytes(nullptr, 5),
               counting.StoreBytes(nullptr, INT_MAX));
  EXPECT_EQ(counting.Groesse(), 42U + 10 + INT_MAX + 2 + (1U << 29));
  CSerializer none;
  none.SetMarker(5);
  EXPECT_SHOWN("5 0 42", none.Marker(), none.StoreData(data.data(), 1), none.Groesse());
}

TEST(Serializer, BytesArePaddedWithZeros) {
  Words words(50, 0xFFFFFFFFU);
  CSerializer out(words.data(), 50, 0);
  EXPECT_EQ(out.StoreBytes(std::vector{'b', 'b', 'c', '\xE4', 'd'}.data(), 5), 8);
  EXPECT_EQ(Words(words.begin() + 42, words.begin() + 45), (Words{0xE4636262U, 0x64U, ~0U}));
  CSerializer in(words.data(), 50, 1);
  char back[6] = "-----";
  EXPECT_SHOWN("5 2 bbc\xE4\x64", in.LoadBytes(back, 5), in.GetPosition(), back);
}

TEST(Serializer, KeepsTheLooseBoundOfLoadBytes) {
  Words words(43, 0x01010101U);
  CSerializer in(words.data(), 43, 1);
  char back[9] = "--------";
  EXPECT_SHOWN("8 \1\1\1\1", in.LoadBytes(back, 8), back) << "one word of two is there";
  EXPECT_SHOWN("8 ", in.LoadBytes(back, 8), back) << "44 lies below 43 + 2";
  EXPECT_SHOWN("0 0 1 0", in.LoadBytes(back, 4), in.LoadData(words.data(), 1),
               in.SkipData(1) == nullptr, in.WordsToEnd());
}

TEST(Serializer, SkipsInsideTheArray) {
  Words words(50);
  CSerializer in(words.data(), 50, 1);
  EXPECT_SHOWN("0 0 3 8 1", in.SkipData(0) - &words[42], in.SkipData(3) - &words[42],
               in.SkipData(INT_MAX) - &words[42], in.GetPosition(), in.SkipData(1) == nullptr);
  CSerializer out(words.data(), 50, 0);
  words[42] = 99;
  EXPECT_SHOWN("3 99 45", out.SkipStoreData(3), words[42], words[1]) << "not copied";
}

TEST(Serializer, HostileCountsAndShortArraysNeverLeaveTheArray) {
  std::uint32_t word = 5;
  char byte = 'x';
  for (const unsigned capacity : {0U, 1U, 2U, 3U, 41U, 42U}) {
    const auto words = std::make_unique<std::uint32_t[]>(capacity);
    for (const unsigned mode : {0U, 1U}) {
      CSerializer a(words.get(), capacity, mode);
      a.SetMarker(1);
      a.SetArchiveName("name");
      EXPECT_SHOWN("0 0 0 0 1 1", a.StoreData(&word, 1), a.SkipStoreData(1), a.StoreBytes("abc", 3),
                   a.LoadData(&word, 1), a.SkipData(1) == nullptr, a.LoadObject() == nullptr);
      EXPECT_EQ(a.Groesse(), mode == 1 ? 0U : 42U) << capacity;
    }
  }
  Words words(50);
  CSerializer a(words.data(), 50, 1);
  for (const int n : {0, -1, INT_MIN}) {
    EXPECT_SHOWN("0 0 0 0 0", a.StoreData(&word, n), a.StoreBytes(&byte, n), a.LoadData(&word, n),
                 a.LoadDataNoMove(&word, n), a.LoadBytes(&byte, n));
    EXPECT_EQ(a.SkipData(n), n == 0 ? words.data() + 42 : nullptr);
  }
  EXPECT_SHOWN("0 0 0 0 0 0 0 0", a.LoadData(nullptr, 1), a.LoadBytes(nullptr, 1),
               a.StoreData(nullptr, 1), a.StoreBytes(nullptr, 1), a.StoreObject(nullptr),
               a.ReloadObject(nullptr), a.TestReloadObject(nullptr), a.GetPosition());
  CSerializer noArray(nullptr, 100, 1);
  EXPECT_SHOWN("0 0 1 1 0", noArray.Groesse(), noArray.LoadData(&word, 1),
               noArray.SkipData(1) == nullptr, noArray.LoadBytes(&byte, 1), int{byte});
}

TEST(Serializer, ObjectsComeBackByName) {
  RegisterOwn();
  Words words(200);
  CSerializer out(words.data(), 200, 0);
  Item item(&kItem);
  item.value = 77;
  EXPECT_SHOWN("1 41", out.StoreObject(&item), out.GetPosition());
  EXPECT_EQ(words[44], 0xFFFFFFC3U) << "third character, UTF-8, sign-extended";
  CSerializer in(words.data(), 200, 1);
  wide_string name = u"old";
  EXPECT_SHOWN("1 1 0", in.TestLoadObject(name), in.TestReloadObject(&item), in.GetPosition());
  EXPECT_EQ(name, Cp1252ToWide("Prüfling"));
  const auto loaded = Load(in);
  ASSERT_NE(loaded, nullptr);
  in.Init(words.data(), 200, 1);
  Item other(&kItem);
  EXPECT_SHOWN("77 1 77", static_cast<Item&>(*loaded).value, in.ReloadObject(&other), other.value);
  EXPECT_SHOWN("0 ", in.TestLoadObject(name), name) << "zeros name no class";
}

TEST(Serializer, NamesThatCannotBeCreated) {
  RegisterOwn();
  Messages messages;
  Words words(100);
  for (const CRuntimeClass* stored : {&kWrong, &kNameless, &kLong, &kAbstract}) {
    CSerializer out(words.data(), 100, 0);
    Item item(stored);
    EXPECT_EQ(out.StoreObject(&item), 1);
    EXPECT_EQ(words[42 + 39], 0U) << "at most 39 characters";
    CSerializer in(words.data(), 100, 1);
    EXPECT_SHOWN("1 40", in.LoadObject() == nullptr, in.GetPosition());
  }
  EXPECT_EQ(messages.boxes,
            "Interner Fehler: konnte kein\n'Falsch' erzeugen|"
            "Interner Fehler: konnte kein\n'Abstrakt' erzeugen|");
  messages.boxes.clear();
  CSerializer in(words.data(), 100, 1);
  Item item(&kItem);
  EXPECT_SHOWN("0 0 40", in.TestReloadObject(&item), in.ReloadObject(&item), in.GetPosition());
  EXPECT_EQ(messages.boxes, WideToUtf8(Cp1252ToWide("Serialisierungsfehler:\nes wird versucht, "
                                                    "Prüfling\nmit Abstrakt (=4162...) zu ")) +
                                "überladen!|");
  const std::string name(210, 'n');
  const CRuntimeClass huge = {name.c_str(), nullptr, nullptr};
  Item longName(&huge);
  messages.boxes.clear();
  in.Init(words.data(), 100, 1);
  in.ReloadObject(&longName);
  EXPECT_EQ(messages.boxes.size(), 199U + 1);
  CSerializer full(words.data(), 81, 0);
  EXPECT_SHOWN("0 81", full.StoreObject(&item), full.Groesse()) << "39 words of room";
}

TEST(Serializer, KeepsStoringOnlyTheNamesOfCurves) {
  Words words(200);
  CSerializer out(words.data(), 200, 0);
  CSigCurve curve;
  ASSERT_TRUE(curve.CSignal::Resize(5));
  CSigCurveExt extended;
  EXPECT_SHOWN("0 0 80", out.StoreObject(&curve), out.StoreObject(&extended), out.GetPosition());
  CSerializer in(words.data(), 200, 1);
  EXPECT_EQ(in.ReloadObject(&curve), 0);
  in.Init(words.data(), 200, 1);
  for (const char* name : {"CSigCurve", "CSigCurveExt"}) {
    const auto loaded = Load(in);
    ASSERT_NE(loaded, nullptr);
    EXPECT_SHOWN(name, loaded->GetRuntimeClass()->name);
    EXPECT_SHOWN("0 1 1 1", dynamic_cast<CSigCurve&>(*loaded).DLen(),
                 (dynamic_cast<CSigCurveExt*>(loaded.get()) != nullptr) == (name[9] != '\0'),
                 loaded->IsKindOf(CSigCurve::GetThisClass()),
                 loaded->IsKindOf(CSObject::GetThisClass()));
  }
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
  // Words in the file, count in it, capacity: result, words reported, is storing, size, marker,
  // position, name. Too little capacity, files too short, and headers cut behind marker and name.
  for (const auto& [input, shown] :
       Rows("44 44 44: 1 44 0 44 5 176 n; 44 44 50: 1 44 0 44 5 176 n; 44 44 43: 0 44 1 42 0 0 ; "
            "44 0 50: 0 0 1 42 0 0 ; 43 44 50: 0 44 1 42 0 172 ; 1 44 50: 0 0 1 42 0 4 ; "
            "0 44 50: 0 0 1 42 0 0 ; 44 -1 50: 0 2147483647 1 42 0 0 ; 44 1 50: 1 1 0 0 5 4 ; "
            "44 3 50: 1 3 0 3 5 12 n")) {
    std::uint32_t fileWords = 0;
    std::int32_t count = 0;
    std::uint32_t capacity = 0;
    Scan(input, u"%d %d %d", &fileWords, &count, &capacity);
    Words file = stored;
    file[1] = static_cast<std::uint32_t>(count);
    file.resize(fileWords);
    CMemoryStream stream = ArchiveFile(file);
    Words words(capacity, 0xEEEEEEEEU);
    CSerializer archive(words.data(), capacity, 0);
    int reported = 77;
    EXPECT_SHOWN(shown, archive.FetchFromFile(stream, &reported), reported, archive.IsStoring(),
                 archive.Groesse(), archive.Marker(), stream.Position(), archive.ArchiveName())
        << WideToUtf8(input);
  }
  CSerializer none;
  CMemoryStream stream = ArchiveFile(stored);
  int reported = 0;
  EXPECT_SHOWN("0 -1 0 0", none.FetchFromFile(stream, &reported), reported,
               none.FetchFromFile(stream), stream.Position());
}

TEST(Serializer, KeepsHeaderWordsUntilSomethingIsStored) {
  Words words(60, 0xAAAAAAAAU);
  CSerializer archive(words.data(), 60, 0);
  EXPECT_EQ(words, Words(60, 0xAAAAAAAAU));
  archive.SkipStoreData(1);
  EXPECT_SHOWN("2863311530 43", words[0], words[1]) << "unnamed and unmarked";
}

TEST(Serializer, KeepsLoadsBoundedByTheCapacityNotTheCount) {
  Words words(50, 3);
  words[1] = 42;
  CSerializer in(words.data(), 50, 1);
  std::uint32_t word = 0;
  EXPECT_SHOWN("0 1 3", in.DataLeft(), in.LoadData(&word, 1), word);
}

}  // namespace
}  // namespace limes::test

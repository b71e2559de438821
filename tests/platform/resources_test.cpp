#if defined(__unix__)
#include <dlfcn.h>
#endif

#include <functional>

#include "limes/platform/module.h"
#include "limes/platform/resource_sea.h"
#include "limes/platform/string_table.h"
#include "limes/version.h"
#include "tests/support/hostile.h"
#include "tests/support/show.h"

namespace limes::test {
namespace {

using platform::Language;

CMemoryStream Stream(std::string_view text) {
  return CMemoryStream(Bytes(text.begin(), text.end()));
}

std::string Saved(const CResourceSea& sea) {
  const Bytes bytes = Written(sea, std::mem_fn(&CResourceSea::Save));
  return {bytes.begin(), bytes.end()};
}

TEST(ResourceSea, ReadsListsInOrder) {
  CResourceSea sea;
  auto file = Stream(
      "\xEF\xBB\xBF# limits\r\n[Grenzen ä]\r\n0 10 1\r\n\r\n10 20.5 2\n# note\n[leer]\n"
      "[Grenzen ä]\n \\x\n\\[y\n\\");
  ASSERT_TRUE(sea.Load(file));
  EXPECT_EQ(Saved(sea), "[Grenzen ä]\n0 10 1\n10 20.5 2\n \\x\n\\[y\n\\\n[leer]\n");
  EXPECT_FALSE(sea.HasList(u"grenzen ä"));
  float from = 0;
  float to = 0;
  std::int32_t code = 0;
  (*sea.List(u"Grenzen ä"))[1].Scan(u"%f %f %d", &from, &to, &code);
  EXPECT_SHOWN("10 20.5 2", from, to, code);
}

TEST(ResourceSea, WritesWhatItReads) {
  CResourceSea sea;
  CResourceList& list = sea.MakeList(u"a]b[\n#");
  for (const char16_t* t : {u"1 2", u"", u" ", u"#x", u"[x]", u"\\", u"line\nbreak", u"tail  "}) {
    list.Append(t);
  }
  sea.MakeList(u"");
  const std::string text = Saved(sea);
  EXPECT_EQ(text, "[]\n[a]b[ #]\n1 2\n\\\n\\ \n\\#x\n\\[x]\n\\\\\nline break\ntail  \n");
  CResourceSea again;
  auto file = Stream(text);
  EXPECT_TRUE(again.Load(file) && Saved(again) == text);
  CMemoryStream closed{std::span<const std::uint8_t>()};
  EXPECT_SHOWN("0 1 0", sea.Save(closed), sea.RemoveList(u""), sea.RemoveList(u""));
}

TEST(ResourceSea, ColumnsAreNumbers) {
  CResourceEntry entry(u"  1.5\t x  -3e2 ");
  EXPECT_SHOWN("1.5 0 -300 0", entry.Float(0), entry.Float(1), entry.Float(2), entry.Float(3));
  entry.SetFloat(1, 0.1F);
  CResourceEntry row;
  row.SetFloat(2, 7.0F);
  row.SetFloat(1000, 1.0F);
  CResourceEntry ends(u"1 ");
  ends.SetFloat(1, -1e-30F);
  EXPECT_SHOWN("{  1.5\t 0.1  -3e2  0 0 7 1 -1e-30} -1e-30",
               (std::vector{entry.Text(), row.Text(), ends.Text()}), ends.Float(1));
}

TEST(ResourceSea, HostileTextKeepsTheStore) {
  const std::string text = "[l]\n1 2\n\\# ä\n[m]\n";
  ExpectHostileSafe(Bytes(text.begin(), text.end()), [] { return CResourceSea(); },
                    std::mem_fn(&CResourceSea::Load), std::mem_fn(&CResourceSea::Save),
                    {.cutsFail = false});
  for (const char* bad : {"1 2\n[l]\n", "[l\n", "[l] x\n", "[", "\\x"}) {
    CResourceSea sea;
    sea.MakeList(u"old");
    auto file = Stream(bad);
    EXPECT_FALSE(sea.Load(file)) << bad;
    EXPECT_TRUE(sea.HasList(u"old")) << bad;
  }
}

TEST(StringTable, EveryIdInEveryLanguage) {
  wide_string steps;
  for (unsigned l = 0; l < platform::kLanguages; ++l) {
    platform::SetLanguage(static_cast<Language>(l));
    for (unsigned id = 0; id <= 81; ++id) {
      const bool present = (id >= 1 && id <= 8) || (id >= 11 && id <= 18) ||
                           (id >= 20 && id <= 23) || (id >= 50 && id <= 79);
      EXPECT_EQ(!LoadString(id).empty(), present) << l << " " << id;
    }
    steps += LoadString(1) + u"," + LoadString(65) + u"|";
  }
  EXPECT_EQ(WideToUtf8(steps),
            "Test step,Temperature|Prüfzustand,Temperatur|Paso de prueba,Temperatura|"
            "Passo di prova,Temperatura|Passo de teste,Temperatura|Krok zkoušky,Teplota|"
            "시험 단계,온도|测试步骤,温度|");
  platform::SetLanguage(static_cast<Language>(200));
  EXPECT_EQ(LoadString(1), u"");
  platform::SetLanguage(Language::kEnglish);
  EXPECT_SHOWN("Benches rpm - № Date-Time", LoadString(18), LoadString(20), LoadString(50),
               LoadString(51), LoadString(79));
}

const char16_t* HostText(unsigned id, Language /*language*/) {
  return id == 1                              ? u"host's 1"
         : id == 1000                         ? u"host's 1000"
         : id == 1001 && LoadString(1) != u"" ? u"loads another"  // under no lock
                                              : nullptr;
}

TEST(Module, ChainAndResourceSource) {
  static constexpr SModule kHost = {"host", "2.0", HostText};
  const auto names = [] {
    std::string text;
    for (const auto& module : ModuleRegistry::Modules()) {
      text += Exact{module.name, module.version, ""}.text;
    }
    return text;
  };
  const std::string alone = "limes " LIMES_VERSION_STRING " ";
  EXPECT_EQ(names(), alone);
  {
    const CModuleRegistration registration(&kHost);
    EXPECT_EQ(names(), alone + "host 2.0 ");
    EXPECT_SHOWN("Test step, host's 1000 loads another", LoadString(1) + u",", LoadString(1000),
                 LoadString(1001));
    {
      const ResourceSourceScope scope(&kHost);
      EXPECT_SHOWN("host's 1, Instrument", LoadString(1) + u",", LoadString(2));
      const ResourceSourceScope inner(ModuleRegistry::Library());
      EXPECT_EQ(LoadString(1), u"Test step");
    }
    EXPECT_EQ(LoadString(1), u"Test step");
    ModuleRegistry::SetResourceSource(&kHost);
  }
  EXPECT_EQ(ModuleRegistry::SetResourceSource(nullptr), nullptr) << "gone with its module";
  EXPECT_EQ(names(), alone);
  EXPECT_EQ(LoadString(1000), u"");
}

#if defined(__unix__)
TEST(Module, LoadedLibraryRegistersAndLeaves) {
  using Log = std::vector<std::pair<std::string, int>>;
  for (int round = 0; round < 2; ++round) {
    void* const library = dlopen(LIMES_LIBRARY_FILE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto count = reinterpret_cast<unsigned (*)()>(dlsym(library, "limes_module_count"));
    const auto observe = reinterpret_cast<void (*)(limes_module_observer, void*)>(
        dlsym(library, "limes_observe_modules"));
    ASSERT_TRUE(count != nullptr && observe != nullptr);
    EXPECT_EQ(count(), 1U);
    Log log;
    observe([](const char* name, const char*, int joined,
               void* context) { static_cast<Log*>(context)->emplace_back(name, joined); },
            &log);
    EXPECT_EQ(log, (Log{{"limes", 1}}));
    EXPECT_EQ(dlclose(library), 0);
    EXPECT_EQ(log, (Log{{"limes", 1}, {"limes", 0}})) << "unloading leaves";
    EXPECT_EQ(limes_module_count(), 1U) << "this program's own library is another one";
  }
}
#endif

}  // namespace
}  // namespace limes::test

#include <gmock/gmock.h>

#include <map>
#include <random>

#include "apps/limes/store/database.h"
#include "tests/host/host_fixture.h"

namespace limes::host {
namespace {

using test::RunLimes;
using test::SResult;
using testing::AllOf;
using testing::HasSubstr;
using Json = nlohmann::json;

class Variants : public test::HostTest {
 protected:
  std::string store_ = File("store.limes");
  std::mt19937 random_{1};

  /// Nearly Normal, with a spread of 1.
  double Noise() {
    double sum = -6.0;
    for (int i = 0; i < 12; ++i) {
      sum += static_cast<double>(random_() % 10001) / 10000.0;
    }
    return sum;
  }

  /// Rows of a variant around a level.
  std::string Rows(const std::string& product, int count, double level) {
    std::string rows;
    for (int i = 0; i < count; ++i) {
      rows += product + "," + std::to_string(level + Noise()) + "\n";
    }
    return rows;
  }

  std::string Table(const std::string& name, const std::string& rows) {
    return Write(name, "product,noise [Pa]\n" + rows);
  }

  SResult Run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin() + 1, store_);
    return RunLimes(arguments);
  }

  /// Of two products of 40 parts at 10 and 20, and one of 5 at 12.
  void Learn() {
    const std::string good =
        Table("good.csv", Rows("A", 40, 10.0) + Rows("B", 40, 20.0) + Rows("young", 5, 12.0));
    const SResult learnt =
        Run({"learn", good, "--values", "--variant", "product", "--reject", "1%"});
    ASSERT_EQ(learnt.code, 0) << learnt.err;
    EXPECT_THAT(learnt.out, HasSubstr("learnt 85 parts; 85 of 3 variants in"));
  }

  std::vector<Json> Judge(const std::string& rows) {
    return Run({"test", Table("judged.csv", rows), "--json"}).Lines();
  }
};

TEST_F(Variants, AreJudgedByTheirOwnLimits) {
  Learn();
  const auto lines = Judge("A,10\nA,20\nB,20\nB,10\nyoung,12\nyoung,45\nC,10\n,10\n");
  constexpr struct {
    const char* verdict;
    const char* limitOf;
  } kExpected[] = {{"OK", "product=A"},      {"NOK", "product=A"},    {"OK", "product=B"},
                   {"NOK", "product=B"},     {"OK", "all variants"},  {"NOK", "all variants"},
                   {"not judged", "nobody"}, {"not judged", "nobody"}};
  ASSERT_EQ(lines.size(), std::size(kExpected));
  for (std::size_t i = 0; i < lines.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(lines[i].at("verdict"), kExpected[i].verdict);
    EXPECT_EQ(lines[i].value("limit_of", "nobody"), kExpected[i].limitOf);
  }
  EXPECT_THAT(lines[6].at("reason"), HasSubstr("is no variant that was learnt"));
  EXPECT_THAT(lines[7].at("reason"), HasSubstr("what its product is"));
  EXPECT_EQ(Run({"report", "--json"}).Lines().size(), 8U) << "what was not judged is stored, too";
  EXPECT_EQ(Run({"report", "--variant", "product=B"}).out.find("product=A"), std::string::npos);
  const SResult told = Run({"test", File("judged.csv")});
  EXPECT_EQ(told.code, 1);
  EXPECT_THAT(told.out, HasSubstr("[product=young] by the limit of all variants"));
  EXPECT_THAT(told.out, HasSubstr("2 parts of no variant that was learnt, not judged"));
  EXPECT_THAT(Run({"show"}).out, HasSubstr("product=young: 5 parts learnt, judged by the limit of "
                                           "all variants until 20"));
  Run({"set", "--own-from", "5"});
  EXPECT_EQ(Judge("young,12\n")[0].at("limit_of"), "product=young");
}

TEST_F(Variants, AreNeverMistakenForNone) {
  Learn();
  const std::string plain = Write("plain.csv", "noise [Pa]\n10\n");
  const std::string other = File("other.limes");
  ASSERT_EQ(RunLimes({"learn", other, Write("p.csv", "noise\n1\n2\n3\n"), "--values"}).code, 0);
  const struct {
    const char* what;
    std::vector<std::string> arguments;
    int code;
    const char* said;
  } cases[] = {
      {"no column", {"test", store_, plain}, 1, "what its product is stands in no column"},
      {"given", {"test", store_, plain, "--variant", "product=A"}, 0, "[product=A]"},
      {"another name", {"test", store_, plain, "--variant", "gear=3"}, 2, "contradicts the store"},
      {"learnt without", {"test", other, plain, "--variant", "product=A"}, 2, "learnt without"},
      {"learnt without, listed", {"show", other, "--variant", "product=A"}, 2, "learnt without"},
      {"nothing fits", {"show", store_, "--variant", "product=Z"}, 2, "it knows 'product=A'"},
      {"which one", {"tune", store_}, 2, "is of one variant"},
      {"more is learnt", {"learn", store_, plain}, 3, "what its product is"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const SResult result = RunLimes(c.arguments);
    EXPECT_EQ(result.code, c.code);
    EXPECT_THAT(result.out + result.err, HasSubstr(c.said));
  }
}

TEST_F(Variants, AreChangedOneByOne) {
  Learn();
  const auto shown = [&](const char* product) {
    return Run({"show", "--json", "--variant", std::string("product=") + product}).out;
  };
  const std::string a = shown("A");
  const std::string b = shown("B");
  EXPECT_EQ(Run({"forget", "good.csv:41", "--because", "was bad"}).code, 0);
  EXPECT_EQ(shown("A"), a);
  const std::string forgot = shown("B");
  EXPECT_NE(forgot, b);
  EXPECT_EQ(Run({"set", "--variant", "product=A", "--factor", "9"}).code, 0);
  EXPECT_EQ(shown("B"), forgot);
  EXPECT_EQ(Judge("A,18\n")[0].at("verdict"), "OK");
  EXPECT_EQ(Judge("A,18\n")[0].at("quantities")[0].at("factor"), 9.0);
  EXPECT_THAT(Run({"set", "--reject", "2%"}).err, HasSubstr("product=A keeps the rule"));
  EXPECT_EQ(Run({"calibrate", "--variant", "product=B"}).code, 0);
  EXPECT_EQ(Run({"calibrate", "--variant", "product=A"}).code, 0);

  const std::string all = File("all.limes");
  ASSERT_EQ(RunLimes({"merge", all, store_}).code, 0);
  const std::string more = File("more.limes");
  RunLimes({"learn", more, Table("more.csv", Rows("B", 3, 20.0) + Rows("new", 4, 1.0)), "--values",
            "--variant", "product", "--reject", "2%"});
  const SResult merged = RunLimes({"merge", all, more});
  EXPECT_EQ(merged.code, 0) << merged.err;
  std::map<std::string, int> learnt;
  for (const Json& line : RunLimes({"show", all, "--json"}).Lines()) {
    learnt[line.at("variant")] = line.at("learnt");
  }
  EXPECT_EQ(learnt,
            (std::map<std::string, int>{
                {"product=A", 40}, {"product=B", 42}, {"product=new", 4}, {"product=young", 5}}));
}

TEST_F(Variants, HoldBackEachByWhatItsOwnGoodPartsAre) {
  const std::string good = Table("good.csv", Rows("A", 40, 10.0) + Rows("B", 40, 40.0));
  ASSERT_EQ(Run({"learn", good, "--values", "--variant", "product", "--guard"}).code, 0);
  EXPECT_THAT(Run({"learn", Table("a.csv", "A,40\n"), "--json"}).out,
              AllOf(HasSubstr("product=A"), HasSubstr("\"held\":true")));
  Run({"learn", Table("b.csv", "B,10\n")});
  EXPECT_EQ(Run({"show", "--held", "--variant", "product=B", "--json"}).Lines().size(), 1U);
  EXPECT_EQ(Run({"rebase"}).code, 2) << "of which variant?";
  EXPECT_EQ(Run({"accept", "a.csv:1"}).code, 0);
  EXPECT_THAT(Run({"show"}).out,
              AllOf(HasSubstr("product=A: 41 parts"), HasSubstr("product=B: 40 parts")));
  EXPECT_EQ(Run({"rebase", "--variant", "product=B"}).code, 0);
  EXPECT_THAT(Run({"show", "--past"}).out, HasSubstr("product=B: before run"));
  EXPECT_THAT(Run({"show"}).out,
              AllOf(HasSubstr("product=A: 41 parts"), HasSubstr("product=B: 1 part ")));
  EXPECT_THAT(Run({"log"}).out, HasSubstr("rebase [product=B]"));
}

/// Files of curves: their names tell the variant, and variants may have other grids.
TEST_F(Variants, JudgeNothingByLimitsThatCannotBeJoined) {
  const auto curve = [&](const std::string& name, double step) {
    std::string text = "x [s],noise [Pa]\n";
    for (int i = 0; i < 20; ++i) {
      text += std::to_string(i * step) + "," + std::to_string(5.0 + Noise()) + "\n";
    }
    return Write(name, text);
  };
  std::vector<std::string> learn = {"learn"};
  for (int i = 0; i < 25; ++i) {
    learn.push_back(curve("A_" + std::to_string(i) + ".csv", 1.0));
  }
  learn.push_back(curve("B_1.csv", 0.5));
  learn.insert(learn.end(), {"--variant", "product", "--variant-pattern", "{product}_{n}.csv"});
  ASSERT_EQ(Run(learn).code, 0);
  const std::string young = curve("B_2.csv", 0.5);
  const SResult judged = Run({"test", young, "--json"});
  EXPECT_EQ(judged.code, 1);
  EXPECT_THAT(judged.out, AllOf(HasSubstr("has learnt 1 of 20 parts"),
                                HasSubstr("there is no limit of all variants")));
  EXPECT_EQ(Run({"test", curve("A_x.csv", 1.0), "--factor", "9"}).code, 0) << "the others go on";
}

/// 90 variants of 20 parts, each as far from the next as their own parts are spread, or farther.
TEST_F(Variants, HoldTheirRateEachByItself) {
  std::string good;
  std::string further;
  for (int i = 0; i < 90; ++i) {
    const std::string name = "v" + std::to_string(i);
    good += Rows(name, 20, 5.0 * (i % 10));
    further += Rows(name, 40, 5.0 * (i % 10));
  }
  ASSERT_EQ(
      Run({"learn", Table("good.csv", good), "--values", "--variant", "product", "--reject", "5%"})
          .code,
      0);
  const auto share = [&](const char* limitOf) {
    int nok = 0;
    for (const Json& line : Judge(further)) {
      EXPECT_EQ(line.at("limit_of").get<std::string>().find(limitOf), 0U);
      nok += line.at("verdict") == "NOK" ? 1 : 0;
    }
    return nok / 3600.0;
  };
  const double own = share("product=v");
  Run({"set", "--own-from", "21"});
  const double all = share("all variants");
  RecordProperty("own", std::to_string(own));
  RecordProperty("all", std::to_string(all));
  EXPECT_GT(own, 0.03);
  EXPECT_LT(own, 0.07);
  EXPECT_LT(all, 0.05) << "limits of all together are wider";
}

TEST_F(Variants, PruneLeavesWhatWasLearnt) {
  Learn();
  for (int i = 0; i < 20; ++i) {
    Judge(Rows("A", 200, 30.0) + Rows("B", 100, 30.0));  // all NOK: with rows of their own
  }
  {
    CDatabase database(store_, CDatabase::Mode::kExisting);
    database.Execute(
        "UPDATE part SET at = at - 100 * 86400000 WHERE verdict <> 'learnt' AND "
        "id % 2 = 0");
  }
  const auto before = std::filesystem::file_size(store_);
  const std::string shown = Run({"show", "--json"}).out;
  const auto judged = [&] { return Run({"report", "--all-runs", "--json"}).Lines().size(); };
  EXPECT_THAT(Run({"prune", "--older", "90d", "--variant", "product=B"}).out,
              HasSubstr("removed 1000 judged parts"));
  EXPECT_EQ(judged(), 5000U);
  EXPECT_EQ(Run({"prune", "--older", "90d", "--because", "half a year"}).code, 0);
  EXPECT_EQ(judged(), 3000U);
  EXPECT_EQ(Run({"show", "--json"}).out, shown);
  EXPECT_LT(std::filesystem::file_size(store_), before * 3 / 4);
  const auto log = Run({"log", "--json"}).Lines();
  EXPECT_EQ(log.size(), 3U);
  EXPECT_EQ(log.back().at("reason"), "half a year");
  EXPECT_THAT(Run({"prune", "--older", "90d"}).out, HasSubstr("removed 0 judged parts"));
  EXPECT_EQ(Run({"log", "--json"}).Lines().size(), 3U) << "nothing was changed";
  for (const char* age : {"90", "d", "-1d", "1e3d", "99999999999999999999d", "1y"}) {
    EXPECT_EQ(Run({"prune", "--older", age}).code, 2) << age;
  }
}

}  // namespace
}  // namespace limes::host

#if defined(__GNUC__) && !defined(__clang__)
// With sanitizers g++ 12 warns of the inside of <regex>.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <regex>

#include "apps/limes/report/margin_run.h"
#include "apps/limes/report/markup.h"
#include "apps/limes/report/svg_plot.h"
#include "tests/host/host_fixture.h"

namespace limes::host {
namespace {

using test::RunLimes;
using testing::HasSubstr;
using testing::Not;

/// What is wrong with the nesting of tags; empty when nothing is.
std::string Unbalanced(const std::string& text) {
  std::vector<std::string> open;
  const std::regex tag("<(/?)([a-zA-Z][a-zA-Z0-9]*)((?:[^<>\"]|\"[^\"<]*\")*)>");
  const std::string body = text.substr(0, text.find("<script>"));
  for (std::sregex_iterator i(body.begin(), body.end(), tag), end; i != end; ++i) {
    const bool empty = (*i)[3].str().ends_with("/") || (*i)[2] == "meta";
    if ((*i)[1].length() > 0 && (open.empty() || open.back() != (*i)[2])) {
      return i->str();
    }
    if ((*i)[1].length() > 0) {
      open.pop_back();
    } else if (!empty) {
      open.push_back((*i)[2]);
    }
  }
  const auto left = std::count(body.begin(), body.end(), '<') -
                    std::distance(std::sregex_iterator(body.begin(), body.end(), tag), {});
  return left > 1 ? "a bare <" : "";  // the doctype is one
}

class Plot : public test::HostTest {
 protected:
  std::string store_ = File("a.limes");

  /// Learns rows of a ramp of n points and judges parts, each with an excess of 50 at one point.
  void Fill(int n, int judged, const std::string& name) {
    const auto row = [n](int part, double add, int at) {
      std::string text = std::string("p") + std::to_string(part);
      for (int i = 0; i < n; ++i) {
        text.append(",").append(std::to_string(i + part % 3 + (i == at ? add : 0.0)));
      }
      return text + "\n";
    };
    std::string head = "id";
    for (int i = 0; i < n; ++i) {
      head.append(",v").append(std::to_string(i));
    }
    std::string learn = head + "\n";
    std::string test = learn;
    for (int i = 0; i < std::max(judged, 9); ++i) {
      learn += i < 9 ? row(i, 0.0, 0) : "";
      test += i < judged ? row(i, 50.0, i % n) : "";
    }
    const std::vector<std::string> how = {"--rows", "--part-column", "id",   "--name",
                                          "noise",  "--unit",        "mm<s", "--sides",
                                          "both",   "--x-unit",      "s"};
    std::vector<std::string> words = {"learn",   store_,     Write("learn.csv", learn),
                                      "--again", "--factor", "3"};
    words.insert(words.end(), how.begin(), how.end());
    ASSERT_EQ(RunLimes(words).code, 0);
    ASSERT_EQ(RunLimes({"test", store_, Write(name, test), "--report", File("t.html")}).code, 1);
  }
};

TEST_F(Plot, EscapesWhatFilesHold) {
  const std::pair<std::string, std::string> cases[] = {
      {"<b a=\"1\" b='2'>&", "&lt;b a=&quot;1&quot; b=&#39;2&#39;&gt;&amp;"},
      {std::string("a\0b\x1b\xff\xe2\x80\xae", 8), "a\uFFFDb\uFFFD\uFFFD\uFFFD"},
      {std::string(159, 'x') + "ü", std::string(159, 'x') + "…"},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(Markup(text), expected);
  }
  Fill(4, 3, "a\"><script>alert(1)<&'.csv");
  ASSERT_EQ(RunLimes({"report", store_, "--html", File("r.html")}).code, 0);
  const std::string page = Read(File("r.html"));
  EXPECT_THAT(page, HasSubstr("&lt;script&gt;alert(1)&lt;&amp;&#39;.csv:p0"));
  EXPECT_THAT(page, Not(HasSubstr("<script>alert")));
  EXPECT_THAT(page, Not(HasSubstr("http://www.w3.org/1999")));
  EXPECT_EQ(Unbalanced(page), "");
  const std::string parts = page.substr(page.find("Parts</h2>"));
  EXPECT_LT(parts.find(":p2<"), parts.find(":p0<"));  // its excess is larger
  Fill(4, 3, "more.csv");  // the same again: more parts, mean and limit stay nearly the same
  const std::string again = Read(File("t.html"));
  EXPECT_EQ(Unbalanced(again), "");
  EXPECT_TRUE(
      std::regex_search(again, std::regex("upper</td><td[^>]*>[^<]*</td><td class=.n.>18</td>"
                                          "<td class=.n.>2[.][0-9]+</td><td class=.n.>[-+0]")));
  EXPECT_EQ(Unbalanced(RunLimes({"plot", store_, "noise"}).out), "");
  const std::string junk = Write("junk<.csv", "noise\nword\n");
  ASSERT_EQ(RunLimes({"test", store_, junk, "--keep-going", "--report", File("k.html")}).code, 3);
  EXPECT_THAT(Read(File("k.html")), HasSubstr("junk&lt;.csv"));
}

TEST_F(Plot, NoNameForgesALineOfTheTerminal) {
  Fill(4, 1, "a\nOK  forged\x1b[2J.csv");
  for (const char* command : {"report", "test"}) {
    std::vector<std::string> words = {command, store_};
    if (words[0] == "test") {
      words.push_back(File("a\nOK  forged\x1b[2J.csv"));
    }
    const std::string out = RunLimes(words).out;
    EXPECT_THAT(out, HasSubstr("a\\nOK  forged\\x1b[2J.csv:p0  noise: "));
    EXPECT_THAT(out, Not(HasSubstr("\nOK")));
    EXPECT_THAT(out, Not(HasSubstr("\x1b")));
  }
}

TEST_F(Plot, DrawsCurvesAndMarksAtTheirPlaces) {
  Fill(5, 3, "parts.csv");
  const auto result = RunLimes({"plot", store_, "noise", "parts.csv:p1"});
  ASSERT_EQ(result.code, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("noise [mm&lt;s]"));
  EXPECT_EQ(RunLimes({"plot", store_, "noise", "none"}).code, 2);
  EXPECT_EQ(RunLimes({"plot", store_, "other"}).code, 2);
  EXPECT_EQ(RunLimes({"report", store_, "--html", store_}).code, 2);  // would be overwritten
  SLearntSummary ramp;  // x 0 to 4 is drawn from 70 to 548, y -2.6 to 54.6 from 268 up to 28
  ramp.xLast = 4.0;
  ramp.mean = {1.0F, 2.0F, 3.0F, 4.0F, 5.0F};
  ramp.spread.assign(5, 0.0F);
  ramp.limit = {0.0F, 2.0F, 3.0F, 4.0F, 52.0F};
  const std::string svg = DrawPlot({{&ramp}, {{"p1", {{1.0, 40.0, 0.5, 1.5, true, "40"}}, {}}}});
  EXPECT_THAT(svg, HasSubstr("data-name=\"mean\" d=\"M70.00,252.90h0L189.50,248.70L309.00,244.50"
                             "L428.50,240.31L548.00,236.11\""));
  EXPECT_THAT(svg, HasSubstr("<path d=\"M185.50,89.26a4,4"));  // 4 left of the mark's place
  SPlot runs{{&ramp}, {}};  // over the parts learnt, each run a dot
  runs.xs = {0.0, 2.0, 3.0, 3.5, 4.0};
  EXPECT_THAT(DrawPlot(runs), HasSubstr("stroke-width=\"6\" stroke=\"#0072B2\" d=\"M83.53,252.90h0"
                                        "M309.00,248.70h0M421.74,244.50h0M478.10,240.31h0"));
  SLearntSummary gap;
  gap.xLast = 1.0;
  for (int k = 0; k < 100000; ++k) {
    gap.mean.push_back(k == 77777 ? 9.0F : k % 3 == 0 || k < 50000 ? std::nanf("") : 1.0F);
  }
  gap.spread = gap.limit = gap.mean;
  const std::string thin = DrawPlot({{&gap}, {}, 100});
  EXPECT_LT(thin.size(), 16000U);
  EXPECT_THAT(thin, HasSubstr(",148.00L"));  // the one peak, in the middle of y, is kept
}

TEST_F(Plot, CurvesOfJudgedPartsAreKept) {
  Fill(5, 230, "parts.csv");  // all NOK
  const auto lines = [&](const std::vector<std::string>& parts) {
    std::vector<std::string> words = {"plot", store_, "noise"};
    words.insert(words.end(), parts.begin(), parts.end());
    const auto drawn = RunLimes(words);
    EXPECT_EQ(drawn.code, 0) << drawn.err;
    const std::regex curve("class=\"line\" data-name=\"[^\"]*p[0-9]+\" d=\"M");
    return std::distance(std::sregex_iterator(drawn.out.begin(), drawn.out.end(), curve), {});
  };
  EXPECT_EQ(lines({"parts.csv:p0", "parts.csv:p229"}), 2);
  const std::string good = Write("good.csv", "id,v0,v1,v2,v3,v4\nq,0,1,2,3,4\np7,1,2,3,4,5\n");
  EXPECT_EQ(lines({good, "parts.csv:p7"}), 2);  // of files and of the store
  std::string many = "id,v0,v1,v2,v3,v4\n";
  for (int i = 0; i < 205; ++i) {
    many += "p" + std::to_string(i) + ",1,2,3,4," + std::to_string(5.0 + i * 1e-4) + "\n";
  }
  ASSERT_EQ(RunLimes({"test", store_, Write("many.csv", many)}).code, 0);
  EXPECT_EQ(lines({"many.csv:p4", "many.csv:p5", "many.csv:p204", "parts.csv:p0"}), 3);
  EXPECT_EQ(RunLimes({"plot", store_, "noise", good}).out.find("data-name=\"parts"),
            std::string::npos);
  ASSERT_EQ(RunLimes({"test", store_, good, "--keep-curves", "0"}).code, 0);
  EXPECT_EQ(lines({"many.csv:p204", "parts.csv:p0"}), 0);
  EXPECT_EQ(RunLimes({"set", store_, "--keep-curves", "-1"}).code, 2);
}

TEST(MarginRun, OfManyPartsTheSmallestStays) {
  for (const std::uint64_t parts : {1U, 7U, 8U, 9U, 1000U}) {
    CMarginRun run(8);
    for (std::uint64_t i = 1; i <= parts; ++i) {
      const double margin = i == parts * 3 / 4 + 1 ? -7.25 : 2.0 + static_cast<double>(i % 5);
      run.Add({margin, i, margin < 0.0, "p" + std::to_string(i)});
    }
    ASSERT_LE(run.Points().size(), 8U);
    EXPECT_GE(run.Points().size() * run.Each(), parts);
    std::uint64_t before = 0;
    std::uint64_t beyond = 0;
    for (const CMarginRun::SPoint& point : run.Points()) {
      EXPECT_GT(point.number, before);
      EXPECT_EQ(point.part, "p" + std::to_string(point.number));
      before = point.number;
      beyond += point.beyond ? 1 : 0;
    }
    EXPECT_EQ(beyond, 1U);
    EXPECT_EQ(run.Least(), -7.25);
    double width = 0.0;
    std::uint64_t counted = 0;
    const auto bars = run.Bars(-10.0, 20, width);
    for (const CMarginRun::SBar& bar : bars) {
      counted += bar.parts;
    }
    EXPECT_EQ(counted, parts);
    EXPECT_LE(bars.size(), 20U);
    EXPECT_LE(bars.front().low, -7.25);
    EXPECT_GT(bars.front().low + width, -7.25);
  }
}

TEST_F(Plot, ThousandsOfPartsStayBelowFiveMegabytes) {
  Fill(300, 3000, std::string(200, '\'') + ".csv");
  ASSERT_EQ(RunLimes({"report", store_, "--html", File("r.html")}).code, 0);
  for (const std::string& page : {Read(File("r.html")), Read(File("t.html"))}) {
    EXPECT_LT(page.size(), 5'000'000U);
    EXPECT_THAT(page, HasSubstr("200 of 3000 defects"));
  }
}

}  // namespace
}  // namespace limes::host

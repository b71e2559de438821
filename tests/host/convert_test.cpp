#include <gmock/gmock.h>

#include "tests/host/host_fixture.h"

namespace limes::host {
namespace {

using test::RunLimes;
using testing::HasSubstr;

class Convert : public test::HostTest {
 protected:
  const std::string table_ =
      Write("t.csv", "f [Hz],a [Pa],\"b, c [V]\"\n0,1.5,2\n0.1,-1e-20,3\n0.2,3.25,4\n");
};

TEST_F(Convert, TablesAndRecordsComeBackAsTheyWere) {
  const std::string expected = "x [Hz],a [Pa],\"b, c [V]\"\n0,1.5,2\n0.1,-1e-20,3\n0.2,3.25,4\n";
  EXPECT_EQ(RunLimes({"convert", table_}).out, expected);
  const std::string record = File("t.curve");
  EXPECT_EQ(RunLimes({"convert", table_, "-o", record}).out,
            "wrote 2 quantities to " + record + "\n");
  EXPECT_EQ(RunLimes({"convert", record, "-o", record, "--to", "array"}).code, 0);
  EXPECT_EQ(RunLimes({"convert", record, "-o", record, "--to", "csv"}).code, 0);
  EXPECT_EQ(Read(record), expected);
  EXPECT_EQ(RunLimes({"convert", table_, "--to", "text", "--use", "a"}).out,
            "      x [Hz]        a [Pa]\n           0           1.5\n"
            "         0.1        -1e-20\n         0.2          3.25\n");
}

TEST_F(Convert, PartsStandSideBySideOrAsRows) {
  const std::string rows = Write("r.csv", "p,v,w\nA,1,2\nB,3,4\n");
  EXPECT_EQ(RunLimes({"convert", rows, "--values", "--skip", "p", "--scale", "2"}).out,
            "v,w\n2,4\n6,8\n");
  const auto curves = RunLimes({"convert", rows, "--rows", "--skip", "p", "--dx", "0.5"});
  EXPECT_EQ(curves.out, "x,r.csv:1 curve,r.csv:2 curve\n0,1,3\n0.5,2,4\n");
  const std::string other = Write("o.csv", "t [s],a\n0,1\n1,2\n");
  EXPECT_THAT(RunLimes({"convert", table_, other}).out, HasSubstr("0.2,3.25,0.2,4,,\n"));
}

TEST_F(Convert, XWithoutEqualStepsGoesThroughPairs) {
  const std::string run = "n [s],a [Pa]\n0,0\n1,2\n3,6\n3.5,7\n6,12\n";
  const std::string file = Write("run.csv", run);
  const std::string pairs = File("run.pairs");
  EXPECT_EQ(RunLimes({"convert", file, "-o", pairs}).code, 0);
  EXPECT_EQ(RunLimes({"convert", pairs}).out, std::string("x").append(run, 1));
  const std::string curve = File("run.curve");
  EXPECT_THAT(RunLimes({"convert", pairs, "-o", curve}).err, HasSubstr("grid with steps of 1.5"));
  EXPECT_EQ(RunLimes({"convert", curve}).out, "x [s],a [Pa]\n0,0\n1.5,2\n3,7\n4.5,9.5\n6,12\n");

  const std::string store = File("s.limes");
  const std::string grid = Write("grid.csv", "n [s],a [Pa]\n0,0\n1,2\n2,4\n3,6\n4,8\n5,10\n6,12\n");
  EXPECT_EQ(RunLimes({"learn", store, grid, pairs, grid}).code, 0);
  const std::string down = Write("down.csv", "n [s],a [Pa]\n6,12\n4,8\n1,2\n0,0\n");
  EXPECT_EQ(RunLimes({"test", store, down}).code, 0);
  EXPECT_EQ(RunLimes({"test", store, Write("nok.csv", "n [s],a [Pa]\n0,0\n4,9\n6,12\n")}).code, 1);
  const std::string mixed = Write("mixed.csv", "n [s],a [Pa]\n0,0\n4,9\n3,12\n");
  EXPECT_THAT(RunLimes({"test", store, mixed}).err, HasSubstr("mixed.csv:4: x neither rises"));
}

TEST_F(Convert, SaysWhatItCannotWrite) {
  const std::string odd =
      Write("odd.csv", "t [s]," + std::string(45, 'n') + " [foo],l [dB(Pa)]\n0,1,2\n1,2,3\n");
  const std::string out = File("odd.curve");
  const auto record = RunLimes({"convert", odd, "-o", out, "--use", std::string(45, 'n')});
  EXPECT_THAT(record.err, HasSubstr("cut to 39 bytes"));
  EXPECT_THAT(record.err, HasSubstr("'foo'"));
  EXPECT_THAT(RunLimes({"convert", odd, "--ref", "5", "--use", "l"}).err, HasSubstr("re 5"));
  const std::string late = Write("late.csv", "t [s],a\n1e9,1\n1000000000.1,2\n1000000000.2,3\n");
  const struct {
    std::vector<std::string> arguments;
    int code;
  } cases[] = {
      {{"convert", odd, "-o", out, "--to", "x"}, 2},
      {{"convert", odd, "-o", File("odd.xyz")}, 2},
      {{"convert", odd, "--to", "curve"}, 2},
      {{"convert", odd, "-o", out, "--values"}, 3},
      {{"convert", late, "-o", out}, 3},
      {{"convert", odd, "-o", File("no/odd.csv")}, 4},
      {{"convert", odd, "-o", "/dev/full", "--to", "csv"}, 4},
  };
  const std::pair<std::string, const char*> broken[] = {
      {std::string("\xEF\xCD\0\0\3\0\0\0", 8), "newer version"},
      {std::string("\xEF\xCD\0\0\1\0\0\0", 8), "array of curves is cut short"},
      {std::string("x\0", 2), "curve record 1: name or units"},
  };
  for (const auto& [bytes, message] : broken) {
    const auto result = RunLimes({"convert", Write("broken.array", bytes)});
    EXPECT_EQ(result.code, 3);
    EXPECT_THAT(result.err, HasSubstr(message));
  }
  const std::string before = Read(out);
  for (const auto& c : cases) {
    const auto result = RunLimes(c.arguments);
    EXPECT_EQ(result.code, c.code) << result.err;
  }
  EXPECT_EQ(Read(out), before);
}

}  // namespace
}  // namespace limes::host

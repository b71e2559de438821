// Command lines with all they print, replayed from the files in tests/data/host. There "+ name"
// begins a file of the lines "| ..." behind it, "$ ..." is a command line, "> ..." what it prints,
// "! ..." its messages and "= ..." its exit code unless that is 0; other lines are comments.
// With LIMES_WRITE_TRANSCRIPTS set the files are written anew: look at what changed.
#include <cstdlib>
#include <iomanip>

#include "tests/host/host_fixture.h"

namespace limes::host {
namespace {

namespace fs = std::filesystem;

std::string Prefixed(const char* prefix, const std::string& text) {
  std::string lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    lines.append(prefix).append(line.empty() ? "" : " ").append(line).append("\n");
  }
  return lines;
}

/// The transcript as it comes out now, in the current folder.
std::string Replayed(const std::string& transcript) {
  std::string all;
  std::ofstream file;
  std::istringstream in(transcript);
  for (std::string line; std::getline(in, line);) {
    const char kind = line.empty() ? '#' : line[0];
    const std::string rest = line.substr(std::min<std::size_t>(2, line.size()));
    if (kind == '>' || kind == '!' || kind == '=') {
      continue;
    }
    all += line + "\n";
    if (kind == '+') {
      file = std::ofstream(rest, std::ios::binary);
    } else if (kind == '|') {
      file << rest << std::endl;
    } else if (kind == '$') {
      std::vector<std::string> arguments;
      std::istringstream words(rest);
      for (std::string word; words >> std::quoted(word);) {
        arguments.push_back(word);
      }
      const auto result = test::RunLimes(arguments);
      all += Prefixed(">", result.out) + Prefixed("!", result.err);
      all += result.code == 0 ? "" : "= " + std::to_string(result.code) + "\n";
    }
  }
  return all;
}

class Transcripts : public test::HostTest {};

TEST_F(Transcripts, ComeOutAsTheyStand) {
  const fs::path before = fs::current_path();
  for (const auto& entry : fs::directory_iterator(LIMES_TEST_DATA "/host")) {
    const fs::path folder = File(entry.path().stem());
    fs::create_directories(folder);
    fs::current_path(folder);
    const std::string expected = Read(entry.path());
    const std::string actual = Replayed(expected);
    fs::current_path(before);
    EXPECT_EQ(actual, expected) << entry.path();
    if (std::getenv("LIMES_WRITE_TRANSCRIPTS") != nullptr) {
      std::ofstream(entry.path(), std::ios::binary) << actual;
    }
  }
}

}  // namespace
}  // namespace limes::host

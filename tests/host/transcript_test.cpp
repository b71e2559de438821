// Command lines with all they print, replayed from the files in tests/data/host. There "+ name"
// begins a file of the lines "| ..." behind it, "$ ..." is a command line, "> ..." what it prints
// (of JSON one field a line), "! ..." its messages and "= ..." its exit code unless that is 0;
// other lines are comments. With LIMES_WRITE_TRANSCRIPTS set the files are written anew: look at
// what changed.
#include <cstdlib>
#include <iomanip>

#include "tests/host/host_fixture.h"

namespace limes::host {
namespace {

namespace fs = std::filesystem;

/// A line of JSON with one field or object of a list per line; lists of numbers stay together.
std::string OneFieldPerLine(const std::string& json) {
  std::string lines;
  std::string open;  // the brackets around a place
  bool quoted = false;
  bool escaped = false;
  const auto endLine = [&] { lines += "\n" + std::string(2 * open.size(), ' '); };
  for (std::size_t i = 0; i < json.size(); ++i) {
    const char c = json[i];
    quoted ^= c == '"' && !escaped;
    escaped = c == '\\' && !escaped;
    const bool objects = !quoted && i + 1 < json.size() && json[i + 1] == '{';
    if (!quoted && (c == '}' || c == ']')) {
      open.pop_back();
      c == '}' ? endLine() : void();
    }
    lines += c;
    if (!quoted && (c == '{' || c == '[')) {
      open += c;
    }
    if (!quoted && (c == '{' || objects || (c == ',' && open.back() == '{'))) {
      endLine();
    }
  }
  return lines;
}

/// What a program printed, each line behind a prefix.
std::string Prefixed(const char* prefix, const std::string& text) {
  std::string shown;
  std::istringstream printed(text);
  for (std::string line; std::getline(printed, line);) {
    shown += (line.starts_with("{") ? OneFieldPerLine(line) : line) + "\n";
  }
  std::string lines;
  std::istringstream in(shown);
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

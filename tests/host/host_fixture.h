#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "apps/limes/commands/commands.h"
#include "limes/platform/file_stream.h"

namespace limes::host::test {

inline CMemoryStream BytesOf(std::string_view text) {
  return CMemoryStream(std::vector<std::uint8_t>(text.begin(), text.end()));
}

/// What a command line gave.
struct SResult {
  int code = -1;
  std::string out;
  std::string err;

  /// The JSON objects, one per line.
  std::vector<nlohmann::json> Lines() const {
    std::vector<nlohmann::json> lines;
    std::istringstream in(out);
    for (std::string line; std::getline(in, line);) {
      lines.push_back(nlohmann::json::parse(line));
    }
    return lines;
  }
};

inline SResult RunLimes(const std::vector<std::string>& arguments) {
  std::ostringstream out;
  std::ostringstream err;
  SConsole console{out, err};
  SResult result;
  result.code = RunHost(arguments, console);
  result.out = out.str();
  result.err = err.str();
  return result;
}

/// A folder of its own for each test.
class HostTest : public testing::Test {
 protected:
  HostTest() {
    const auto* info = testing::UnitTest::GetInstance()->current_test_info();
    folder_ = std::filesystem::temp_directory_path() /
              ("limes-" + std::to_string(getpid()) + "-" + info->name());
    std::filesystem::create_directories(folder_);
  }
  ~HostTest() override { std::filesystem::remove_all(folder_); }

  std::string File(const std::string& name) const { return (folder_ / name).string(); }

  std::string Write(const std::string& name, const std::string& content) const {
    std::ofstream(File(name), std::ios::binary) << content;
    return File(name);
  }

  static std::string Read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

 private:
  std::filesystem::path folder_;
};

}  // namespace limes::host::test

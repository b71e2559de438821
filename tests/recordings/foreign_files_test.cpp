#include <gmock/gmock.h>
#ifdef __x86_64__
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#endif

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "limes/platform/record_io.h"
#include "recordings/errors.h"
#include "recordings/formats/array_protocol.h"
#include "tests/recordings/shown_parts.h"

namespace limes::recordings {
namespace {

using testing::HasSubstr;

SArrayList Sample() {
  SArrayList list;
  list.arrays.push_back({"x", "g", 3, 1, std::nullopt, std::nullopt, {}, {}, std::nullopt});
  list.arrays.push_back({"a", "g", 3, 1, std::nullopt, std::nullopt, {{"dt", 0.5}}, {}, 0U});
  list.arrays.push_back({"fs", "", 1, 1, 100.0, std::nullopt, {}, {{"unit", "°C"}}, std::nullopt});
  list.arrays.push_back({"t", "", 1, 1, std::nullopt, "text", {}, {}, std::nullopt});
  list.leftOut["as they are"] = {"b", "c"};
  list.complex = true;
  return list;
}

SArrayList Decode(const std::vector<std::uint8_t>& bytes) {
  return DecodeList(bytes, 1000, "f", "MAT");
}

TEST(ArrayProtocol, ListsComeBackAndDamagedOnesAreRefused) {
  const std::vector<std::uint8_t> bytes = EncodeList(Sample());
  EXPECT_EQ(EncodeList(Decode(bytes)), bytes);
  for (std::size_t n = 0; n < bytes.size(); ++n) {
    EXPECT_THROW(Decode({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(n)}),
                 CInputError);
    for (const unsigned change : {0x01U, 0x80U, 0xFFU}) {
      std::vector<std::uint8_t> changed = bytes;
      changed[n] = static_cast<std::uint8_t>(changed[n] ^ change);
      try {
        Decode(changed);
      } catch (const CInputError&) {
      }
    }
  }
  SArrayList large = Sample();
  large.arrays[0].rows = large.arrays[1].rows = 1ULL << 40;
  EXPECT_THROW(Decode(EncodeList(large)), CInputError);
  SArrayList other = Sample();
  other.arrays[0].rows = 4;
  EXPECT_THROW(Decode(EncodeList(other)), CInputError);
}

class ForeignFiles : public testing::Test {
 protected:
  void SetUp() override {
    folder_ =
        std::filesystem::temp_directory_path() / ("limes_foreign_" + std::to_string(getpid()));
    std::filesystem::create_directories(folder_);
  }
  void TearDown() override {
    unsetenv("LIMES_ARRAYS");
    std::filesystem::remove_all(folder_);
  }
  std::string Write(const std::string& name, const std::string& bytes) const {
    const auto path = folder_ / name;
    std::ofstream(path, std::ios::binary) << bytes;
    return path.string();
  }
  static std::string ReadFile(const std::string& path, const SReadSettings& settings = {}) {
    CDiskStream stream(path, CDiskStream::Mode::kRead);
    return ReadStream(stream, path, settings);
  }

  std::filesystem::path folder_;
};

TEST_F(ForeignFiles, WhatGoesWrongInTheOtherProcessIsAMessage) {
  const std::string file = Write("a.mat", "x");
  const std::string gives = "printf '";
  const auto word = [](int low) { return "\\" + std::to_string(low) + "\\0\\0\\0\\0\\0\\0\\0"; };
  const std::pair<std::string, std::string> cases[] = {
      {"kill -SEGV $$", "a.mat: MAT: the library that reads it fails (signal 11); the file is"},
      {"kill -XCPU $$", "a.mat: MAT: reading it takes too much time"},
      {"exit 0", "a.mat: MAT: the library that reads it fails"},
      {gives + word(1) + word(4) + "gone'", "a.mat: MAT: gone"},
      {gives + word(1) + word(4) + "go'", "a.mat: MAT: the library that reads it fails"},
      {gives + word(0) + "\\377\\377\\377\\377\\377\\377\\377\\377'", "malformed answer"},
      {gives + word(0) + word(5) + "abcde'", "MAT, list of arrays, byte 0: cut short"},
  };
  for (const auto& [script, message] : cases) {
    const std::string program = Write("program", "#!/bin/sh\n" + script + "\n");
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    setenv("LIMES_ARRAYS", program.c_str(), 1);
    EXPECT_THAT(ReadFile(file), HasSubstr(message)) << script;
  }
  setenv("LIMES_ARRAYS", "/nowhere/limes-arrays", 1);
  EXPECT_THAT(ReadFile(file), HasSubstr("/nowhere/limes-arrays, which cannot be started: No such"));
  EXPECT_THAT(Read("MATLAB 5.0"), HasSubstr("f: MAT: is read from a file on disk only"));
}

#ifdef LIMES_ARRAYS_FILE

/// A variable of a MAT file of version 4: a matrix of doubles, column by column.
std::string Variable(const std::string& name, std::uint32_t rows, const std::vector<double>& values,
                     std::uint32_t kind = 0) {
  std::string bytes;
  const auto put = [&](auto number) {
    std::array<std::uint8_t, sizeof(number)> raw;
    detail::ToLittleEndian(number, raw.data());
    bytes.append(reinterpret_cast<const char*>(raw.data()), raw.size());
  };
  const auto columns = static_cast<std::uint32_t>(values.size()) / rows;
  for (const std::uint32_t word :
       {kind, rows, columns, 0U, static_cast<std::uint32_t>(name.size() + 1)}) {
    put(word);
  }
  bytes.append(name.c_str(), name.size() + 1);
  for (const double value : values) {
    put(value);
  }
  return bytes;
}

// With sanitizers the child is not confined as a whole, and asks for limits of its own before it
// begins.
#if defined(__x86_64__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
/// From now on a system call with that first argument fails for this process and its children.
void Forbid(int call, std::uint32_t argument) {
  const std::array<sock_filter, 6> filter = {
      {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
       BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 3),
       BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args)),
       BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, argument, 0, 1),
       BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EINVAL),
       BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)}};
  const sock_fprog program{filter.size(), const_cast<sock_filter*>(filter.data())};
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program);
}

TEST_F(ForeignFiles, AreNotParsedByAProcessThatNothingConfines) {
  setenv("LIMES_ARRAYS", LIMES_ARRAYS_FILE, 1);
  const std::string file = Write("a.mat", Variable("a", 1, {1.0}));
  const auto readsWithout = [&](int call, std::uint32_t argument) {
    Forbid(call, argument);
    std::cerr << ReadFile(file);
    std::_Exit(0);
  };
  EXPECT_EXIT(readsWithout(SYS_prlimit64, 0), testing::ExitedWithCode(0),
              "MAT: .*refuses to confine .*limits: Invalid argument");
  EXPECT_EXIT(readsWithout(SYS_prctl, PR_SET_SECCOMP), testing::ExitedWithCode(0),
              "MAT: .*refuses to confine .*seccomp: Invalid argument");
}
#endif

TEST_F(ForeignFiles, MatricesOfMatFilesAreReadAndCutOnesRefused) {
  setenv("LIMES_ARRAYS", LIMES_ARRAYS_FILE, 1);
  const std::string bytes = Variable("t", 3, {1.0, 1.5, 2.0}) +
                            Variable("a", 3, {1, 2, 3, 4, 5, 6}) +
                            Variable("unit", 1, {'P', 'a'}, 1);
  EXPECT_EQ(ReadFile(Write("a.mat", bytes)),
            "a 1 [Pa] 1+0.5[s]: 1 2 3; a 2 [Pa] 1+0.5[s]: 4 5 6; | x is in s, as the name t says");
  for (const std::size_t n : {1U, 19U, 21U, 45U, 60U, 70U, 114U, 140U}) {  // not between variables
    EXPECT_THAT(ReadFile(Write("a.mat", bytes.substr(0, n))), HasSubstr("a.mat: MAT: cut short"))
        << n;
  }
}

#endif

}  // namespace
}  // namespace limes::recordings

// Runs a fuzz target over the files and folders named on the command line.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  int files = 0;
  const auto replay = [&](const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    const std::vector<char> text{std::istreambuf_iterator<char>(in), {}};
    // A block of exactly the size, so that a sanitizer sees one byte too far.
    const auto block = std::make_unique<std::uint8_t[]>(text.size());
    std::copy(text.begin(), text.end(), block.get());
    LLVMFuzzerTestOneInput(block.get(), text.size());
    ++files;
  };
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path path = argv[i];
    if (std::filesystem::is_directory(path)) {
      for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
        if (entry.is_regular_file()) {
          replay(entry.path());
        }
      }
    } else {
      replay(path);
    }
  }
  std::printf("replayed %d files\n", files);
  return files > 0 ? 0 : 1;
}

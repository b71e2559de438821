// Runs a fuzz target over the files and folders named on the command line.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void Replay(const std::filesystem::path& path, int& files) {
  std::ifstream in(path, std::ios::binary);
  const std::vector<char> text{std::istreambuf_iterator<char>(in), {}};
  // A block of exactly the size, so that a sanitizer sees one byte too far.
  auto block = std::make_unique<std::uint8_t[]>(text.size());
  std::copy(text.begin(), text.end(), reinterpret_cast<char*>(block.get()));
  LLVMFuzzerTestOneInput(block.get(), text.size());
  ++files;
}

}  // namespace

int main(int argc, char** argv) {
  int files = 0;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path path = argv[i];
    if (std::filesystem::is_directory(path)) {
      for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
        if (entry.is_regular_file()) {
          Replay(entry.path(), files);
        }
      }
    } else {
      Replay(path, files);
    }
  }
  std::printf("replayed %d files\n", files);
  return files > 0 ? 0 : 1;
}

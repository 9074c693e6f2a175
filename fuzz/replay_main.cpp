// Runs every file of the folders given, and of the folders in them, once through the fuzz target.
// An input that fails ends the program, as it does when fuzzing.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<std::uint8_t> ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> inputs;
  for (int i = 1; i < argc; ++i)
    for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i]))
      if (entry.is_regular_file()) inputs.push_back(entry.path());
  std::sort(inputs.begin(), inputs.end());
  if (inputs.empty()) {
    std::fprintf(stderr, "replay: no input\n");
    return 1;
  }

  const std::uint8_t none = 0;
  LLVMFuzzerTestOneInput(&none, 0);
  for (const std::filesystem::path& path : inputs) {
    // Says which input it was when the next line ends the program.
    std::fprintf(stderr, "replay: %s\n", path.filename().c_str());
    const std::vector<std::uint8_t> bytes = ReadFile(path);
    // A block of exactly the input's size, so that a read past its end is seen.
    const auto block = std::make_unique<std::uint8_t[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), block.get());
    LLVMFuzzerTestOneInput(block.get(), bytes.size());
  }
  return 0;
}

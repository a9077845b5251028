// Runs every seed of a folder once through the fuzz target, without libFuzzer.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

int main(int count, char** arguments) {
  if (count != 2) {
    std::fprintf(stderr, "usage: %s folder-of-seeds\n", arguments[0]);
    return 2;
  }
  std::error_code error;
  std::size_t replayed = 0;
  for (const auto& entry : std::filesystem::directory_iterator(arguments[1], error)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<char> seed{std::istreambuf_iterator<char>(file), {}};
    // An exact copy on the heap, so that a read past the end is found.
    const std::vector<std::uint8_t> exact(seed.begin(), seed.end());
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
    ++replayed;
  }
  std::printf("%zu seeds of %s replayed\n", replayed, arguments[1]);
  return replayed > 0 ? 0 : 1;
}

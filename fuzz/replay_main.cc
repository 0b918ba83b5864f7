// Driver for fuzz targets built without libFuzzer: runs the target on each file named on the
// command line, and with `--random N` on N deterministic pseudo-random inputs (random bytes and
// short runs of the same byte), so every test run exercises the reader on hostile input.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  int runs = 0;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--random") == 0 && i + 1 < argc) {
      long n = std::strtol(argv[++i], nullptr, 10);
      std::mt19937 rng(20261123);
      for (long k = 0; k < n; ++k) {
        size_t size = rng() % (k % 10 == 0 ? 4096 : 300);
        std::vector<uint8_t> input(size);
        uint8_t run_byte = static_cast<uint8_t>(rng());
        for (auto& b : input) b = (rng() % 4 == 0) ? run_byte : static_cast<uint8_t>(rng());
        LLVMFuzzerTestOneInput(input.data(), input.size());
        ++runs;
      }
      continue;
    }
    std::ifstream file(argv[i], std::ios::binary);
    if (!file) {
      std::fprintf(stderr, "cannot read %s\n", argv[i]);
      return 1;
    }
    std::vector<uint8_t> input((std::istreambuf_iterator<char>(file)),
                               std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(input.data(), input.size());
    ++runs;
  }
  std::printf("%d inputs ran\n", runs);
  return 0;
}

// A driver for the fuzz targets that needs no libFuzzer: it replays the files named on the
// command line, or else feeds the target random inputs and mutations of the last one, for a
// number of runs or seconds. Any crash or sanitizer report ends the program.
//
//   <prog> [--seconds=S] [--runs=N] [--seed=X] [file...]
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

// Values that sit on the edges of counts, lengths and sizes.
constexpr uint32_t kEdgeWords[] = {0,     1,          2,          0x7f,       0x80,      0xff,
                                   0x100, 0x7fffffff, 0x80000000, 0xfffffffe, 0xffffffff};

void Mutate(std::mt19937& rng, std::vector<uint8_t>* in) {
  std::uniform_int_distribution<int> op(0, 4);
  switch (op(rng)) {
    case 0:  // flip a bit
      if (!in->empty()) (*in)[rng() % in->size()] ^= static_cast<uint8_t>(1u << (rng() % 8));
      break;
    case 1:  // an edge word in either order
      if (in->size() >= 4) {
        const uint32_t w = kEdgeWords[rng() % std::size(kEdgeWords)];
        uint8_t* p = in->data() + rng() % (in->size() - 3);
        const bool big = rng() & 1;
        for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(w >> (big ? 24 - 8 * i : 8 * i));
      }
      break;
    case 2:  // grow
      in->resize(in->size() + 1 + rng() % 64, static_cast<uint8_t>(rng()));
      break;
    case 3:  // shrink
      if (!in->empty()) in->resize(rng() % in->size());
      break;
    default:  // a fresh random input
      in->resize(rng() % 8192);
      for (auto& b : *in) b = static_cast<uint8_t>(rng());
      break;
  }
}

bool ParseFlag(const char* arg, const char* name, unsigned long long* value) {
  const size_t n = std::strlen(name);
  if (std::strncmp(arg, name, n) != 0) return false;
  *value = std::strtoull(arg + n, nullptr, 10);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  unsigned long long seconds = 0, runs = 0, seed = 0;
  std::vector<std::string> files;
  for (int i = 1; i < argc; ++i) {
    if (ParseFlag(argv[i], "--seconds=", &seconds) || ParseFlag(argv[i], "--runs=", &runs) ||
        ParseFlag(argv[i], "--seed=", &seed)) {
      continue;
    }
    files.emplace_back(argv[i]);
  }
  for (const std::string& f : files) {
    std::ifstream is(f, std::ios::binary);
    std::vector<uint8_t> data((std::istreambuf_iterator<char>(is)),
                              std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(data.data(), data.size());
  }
  if (!files.empty()) return 0;
  if (seconds == 0 && runs == 0) runs = 1000;
  if (seed == 0) seed = std::random_device{}();
  std::printf("replay: seed %llu\n", seed);

  std::mt19937 rng(static_cast<uint32_t>(seed));
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  std::vector<uint8_t> input;
  unsigned long long done = 0;
  while ((runs == 0 || done < runs) &&
         (seconds == 0 || std::chrono::steady_clock::now() < deadline)) {
    Mutate(rng, &input);
    LLVMFuzzerTestOneInput(input.data(), input.size());
    ++done;
  }
  std::printf("replay: %llu inputs\n", done);
  return 0;
}

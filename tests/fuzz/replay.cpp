// Runs a fuzz target over existing files, in builds without a fuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

std::set<std::filesystem::path> files_of(const char* path) {
  if (!std::filesystem::is_directory(path)) {
    return {path};
  }
  std::set<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(path)) {
    files.insert(entry.path());
  }
  return files;
}

bool run(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    std::fprintf(stderr, "replay: cannot read %s\n", path.c_str());
    return false;
  }
  const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  std::fprintf(stderr, "replay: %s\n", path.c_str());  // the last file printed is the one that ended the process
  // A block of exactly this size, so that AddressSanitizer detects reading beyond it.
  const std::vector<uint8_t> input(bytes.begin(), bytes.end());
  LLVMFuzzerTestOneInput(input.data(), input.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s FILE|DIRECTORY...\n", argv[0]);
    return 2;
  }
  size_t count = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& path : files_of(argv[i])) {
      if (!run(path)) {
        return 1;
      }
      ++count;
    }
  }
  if (count == 0) {
    std::fprintf(stderr, "replay: no input\n");
    return 1;
  }
  std::fprintf(stderr, "replay: %zu inputs\n", count);
  return 0;
}

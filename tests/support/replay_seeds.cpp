// Gives every file of a directory to a fuzz target, once. A target that finds a fault aborts.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    std::vector<std::filesystem::path> seeds;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1]))
        seeds.push_back(entry.path());
    std::sort(seeds.begin(), seeds.end());
    for (const auto& seed : seeds) {
        std::fprintf(stderr, "%s\n", seed.c_str());
        std::ifstream file(seed, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        const std::vector<std::uint8_t> exact(bytes.begin(), bytes.end());
        LLVMFuzzerTestOneInput(exact.data(), exact.size());
    }
    return seeds.empty() ? 1 : 0;
}

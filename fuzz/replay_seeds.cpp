// Gives every seed of a fuzz target to it, once, or every file of the folder that is named. A
// target that finds a fault aborts.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int count, char** words) {
    const std::filesystem::path folder(count > 1 ? words[1] : ZOR_SEEDS);
    bool any = false;
    for (const auto& seed : std::filesystem::directory_iterator(folder)) {
        std::fprintf(stderr, "%s\n", seed.path().c_str());
        std::vector<std::uint8_t> bytes(seed.file_size());
        std::ifstream file(seed.path(), std::ios::binary);
        file.read(reinterpret_cast<char*>(bytes.data()), static_cast<long>(bytes.size()));
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        any = true;
    }
    return any ? 0 : 1;
}

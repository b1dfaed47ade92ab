// The reader of checksummed files on any bytes, beside a model that knows which of them pass; and
// the same bytes as a body, written and read again. The file lives in memory.
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include "fuzz.h"
#include "util/i_os_file.h"
#include "util/i_trace.h"

namespace {

constexpr std::size_t kTrailerSize = 8;

const std::string file_name = "/proc/self/fd/" + std::to_string(memfd_create("fuzz", 0));

std::uint32_t slowChecksum(std::string_view bytes) {
    std::uint32_t crc = 0;
    for (const char c : bytes) {
        crc ^= static_cast<std::uint32_t>(static_cast<unsigned char>(c)) << 8;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc << 1) ^ (crc & 0x8000 ? 0x11021 : 0);
    }
    return crc;
}

bool passes(std::string_view file) {
    if (file.size() <= kTrailerSize) return false;
    const std::size_t length = file.size() - kTrailerSize;
    std::uint32_t trailer[2];
    std::memcpy(trailer, file.data() + length, sizeof trailer);
    return trailer[0] == length && trailer[1] == slowChecksum(file.substr(0, length % 256));
}

std::string fileContent() {
    std::ifstream file(file_name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void checkReader(std::string_view file) {
    std::int32_t size = 0;
    const std::unique_ptr<char[]> body(CreateBufFromFile(file_name.c_str(), 1, &size, 0, 1));
    require((body != nullptr) == passes(file));
    require(size == static_cast<std::int32_t>(file.size() - kTrailerSize));
    require(!body || file.substr(0, file.size() - kTrailerSize) ==
                         std::string_view(body.get(), static_cast<std::size_t>(size)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    setTraceSink([](const char*) {});
    const std::string bytes(data, data + size);
    const auto length = static_cast<std::int32_t>(size);
    const short written = size > 0;
    require(WriteBufToFile(file_name.c_str(), 1, bytes.data(), length, 0, 0) == written);
    checkReader(bytes);
    require(WriteBufToFile(file_name.c_str(), 1, bytes.data(), length, 0, 1) == written);
    if (size > 0) {
        require(passes(fileContent()));
        std::int32_t got = 0;
        const std::unique_ptr<char[]> body(CreateBufFromFile(file_name.c_str(), 1, &got, 0, 1));
        require(body && std::string(body.get(), static_cast<std::size_t>(got)) == bytes);
    }
    return 0;
}

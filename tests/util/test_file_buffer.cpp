#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "support/captured_trace.h"
#include "support/scratch_directory.h"
#include "util/i_os_file.h"

namespace {
int unlink_error = 0;  // what unlink fails with
}

// Stands before the C library's, so that a removal can be refused to the administrator too.
extern "C" int unlink(const char* name) noexcept {
    errno = unlink_error;
    return unlink_error ? -1 : unlinkat(AT_FDCWD, name, 0);
}

namespace {

using testing::ElementsAre;

struct Read {
    std::optional<std::string> bytes;  // nothing for a null buffer
    std::int32_t size;
};

struct FileBuffer : testing::Test {
    ScratchDirectory scratch;
    CapturedTrace trace;
    const std::string name = scratch.path("f");

    Read read(std::int32_t maximum, short checksum) const {
        Read result{std::nullopt, 99};
        const std::unique_ptr<char[]> buffer(
            CreateBufFromFile(name.c_str(), 1, &result.size, maximum, checksum));
        if (!buffer) return result;
        EXPECT_EQ(buffer[static_cast<std::size_t>(result.size)], '\0');
        result.bytes.emplace(buffer.get(), static_cast<std::size_t>(result.size));
        return result;
    }
    short write(const std::string& bytes, short append, short checksum) const {
        return WriteBufToFile(name.c_str(), 1, bytes.data(),
                              static_cast<std::int32_t>(bytes.size()), append, checksum);
    }
    bool exists() const { return FileExists(name.c_str()) == 1; }
};

std::string trailer(std::uint32_t length, std::uint32_t checksum) {
    std::string bytes;
    for (const std::uint32_t word : {length, checksum}) {
        for (int i = 0; i < 4; ++i) {
            const int shift = std::endian::native == std::endian::little ? 8 * i : 24 - 8 * i;
            bytes += static_cast<char>(word >> shift);
        }
    }
    return bytes;
}

TEST_F(FileBuffer, ChecksumHasItsCheckValues) {
    EXPECT_EQ(Crc16(9, "123456789"), 0x31C3);
    EXPECT_EQ(Crc16(3, "abc"), 0x9DD6);
    EXPECT_EQ(Crc16(0, "abc"), 0);
}

TEST_F(FileBuffer, AChecksummedFileStandsByteForByte) {
    EXPECT_EQ(write("abc", 0, 1), 1);
    EXPECT_EQ(scratch.read("f"), "abc" + trailer(3, 0x9DD6));
    EXPECT_EQ(read(0, 1).bytes, "abc");
    const std::string even(256, 'x');
    EXPECT_EQ(write(even, 0, 1), 1);
    EXPECT_EQ(scratch.read("f"), even + trailer(256, 0));
    EXPECT_EQ(write("abc" + even, 0, 1), 1);
    EXPECT_EQ(scratch.read("f"), "abc" + even + trailer(259, 0x9DD6));
    EXPECT_EQ(read(0, 1).bytes, "abc" + even);
}

TEST_F(FileBuffer, OnlyTheFirstBytesOfTheBodyAreChecked) {
    const std::string body(300, 'b');
    for (const std::size_t changed : {0U, 43U, 44U, 299U}) {
        ASSERT_EQ(write(body, 0, 1), 1);
        std::string bytes = scratch.read("f");
        bytes[changed] = 'c';
        scratch.write("f", bytes);
        const bool passes = changed >= 44;  // 300 mod 256
        const Read result = read(0, 1);
        EXPECT_EQ(result.bytes.has_value(), passes) << changed;
        EXPECT_EQ(result.size, 300);
        EXPECT_EQ(exists(), passes) << changed;
    }
}

TEST_F(FileBuffer, AFileThatFailsItsCheckIsTracedAndRemoved) {
    const std::string told =
        "@ERROR CreateBufFromFile: Inconsistent binary checksum for file:  " + name + "  \n";
    for (const std::string& bytes :
         {std::string("abc") + trailer(4, 0x9DD6), "abc" + trailer(3, 0x9DD7),
          "abc" + trailer(3, 0x19DD6), std::string("plain text")}) {
        scratch.write("f", bytes);
        const Read result = read(0, 1);
        EXPECT_EQ(result.bytes, std::nullopt);
        EXPECT_EQ(result.size, static_cast<std::int32_t>(bytes.size()) - 8);
        EXPECT_FALSE(exists());
        EXPECT_EQ(trace.lines().back(), told);
    }
    scratch.write("f", "plain text");
    unlink_error = EROFS;
    EXPECT_EQ(read(0, 1).bytes, std::nullopt);
    unlink_error = 0;
    EXPECT_TRUE(exists());
    EXPECT_EQ(trace.lines().at(4), told);
    EXPECT_EQ(trace.lines().at(5),
              "@ERROR CreateBufFromFile: unlink failed, errno, file 30 " + name + " 0\n");
}

TEST_F(FileBuffer, TooShortForATrailerIsLeftAlone) {
    EXPECT_EQ(read(0, 1).size, 0);
    for (const int size : {0, 7, 8}) {
        scratch.write("f", std::string(static_cast<std::size_t>(size), 'x'));
        const Read result = read(0, 1);
        EXPECT_EQ(result.bytes, std::nullopt);
        EXPECT_EQ(result.size, size - 8);
        EXPECT_TRUE(exists());
    }
    scratch.write("f", "");
    EXPECT_EQ(read(0, 0).bytes, std::nullopt);
    EXPECT_TRUE(trace.lines().empty());
}

TEST_F(FileBuffer, APlainFileIsReadUpToTheMaximum) {
    scratch.write("f", std::string("12\0"
                                   "456",
                                   6));
    EXPECT_EQ(read(0, 0).bytes, std::string("12\0"
                                            "456",
                                            6));
    EXPECT_EQ(read(-1, 0).size, 6);
    EXPECT_EQ(read(7, 0).size, 6);
    EXPECT_EQ(read(4, 0).bytes, std::string("12\0"
                                            "4",
                                            4));
    EXPECT_TRUE(exists());
    EXPECT_EQ(CreateBufFromFile(scratch.path("").c_str(), 0, std::make_unique<int>().get(), 0, 1),
              nullptr);
}

TEST_F(FileBuffer, WritesTruncateAndAppendsAddNoTrailer) {
    EXPECT_EQ(write("made", 1, 1), 1);
    EXPECT_EQ(write(" more", 1, 1), 1);
    EXPECT_EQ(scratch.read("f"), "made more");
    EXPECT_EQ(write("new", 0, 0), 1);
    EXPECT_EQ(scratch.read("f"), "new");
    EXPECT_EQ(write("", 1, 1), 0);
    EXPECT_EQ(scratch.read("f"), "new");
    EXPECT_EQ(WriteBufToFile(name.c_str(), 0, "x", -1, 1, 0), 0);
    EXPECT_EQ(WriteBufToFile("/dev/full", 1, "x", 1, 0, 1), 0);
    EXPECT_EQ(WriteBufToFile("/dev/full", 1, "x", 1, 1, 0), 0);
    EXPECT_EQ(WriteBufToFile(scratch.path("no/f").c_str(), 1, "x", 1, 0, 1), 0);
    EXPECT_EQ(scratch.read("f"), "new");
}

}  // namespace

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <bit>
#include <memory>
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

struct FileBuffer : testing::Test {
    ScratchDirectory scratch;
    CapturedTrace trace;
    const std::string name = scratch.path("f");
    std::int32_t size = 99;

    // What the file reads as, or "null".
    std::string read(std::int32_t maximum, short checksum) {
        const std::unique_ptr<char[]> buffer(
            CreateBufFromFile(name.c_str(), 1, &size, maximum, checksum));
        return buffer ? std::string(buffer.get(), static_cast<std::size_t>(size)) : "null";
    }
    short write(const std::string& bytes, short append, short checksum) const {
        return WriteBufToFile(name.c_str(), 1, bytes.data(),
                              static_cast<std::int32_t>(bytes.size()), append, checksum);
    }
};

const bool little = std::endian::native == std::endian::little;
const std::string trailer_of_abc =
    little ? std::string("\x03\0\0\0\xD6\x9D\0\0", 8) : std::string("\0\0\0\x03\0\0\x9D\xD6", 8);

TEST_F(FileBuffer, AChecksummedFileStandsByteForByte) {
    EXPECT_EQ(Crc16(9, "123456789"), 0x31C3);
    EXPECT_EQ(write("abc", 0, 1), 1);
    EXPECT_EQ(scratch.read("f"), "abc" + trailer_of_abc);
    EXPECT_EQ(read(0, 1), "abc");
    EXPECT_EQ(write(std::string(256, 'x'), 0, 1), 1);
    EXPECT_EQ(scratch.read("f").substr(260), std::string(4, '\0'));
    const std::string body = "abc" + std::string(297, 'b');
    for (const std::size_t changed : {0U, 43U, 44U, 299U}) {
        EXPECT_EQ(write(body, 0, 1), 1);
        std::string bytes = scratch.read("f");
        bytes[changed] = 'c';
        scratch.write("f", bytes);
        const bool passes = changed >= 44;  // 300 mod 256
        EXPECT_EQ(read(0, 1), passes ? bytes.substr(0, 300) : "null") << changed;
        EXPECT_EQ(size, 300);
        EXPECT_EQ(FileExists(name.c_str()), passes);
    }
}

TEST_F(FileBuffer, AFileThatFailsItsCheckIsTracedAndRemovedButATooShortOneStays) {
    const std::string told =
        "@ERROR CreateBufFromFile: Inconsistent binary checksum for file:  " + name + "  \n";
    for (const std::string& bytes :
         {"abcd" + trailer_of_abc, "abd" + trailer_of_abc, std::string("plain text")}) {
        scratch.write("f", bytes);
        EXPECT_EQ(read(0, 1), "null");
        EXPECT_EQ(size, static_cast<std::int32_t>(bytes.size()) - 8);
        EXPECT_EQ(FileExists(name.c_str()), 0);
        EXPECT_EQ(trace.lines().back(), told);
    }
    scratch.write("f", "plain text");
    unlink_error = EROFS;
    EXPECT_EQ(read(0, 1), "null");
    unlink_error = 0;
    EXPECT_EQ(trace.lines().back(),
              "@ERROR CreateBufFromFile: unlink failed, errno, file 30 " + name + " 0\n");
    const std::size_t told_so_far = trace.lines().size();
    for (const int length : {0, 8}) {
        scratch.write("f", std::string(static_cast<std::size_t>(length), 'x'));
        EXPECT_EQ(read(0, 1), "null");
        EXPECT_EQ(size, length - 8);
        EXPECT_EQ(FileExists(name.c_str()), 1);
    }
    EXPECT_EQ(trace.lines().size(), told_so_far);
}

TEST_F(FileBuffer, PlainFilesAreReadUpToTheMaximumTruncatedAndAppendedTo) {
    EXPECT_EQ(read(0, 0), "null");
    EXPECT_EQ(write("made", 1, 1), 1);
    EXPECT_EQ(write(" more", 1, 1), 1);
    EXPECT_EQ(read(0, 0), "made more");
    EXPECT_EQ(read(4, 0), "made");
    EXPECT_EQ(write("new", 0, 0), 1);
    EXPECT_EQ(write("", 1, 1), 0);
    EXPECT_EQ(WriteBufToFile("/dev/full", 1, "x", 1, 0, 1), 0);
    EXPECT_EQ(WriteBufToFile(scratch.path("no/f").c_str(), 1, "x", 1, 0, 1), 0);
    EXPECT_EQ(read(0, 0), "new");
}

}  // namespace

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>

#include "support/captured_trace.h"
#include "support/pauses.h"
#include "support/scratch_directory.h"
#include "util/i_os_file.h"
#include "util/l_univ.h"

using namespace std::string_literals;

constexpr std::size_t kMostMemory = 1 << 30;  // what an allocation that may fail gets at most

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return size > kMostMemory ? nullptr : ::operator new[](size);
}

struct File : testing::Test {
    ScratchDirectory scratch;
    CapturedTrace trace;
    std::string name = scratch.path("f");
    std::int32_t size = 99;

    // What the file reads as into a buffer, or "null".
    std::string read(std::int32_t maximum, short checksum) {
        const std::unique_ptr<char[]> buffer(
            CreateBufFromFile(name.c_str(), 1, &size, maximum, checksum));
        return buffer ? std::string(buffer.get(), static_cast<std::size_t>(size)) : "null";
    }
    // What it holds after a write, or "failed".
    std::string write(const std::string& bytes, short append, short checksum) const {
        const auto length = static_cast<std::int32_t>(bytes.size());
        return WriteBufToFile(name.c_str(), 1, bytes.data(), length, append, checksum)
                   ? scratch.read("f")
                   : "failed";
    }
};

TEST_F(File, DirectoriesAreMadeAndListedAndWhatFailsIsTold) {
    ASSERT_EQ(chdir(scratch.top.c_str()), 0);
    EXPECT_EQ(create_dir("a/abdir") + create_dir("a/abdir"), 0);
    const std::string long_name = "ab" + std::string(60, 'x');
    scratch.write("a/" + long_name, "123");
    scratch.write("a/ba", "123");
    EXPECT_EQ(create_dir(scratch.path("a/ba/d").c_str()), -1);
    l_univ list, numbers("numbers", t_int);
    EXPECT_EQ((get_list_files("a", "b", numbers), numbers.count()), 0);
    EXPECT_EQ(symlink("nowhere", "a/abgone") + create_dir(""), -1);
    get_list_files("a", "ab", list);
    list.start();
    EXPECT_EQ(static_cast<ElDescFile*>(list.item(t_desc_file))->file.name, long_name.substr(0, 39));
    EXPECT_EQ(list.count(), 1);
    get_list_files("none", "", list);
    RemoveOneFile("none");
    EXPECT_EQ(OpenOrCreateFile("a", "a"), nullptr);
    // Of a path from the root, the slash in front and that of the first piece are both traced.
    EXPECT_EQ(trace.all(),
              "@create_dir a/abdir  \n@mkdir 0 a 0\n@mkdir 0 a/abdir 0\n@create_dir " +
                  scratch.path("a/ba/d  \n@mkdir -1 /") + scratch.path("a/ba/d 20\n") +
                  "numbers l_univ: put_right denied: index 0, count 0, id_type -3, "
                  "v->id_type -18\n@create_dir   \n@get_list_files: error in stat 2 abgone -1\n"
                  "@get_list_files: ERROR: Could not open directory 2 none -1\n"
                  "@RemoveOneFile: errno, file 2 none 0\n"
                  "@OpenOrCreateFile: error open OpenError a a errno 21  \n");
}

TEST_F(File, IsOpenedAtItsEndAndReadWholeWithPausesBesideAWriter) {
    // What is read, and the pauses; a writer fills the file in the second one.
    const auto story = [this](const char* before, short quick, const char* written) {
        std::filesystem::remove(name);
        if (before) std::fclose(OpenOrCreateFile(name.c_str(), "r+"));
        if (before) scratch.write("f", before);
        std::string pauses;
        on_pause = [&](long ms) {
            pauses += " " + std::to_string(ms);
            if (pauses == " 100 100" && written) scratch.write("f", written);
        };
        const std::unique_ptr<char[]> text(ReadWholeFile(name.c_str(), quick));
        on_pause = nullptr;
        return (text ? text.get() : "null") + pauses;
    };
    EXPECT_EQ(story(nullptr, 1, nullptr), "null 100 100 100 100 100");
    EXPECT_EQ(story(nullptr, 1, "late"), "late 100 100");
    EXPECT_EQ(story("", 0, nullptr), " 100 100 100 100");
    EXPECT_EQ(story("", 0, "late") + story("", 1, "late"), "late 100 100 100");
    EXPECT_EQ(story("a", 1, nullptr), "");
    EXPECT_EQ(story("ab", 1, nullptr), "ab");
    std::FILE* const stream = OpenOrCreateFile(name.c_str(), "r+");
    EXPECT_EQ(std::ftell(stream), 2);
    std::fclose(stream);
}

TEST_F(File, CofstreamSavesPieceByPieceAndKeepsItsTextUntilTheFileOpens) {
    scratch.write("f", "what stood before");
    auto log = std::make_unique<Cofstream>(name.c_str());
    *log << "one " << 1 << '\0';
    EXPECT_EQ(log->save(), 1);
    EXPECT_EQ(scratch.read("f"), "one 1\0"s);
    EXPECT_EQ(log->close(), 1);
    *log << "two";
    log.reset();
    EXPECT_EQ(scratch.read("f"), "one 1\0two"s);
    Cofstream late(scratch.path("d/log").c_str()), full("/dev/full");
    late = "kept";
    full << "lost";
    EXPECT_EQ(late.close() + full.save() + full.length(), 0);
    std::filesystem::create_directory(scratch.path("d"));
    scratch.write("d/log", "before, ");
    EXPECT_EQ(late.save(), 1);
    EXPECT_EQ(scratch.read("d/log"), "before, kept");
    EXPECT_EQ(trace.all(), "@Cofstream::save: error openw " + scratch.path("d/log  \n"));
}

TEST_F(File, AChecksummedBufferStandsByteForByteAndIsRemovedWhenItFails) {
    const std::uint32_t words[] = {3, 0x9DD6};  // in the machine's own byte order
    const std::string trailer(reinterpret_cast<const char*>(words), sizeof words);
    EXPECT_EQ(Crc16(9, "123456789"), 0x31C3);
    EXPECT_EQ(write("abc", 0, 1), "abc" + trailer);
    EXPECT_EQ(write(std::string(256, 'x'), 0, 1).substr(260), "\0\0\0\0"s);
    std::string early = write(std::string(300, 'b'), 0, 1), late = early;
    early[43] = late[44] = 'c';  // the checksum covers 300 mod 256 bytes
    const std::string told = "@ERROR CreateBufFromFile: ";
    const std::string failed = told + "Inconsistent binary checksum for file:  " + name + "  \n";
    const std::pair<std::string, char> cases[] = {// what is read, is gone, or stays
                                                  {"abc" + trailer, 'r'}, {late, 'r'},
                                                  {early, 'g'},           {"abcd" + trailer, 'g'},
                                                  {"8 bytes.", 's'},      {"", 's'}};
    for (const auto& [bytes, fate] : cases) {
        scratch.write("f", bytes);
        const std::string text = read(0, 1);
        EXPECT_EQ(size, static_cast<std::int32_t>(bytes.size()) - 8);
        EXPECT_EQ(text, fate == 'r' ? bytes.substr(0, bytes.size() - 8) : "null");
        EXPECT_EQ(FileExists(name.c_str()), fate != 'g') << bytes;
    }
    EXPECT_EQ(trace.all(), failed + failed);
    scratch.write("f", "plain text");
    name = "/proc/self/fd/" + std::to_string(open(name.c_str(), O_RDONLY));  // can't be removed
    EXPECT_EQ(read(0, 1), "null");
    EXPECT_EQ(trace.lines().back(), told + "unlink failed, errno, file 1 " + name + " 0\n");
}

TEST_F(File, PlainBuffersAreReadUpToTheMaximumTruncatedAndAppendedTo) {
    EXPECT_EQ(read(0, 0), "null");
    EXPECT_EQ(write("made", 1, 1), "made");
    EXPECT_EQ(write(" more", 1, 1), "made more");
    EXPECT_EQ(read(4, 0), "made");
    EXPECT_EQ(write("new", 0, 0) + write("", 1, 1), "newfailed");
    for (const char* bad : {"/dev/full", "/none/f"})
        EXPECT_EQ(WriteBufToFile(bad, 1, "x", 1, 0, 1), 0);
}

TEST_F(File, BeyondMemoryAndADirectoryReadAsNoFile) {
    const auto whole = [this] { return std::unique_ptr<char[]>(ReadWholeFile(name.c_str(), 1)); };
    scratch.write("f", "begin");
    for (const std::uintmax_t length : {kMostMemory + 0ULL, 3ULL << 30}) {
        std::filesystem::resize_file(name, length);
        EXPECT_EQ(read(0, 0), "null");
        EXPECT_EQ(whole(), nullptr);
        EXPECT_EQ(read(5, 0), "begin");
    }
    name = scratch.top;
    EXPECT_EQ(read(5, 0), "null");
    EXPECT_EQ(whole(), nullptr);
}

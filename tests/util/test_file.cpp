#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>
#include <utime.h>

#include <memory>

#include "support/captured_trace.h"
#include "support/pauses.h"
#include "support/scratch_directory.h"
#include "support/short_memory.h"
#include "util/i_os_file.h"
#include "util/l_univ.h"

using namespace std::string_literals;

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
    // The same as a text.
    std::string readWhole(short quick) const {
        const std::unique_ptr<char[]> text(ReadWholeFile(name.c_str(), quick));
        return text ? text.get() : "null";
    }
    // What it holds after a write, or "failed".
    std::string write(const std::string& bytes, short append, short checksum) const {
        const auto length = static_cast<std::int32_t>(bytes.size());
        return WriteBufToFile(name.c_str(), 1, bytes.data(), length, append, checksum)
                   ? scratch.read("f")
                   : "failed";
    }
};

TEST_F(File, EachMissingDirectoryOfAPathIsMadeAndTold) {
    umask(0);
    ASSERT_EQ(chdir(scratch.top.c_str()), 0);
    EXPECT_EQ(create_dir("a/b"), 0);
    EXPECT_EQ(create_dir("a/b"), 0);
    EXPECT_EQ(std::filesystem::status("a/b").permissions(), std::filesystem::perms::all);
    EXPECT_EQ(create_dir(""), -1);
    scratch.write("f", "");
    EXPECT_EQ(create_dir((name + "/c/d").c_str()), -1);
    // Of a path from the root, the slash in front and that of the first piece are both told.
    EXPECT_EQ(trace.all(),
              "@create_dir a/b  \n@mkdir 0 a 0\n@mkdir 0 a/b 0\n@create_dir   \n@create_dir " +
                  name + "/c/d  \n@mkdir -1 /" + name + "/c 20\n@mkdir -1 /" + name + "/c/d 20\n");
}

TEST_F(File, AListedFileHasADescriptionWithAByteFormAndALine) {
    setenv("TZ", "UTC0", 1);
    std::filesystem::create_directory(scratch.path("abdir"));
    scratch.write("ba", "");
    scratch.write("abc", "123");
    const utimbuf times{1767258061, 1104537599};
    ASSERT_EQ(utime(scratch.path("abc").c_str(), &times), 0);
    l_univ list;
    get_list_files(scratch.top.c_str(), "ab", list);
    ASSERT_EQ(list.count(), 1);
    list.start();
    unsigned char form[64];
    unsigned char* end = form;
    putDescFile(static_cast<ElDescFile*>(list.item(t_desc_file))->file, &end);
    EXPECT_EQ(std::string(form, end), "abc\0\3\0\0\0\xCD\x37\x56\x69\xFF\xE7\xD5\x41"s);
    ElDescFile copy(std::string(60, 'x').c_str(), {});
    EXPECT_EQ(copy.file.name, std::string(39, 'x'));
    const unsigned char* start = form;
    getDescFile(&copy.file, &start);
    copy.print();
    EXPECT_EQ(trace.all(),
              std::string(22, ' ') + "abc:       3, a: 26-01-01 09h01:01, w: 04-12-31 23h59:59\n");
}

TEST_F(File, WhatFailsIsTold) {
    ASSERT_EQ(chdir(scratch.top.c_str()), 0);
    scratch.write("f", "");
    l_univ numbers("numbers", t_int);
    get_list_files(".", "f", numbers);
    EXPECT_EQ(numbers.count(), 0);
    ASSERT_EQ(symlink("nowhere", "gone"), 0);
    get_list_files(".", "g", numbers);
    get_list_files("none", "", numbers);
    RemoveOneFile("f");
    RemoveOneFile("f");
    EXPECT_EQ(OpenOrCreateFile(".", "a"), nullptr);
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit nothing{0, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &nothing);
    EXPECT_EQ(OpenOrCreateFile("f", "rb"), nullptr);
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_EQ(trace.all(),
              "numbers l_univ: put_right denied: index 0, count 0, id_type -3, v->id_type -18\n"
              "@get_list_files: error in stat 2 gone -1\n"
              "@get_list_files: ERROR: Could not open directory 2 none -1\n"
              "@RemoveOneFile: errno, file 2 f 0\n"
              "@OpenOrCreateFile: error open OpenError . a errno 21  \n"
              "@OpenOrCreateFile: error open OpenError f rb too many open files  \n");
}

TEST_F(File, IsOpenedAtItsEndOrMade) {
    for (const long length : {0, 3}) {
        std::FILE* const stream = OpenOrCreateFile(name.c_str(), "r+");
        EXPECT_EQ(std::ftell(stream), length);
        std::fputs("abc", stream);
        std::fclose(stream);
    }
}

TEST_F(File, IsReadWholeWithPausesBesideAWriter) {
    // What stands in the file, if it is there; quick; what a writer puts into it in the second
    // pause, if anything; what is read, and the pauses.
    const std::tuple<const char*, short, const char*, const char*> cases[] = {
        {nullptr, 1, nullptr, "null 100 100 100 100 100"},
        {nullptr, 1, "late", "late 100 100"},
        {"", 0, nullptr, " 100 100 100 100"},
        {"", 0, "late", "late 100 100"},
        {"", 1, "late", " 100"},
        {"a", 1, nullptr, ""},
        {"ab", 1, nullptr, "ab"}};
    for (const auto& [before, quick, written, expected] : cases) {
        std::filesystem::remove(name);
        if (before) scratch.write("f", before);
        std::string pauses;
        on_pause = [&, late = written](long ms) {
            pauses += " " + std::to_string(ms);
            if (late && pauses == " 100 100") scratch.write("f", late);
        };
        const std::string text = readWhole(quick);
        on_pause = nullptr;
        EXPECT_EQ(text + pauses, expected);
    }
}

TEST_F(File, CofstreamSavesPieceByPiece) {
    scratch.write("f", "what stood before");
    auto log = std::make_unique<Cofstream>(name.c_str());
    *log << "one " << 1 << '\0';
    EXPECT_EQ(log->save(), 1);
    EXPECT_EQ(scratch.read("f"), "one 1\0"s);
    EXPECT_EQ(log->close(), 1);
    *log << "two";
    log.reset();
    EXPECT_EQ(scratch.read("f"), "one 1\0two"s);
}

TEST_F(File, CofstreamKeepsItsTextUntilTheFileOpens) {
    Cofstream late(scratch.path("d/log").c_str());
    late = "kept";
    EXPECT_EQ(late.close(), 0);
    std::filesystem::create_directory(scratch.path("d"));
    scratch.write("d/log", "before, ");
    EXPECT_EQ(late.save(), 1);
    EXPECT_EQ(scratch.read("d/log"), "before, kept");
    EXPECT_EQ(trace.all(), "@Cofstream::save: error openw " + scratch.path("d/log  \n"));
    Cofstream full("/dev/full");
    full << "lost";
    EXPECT_EQ(full.save(), 0);
    EXPECT_EQ(full.length(), 0);
}

TEST_F(File, AChecksummedBufferStandsByteForByteAndIsRemovedWhenItFails) {
    const std::uint32_t words[] = {3, 0x9DD6};  // in the machine's own byte order
    const std::string trailer(reinterpret_cast<const char*>(words), sizeof words);
    EXPECT_EQ(Crc16(9, "123456789"), 0x31C3);
    EXPECT_EQ(write("abc", 0, 1), "abc" + trailer);
    EXPECT_EQ(write(std::string(256, 'x'), 0, 1).substr(260), "\0\0\0\0"s);
    std::string early = write(std::string(300, 'b'), 0, 1);
    std::string late = early;
    early[43] = 'c';
    late[44] = 'c';  // the checksum covers 300 mod 256 bytes
    const std::string told = "@ERROR CreateBufFromFile: ";
    const std::string failed = told + "Inconsistent binary checksum for file:  " + name + "  \n";
    enum Fate { kRead, kGone, kStays };
    const std::pair<std::string, Fate> cases[] = {
        {"abc" + trailer, kRead},  {late, kRead},        {early, kGone},
        {"abcd" + trailer, kGone}, {"8 bytes.", kStays}, {"", kStays}};
    for (const auto& [bytes, fate] : cases) {
        scratch.write("f", bytes);
        const std::string text = read(0, 1);
        EXPECT_EQ(size, static_cast<std::int32_t>(bytes.size()) - 8);
        EXPECT_EQ(text, fate == kRead ? bytes.substr(0, bytes.size() - 8) : "null");
        EXPECT_EQ(FileExists(name.c_str()), fate != kGone) << bytes;
    }
    EXPECT_EQ(trace.all(), failed + failed);
    scratch.write("f", "plain text");
    name = "/proc/self/fd/" + std::to_string(open(name.c_str(), O_RDONLY));  // can't be removed
    EXPECT_EQ(read(0, 1), "null");
    EXPECT_EQ(trace.lines().back(), told + "unlink failed, errno, file 1 " + name + " 0\n");
}

TEST_F(File, APlainBufferIsReadUpToTheMaximumTruncatedAndAppendedTo) {
    EXPECT_EQ(read(0, 0), "null");
    EXPECT_EQ(write("made", 1, 1), "made");
    EXPECT_EQ(write(" more", 1, 1), "made more");
    EXPECT_EQ(read(4, 0), "made");
    EXPECT_EQ(write("new", 0, 0), "new");
    EXPECT_EQ(write("", 1, 1), "failed");
    for (const char* bad : {"/dev/full", "/none/f"})
        EXPECT_EQ(WriteBufToFile(bad, 1, "x", 1, 0, 1), 0);
}

TEST_F(File, BeyondMemoryAndADirectoryReadAsNoFile) {
    scratch.write("f", "begin");
    for (const std::uintmax_t length : {kMostMemory + 0ULL, 3ULL << 30}) {
        std::filesystem::resize_file(name, length);
        EXPECT_EQ(read(0, 0), "null");
        EXPECT_EQ(readWhole(1), "null");
        EXPECT_EQ(read(5, 0), "begin");
    }
    name = scratch.top;
    EXPECT_EQ(read(5, 0), "null");
    EXPECT_EQ(readWhole(1), "null");
}

#include <fcntl.h>
#include <gtest/gtest.h>
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
    File() { std::filesystem::current_path(scratch.top); }

    ScratchDirectory scratch;
    CapturedTrace trace;
    std::string name = "f";
    std::int32_t size = 99;

    // What the file reads as into a buffer or as a text, or "null".
    std::string read(std::int32_t maximum, short checksum) {
        const std::unique_ptr<char[]> buffer(
            CreateBufFromFile(name.c_str(), 1, &size, maximum, checksum));
        return buffer ? std::string(buffer.get(), static_cast<std::size_t>(size)) : "null";
    }
    std::string readWhole(short quick) const {
        const std::unique_ptr<char[]> text(ReadWholeFile(name.c_str(), quick));
        return text ? text.get() : "null";
    }
    // What it holds after a write, or "failed".
    std::string write(const std::string& bytes, short append, short checksum) const {
        const auto length = static_cast<std::int32_t>(bytes.size());
        const short written = WriteBufToFile("f", 1, bytes.data(), length, append, checksum);
        return written ? scratch.read("f") : "failed";
    }
};

TEST_F(File, EachMissingDirectoryOfAPathIsMadeAndTold) {
    umask(0);
    EXPECT_EQ(create_dir("a/b"), 0);
    EXPECT_EQ(create_dir("a/b"), 0);
    EXPECT_EQ(std::filesystem::status("a/b").permissions(), std::filesystem::perms::all);
    EXPECT_EQ(create_dir(""), -1);
    scratch.write("f", "");
    EXPECT_EQ(create_dir("f/c/d"), -1);
    EXPECT_EQ(create_dir("/dev/null/x"), -1);  // the slash in front and the first one are both told
    EXPECT_EQ(
        trace.all(),
        "@create_dir a/b  \n@mkdir 0 a 0\n@mkdir 0 a/b 0\n@create_dir   \n@create_dir f/c/d  \n"
        "@mkdir -1 f/c 20\n@mkdir -1 f/c/d 20\n@create_dir /dev/null/x  \n"
        "@mkdir -1 //dev/null/x 20\n");
}

TEST_F(File, AListedFileHasADescriptionWithAByteFormAndALine) {
    setenv("TZ", "UTC0", 1);
    std::filesystem::create_directory("abdir");
    scratch.write("ba", "");
    scratch.write("abc", "123");
    const utimbuf times{1767258061, 1104537599};
    ASSERT_EQ(utime("abc", &times), 0);
    l_univ list;
    get_list_files(".", "ab", list);
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
    scratch.write("f", "");
    l_univ numbers("numbers", t_int);
    get_list_files(".", "f", numbers);
    ASSERT_EQ(symlink("nowhere", "gone"), 0);
    get_list_files(".", "g", numbers);
    get_list_files("none", "", numbers);
    RemoveOneFile("f");
    RemoveOneFile("none");
    EXPECT_EQ(OpenOrCreateFile(".", "a"), nullptr);
    EXPECT_EQ(trace.all(),
              "numbers l_univ: put_right denied: index 0, count 0, id_type -3, v->id_type -18\n"
              "@get_list_files: error in stat 2 gone -1\n"
              "@get_list_files: ERROR: Could not open directory 2 none -1\n"
              "@RemoveOneFile: errno, file 2 none 0\n"
              "@OpenOrCreateFile: error open OpenError . a errno 21  \n");
}

TEST_F(File, IsOpenedAtItsEndOrMade) {
    for (const long length : {0, 3}) {
        std::FILE* const stream = OpenOrCreateFile("f", "r+");
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
    auto log = std::make_unique<Cofstream>("f");
    *log << "one " << 1 << '\0';
    EXPECT_EQ(log->save(), 1);
    EXPECT_EQ(scratch.read("f"), "one 1\0"s);
    EXPECT_EQ(log->close(), 1);
    std::filesystem::remove("f");
    scratch.write("f", "new, ");
    *log << "two";
    log.reset();
    EXPECT_EQ(scratch.read("f"), "new, two");
}

TEST_F(File, CofstreamKeepsItsTextUntilTheFileOpens) {
    Cofstream late("d/log");
    late = "kept";
    EXPECT_EQ(late.close(), 0);
    EXPECT_EQ(trace.all(), "@Cofstream::save: error openw d/log  \n");
    std::filesystem::create_directory("d");
    scratch.write("d/log", "before, ");
    EXPECT_EQ(late.save(), 1);
    EXPECT_EQ(scratch.read("d/log"), "before, kept");
    Cofstream full("/dev/full");
    full << "lost";
    EXPECT_EQ(full.save(), 0);
    EXPECT_EQ(full.length(), 0);
}

TEST_F(File, AChecksummedBufferStandsByteForByte) {
    const std::uint32_t trailer[] = {3, 0x9DD6};  // in the machine's own byte order
    const std::string bytes(reinterpret_cast<const char*>(trailer), sizeof trailer);
    EXPECT_EQ(write("abc", 0, 1), "abc" + bytes);
    EXPECT_EQ(read(0, 1), "abc");
}

TEST_F(File, AChecksummedBufferIsRemovedWhenItFails) {
    scratch.write("f", "8 bytes.");
    EXPECT_EQ(read(0, 1), "null");
    EXPECT_EQ(FileExists("f"), 1);
    scratch.write("f", "plain text");
    EXPECT_EQ(read(0, 1), "null");
    EXPECT_EQ(size, 2);
    EXPECT_EQ(FileExists("f"), 0);
    scratch.write("f", "plain text");
    name = "/proc/self/fd/" + std::to_string(open("f", O_RDONLY));  // can't be removed
    EXPECT_EQ(read(0, 1), "null");
    const std::string failed = "@ERROR CreateBufFromFile: Inconsistent binary checksum for file:  ";
    EXPECT_EQ(trace.all(), failed + "f  \n" + failed + name +
                               "  \n@ERROR CreateBufFromFile: unlink failed, errno, file 1 " +
                               name + " 0\n");
}

TEST_F(File, APlainBufferIsReadUpToTheMaximumTruncatedAndAppendedTo) {
    EXPECT_EQ(read(0, 0), "null");
    EXPECT_EQ(write("made", 1, 1), "made");
    EXPECT_EQ(write(" more", 1, 1), "made more");
    EXPECT_EQ(read(4, 0), "made");
    EXPECT_EQ(write("new", 0, 0), "new");
    EXPECT_EQ(write("", 1, 1), "failed");
    EXPECT_EQ(WriteBufToFile("/dev/full", 1, "x", 1, 0, 1), 0);
    EXPECT_EQ(WriteBufToFile("/none/f", 1, "x", 1, 0, 1), 0);
}

TEST_F(File, BeyondMemoryAndADirectoryReadAsNoFile) {
    scratch.write("f", "begin");
    for (const std::uintmax_t length : {kMostMemory + 0ULL, 3ULL << 30}) {
        std::filesystem::resize_file("f", length);
        EXPECT_EQ(read(0, 0), "null");
        EXPECT_EQ(readWhole(1), "null");
        EXPECT_EQ(read(5, 0), "begin");
    }
    name = scratch.top;
    EXPECT_EQ(read(5, 0), "null");
    EXPECT_EQ(readWhole(1), "null");
}

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/captured_trace.h"
#include "support/scratch_directory.h"
#include "util/i_os_file.h"
#include "util/l_univ.h"

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

struct File : testing::Test {
    ScratchDirectory scratch;
    CapturedTrace trace;
    const std::string top = scratch.path("");
    const std::string name = scratch.path("f");
};

TEST_F(File, CreateDirMakesWhatIsMissingAndTellsEachStep) {
    ASSERT_EQ(chdir(top.c_str()), 0);
    EXPECT_EQ(create_dir("a/b/c"), 0);
    EXPECT_EQ(create_dir("a/b/c"), 0);
    scratch.write("f", "x");
    EXPECT_EQ(create_dir((name + "/d").c_str()), -1);
    EXPECT_EQ(create_dir(""), -1);
    // Of a path from the root, the slash in front and that of the first piece are both traced.
    EXPECT_THAT(trace.lines(),
                ElementsAre("@create_dir a/b/c  \n", "@mkdir 0 a 0\n", "@mkdir 0 a/b 0\n",
                            "@mkdir 0 a/b/c 0\n", "@create_dir " + name + "/d  \n",
                            "@mkdir -1 /" + name + "/d 20\n", "@create_dir   \n"));
}

TEST_F(File, ListsRegularFilesByPrefixAndTellsWhatFails) {
    const std::string long_name = "ab" + std::string(60, 'x');
    for (const auto& file : {std::string("abc"), std::string("ba"), long_name}) {
        scratch.write(file, "123");
    }
    ASSERT_EQ(mkdir(scratch.path("abdir").c_str(), 0777), 0);
    ASSERT_EQ(symlink("nowhere", scratch.path("abgone").c_str()), 0);
    l_univ list;
    get_list_files(top.c_str(), "ab", list);
    std::vector<std::string> found;
    for (list.start(); list.off() == 0; list.forth()) {
        found.emplace_back(static_cast<ElDescFile*>(list.item(t_desc_file))->file.name);
    }
    EXPECT_THAT(found, testing::UnorderedElementsAre("abc", long_name.substr(0, 39)));
    get_list_files(name.c_str(), "", list);
    RemoveOneFile(name.c_str());
    EXPECT_THAT(trace.lines(),
                ElementsAre("@get_list_files: error in stat 2 abgone -1\n",
                            "@get_list_files: ERROR: Could not open directory 2 " + name + " -1\n",
                            "@RemoveOneFile: errno, file 2 " + name + " 0\n"));
}

TEST_F(File, ADescriptionPrintsOneLineAndHasAByteForm) {
    setenv("TZ", "UTC0", 1);
    struct stat status {};
    status.st_size = -2;
    status.st_atime = 1767258061;  // 2026-01-01 09:01:01 UTC
    status.st_mtime = 1104537599;  // 2004-12-31 23:59:59 UTC
    ElDescFile element("calls.log", status);
    element.print();
    EXPECT_THAT(trace.raw(), ElementsAre("                calls.log:      -2, a: 26-01-01 "
                                         "09h01:01, w: 04-12-31 23h59:59\n"));
    std::string bytes(64, '?');
    auto* put = reinterpret_cast<unsigned char*>(bytes.data());
    const unsigned char* get = put;
    putDescFile(element.file, &put);
    EXPECT_EQ(bytes.substr(0, 23), std::string("calls.log\0\xFE\xFF\xFF\xFF\xCD\x37\x56\x69"
                                               "\xFF\xE7\xD5\x41?",
                                               23));
    DescFile read{};
    getDescFile(&read, &get);
    EXPECT_EQ(get, put);
    EXPECT_STREQ(read.name, "calls.log");
    EXPECT_EQ(read.write_time, 1104537599);
}

TEST_F(File, OpensAtTheEndOrCreates) {
    for (const char* text : {"one", "two"}) {
        std::FILE* const stream = OpenOrCreateFile(name.c_str(), "r+");
        ASSERT_NE(stream, nullptr);
        EXPECT_EQ(std::ftell(stream), *text == 'o' ? 0 : 3);
        std::fputs(text, stream);
        std::fclose(stream);
    }
    EXPECT_EQ(scratch.read("f"), "onetwo");
    EXPECT_EQ(OpenOrCreateFile(top.c_str(), "a"), nullptr);
    EXPECT_THAT(trace.lines(),
                ElementsAre("@OpenOrCreateFile: error open OpenError " + top + " a errno 21  \n"));
}

TEST_F(File, ReadsAWholeFileWithPausesForAnEmptyOrAbsentOneAndAWriterAtWork) {
    const auto check = [this](short quick, const char* expected, int pauses) {
        const auto start = std::chrono::steady_clock::now();
        const std::unique_ptr<char[]> text(ReadWholeFile(name.c_str(), quick));
        const auto spent = std::chrono::steady_clock::now() - start;
        EXPECT_STREQ(text.get(), expected);
        EXPECT_GE(spent, milliseconds(100 * pauses));
        EXPECT_LT(spent, milliseconds(100 * pauses + 95));
    };
    check(1, nullptr, 5);
    for (const char* text : {"ab", "a"}) {
        scratch.write("f", text);
        check(0, text[1] ? text : "", 0);
    }
    scratch.write("f", "");
    check(1, "", 1);
    check(0, "", 4);
    std::thread writer([this] {
        std::this_thread::sleep_for(milliseconds(150));
        scratch.write("f", "written at last");
    });
    check(0, "written at last", 2);
    writer.join();
}

TEST_F(File, CofstreamSavesPieceByPieceAndKeepsItsTextUntilTheFileOpens) {
    scratch.write("f", "what stood before");
    {
        Cofstream log(name.c_str());
        log << "one " << 1 << '\0';
        EXPECT_EQ(log.save(), 1);
        EXPECT_EQ(scratch.read("f"), std::string("one 1\0", 6));
        EXPECT_EQ(log.close(), 1);
        log << "two";
    }
    EXPECT_EQ(scratch.read("f"), std::string("one 1\0two", 9));
    Cofstream late(scratch.path("d/log").c_str());
    late << "kept";
    EXPECT_EQ(late.close(), 0);
    ASSERT_EQ(mkdir(scratch.path("d").c_str(), 0777), 0);
    scratch.write("d/log", "before, ");
    EXPECT_EQ(late.save(), 1);
    EXPECT_EQ(scratch.read("d/log"), "before, kept");
    Cofstream full("/dev/full");
    full << "lost";
    EXPECT_EQ(full.save(), 0);
    EXPECT_EQ(full.length(), 0);
    EXPECT_THAT(trace.lines(),
                ElementsAre("@Cofstream::save: error openw " + scratch.path("d/log") + "  \n"));
}

}  // namespace

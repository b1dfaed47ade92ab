#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/captured_trace.h"
#include "support/scratch_directory.h"
#include "util/i_os_file.h"
#include "util/i_os_file_stream.h"
#include "util/l_univ.h"

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

struct File : testing::Test {
    ScratchDirectory scratch;
    CapturedTrace trace;
    std::string path(const char* name) const { return scratch.path(name); }
};

TEST_F(File, CreateDirMakesWhatIsMissingAndTellsEachStep) {
    const std::string top = path("a");
    const std::string all = top + "/b/c";
    EXPECT_EQ(create_dir(all.c_str()), 0);
    EXPECT_EQ(FileExists(all.c_str()), 1);
    // The slash in front of the first piece and its own one both stand in the traced path.
    const std::string told = "@mkdir 0 /" + top;
    EXPECT_THAT(trace.lines(), ElementsAre("@create_dir " + all + "  \n", told + " 0\n",
                                           told + "/b 0\n", told + "/b/c 0\n"));
    EXPECT_EQ(create_dir(all.c_str()), 0);
    EXPECT_EQ(trace.lines().size(), 4U);

    scratch.write("file", "x");
    EXPECT_EQ(create_dir(path("file/d/e").c_str()), -1);
    EXPECT_THAT(trace.lines(), testing::Contains("@mkdir -1 /" + path("file/d/e") + " 20\n"));
    EXPECT_EQ(create_dir(""), -1);
    ASSERT_EQ(chdir(scratch.path("").c_str()), 0);
    EXPECT_EQ(create_dir("r/s/"), 0);
    EXPECT_EQ(trace.lines().back(), "@mkdir 0 r/s 0\n");
}

TEST_F(File, ListsRegularFilesByPrefixBehindWhatTheListHolds) {
    for (const char* name : {"abc", "ab", "ba"})
        scratch.write(name, name);
    ASSERT_EQ(create_dir(path("abdir").c_str()), 0);
    ASSERT_EQ(symlink(path("ba").c_str(), path("ablink").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", path("abgone").c_str()), 0);
    const std::string long_name = "ab" + std::string(60, 'x');
    scratch.write(long_name.c_str(), "");
    const std::size_t told = trace.lines().size();

    l_univ list;
    list.put_end(new el_int);
    get_list_files(path("").c_str(), "ab", list);
    std::vector<std::string> found;
    for (list.start(), list.forth(); list.off() == 0; list.forth()) {
        const auto* element = static_cast<ElDescFile*>(list.item(t_desc_file));
        found.push_back(element->file.name + (" " + std::to_string(element->file.size)));
    }
    EXPECT_THAT(found,
                UnorderedElementsAre("abc 3", "ab 2", "ablink 2", long_name.substr(0, 39) + " 0"));
    EXPECT_EQ(trace.lines().at(told), "@get_list_files: error in stat 2 abgone -1\n");

    const int before = list.count();
    get_list_files(path("none").c_str(), "", list);
    EXPECT_EQ(list.count(), before);
    EXPECT_EQ(trace.lines().back(),
              "@get_list_files: ERROR: Could not open directory 2 " + path("none") + " -1\n");
}

TEST_F(File, AnElementPrintsOneLineAndItsDescriptionHasAByteForm) {
    setenv("TZ", "UTC0", 1);
    struct stat status {};
    status.st_size = 1234;
    status.st_atime = 1767258061;  // 2026-01-01 09:01:01 UTC
    status.st_mtime = 1104537599;  // 2004-12-31 23:59:59 UTC
    ElDescFile element("calls.log", status);
    element.print();
    EXPECT_THAT(trace.raw(), ElementsAre("                calls.log:    1234, a: 26-01-01 "
                                         "09h01:01, w: 04-12-31 23h59:59\n"));
    EXPECT_EQ(element.id_type, -18);

    element.file.size = -2;
    unsigned char bytes[64] = {};
    unsigned char* put = bytes;
    putDescFile(element.file, &put);
    const unsigned char expected[] = "calls.log\0\xFE\xFF\xFF\xFF\xCD\x37\x56\x69\xFF\xE7\xD5\x41";
    EXPECT_EQ(put - bytes, 22);
    EXPECT_TRUE(std::equal(bytes, put, expected));
    DescFile read{};
    const unsigned char* get = bytes;
    getDescFile(&read, &get);
    EXPECT_EQ(get, put);
    EXPECT_STREQ(read.name, "calls.log");
    EXPECT_THAT((std::vector{read.size, read.access_time, read.write_time}),
                ElementsAre(-2, 1767258061, 1104537599));
}

TEST_F(File, RemovesAFileOrTellsWhyNot) {
    scratch.write("f", "x");
    RemoveOneFile(path("f").c_str());
    EXPECT_EQ(FileExists(path("f").c_str()), 0);
    EXPECT_TRUE(trace.lines().empty());
    RemoveOneFile(path("f").c_str());
    EXPECT_THAT(trace.lines(), ElementsAre("@RemoveOneFile: errno, file 2 " + path("f") + " 0\n"));
}

TEST_F(File, OpensAtTheEndOrCreates) {
    const std::string name = path("f");
    for (const char* text : {"one", "two"}) {
        const FileStream stream(OpenOrCreateFile(name.c_str(), "r+"));
        ASSERT_NE(stream, nullptr);
        EXPECT_EQ(std::ftell(stream.get()), *text == 'o' ? 0 : 3);
        std::fputs(text, stream.get());
    }
    EXPECT_EQ(scratch.read("f"), "onetwo");
    EXPECT_TRUE(trace.lines().empty());

    EXPECT_EQ(OpenOrCreateFile(path("no/f").c_str(), "rb"), nullptr);
    EXPECT_EQ(OpenOrCreateFile(path("").c_str(), "a"), nullptr);
    rlimit old;
    getrlimit(RLIMIT_NOFILE, &old);
    const rlimit few{64, old.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
    std::vector<FileStream> taken;
    while (FileStream stream{std::fopen("/dev/null", "r")})
        taken.push_back(std::move(stream));
    EXPECT_EQ(OpenOrCreateFile(name.c_str(), "r+"), nullptr);
    taken.clear();
    setrlimit(RLIMIT_NOFILE, &old);
    const std::string told = "@OpenOrCreateFile: error open OpenError ";
    EXPECT_THAT(trace.lines(), ElementsAre(told + path("no/f") + " rb errno 2  \n",
                                           told + path("") + " a errno 21  \n",
                                           told + name + " r+ too many open files  \n"));
    EXPECT_EQ(scratch.read("f"), "onetwo");
}

struct WholeRead {
    std::unique_ptr<char[]> text;
    milliseconds spent;
};

WholeRead readWhole(const std::string& name, short quick) {
    const auto start = std::chrono::steady_clock::now();
    std::unique_ptr<char[]> text(ReadWholeFile(name.c_str(), quick));
    return {std::move(text),
            std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start)};
}

TEST_F(File, ReadsAWholeFileWithPausesOnlyForAnEmptyOrAbsentOne) {
    scratch.write("two", "ab");
    scratch.write("one", "a");
    scratch.write("none", "");
    struct Case {
        const char* name;
        short quick;
        const char* text;
        int least_ms;
        int most_ms;
    };
    for (const auto& c :
         {Case{"two", 0, "ab", 0, 90}, Case{"one", 0, "", 0, 90}, Case{"none", 1, "", 100, 190},
          Case{"none", 0, "", 400, 490}, Case{"absent", 1, nullptr, 500, 590}}) {
        const WholeRead read = readWhole(path(c.name), c.quick);
        EXPECT_STREQ(read.text.get(), c.text) << c.name;
        EXPECT_GE(read.spent.count(), c.least_ms) << c.name;
        if (read.spent.count() > c.most_ms)
            ADD_FAILURE() << c.name << " took " << read.spent.count();
    }
}

TEST_F(File, AWholeReadWaitsForAWriterAtWork) {
    scratch.write("late", "");
    std::thread writer([this] {
        std::this_thread::sleep_for(milliseconds(150));
        scratch.write("late", "written at last");
    });
    EXPECT_STREQ(readWhole(path("late"), 0).text.get(), "written at last");
    writer.join();
}

TEST_F(File, CofstreamSavesPieceByPiece) {
    scratch.write("log", "what stood before");
    {
        Cofstream log(path("log").c_str());
        log << "one " << 1 << '\n';
        EXPECT_EQ(log.save(), 1);
        EXPECT_EQ(log.length(), 0);
        EXPECT_EQ(scratch.read("log"), "one 1\n");
        log << "two\n";
        log += '\0';
        EXPECT_EQ(log.close(), 1);
        log << "three\n";
    }
    EXPECT_EQ(scratch.read("log"), std::string("one 1\ntwo\n\0three\n", 17));
    Cofstream empty(path("new").c_str());
    EXPECT_EQ(FileExists(path("new").c_str()), 0);
    EXPECT_EQ(empty.save(), 1);
    EXPECT_EQ(FileExists(path("new").c_str()), 1);
    EXPECT_TRUE(trace.lines().empty());
}

TEST_F(File, CofstreamKeepsItsTextUntilTheFileOpensAndDropsWhatTheDiskRefuses) {
    Cofstream log(path("dir/log").c_str());
    log << "kept";
    EXPECT_EQ(log.save(), 0);
    EXPECT_EQ(log.close(), 0);
    EXPECT_STREQ(log.c_str(), "kept");
    const std::string told = "@Cofstream::save: error openw " + path("dir/log") + "  \n";
    EXPECT_THAT(trace.lines(), ElementsAre(told, told));
    ASSERT_EQ(mkdir(path("dir").c_str(), 0777), 0);
    scratch.write("dir/log", "before, ");
    EXPECT_EQ(log.save(), 1);
    EXPECT_EQ(scratch.read("dir/log"), "before, kept");

    Cofstream full("/dev/full");
    full << "lost";
    EXPECT_EQ(full.save(), 0);
    EXPECT_EQ(full.length(), 0);
    EXPECT_EQ(full.save(), 1);
}

}  // namespace

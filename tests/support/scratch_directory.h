#pragma once
// A directory of its own for one test, gone with all that it holds at the end.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

struct ScratchDirectory {
    ScratchDirectory() {
        if (!mkdtemp(top.data())) std::abort();
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ~ScratchDirectory() { std::filesystem::remove_all(top); }

    std::string path(const std::string& name) const { return top + "/" + name; }
    void write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
    }
    std::string read(const std::string& name) const {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string top = std::filesystem::temp_directory_path() / "zor_test_XXXXXX";
};

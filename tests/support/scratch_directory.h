#pragma once
// A directory of its own for one test, gone with all that it holds at the end.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

class ScratchDirectory {
  public:
    ScratchDirectory() : top_(std::filesystem::temp_directory_path() / "zor_test_XXXXXX") {
        if (!mkdtemp(top_.data())) std::abort();
    }
    ~ScratchDirectory() { std::filesystem::remove_all(top_); }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    /// The path of a name in it; of the empty name, the directory's own.
    std::string path(const std::string& name) const {
        return name.empty() ? top_ : top_ + "/" + name;
    }

    void write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
    }
    std::string read(const std::string& name) const {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

  private:
    std::string top_;
};

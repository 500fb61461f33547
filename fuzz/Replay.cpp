// Runs a fuzz target on the files that are named, and on those in the folders that are named.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> FilesAt(const fs::path& path) {
    std::vector<fs::path> files;
    std::error_code failure;
    if (!fs::is_directory(path, failure)) {
        return {path};
    }
    for (const auto& entry : fs::directory_iterator(path, failure)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool Run(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    if (!stream.good() && !stream.eof()) {
        std::fprintf(stderr, "%s can't be read\n", file.c_str());
        return false;
    }
    // Known before it runs: a failure ends the program.
    std::fprintf(stderr, "%s\n", file.c_str());
    // A copy that ends where the input ends, for the sanitizers.
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    static_cast<void>(LLVMFuzzerTestOneInput(input.data(), input.size()));
    return true;
}

}  // namespace

int main(int count, char** arguments) {
    std::size_t ran = 0;
    for (int index = 1; index < count; ++index) {
        for (const fs::path& file : FilesAt(arguments[index])) {
            if (!Run(file)) {
                return 1;
            }
            ++ran;
        }
    }
    if (ran == 0) {
        std::fprintf(stderr, "there is no input to run on\n");
        return 1;
    }
    std::fprintf(stderr, "%zu inputs, nothing found\n", ran);
    return 0;
}

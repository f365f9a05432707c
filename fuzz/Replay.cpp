/// Runs a fuzz target over kept inputs, in builds without a fuzzer: every file of the given folders, in name order.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "FuzzBasics.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<std::filesystem::path> FilesOf(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

void Replay(const std::filesystem::path& fileName) {
    // Said before, so that the last line names the input that fails.
    std::printf("%s\n", fileName.c_str());
    std::fflush(stdout);
    std::ifstream file(fileName, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argumentCount, char** arguments) {
    tal::fuzz::isReplay = true;
    std::size_t replayed = 0;
    for (int i = 1; i < argumentCount; ++i) {
        for (const auto& file : FilesOf(arguments[i])) {
            Replay(file);
            ++replayed;
        }
    }
    std::printf("%zu inputs replayed\n", replayed);
    return replayed == 0 ? 1 : 0;
}

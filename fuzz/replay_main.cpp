// Runs a target over the files of its corpus, for compilers without libFuzzer.
//
//   fuzz_TARGET FILE|FOLDER...
//
// A file or folder that is not there, and a folder without files, is an error: a corpus that is
// never replayed finds nothing.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/require.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> FilesOf(const fs::path& place) {
    if (!fs::is_directory(place)) return {place};
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(place))
        if (entry.is_regular_file()) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

bool Replay(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::string strBytes{std::istreambuf_iterator<char>(stream), {}};
    if (!stream) return false;
    // Said before, since a finding ends the program.
    std::cout << file.string() << ", " << strBytes.size() << " bytes" << std::endl;
    QelFuzz::LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(strBytes.data()),
                                    strBytes.size());
    return true;
}

}  // namespace

int main(int nArguments, char** ppszArguments) {
    std::size_t nReplayed = 0;
    for (int i = 1; i < nArguments; ++i) {
        const std::vector<fs::path> files = FilesOf(ppszArguments[i]);
        if (files.empty()) {
            std::cerr << ppszArguments[i] << ": no files\n";
            return 1;
        }
        for (const fs::path& file : files) {
            if (!Replay(file)) {
                std::cerr << file.string() << ": cannot be read\n";
                return 1;
            }
            ++nReplayed;
        }
    }
    std::cout << nReplayed << " inputs replayed\n";
    return nReplayed == 0 ? 1 : 0;
}

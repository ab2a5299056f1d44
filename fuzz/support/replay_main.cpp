// Runs a fuzz program once with every file of the folders that are its arguments, without
// libFuzzer.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/support/Surroundings.h"

int main(int argc, char** argv) {
    int files = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            std::fprintf(stderr, "%s\n", entry.path().c_str());  // the last line before a crash
            std::ifstream file(entry.path(), std::ios::binary);
            fuzzing::check_input(std::string(std::istreambuf_iterator<char>(file), {}));
            ++files;
        }
    }
    std::fprintf(stderr, "%d inputs\n", files);
    return files > 0 ? 0 : 1;
}

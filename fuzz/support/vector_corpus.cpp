// Makes a corpus from test vectors: vector_corpus FOLDER FILE SECTION COLUMN writes that cell of
// each row into a file "FILE:LINE" of the folder. Columns count from 0.
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

#include "simulator/TextTable.h"

int main(int argc, char** argv) try {
    const std::filesystem::path folder(argc == 5 ? argv[1] : throw std::invalid_argument("usage"));
    std::filesystem::create_directories(folder);
    for (const auto& row : simulator::read_table(argv[2], argv[3])) {
        std::ofstream file(folder / std::filesystem::path(row.place).filename());
        file << row.cells.at(std::stoul(argv[4]));
    }
} catch (const std::exception& failure) {
    std::cerr << "vector_corpus: " << failure.what() << '\n';
    return 1;
}

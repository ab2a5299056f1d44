// Makes a corpus from the test vectors: vector_corpus FOLDER FILE SECTION COLUMN writes that cell
// of each row into a file of its own, "LINE" in FOLDER. Columns count from 0.
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "simulator/TextTable.h"

int main(int argc, char** argv) try {
    const std::filesystem::path folder(argc == 5 ? argv[1] : throw std::invalid_argument("usage"));
    std::filesystem::create_directories(folder);
    for (const auto& row : simulator::read_table(argv[2], argv[3])) {
        const std::string line = row.place.substr(row.place.rfind(':') + 1);
        std::ofstream(folder / line, std::ios::binary) << row.cells.at(std::stoul(argv[4]));
    }
    return 0;
} catch (const std::exception& failure) {
    std::cerr << "vector_corpus: " << failure.what() << '\n';
    return 1;
}

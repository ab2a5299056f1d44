#include "simulator/TextTable.h"

#include <sstream>
#include <stdexcept>

#include "simulator/JsonText.h"

namespace simulator {
namespace {

constexpr const char* kBlanks = " \t\r";

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    return first == std::string::npos
               ? ""
               : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Splits at each '|' without a backslash before it.
std::vector<std::string> split(const std::string& line) {
    std::vector<std::string> cells(1);
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '|') {
            cells.emplace_back();
            continue;
        }
        cells.back() += line[i];
        if (line[i] == '\\' && i + 1 < line.size()) {
            cells.back() += line[++i];
        }
    }
    return cells;
}

std::string unescaped(const std::string& cell) {
    static const std::string kLetters = "nt0\\|_";
    static const std::string kMeanings("\n\t\0\\| ", 6);
    std::string text;
    for (std::size_t i = 0; i < cell.size(); ++i) {
        if (cell[i] != '\\') {
            text += cell[i];
            continue;
        }
        const char letter = ++i < cell.size() ? cell[i] : ' ';
        const std::size_t known = kLetters.find(letter);
        if (known != std::string::npos) {
            text += kMeanings[known];
        } else if (letter == 'x' && i + 2 < cell.size()) {
            text += static_cast<char>(std::stoi(cell.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            throw std::invalid_argument("unknown escape");
        }
    }
    return text;
}

}  // namespace

std::vector<TextRow> read_table(const std::string& path, const std::string& section) {
    std::vector<TextRow> rows;
    std::istringstream file(load_text_file(path));
    std::string current;
    int number = 0;
    for (std::string raw; std::getline(file, raw);) {
        ++number;
        const std::string line = trimmed(raw);
        if (line.empty() || line[0] == '#') {
            continue;
        }
        if (line.front() == '[' && line.back() == ']' && line.find('|') == std::string::npos) {
            current = line.substr(1, line.size() - 2);
            continue;
        }
        if (!section.empty() && section != current) {
            continue;
        }
        TextRow row{current, {}, path + ":" + std::to_string(number)};
        try {
            for (const std::string& cell : split(line)) {
                row.cells.push_back(unescaped(trimmed(cell)));
            }
        } catch (const std::exception&) {
            throw std::runtime_error(row.place + ": an unknown escape");
        }
        rows.push_back(std::move(row));
    }
    if (rows.empty()) {
        throw std::runtime_error(path + ": no rows" + (section.empty() ? "" : " in " + section));
    }
    return rows;
}

}  // namespace simulator

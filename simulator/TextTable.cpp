#include "simulator/TextTable.h"

#include <map>
#include <sstream>
#include <stdexcept>

#include "simulator/JsonText.h"

namespace simulator {
namespace {

constexpr const char* kBlanks = " \t\r";

// The character of the escape whose backslash is at `at`; moves `at` to the escape's end.
char escaped(const std::string& line, std::size_t& at) {
    static const std::map<char, char> kMeanings{{'n', '\n'},  {'t', '\t'}, {'0', '\0'},
                                                {'\\', '\\'}, {'|', '|'},  {'_', ' '}};
    if (line.compare(at, 2, "\\x") == 0) {
        at += 3;
        return static_cast<char>(std::stoi(line.substr(at - 1, 2), nullptr, 16));
    }
    return kMeanings.at(line.c_str()[++at]);
}

std::vector<std::string> cells_of(const std::string& line) {
    std::vector<std::string> cells(1);
    std::size_t length = 0;  // of the last cell without the blanks at its end
    for (std::size_t at = 0; at < line.size(); ++at) {
        std::string& cell = cells.back();
        if (line[at] == '|') {
            cell.resize(length);
            cells.emplace_back();
            length = 0;
        } else if (std::string(kBlanks).find(line[at]) == std::string::npos) {
            cell += line[at] == '\\' ? escaped(line, at) : line[at];
            length = cell.size();
        } else if (!cell.empty()) {
            cell += line[at];
        }
    }
    cells.back().resize(length);
    return cells;
}

}  // namespace

std::vector<TextRow> read_table(const std::string& path, const std::string& section) {
    std::vector<TextRow> rows;
    std::istringstream file(load_text_file(path));
    TextRow row;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        row.place = path + ":" + std::to_string(++number);
        const std::size_t start = line.find_first_not_of(kBlanks);
        if (start == std::string::npos || line[start] == '#') {
            continue;
        }
        try {
            row.cells = cells_of(line);
        } catch (const std::exception&) {
            throw std::runtime_error(row.place + ": an unknown escape");
        }
        const std::string& first = row.cells[0];
        if (row.cells.size() == 1 && line[start] == '[' && first.back() == ']') {
            row.section = first.substr(1, first.size() - 2);
        } else if (section.empty() || section == row.section) {
            rows.push_back(row);
        }
    }
    if (rows.empty()) {
        throw std::runtime_error(path + ": no rows" + (section.empty() ? "" : " in " + section));
    }
    return rows;
}

}  // namespace simulator

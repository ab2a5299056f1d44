/// Reads tables of text: test vectors, conversions. Stateless; any thread may call.
///
/// A line is a row; its cells are separated by '|', and the blanks around a cell do not count. In a
/// cell, "\n", "\t", "\0", "\\", "\|", "\_" (a blank) and "\x1B" stand for a character. "[name]"
/// begins a section. Empty lines and lines that begin with '#' are ignored.
#pragma once

#include <string>
#include <vector>

namespace simulator {

struct TextRow {
    std::string section;  ///< empty before the first section
    std::vector<std::string> cells;
    std::string place;  ///< "FILE:LINE", for messages
};

/// The rows of a file, or of one section of it. Throws std::runtime_error with the file's name, and
/// the line if an escape is unknown, if the file cannot be read or there is no such row.
std::vector<TextRow> read_table(const std::string& path, const std::string& section = {});

}  // namespace simulator

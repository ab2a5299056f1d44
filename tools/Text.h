/// Text for a terminal, whoever wrote it. Pure functions.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace huectl {

/// At most `limit` characters of `text`, in UTF-8; a longer one ends in "...". Each control
/// character, each that turns the direction of writing and each byte that is no UTF-8 becomes "?",
/// so that a name cannot steer the terminal that shows it.
std::string printable(std::string_view text, std::size_t limit = std::string_view::npos);

/// Whether printable() would leave `text` as it is.
bool is_printable(std::string_view text);

/// How many characters (code points) stand in a text from printable().
std::size_t length_of(std::string_view text);

using Row = std::vector<std::string>;

/// The rows as lines, their columns aligned and two blanks apart; cells are shown as printable().
std::string table(const std::vector<Row>& rows);

}  // namespace huectl

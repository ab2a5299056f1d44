/// Text for a terminal, whatever its source. Pure functions.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace huectl {

/// At most `limit` characters of `text`, in UTF-8; a longer one ends in "...". Control characters
/// are escaped (\xNN). Each character that changes the writing direction and each byte that is not
/// UTF-8 becomes "?". No text can control the terminal that shows it.
std::string printable(std::string_view text, std::size_t limit = std::string_view::npos);

/// Whether printable() would leave `text` as it is.
bool is_printable(std::string_view text);

/// The number of characters (code points) in a text from printable().
std::size_t length_of(std::string_view text);

using Row = std::vector<std::string>;

/// The rows as lines, their columns aligned and two blanks apart; printable() cuts and escapes the
/// cells.
std::string table(const std::vector<Row>& rows);

}  // namespace huectl

/// The language of the simulated house: forms of commands, and lines that are matched with them.
///
/// A form is a row of words: a word in lower case is itself ("bulb"), "a|b" one of several, a word
/// in upper case a slot ("OBJECT"), a slot with "..." the rest of the line. A word and a slot in
/// brackets at the end ("[within SECONDS]") may be left out. Stateless.
#pragma once

#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace simulator {

using Words = std::vector<std::string>;

/// A line that is no command, or a command that failed; the text is for the user.
class CommandError final : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Throws CommandError if `holds` is false.
void require(bool holds, const std::string& what);

/// What the slots of a form hold in one line.
class Slots {
  public:
    bool has(const std::string& slot) const { return words_.count(slot) != 0; }
    /// Empty if the line leaves the slot out.
    std::string text(const std::string& slot) const;
    int number(const std::string& slot, int otherwise = 0) const;
    double seconds(const std::string& slot, double otherwise = 0) const;
    void set(const std::string& slot, const std::string& word) { words_[slot] = word; }

  private:
    std::map<std::string, std::string> words_;
};

/// Splits at blanks; no words for an empty line or a comment, which begins with '#'.
Words words_of(const std::string& line);
/// The words from `first` up to `end`, with a blank between two.
std::string joined(const Words& words, std::size_t first, std::size_t end);

/// Throws CommandError if `word` cannot fill the slot.
using SlotCheck = std::function<void(const std::string& slot, const std::string& word)>;

/// Returns the slots; throws CommandError with the reason. `matched`: number of words that fit; a
/// word that fails the check of its slot counts.
Slots match(const std::string& form, const Words& words, const SlotCheck& check,
            std::size_t& matched);
/// The words that may follow these in the form; none for a slot.
Words words_after(const std::string& form, const Words& words);

/// These throw CommandError unless the whole word is a number of this range.
int to_number(const std::string& word, int smallest, int largest);
double to_seconds(const std::string& word);
/// The number of "TERM", "SEGV", ...; throws CommandError.
int to_signal(const std::string& word);

}  // namespace simulator

/// Checked numbers, the linked list, and the optional-parameter variables that it holds.
///
/// C-style functions; one thread uses a list. The text format is in
/// docs/formats/optional-parameters.md.
#pragma once

#include <cstdint>
#include <memory>

/// @name Checked numbers
/// @{
/// Results of parse_int32.
enum parse_number_result {
    PARSE_NUMBER_OK = 0,
    PARSE_NUMBER_INVALID = -1,  ///< null, empty, or other characters than a sign and digits
    PARSE_NUMBER_RANGE = -2,    ///< does not fit 32 bits, the width of the board's long
};
/// Reads the whole of `text` as one signed 32-bit number; leading zeros are decimal, blanks are not
/// allowed. `*out` does not change on failure. base: 10, or 16 (hex digits only, no sign).
int parse_int32(const char* text, int base, std::int32_t* out);
/// @}

/// @name Linked list
/// Owns its elements and, through their release functions, their data.
/// @{
/// Opaque: an element, and a list.
struct linkedlistelement;
struct linkedlist;

/// A new empty list, which the caller releases with linkedlist_deinit; null when memory is out.
linkedlist* linkedlist_init();
/// Inserts at the head. 0, or -1 for a null list or when memory is out (logged; the data
/// then stays the caller's).
int linkedlist_add(linkedlist** list, void* data, void (*release)(void*));
/// Removes every element for which `match` is not 0; returns how many, -1 for a null list.
int linkedlist_delete(linkedlist** list, int (*match)(void*));
/// Data that the list still owns, or null: of the first match (`first` not 0) or
/// the last one, from the head; of the first match; of the first and of the last element.
void* linkedlist_search_firstorlast(linkedlist** list, int (*match)(void*), int first);
void* linkedlist_search(linkedlist** list, int (*match)(void*));
void* linkedlist_head(linkedlist* list);
void* linkedlist_tail(linkedlist* list);
/// The number of elements; -1 for a null list.
int linkedlist_getelementcount(linkedlist* list);
/// Logs the list at info level; `describe` returns a heap string, freed here.
void linkedlist_print(linkedlist* list, char* (*describe)(void*));
/// Releases one unlinked element with its data and sets the pointer to null.
void linkedlist_deinitelement(linkedlistelement** element);
/// Releases the list with all its elements and sets the pointer to null.
void linkedlist_deinit(linkedlist** list);

/// Deleter for std::unique_ptr.
struct LinkedListDeinit {
    /// Releases a list.
    void operator()(linkedlist* list) const noexcept { linkedlist_deinit(&list); }
};
/// Owner of one list.
using LinkedListOwner = std::unique_ptr<linkedlist, LinkedListDeinit>;
/// @}

/// @name Optional-parameter variables
/// @{
/// Types of a value.
enum optionalpvariabletypes {
    OPTIONALP_UNKNOWN = 0,
    OPTIONALP_STRING = 1,
    OPTIONALP_LONG = 2,
    OPTIONALP_DOUBLE = 3,
    OPTIONALP_BOOLEAN = 4,
};

/// One variable; of the last three members, the one of its type is set.
struct optionalpvariable {
    char* name;               ///< heap string
    std::int32_t type;        ///< an optionalpvariabletypes
    char* value;              ///< heap string: the text as written, without quotes, for every type
    std::int32_t long_value;  ///< OPTIONALP_LONG
    double double_value;      ///< OPTIONALP_DOUBLE
    std::int32_t boolean_value;  ///< OPTIONALP_BOOLEAN: 0 or 1
};

/// A zeroed record, whose null texts count as empty; caller frees with optionalpvariable_deinit and
/// xfree.
optionalpvariable* optionalpvariable_init();
/// Frees the two texts and zeroes the fields; the record itself stays.
void optionalpvariable_deinit(optionalpvariable* variable);

/// A new list of the text's variables, the last one first; an empty list for null or empty text.
linkedlist* parse_optionalp_variables(const char* text);
/// A new heap string in the same format, from the head; empty for a null or empty list.
char* encode_optionalp_variables(linkedlist* list);
/// The first record of that name, case-insensitive; owned by the list; null if it does not exist.
optionalpvariable* optionalp_variables_searchbyname(linkedlist* list, const char* name);
/// Removes the records whose name begins with `prefix`, case-insensitive. How many, or -1 for a
/// null argument. Here and below, a text may belong to a record of the list.
int optionalp_variables_deletebynameprefix(linkedlist* list, const char* prefix);
/// Replaces the record of that name (case-insensitive) in its place, or adds one at the head. 0, or
/// -1 for a null argument, an empty name, a value not of the type, or when memory is out.
int optionalp_variables_insertorreplace(linkedlist* list, const char* name, const char* value,
                                        optionalpvariabletypes type);
/// @}

/// The linked list, the optional-parameter variables that it holds, and checked number reading.
///
/// C-style functions; a list is not shared between threads. Text format: docs/formats.
#pragma once

#include <cstdint>
#include <memory>

/// @name Checked numbers
/// @{
enum parse_number_result {
    PARSE_NUMBER_OK = 0,
    PARSE_NUMBER_INVALID = -1,  ///< null, empty, or anything but digits behind an optional sign
    PARSE_NUMBER_RANGE = -2,    ///< does not fit 32 bits, the width of the board's long
};
/// Reads the whole of `text` as one signed 32-bit number; leading zeros are decimal, there is no
/// room for blanks. `*out` is left alone on failure. base: 10, or 16 (hex digits only, no sign).
int parse_int32(const char* text, int base, std::int32_t* out);
/// @}

/// @name Linked list
/// Owns its elements and, through their release functions, their data.
/// @{
struct linkedlistelement;
struct linkedlist;

linkedlist* linkedlist_init();
/// Inserts at the head. 0, or -1 for a null list (logged; the data then stays the caller's).
int linkedlist_add(linkedlist** list, void* data, void (*release)(void*));
/// Removes every element for which `match` is not 0; returns how many, -1 for a null list.
int linkedlist_delete(linkedlist** list, int (*match)(void*));
/// The data of the first match (`first` not 0) or the last one, from the head; null when none.
void* linkedlist_search_firstorlast(linkedlist** list, int (*match)(void*), int first);
void* linkedlist_search(linkedlist** list, int (*match)(void*));
void* linkedlist_head(linkedlist* list);
void* linkedlist_tail(linkedlist* list);
/// -1 for a null list.
int linkedlist_getelementcount(linkedlist* list);
/// Logs the list at info level; `describe` returns a heap string, freed here.
void linkedlist_print(linkedlist* list, char* (*describe)(void*));
/// Releases one unlinked element with its data and sets the pointer to null.
void linkedlist_deinitelement(linkedlistelement** element);
/// Releases the list with all its elements and sets the pointer to null.
void linkedlist_deinit(linkedlist** list);

struct LinkedListDeinit {
    void operator()(linkedlist* list) const noexcept { linkedlist_deinit(&list); }
};
/// Owner of one list.
using LinkedListOwner = std::unique_ptr<linkedlist, LinkedListDeinit>;
/// @}

/// @name Optional-parameter variables
/// @{
enum optionalpvariabletypes {
    OPTIONALP_UNKNOWN = 0,
    OPTIONALP_STRING = 1,
    OPTIONALP_LONG = 2,
    OPTIONALP_DOUBLE = 3,
    OPTIONALP_BOOLEAN = 4,
};

struct optionalpvariable {
    char* name;         ///< heap string
    std::int32_t type;  ///< an optionalpvariabletypes
    char* value;        ///< heap string: the text as written, without quotes, for every type
    std::int32_t long_value;
    double double_value;
    std::int32_t boolean_value;  ///< 0 or 1
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
/// The first record of that name, without regard to case; owned by the list; null when none.
optionalpvariable* optionalp_variables_searchbyname(linkedlist* list, const char* name);
/// Removes the records whose name begins with `prefix`, without regard to case; how many, or -1.
int optionalp_variables_deletebynameprefix(linkedlist* list, const char* prefix);
/// Gives the record of that name (without regard to case) the value and type, in its place, or adds
/// one at the head. 0, or -1 for a null argument, an empty name or a value not of the type.
int optionalp_variables_insertorreplace(linkedlist* list, const char* name, const char* value,
                                        optionalpvariabletypes type);
/// @}

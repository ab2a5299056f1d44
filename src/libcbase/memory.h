/// Zeroing allocation and the string builders of the base library.
///
/// Every pointer returned here is a new block that the caller releases with xfree (or keeps in an
/// xstring). The functions have no state; any thread may call them. When memory is out, xmalloc
/// logs it and returns null, and so do the builders.
#pragma once

#include <cstddef>
#include <memory>

/// Returns a zero-filled block of `size` bytes, or null after one line in the log.
void* xmalloc(std::size_t size);
/// Releases a block of this library; null is allowed.
void xfree(void* ptr);

/// Deleter for std::unique_ptr.
struct XFree {
    /// Releases a block; null is allowed.
    void operator()(void* ptr) const noexcept { xfree(ptr); }
};
/// Owner of one heap string of this library.
using xstring = std::unique_ptr<char, XFree>;

/// `text`, or an empty text for null.
inline const char* text_or_empty(const char* text) noexcept {
    return text != nullptr ? text : "";
}

/// @name Builders that do not change their inputs
/// The parameter `ignored` has no effect.
/// @{

/// a followed by b; a null argument counts as empty.
char* xstrcat(const char* a, const char* b);
/// A copy of `src`, which must not be null.
char* xstrcpy(char* ignored, const char* src);
/// A block of n + 1 bytes with the first n bytes of `src`, zeros after a shorter `src`.
char* xstrncpy(char* ignored, const char* src, std::size_t n);
/// The same operation as xstrncpy, under a second name.
char* xstrnlcpy(char* ignored, const char* src, std::size_t n);
/// @}

/// @name Builders that release an input whose flag is not 0
/// They build a message piece by piece: the result of one call is the flagged input of the next.
/// @{

/// a followed by b; null and empty contribute nothing, two such arguments give a new empty string.
char* zstrcat(char* a, char* b, int free_a, int free_b);
/// A copy of `src`, empty for null.
char* zstrcpy(char* src, int free_src);
/// The first n bytes of `src` in a block as long as `src`; an n beyond its end means its end.
char* zstrncpy(char* src, std::size_t n, int free_src);
/// Replaces every occurrence of `needle`, left to right, never inside replaced text. A copy when
/// `needle` is empty or absent; null when it is present and `replacement` is null.
char* zstrreplace(char* str, const char* needle, const char* replacement, int free_str);
/// A copy of n bytes without a terminator; a zero-length block for null.
void* zarrcpy(void* bytes, std::size_t n, int free_bytes);
/// @}

/// @name Cutters: drop a header of `len` bytes from the front of `str`, in place
/// A string shorter than `len` becomes empty and is logged; a null or empty one is only logged.
/// @{

/// Keeps the first token after the header and a run of '=', space and tab.
void cutparamto(char* str, std::size_t len);
/// Keeps the first token after the header and a run of '~', single quote, space and tab; a single
/// quote ends it too.
void cutqueryparamto(char* str, std::size_t len);
/// Drops the header and the last character, which is expected to be the line's newline.
void cut_message_to_trim_newline(char* str, std::size_t len);
/// Drops the header only.
void cut_message_to_preserve_newline(char* str, std::size_t len);
/// @}

#include "libcbase/memory.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "libcbase/log.h"

namespace {

std::size_t length_of(const char* text) {
    return text == nullptr ? 0 : std::strlen(text);
}

// A string block of `room` characters and a terminator. The largest room leaves no place for the
// terminator; it is requested as it is, and fails as any size that the machine does not have.
char* new_string(std::size_t room) {
    return static_cast<char*>(xmalloc(room == SIZE_MAX ? room : room + 1));
}

char* new_copy(const char* src, std::size_t length, std::size_t room) {
    char* const copy = new_string(room);
    if (copy != nullptr && length > 0) {
        std::memcpy(copy, src, length);
    }
    return copy;
}

// Releases an input whose flag is set once the result is made, also when that failed.
class Release final {
  public:
    Release(void* block, int flag) : block_(flag != 0 ? block : nullptr) {}
    ~Release() { xfree(block_); }
    Release(const Release&) = delete;
    Release& operator=(const Release&) = delete;

  private:
    void* block_;
};

void drop_front(char* str, std::size_t count) {
    std::memmove(str, str + count, std::strlen(str + count) + 1);
}

// False, after a line in the log, when there is nothing to cut.
bool is_given(const char* str, const char* function) {
    if (length_of(str) == 0) {
        error("memory->%s received a null pointer", function);
        return false;
    }
    return true;
}

void cut_token(char* str, std::size_t len, const char* function, const char* leading,
               const char* ending) {
    if (!is_given(str, function)) {
        return;
    }
    if (std::strlen(str) < len) {
        error("memory->%s len is greater than string length; returning a null string", function);
        *str = '\0';
        return;
    }
    drop_front(str, len);
    drop_front(str, std::strspn(str, leading));
    str[std::strcspn(str, ending)] = '\0';
}

void cut_message(char* str, std::size_t len, const char* function) {
    if (!is_given(str, function)) {
        return;
    }
    const std::size_t length = std::strlen(str);
    if (length < len) {
        error(
            "memory->%s len is greater than string length; returning a null string. str = '%s', "
            "len = %d",
            function, str, static_cast<int>(length));
        *str = '\0';
        return;
    }
    drop_front(str, len);
}

}  // namespace

void* xmalloc(std::size_t size) {
    // calloc may return null for a size of 0, and null means a failure here.
    void* const block = std::calloc(1, std::max<std::size_t>(size, 1));
    if (block == nullptr) {
        error("memory->xmalloc reports an out of memory for %d new bytes",
              static_cast<int>(std::min<std::size_t>(size, INT_MAX)));
    }
    return block;
}

void xfree(void* ptr) {
    std::free(ptr);
}

char* xstrcat(const char* a, const char* b) {
    const std::size_t length_a = length_of(a);
    const std::size_t length_b = length_of(b);
    char* const result = new_copy(a, length_a, length_a + length_b);
    if (result != nullptr && length_b > 0) {
        std::memcpy(result + length_a, b, length_b);
    }
    return result;
}

char* xstrcpy(char* /*ignored*/, const char* src) {
    return new_copy(src, length_of(src), length_of(src));
}

char* xstrncpy(char* /*ignored*/, const char* src, std::size_t n) {
    return new_copy(src, src == nullptr ? 0 : strnlen(src, n), n);
}

char* xstrnlcpy(char* ignored, const char* src, std::size_t n) {
    return xstrncpy(ignored, src, n);
}

char* zstrcat(char* a, char* b, int free_a, int free_b) {
    const Release release_a(a, free_a);
    const Release release_b(b, free_b);
    return xstrcat(a, b);
}

char* zstrcpy(char* src, int free_src) {
    const Release release(src, free_src);
    return xstrcpy(nullptr, src);
}

char* zstrncpy(char* src, std::size_t n, int free_src) {
    const Release release(src, free_src);
    const std::size_t length = length_of(src);
    return new_copy(src, std::min(n, length), length);
}

char* zstrreplace(char* str, const char* needle, const char* replacement, int free_str) {
    const std::size_t needle_length = length_of(needle);
    if (length_of(str) == 0 || needle_length == 0 || std::strstr(str, needle) == nullptr) {
        return zstrcpy(str, free_str);
    }
    const Release release(str, free_str);
    if (replacement == nullptr) {
        return nullptr;
    }
    std::uint64_t count = 0;
    for (const char* at = str; (at = std::strstr(at, needle)) != nullptr; at += needle_length) {
        ++count;
    }
    // In 64 bits: a long replacement of a short needle may need more than 32 bits can count.
    const std::size_t replacement_length = std::strlen(replacement);
    const std::uint64_t size =
        std::strlen(str) - count * needle_length + count * replacement_length;
    char* const result =
        new_string(static_cast<std::size_t>(std::min<std::uint64_t>(size, SIZE_MAX)));
    if (result == nullptr) {
        return nullptr;
    }
    char* to = result;
    const char* from = str;
    while (const char* const found = std::strstr(from, needle)) {
        to = std::copy(from, found, to);
        to = std::copy_n(replacement, replacement_length, to);
        from = found + needle_length;
    }
    std::memcpy(to, from, std::strlen(from) + 1);
    return result;
}

void* zarrcpy(void* bytes, std::size_t n, int free_bytes) {
    const Release release(bytes, free_bytes);
    if (bytes == nullptr) {
        return xmalloc(0);
    }
    void* const copy = xmalloc(n);
    if (copy != nullptr && n > 0) {
        std::memcpy(copy, bytes, n);
    }
    return copy;
}

void cutparamto(char* str, std::size_t len) {
    cut_token(str, len, "cutparamto", "= \t", " \t");
}

void cutqueryparamto(char* str, std::size_t len) {
    cut_token(str, len, "cutqueryparamto", "~' \t", " \t'");
}

void cut_message_to_trim_newline(char* str, std::size_t len) {
    cut_message(str, len, "cut_message_to_trim_newline");
    const std::size_t length = length_of(str);
    if (length > 0) {
        str[length - 1] = '\0';
    }
}

void cut_message_to_preserve_newline(char* str, std::size_t len) {
    cut_message(str, len, "cut_message_to_preserve_newline");
}

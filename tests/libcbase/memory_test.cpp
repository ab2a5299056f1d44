#include "libcbase/memory.h"

#include <cstdint>
#include <cstring>
#include <string>

#include "tests/support/SystemLogTest.h"

// An allocation that fails must not end the program; the sanitizers define the names.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}
extern "C" const char* __tsan_default_options() {
    return "allocator_may_return_null=1";
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

using MemoryTest = SystemLogTest;

std::string text_of(char* heap_string) {
    const xstring owner(heap_string);
    return owner ? owner.get() : "(null)";
}

char* heap(const char* text) {
    return xstrcpy(nullptr, text);
}

std::string cut(void (*cutter)(char*, std::size_t), const char* text, std::size_t length) {
    const xstring copy(heap(text));
    cutter(copy.get(), length);
    return copy.get();
}

TEST_F(MemoryTest, AllocatesZeroesAndReportsAnAllocationThatFails) {
    const xstring block(static_cast<char*>(xmalloc(64)));
    const char zeroes[64] = {};
    EXPECT_EQ(std::memcmp(block.get(), zeroes, sizeof(zeroes)), 0);

    EXPECT_EQ(xmalloc(SIZE_MAX / 2 + 1), nullptr);
    EXPECT_TRUE(logged("memory->xmalloc reports an out of memory for 2147483647 new bytes"));
    EXPECT_EQ(xstrncpy(nullptr, "a", SIZE_MAX), nullptr);
}

// The address and leak sanitizers find an input that is released too early, twice or never.
TEST(MemoryBuilders, ReleaseFlaggedInputs) {
    EXPECT_EQ(text_of(zstrcat(nullptr, nullptr, 1, 1)), "");
    char text[] = "x";
    EXPECT_EQ(text_of(zstrcat(heap(""), text, 1, 0)), "x");
    char* message = zstrcpy(nullptr, 0);
    for (const char* piece : {"a", "", "bc"}) {
        message = zstrcat(message, heap(piece), 1, 1);
    }
    EXPECT_EQ(text_of(message), "abc");
    EXPECT_EQ(text_of(xstrcat(nullptr, "two")), "two");
    EXPECT_EQ(text_of(zstrcpy(heap("abc"), 1)), "abc");
    EXPECT_EQ(text_of(zstrncpy(heap("abc"), 2, 1)), "ab");
    EXPECT_EQ(text_of(zstrncpy(heap("abc"), 99, 1)), "abc");
    EXPECT_EQ(text_of(zstrncpy(nullptr, 99, 1)), "");
    EXPECT_EQ(text_of(xstrnlcpy(nullptr, "abc", 6)), "abc");

    const xstring bytes(
        static_cast<char*>(zarrcpy(zarrcpy(const_cast<char*>("a\0b"), 3, 0), 3, 1)));
    EXPECT_EQ(std::string(bytes.get(), 3), std::string("a\0b", 3));
    xfree(zarrcpy(nullptr, 3, 1));
}

TEST(MemoryBuilders, ReplaceEveryOccurrenceOnceFromLeftToRight) {
    const struct {
        const char *text, *needle, *replacement, *expected;
    } cases[] = {
        {"a-b-c", "*", "+", "a-b-c"},
        {"-a-", "-", "", "a"},
        {"aaa", "aa", "b", "ba"},
        {"a", "a", "aa", "aa"},
        {"a-b", "-", nullptr, "(null)"},
        {"abc", "", "x", "abc"},
        {"--", "-", "12345678", "1234567812345678"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(text_of(zstrreplace(heap(c.text), c.needle, c.replacement, 1)), c.expected)
            << c.text << " " << c.needle;
    }
    EXPECT_EQ(text_of(zstrreplace(nullptr, "a", "b", 1)), "");
}

TEST_F(MemoryTest, CutsTheHeaderFromALineAndEmptiesAShorterOne) {
    EXPECT_EQ(cut(cutparamto, "Type:= DML-SQL rest", 5), "DML-SQL");
    EXPECT_EQ(cut(cutparamto, "Type:", 5), "");
    EXPECT_EQ(cut(cutqueryparamto, "id ~'\tlamp' x", 2), "lamp");
    EXPECT_EQ(cut(cut_message_to_trim_newline, "Label: value", 7), "valu");
    EXPECT_EQ(cut(cut_message_to_preserve_newline, "Label: value\n", 7), "value\n");
    EXPECT_TRUE(never_logged("memory->"));
    EXPECT_EQ(cut(cutparamto, "abc", 4), "");
    EXPECT_EQ(cut(cutqueryparamto, "abc", 4), "");
    EXPECT_EQ(cut(cut_message_to_trim_newline, "abc", 4), "");
    EXPECT_EQ(cut(cut_message_to_preserve_newline, "a%s", 4), "");
    cutparamto(nullptr, 0);
    const std::string problem = " len is greater than string length; returning a null string";
    for (const std::string& line :
         {"cutparamto" + problem, "cutqueryparamto" + problem,
          "cut_message_to_trim_newline" + problem + ". str = 'abc', len = 3",
          "cut_message_to_preserve_newline" + problem + ". str = 'a%s', len = 3",
          std::string("cutparamto received a null pointer")}) {
        EXPECT_EQ(lines_with("memory->" + line), 1u) << line;
    }
}

}  // namespace

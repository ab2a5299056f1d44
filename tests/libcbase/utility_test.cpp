#include "libcbase/utility.h"

#include <memory>
#include <string>

#include "libcbase/memory.h"
#include "tests/support/SystemLogTest.h"
#include "tests/support/Vectors.h"

namespace {

constexpr const char* kVectors = "libcbase/utility.txt";
using Cells = std::vector<std::string>;

TEST(Numbers, AreReadCompletelyOrRefused) {
    for_each_vector(kVectors, "numbers", 4, [](const Cells& cells) {
        std::int32_t value = 0;
        const int result = parse_int32(cells[0].c_str(), std::stoi(cells[1]), &value);
        const char* const name = result == PARSE_NUMBER_OK      ? "ok "
                                 : result == PARSE_NUMBER_RANGE ? "range "
                                                                : "invalid ";
        EXPECT_EQ(name + std::to_string(value), cells[2]);
    });
    std::int32_t value = 0;
    EXPECT_EQ(parse_int32(nullptr, 10, &value), PARSE_NUMBER_INVALID);
}

using List = LinkedListOwner;

using LinkedListTest = SystemLogTest;

// The address and leak sanitizers find data that is released twice or never.
TEST_F(LinkedListTest, FindsFromTheHeadAndDeletesEveryMatch) {
    const List owner(linkedlist_init());
    linkedlist* list = owner.get();
    const auto digit = [](void* text) { return text ? *static_cast<char*>(text) - '0' : -1; };
    const auto is_even = [](void* text) -> int { return *static_cast<char*>(text) % 2 == 0; };
    EXPECT_EQ(linkedlist_tail(list), nullptr);
    EXPECT_EQ(linkedlist_search(&list, is_even), nullptr);
    for (const char* text : {"2", "1", "4", "3", "6"}) {
        ASSERT_EQ(linkedlist_add(&list, xstrcpy(nullptr, text), xfree), 0);
    }
    EXPECT_EQ(digit(linkedlist_search(&list, is_even)), 6);
    EXPECT_EQ(digit(linkedlist_search_firstorlast(&list, is_even, 0)), 2);
    linkedlist_print(list, [](void* text) { return xstrcpy(nullptr, static_cast<char*>(text)); });
    EXPECT_EQ(lines_with("utility->linkedlist_print --- "), 13U) << "3, and 2 for each element";
    EXPECT_TRUE(logged("utility->linkedlist_print --- element 4"));
    EXPECT_EQ(linkedlist_delete(&list, is_even), 3);
    EXPECT_EQ(linkedlist_getelementcount(list), 2);
    EXPECT_EQ(digit(linkedlist_head(list)), 3);
    EXPECT_EQ(digit(linkedlist_tail(list)), 1);
}

TEST_F(LinkedListTest, ToleratesANullList) {
    linkedlist* none = nullptr;
    EXPECT_EQ(linkedlist_add(&none, this, nullptr), -1);
    EXPECT_TRUE(logged("utility->linkedlist_add error: parameter list is null"));
    EXPECT_EQ(linkedlist_delete(&none, nullptr), -1);
    EXPECT_EQ(linkedlist_search(&none, nullptr), nullptr);
    EXPECT_EQ(linkedlist_getelementcount(none), -1);
    EXPECT_EQ(optionalp_variables_deletebynameprefix(none, "a"), -1);
    linkedlist_print(none, nullptr);
    linkedlist_deinit(&none);
}

// The type and the number of each record. The search does not match, so it visits every one.
std::string types_of(linkedlist* list) {
    static std::string text;
    text.clear();
    linkedlist_search(&list, [](void* data) -> int {
        const auto& variable = *static_cast<optionalpvariable*>(data);
        text += text.empty() ? "" : ", ";
        text += variable.type == OPTIONALP_STRING ? "string"
                : variable.type == OPTIONALP_LONG ? "long " + std::to_string(variable.long_value)
                : variable.type == OPTIONALP_DOUBLE
                    ? "double " + std::to_string(variable.double_value)
                    : "boolean " + std::to_string(variable.boolean_value);
        return 0;
    });
    return text;
}

class OptionalParametersTest : public SystemLogTest {
  protected:
    void parse(const char* text) { list_.reset(parse_optionalp_variables(text)); }
    const optionalpvariable* find(const char* name) const {
        return optionalp_variables_searchbyname(list_.get(), name);
    }
    std::string encoded() const { return xstring(encode_optionalp_variables(list_.get())).get(); }

    List list_;
};

TEST_F(OptionalParametersTest, ReadsEveryTypeAndEncodesInReverse) {
    for_each_vector(kVectors, "optional parameters", 5, [this](const Cells& cells) {
        log_.clear();
        parse(cells[0].c_str());
        EXPECT_EQ(encoded(), cells[1]);
        EXPECT_EQ(types_of(list_.get()), cells[2]);
        EXPECT_EQ(last_line_after("utility->parse_optionalp_variables error converting in "),
                  cells[3]);
        EXPECT_TRUE(cells[3].empty() || log_.lines().at(0).priority == 4);
    });
    parse(nullptr);
    EXPECT_EQ(encoded(), "");
}

TEST_F(OptionalParametersTest, FindsANameInAnyCaseTheLatestFirst) {
    parse("username='first'|UserName=\"lumi\"|ip_address='127.0.0.1'");
    EXPECT_STREQ(find("USERNAME")->value, "lumi");
    EXPECT_EQ(find("user"), nullptr);
    EXPECT_EQ(optionalp_variables_searchbyname(nullptr, "user"), nullptr);
}

TEST_F(OptionalParametersTest, ReplacesInPlaceAndDeletesByPrefixAlsoAtTheHead) {
    parse("b=1|a=1|B=2|c=3");
    linkedlist* list = list_.get();
    EXPECT_EQ(optionalp_variables_insertorreplace(list, "b", "x", OPTIONALP_STRING), 0);
    EXPECT_EQ(encoded(), "c=3|b='x'|a=1");
    EXPECT_EQ(optionalp_variables_insertorreplace(list, "d", "2.5", OPTIONALP_DOUBLE), 0);
    EXPECT_EQ(optionalp_variables_insertorreplace(list, "e", "5", OPTIONALP_UNKNOWN), 0);
    EXPECT_EQ(encoded(), "e=|d=2.5|c=3|b='x'|a=1");
    EXPECT_EQ(optionalp_variables_insertorreplace(list, "a", "1x", OPTIONALP_LONG), -1);
    EXPECT_EQ(optionalp_variables_insertorreplace(list, "a", "yes", OPTIONALP_BOOLEAN), -1);
    EXPECT_EQ(optionalp_variables_insertorreplace(list, "", "1", OPTIONALP_LONG), -1);
    EXPECT_EQ(optionalp_variables_insertorreplace(nullptr, "a", "1", OPTIONALP_LONG), -1);
    EXPECT_EQ(encoded(), "e=|d=2.5|c=3|b='x'|a=1");

    parse("hue_a=1|ip='x'|HUE_b=2|hue=3");
    EXPECT_EQ(optionalp_variables_deletebynameprefix(list_.get(), "Hue_"), 2);
    EXPECT_EQ(encoded(), "hue=3|ip='x'");
    EXPECT_EQ(optionalp_variables_deletebynameprefix(list_.get(), ""), 2);
}

// The address sanitizer finds a name that is read after its record was removed.
TEST_F(OptionalParametersTest, AcceptsTheNameOfARecordOfTheSameList) {
    parse("hue_a=1|hue=2|hue_b=3|ip='x'");
    EXPECT_EQ(optionalp_variables_deletebynameprefix(list_.get(), find("hue")->name), 3);
    EXPECT_EQ(encoded(), "ip='x'");

    parse("b=1|a=1|B=2|b=3|c=4");
    linkedlist* list = list_.get();
    const auto* const first_b = static_cast<optionalpvariable*>(linkedlist_tail(list));
    EXPECT_EQ(
        optionalp_variables_insertorreplace(list, first_b->name, first_b->value, OPTIONALP_LONG),
        0);
    EXPECT_EQ(encoded(), "c=4|b=1|a=1");
}

}  // namespace

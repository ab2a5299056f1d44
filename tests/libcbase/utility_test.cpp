#include "libcbase/utility.h"

#include <memory>
#include <string>

#include "libcbase/memory.h"
#include "tests/support/SystemLogTest.h"

namespace {

TEST(Numbers, AreReadCompletelyOrRefused) {
    const struct {
        const char* text;
        int result;
        std::int32_t value = 0;
        int base = 10;
    } cases[] = {
        {"0", PARSE_NUMBER_OK},
        {"-12", PARSE_NUMBER_OK, -12},
        {"+7", PARSE_NUMBER_OK, 7},
        {"0000000010", PARSE_NUMBER_OK, 10},
        {"2147483647", PARSE_NUMBER_OK, INT32_MAX},
        {"-2147483648", PARSE_NUMBER_OK, INT32_MIN},
        {"00fFa0", PARSE_NUMBER_OK, 0xFFA0, 16},
        {"2147483648", PARSE_NUMBER_RANGE},
        {"-2147483649", PARSE_NUMBER_RANGE},
        {"99999999999999999999999999999999", PARSE_NUMBER_RANGE},
        {"FFFFFFFF", PARSE_NUMBER_RANGE, 0, 16},
        {nullptr, PARSE_NUMBER_INVALID},
        {"", PARSE_NUMBER_INVALID},
        {"-", PARSE_NUMBER_INVALID},
        {" 1", PARSE_NUMBER_INVALID},
        {"1 ", PARSE_NUMBER_INVALID},
        {"12x", PARSE_NUMBER_INVALID},
        {"99999999999999999999999999999999x", PARSE_NUMBER_INVALID},
        {"0x1", PARSE_NUMBER_INVALID, 0, 16},
        {"-1", PARSE_NUMBER_INVALID, 0, 16},
    };
    for (const auto& c : cases) {
        std::int32_t value = 0;
        EXPECT_EQ(parse_int32(c.text, c.base, &value), c.result) << (c.text ? c.text : "null");
        EXPECT_EQ(value, c.value) << (c.text ? c.text : "null");
    }
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
    EXPECT_TRUE(logged("utility->linkedlist_print --- element count 5"));
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
    EXPECT_EQ(linkedlist_delete(&none, [](void*) { return 1; }), -1);
    EXPECT_EQ(linkedlist_search(&none, [](void*) { return 1; }), nullptr);
    EXPECT_EQ(linkedlist_getelementcount(none), -1);
    EXPECT_EQ(optionalp_variables_deletebynameprefix(none, "a"), -1);
    linkedlist_print(none, nullptr);
    linkedlist_deinit(&none);
}

class OptionalParametersTest : public SystemLogTest {
  protected:
    void parse(const char* text) { list_.reset(parse_optionalp_variables(text)); }
    const optionalpvariable& find(const char* name) const {
        static const optionalpvariable none{};
        const optionalpvariable* found = optionalp_variables_searchbyname(list_.get(), name);
        EXPECT_NE(found, nullptr) << name;
        return found != nullptr ? *found : none;
    }
    std::string value(const char* name) const {
        const char* text = find(name).value;
        return text != nullptr ? text : "(null)";
    }
    std::string encoded() const { return xstring(encode_optionalp_variables(list_.get())).get(); }
    int count() const { return linkedlist_getelementcount(list_.get()); }

    List list_;
};

TEST_F(OptionalParametersTest, ReadsEveryTypeAndEncodesInReverse) {
    parse("a=1|b='x y'|c=2.5|d=true");
    EXPECT_EQ(find("a").type, OPTIONALP_LONG);
    EXPECT_EQ(find("a").long_value, 1);
    EXPECT_EQ(find("b").type, OPTIONALP_STRING);
    EXPECT_EQ(value("b"), "x y");
    EXPECT_EQ(find("c").type, OPTIONALP_DOUBLE);
    EXPECT_EQ(find("c").double_value, 2.5);
    EXPECT_EQ(find("d").type, OPTIONALP_BOOLEAN);
    EXPECT_EQ(find("d").boolean_value, 1);
    EXPECT_EQ(encoded(), "d=true|c=2.5|b='x y'|a=1");
    EXPECT_TRUE(never_logged("utility->"));
}

TEST_F(OptionalParametersTest, FindsANameInAnyCaseTheLatestFirst) {
    parse("username='first'|UserName=\"lumi\"|ip_address='127.0.0.1'");
    EXPECT_EQ(value("USERNAME"), "lumi");
    EXPECT_EQ(optionalp_variables_searchbyname(list_.get(), "user"), nullptr);
    EXPECT_EQ(optionalp_variables_searchbyname(nullptr, "user"), nullptr);
}

TEST_F(OptionalParametersTest, KeepsATextThatIsNotA32BitNumberAsAString) {
    parse(
        "text=12abc|big=3000000000|small=-2147483648|comma=2,5|huge=1e999.|far=1.0e999|"
        "blank= |p=.");
    for (const char* name : {"text", "big", "comma", "huge", "far", "blank", "p"}) {
        EXPECT_EQ(find(name).type, OPTIONALP_STRING) << name;
    }
    EXPECT_EQ(value("text"), "12abc");
    EXPECT_EQ(find("small").long_value, INT32_MIN);
    const std::string start = "utility->parse_optionalp_variables error converting in ";
    EXPECT_EQ(lines_with(start + "long the string '12abc': Invalid argument"), 1u);
    EXPECT_EQ(lines_with(start + "long the string '3000000000': Numerical result out of range"),
              1u);
    EXPECT_EQ(lines_with(start + "double the string '2,5': Invalid argument"), 1u);
    EXPECT_EQ(lines_with(start + "double the string '1.0e999': Numerical result out of range"), 1u);
    EXPECT_EQ(lines_with(start), 7u);
    EXPECT_EQ(log_.lines().front().priority, 4);
}

TEST_F(OptionalParametersTest, CannotForgeALogLine) {
    parse("id=7\nlumivad: fine");
    EXPECT_TRUE(logged(R"(in long the string '7\x0alumivad: fine')"));
}

TEST_F(OptionalParametersTest, ReadsAnEmptyValueAndLeadingBlanksAsANumber) {
    parse("username=|before= \t\v-7|quoted=''|behind=7 ");
    EXPECT_EQ(find("username").type, OPTIONALP_LONG);
    EXPECT_EQ(value("username"), "");
    EXPECT_EQ(find("before").long_value, -7);
    EXPECT_EQ(find("quoted").type, OPTIONALP_STRING);
    EXPECT_EQ(find("behind").type, OPTIONALP_STRING);
    EXPECT_EQ(lines_with("error converting in long"), 1u);
}

TEST_F(OptionalParametersTest, TakesTheTextInQuotesAndDropsVariablesWithoutAName) {
    parse("||a='it\"s' x|\"b\"|=1|b=x'in'y|c=\"no end|d='a\"b\"'|e=k=1|");
    EXPECT_EQ(count(), 5);
    EXPECT_EQ(value("a"), "s' x");
    EXPECT_EQ(value("b"), "in");
    EXPECT_EQ(value("c"), "no end");
    EXPECT_EQ(value("d"), "b");
    EXPECT_EQ(value("e"), "k=1");
    for (const char* nothing : {"", static_cast<const char*>(nullptr), "|", "="}) {
        parse(nothing);
        EXPECT_EQ(count(), 0);
        EXPECT_EQ(encoded(), "");
    }
}

TEST_F(OptionalParametersTest, LosesTheTextAfterASingleQuoteOnceAndNothingMore) {
    parse("a=\"it's\"|b='x\"y'|c=\"z\"");
    EXPECT_EQ(encoded(), "c='z'|b='y''|a='it's'");
    parse(encoded().c_str());
    EXPECT_EQ(encoded(), "a='it'|b='y'|c='z'");
    parse(encoded().c_str());
    EXPECT_EQ(encoded(), "c='z'|b='y'|a='it'");
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
    EXPECT_EQ(optionalp_variables_deletebynameprefix(list_.get(), find("hue").name), 3);
    EXPECT_EQ(encoded(), "ip='x'");

    parse("b=1|a=1|B=2|b=3|c=4");
    linkedlist* list = list_.get();
    const auto is_second_b = [](void* data) -> int {
        return static_cast<optionalpvariable*>(data)->long_value == 2;
    };
    const auto* const second_b =
        static_cast<optionalpvariable*>(linkedlist_search(&list, is_second_b));
    EXPECT_EQ(
        optionalp_variables_insertorreplace(list, second_b->name, second_b->value, OPTIONALP_LONG),
        0);
    EXPECT_EQ(encoded(), "c=4|B=2|a=1");
}

}  // namespace

#include "platform/json_keys.h"

#include <gtest/gtest.h>

namespace
{

TEST(JsonKeys, FindsANameThatComesAgainInItsObjectHoweverItIsWritten)
{
    const struct
    {
        const char *json;
        const char *repeated; ///< null for none
    } rows[] = {
        {R"({"a":[1,2],"a":[3]})", "a"},
        {R"({"b":1,"a":{"c":1,"d":2},"e":3,"a":[]})", "a"},
        {R"([{"x":1},{"y":{"x":1,"z":"x","x":2}}])", "x"},
        {R"({ "a" : 1 , "\u0061" : [1] })", "a"},
        {R"({"a\"b":1,"a\"b":2})", R"(a"b)"},
        {R"({"":1,"":2})", ""},
        {R"({"a":[{}],"a":[2],)", nullptr}, // it never closes, so that nobody keeps it
        {R"({"a":{"b":1,"b":[]},)", "b"},
        {R"({"a":{"a":{"a":1}},"b":[{"a":1},{"a":2}]})", nullptr},
        {R"({"a":"\"a\":","b":"\\","c":"a"})", nullptr},
        {R"({"a":"b","b":"a"})", nullptr},
        {R"(}}{"a":1}]["a":2,)", nullptr},
        {R"({"a":"no end)", nullptr},
        {R"("a)", nullptr},
        {"", nullptr},
    };
    for (const auto &row : rows) {
        const auto found = Shared::FindRepeatedJsonKey(row.json);
        EXPECT_EQ(found, row.repeated ? std::optional<QByteArray>(row.repeated) : std::nullopt) << row.json;
    }
}

} // namespace

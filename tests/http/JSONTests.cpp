#include <gmock/gmock.h>

#include <boost/describe.hpp>
#include <boost/json.hpp>
#include <cstdlib>
#include <limits>

#include "http/JSONDecoder.h"
#include "http/JSONResponse.h"

namespace varkel {
namespace {

using testing::HasSubstr;

struct Inner {
    std::int64_t count = 0;
};
BOOST_DESCRIBE_STRUCT(Inner, (), (count))

struct Record {
    std::string name;
    std::optional<std::int64_t> number;
    std::optional<double> amount;
    std::optional<bool> flag;
    std::optional<std::uint64_t> size;
    std::optional<std::vector<Inner>> list;
};
BOOST_DESCRIBE_STRUCT(Record, (), (name, number, amount, flag, size, list))

struct Numbers {
    double wide = 0;
    float narrow = 0;
};
BOOST_DESCRIBE_STRUCT(Numbers, (), (wide, narrow))

TEST(JSONEncoder, WritesNumbersAsPeopleReadThem) {
    const std::vector<std::pair<double, std::string>> wide{
        {120, "120"},
        {120.5, "120.5"},
        {1e5, "100000"},
        {0.8, "0.8"},
        {-0.0, "0"},
        {-3, "-3"},
        {0.001, "0.001"},
        {1e20, "100000000000000000000"},
        {0.1 + 0.2, "0.30000000000000004"},
    };
    for (const auto& [number, text] : wide) EXPECT_EQ(encodeJSON(number), text);
    const std::vector<std::pair<float, std::string>> narrow{{0.8F, "0.8"}, {1.0F, "1"}, {0.3F, "0.3"}};
    for (const auto& [number, text] : narrow) EXPECT_EQ(encodeJSON(number), text);
    EXPECT_EQ(encodeJSON(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(encodeJSON(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
    // Whatever the form, it reads back as the same number.
    for (const double number : {1e-7, 1e300, 5e-324, 123456789.123456789}) {
        EXPECT_EQ(std::strtod(encodeJSON(number)->c_str(), nullptr), number);
    }
}

TEST(JSONEncoder, WritesTexts) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"", R"("")"},
        {"a\"b\\c/", R"("a\"b\\c/")"},
        {"\b\f\n\r\t", R"("\b\f\n\r\t")"},
        {std::string("\0\x1f\x7f", 3), "\"\\u0000\\u001f\x7f\""},
        {"\u00E4\u20AC\U0001F600", "\"\u00E4\u20AC\U0001F600\""},
    };
    for (const auto& [text, json] : cases) EXPECT_EQ(encodeJSON(text), json);
}

TEST(JSONResponse, FallsBackWhenThereIsNoJSONForABody) {
    const double infinity = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<HTTPResponse> responses{
        jsonResponse(200, Numbers{infinity, 0}),
        jsonResponse(200, Numbers{0, static_cast<float>(nan)}),
        jsonResponse(200, {{"a", nan}}),
        jsonResponse(200, {{"a", "\xC0\xAF"}}),
        jsonResponse(200, {{"a", "cut off \xE2\x82"}}),
        jsonResponse(200, {{"\xFF", 1}}),
        jsonResponse(200, {{"a", {1, 2, {"\xED\xA0\x80"}}}}),
        jsonResponse(200, Record{"\xF5", {}, {}, {}, {}, {}}),
    };
    for (const HTTPResponse& response : responses) {
        EXPECT_EQ(response.status, 200);
        EXPECT_EQ(*response.body, R"({"error": "json_serialization_failed"})");
        EXPECT_EQ(response.headers,
                  (HTTPHeaders{{"Content-Type", "application/json"}, {"Content-Length", "38"}}));
    }
}

TEST(JSONResponse, CarriesTheTypeAndTheLengthInBytes) {
    const HTTPResponse response = jsonResponse(403, {{"k", "\u20AC"}});
    EXPECT_EQ(response.status, 403);
    EXPECT_EQ(*response.body, "{\"k\":\"\u20AC\"}");
    EXPECT_EQ(response.headers,
              (HTTPHeaders{{"Content-Type", "application/json"}, {"Content-Length", "11"}}));
    EXPECT_EQ(*jsonResponse(200, boost::json::object{}).body, "{}");
}

TEST(JSONResponse, LeavesAbsentFieldsOut) {
    EXPECT_EQ(*jsonResponse(200, Record{"n", 1, {}, false, {}, {}}).body,
              R"({"name":"n","number":1,"flag":false})");
    EXPECT_EQ(*jsonResponse(200, Record{"", {}, {}, {}, {}, {{{7}, {8}}}}).body,
              R"({"name":"","list":[{"count":7},{"count":8}]})");
}

TEST(JSONDecoder, TakesIntegersThatAreOne) {
    struct Case {
        std::string text;
        std::optional<std::int64_t> number;
    };
    const std::vector<Case> cases{
        {"3", 3},
        {"3.0", 3},
        {"3e2", 300},
        {"-0", 0},
        {"3.5", {}},
        {"1e400", {}},
        {"true", {}},
        {"\"3\"", {}},
        {"1e19", {}},
        {"[]", {}},
        {"18446744073709551615", {}},
        {"9223372036854775807", std::numeric_limits<std::int64_t>::max()},
        {"-9223372036854775808", std::numeric_limits<std::int64_t>::min()},
        {"9223372036854775808", {}},
    };
    for (const Case& c : cases) {
        const std::string body = R"({"name":"","number":)" + c.text + "}";
        if (c.number) {
            EXPECT_EQ(decodeJSON<Record>(body).number, c.number) << body;
        } else {
            EXPECT_THROW(decodeJSON<Record>(body), DecodingError) << body;
        }
    }
}

TEST(JSONDecoder, TakesNumbersAndTruthValues) {
    const auto record = decodeJSON<Record>(R"({"name":"","amount":150.5,"flag":true})");
    EXPECT_EQ(record.amount, 150.5);
    EXPECT_EQ(record.flag, true);
    EXPECT_EQ(decodeJSON<Record>(R"({"name":"","amount":-3})").amount, -3.0) << "an integer is a number";
    EXPECT_EQ(decodeJSON<Record>(R"({"name":"","amount":1e2})").amount, 100.0);
    EXPECT_THROW(decodeJSON<Record>(R"({"name":"","amount":1e400})"), DecodingError) << "beyond any number";
}

TEST(JSONDecoder, TreatsNullAsAbsentAndIgnoresUnknownKeys) {
    const Record record = decodeJSON<Record>(
        R"({"NAME":1,"name":"a","name":"b","number":null,"other":{"x":[null]},"list":[{"count":1.0}]})");
    EXPECT_EQ(record.name, "b");
    EXPECT_EQ(record.number, std::nullopt);
    ASSERT_TRUE(record.list);
    EXPECT_EQ(record.list->front().count, 1);
}

TEST(JSONDecoder, SaysWhatIsWrongAndWhere) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"", "not valid JSON"},
        {"{", "not valid JSON"},
        {R"({"name":"a"} x)", "not valid JSON"},
        {R"({"name":"a",})", "not valid JSON"},
        {"{\"name\":\"\xFF\"}", "not valid JSON"},
        {"[]", "the body is an array"},
        {"{}", "\"name\" is missing"},
        {R"({"name":null})", "\"name\" is null"},
        {R"({"name":1})", "\"name\" is a number"},
        {R"({"name":"","flag":1})", "\"flag\" is a number"},
        {R"({"name":"","flag":"true"})", "\"flag\" is a string"},
        {R"({"name":"","amount":"1"})", "\"amount\" is a string"},
        {R"({"name":"","size":-1})", "\"size\" is a number"},
        {R"({"name":"","list":{}})", "\"list\" is an object"},
        {R"({"name":"","list":[{"count":1},{"count":"x"}]})", "\"list.count\" is a string"},
        {R"({"name":"","list":[{}]})", "\"list.count\" is missing"},
    };
    for (const auto& [body, message] : cases) {
        try {
            decodeJSON<Record>(body);
            ADD_FAILURE() << "accepted: " << body;
        } catch (const DecodingError& error) {
            EXPECT_THAT(error.what(), HasSubstr(message)) << body;
        }
    }
}

TEST(JSONDecoder, DecodesMapsAsAWhole) {
    using Map = std::map<std::string, std::optional<std::int64_t>>;
    EXPECT_EQ(decodeJSON<Map>(R"({"a":1,"b":null})"), (Map{{"a", 1}, {"b", {}}}));
    EXPECT_THROW(decodeJSON<Map>(R"({"root_pid":1,"other":"x"})"), DecodingError);
    EXPECT_THROW(decodeJSON<Map>("[]"), DecodingError);
}

TEST(JSONDecoder, LimitsDepth) {
    const std::string deep = std::string(1'000'000, '[') + std::string(1'000'000, ']');
    EXPECT_THROW(decodeJSON<Record>(R"({"name":"","other":)" + deep + "}"), DecodingError);
    const std::string shallow = std::string(50, '[') + std::string(50, ']');
    EXPECT_NO_THROW(decodeJSON<Record>(R"({"name":"","other":)" + shallow + "}"));
}

}  // namespace
}  // namespace varkel

#include <gmock/gmock.h>

#include <bit>
#include <boost/describe.hpp>
#include <boost/json.hpp>
#include <cmath>
#include <random>
#include <thread>

#include "http/JSONBody.h"
#include "http/JSONResponse.h"
#include "json/JSONDecoder.h"
#include "support/RunTask.h"

namespace varkel::test {
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

/// Notes where it is read.
struct Reader {
    std::thread::id thread;
};

void read(Reader& out, const JSONText&, const decoding::Place&) {
    out.thread = std::this_thread::get_id();
}

struct Read {
    Reader by;
};
BOOST_DESCRIBE_STRUCT(Read, (), (by))

struct Numbers {
    double wide = 0;
    float narrow = 0;
};
BOOST_DESCRIBE_STRUCT(Numbers, (), (wide, narrow))

TEST(JSONEncoder, WritesNumbersAsPeopleReadThem) {
    const std::map<double, const char*> wide{
        {120, "120"}, {120.5, "120.5"}, {0.8, "0.8"}, {-0.0, "0"}, {0.001, "0.001"}};
    for (const auto& [number, text] : wide) EXPECT_EQ(encodeJSON(number), text);
    EXPECT_EQ(encodeJSON(1e20), "100000000000000000000");
    EXPECT_EQ(encodeJSON(0.1 + 0.2), "0.30000000000000004");
    EXPECT_EQ(encodeJSON(std::vector{0.8F, 1.0F, 0.3F}), "[0.8,1,0.3]");
    EXPECT_EQ(encodeJSON(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(encodeJSON(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
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
        jsonResponse(200, {{"a", "\xC0\xAF"}}),
        jsonResponse(200, {{"\xFF", 1}}),
        jsonResponse(200, {{"a", {1, 2, {"\xED\xA0\x80"}}}}),
    };
    for (const HTTPResponse& response : responses) {
        EXPECT_EQ(statusAndBody(response), R"(200 {"error": "json_serialization_failed"})");
        EXPECT_EQ(headerOf(response, "Content-Type"), "application/json");
    }
}

TEST(JSONResponse, LeavesAbsentFieldsOutAndCountsBytes) {
    const HTTPResponse response = jsonResponse(403, {{"k", "\u20AC"}});
    EXPECT_EQ(*response.body, "{\"k\":\"\u20AC\"}");
    EXPECT_EQ(headerOf(response, "Content-Length"), "11");
    EXPECT_EQ(*jsonResponse(200, Record{"n", 1, {}, false, {}, {}}).body,
              R"({"name":"n","number":1,"flag":false})");
    EXPECT_EQ(*jsonResponse(200, Record{"", {}, {}, {}, {}, {{{7}, {8}}}}).body,
              R"({"name":"","list":[{"count":7},{"count":8}]})");
}

template <class T>
std::optional<T> decoded(const std::string& text) {
    try {
        return decodeJSON<std::map<std::string, T>>("{\"n\":" + text + "}")["n"];
    } catch (const DecodingError&) {
        return std::nullopt;
    }
}

TEST(JSONDecoder, TakesNumbers) {
    constexpr auto least = std::numeric_limits<std::int64_t>::min();
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    using Real = std::optional<double>;
    using Integer = std::optional<std::int64_t>;
    using Natural = std::optional<std::uint64_t>;
    const auto check = [](const char* text, Real real, Integer integer, Natural natural) {
        EXPECT_EQ(decoded<double>(text), real) << text;
        EXPECT_EQ(decoded<std::int64_t>(text), integer) << text;
        EXPECT_EQ(decoded<std::uint64_t>(text), natural) << text;
    };
    for (const char* same : {"300", "300.0", "3e2", "3E2", "0.00000000000000003e19"})
        check(same, 300, 300, 300);
    check("-0", -0.0, 0, 0);
    check("-3", -3, -3, {});
    check("3.5", 3.5, {}, {});
    check("9223372036854775807", 0x1p63, most, most);
    check("-9223372036854775808", -0x1p63, least, {});
    check("9223372036854775808", 0x1p63, {}, 9223372036854775808U);
    check("18446744073709551615", 0x1p64, {}, std::numeric_limits<std::uint64_t>::max());
    check("18446744073709551616", 0x1p64, {}, {});
    check("1e19", 1e19, {}, 10'000'000'000'000'000'000U);
    for (const char* none : {"1e400", "true", "\"3\"", "03", "+3", ".5", "1e", "NaN"})
        check(none, {}, {}, {});
    // Whatever its digits, a real is the same when it has been read and is written.
    std::mt19937_64 bits(1);
    for (int i = 0; i < 10'000; ++i) {
        const auto real = std::bit_cast<double>(bits());
        if (std::isfinite(real)) {
            EXPECT_EQ(decoded<double>(*encodeJSON(real)), real);
        }
    }
}

TEST(JSONDecoder, TakesTextsAndTruthValues) {
    EXPECT_EQ(decoded<std::string>(R"("")"), "");
    EXPECT_EQ(decoded<std::string>(R"("\"\\\/\b\f\n\r\t")"), "\"\\/\b\f\n\r\t");
    EXPECT_EQ(decoded<std::string>(R"("a\u0000\u00e9\u20AC\uD83D\uDE00z")"), std::string("a\0é€😀z", 12));
    for (const char* text : {R"("\uD83D")", R"("\uD83D\n")", R"("\uDE00")", R"("\u12g4")", R"("\x")",
                             "\"a\nb\"", "\"\xED\xA0\x80\"", R"("open)"}) {
        EXPECT_EQ(decoded<std::string>(text), std::nullopt) << text;
    }
    EXPECT_EQ(decoded<bool>("true"), true);
    EXPECT_EQ(decoded<bool>(" false\n"), false);
    EXPECT_EQ(decoded<bool>("tru"), std::nullopt);
}

TEST(JSONDecoder, TreatsNullAsAbsentAndIgnoresUnknownKeys) {
    const Record record = decodeJSON<Record>(
        R"({ "NAME":1, "name":2 ,"n\u0061me":"b","number":null,"other":{"x":[null]},"list":[{"count":1.0}]})");
    EXPECT_EQ(record.name, "b");
    EXPECT_EQ(record.number, std::nullopt);
    ASSERT_TRUE(record.list);
    EXPECT_EQ(record.list->front().count, 1);
}

TEST(JSONDecoder, SaysWhatIsWrongAndWhere) {
    const auto check = [](const std::string& body, const char* message) {
        try {
            decodeJSON<Record>(body);
            ADD_FAILURE() << "accepted: " << body;
        } catch (const DecodingError& error) {
            EXPECT_THAT(error.what(), HasSubstr(message)) << body;
        }
    };
    const std::string cut("{\"name\":\"a\"}\0", 13);
    for (const std::string& body :
         {std::string(), std::string("{"), std::string(R"({"name":"a",})"),
          std::string("{\"name\":\"\xFF\"}"), std::string(R"({"name":"a","list":[{"count":1},]})"),
          std::string(R"({"name":"a" "flag":true})"), std::string(R"({"name" "a"})"), cut}) {
        check(body, "not valid JSON");
    }
    check("[]", "the body is an array");
    check("{}", "\"name\" is missing");
    check(R"({"name":null})", "\"name\" is null");
    check(R"({"name":1})", "\"name\" is a number");
    check(R"({"name":"","flag":1})", "\"flag\" is a number");
    check(R"({"name":"","amount":"1"})", "\"amount\" is a string");
    check(R"({"name":"","list":{}})", "\"list\" is an object");
    check(R"({"name":"","list":[{"count":1},{"count":"x"}]})", "\"list.count\" is a string");
}

TEST(JSONDecoder, DecodesMapsAsAWhole) {
    using Map = std::map<std::string, std::optional<std::int64_t>>;
    EXPECT_EQ(decodeJSON<Map>(R"({"a":1,"b":null})"), (Map{{"a", 1}, {"b", {}}}));
    EXPECT_THROW(decodeJSON<Map>(R"({"root_pid":1,"other":"x"})"), DecodingError);
    EXPECT_THROW(decodeJSON<Map>("[]"), DecodingError);
}

TEST(JSONBody, IsReadOnThePoolWhenItIsLarge) {
    HTTPRequest request;
    request.body = R"({"by":0})";
    EXPECT_EQ(runTask(decodeBody<Read>(request)).by.thread, std::this_thread::get_id());
    request.body += std::string(100'000, ' ');
    EXPECT_NE(runTask(decodeBody<Read>(request)).by.thread, std::this_thread::get_id());
    request.body += 'x';
    EXPECT_THROW(runTask(decodeBody<Read>(request)), DecodingError);
}

TEST(JSONDecoder, IgnoresAnUnknownKeyHoweverDeepItNests) {
    std::string opening;
    std::string closing;
    for (int level = 0; level < 1'000'000; ++level) {
        opening += level % 2 == 0 ? "[" : "{\"\":";
        closing += level % 2 == 0 ? "}" : "]";
    }
    // The innermost is an object.
    EXPECT_EQ(decodeJSON<Record>(R"({"other":)" + opening + "1" + closing + R"(,"name":"a"})").name, "a");
    EXPECT_THROW(decodeJSON<Record>(R"({"name":"","other":)" + opening), DecodingError);
    EXPECT_THROW(decodeJSON<Record>(R"({"name":"","other":)" + opening + "1]" + closing + "}"),
                 DecodingError);
}

}  // namespace
}  // namespace varkel::test

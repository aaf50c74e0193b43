#include <gtest/gtest.h>

#include "base/ParseInteger.h"

namespace varkel {

TEST(ParseInteger, TakesASignAndDigitsAndNothingElse) {
    const std::vector<std::pair<std::string, std::optional<std::int64_t>>> cases{
        {"0", 0},     {"+80", 80},      {"-1", -1},
        {"0080", 80}, {"70000", 70000}, {"9223372036854775807", INT64_MAX},
        {"", {}},     {" 80", {}},      {"80 ", {}},
        {"0x50", {}}, {"80.0", {}},     {"9223372036854775808", {}},
        {"+", {}},    {"-", {}},        {"+-1", {}},
        {"--1", {}},  {"1e3", {}},      {"-9223372036854775808", INT64_MIN},
    };
    for (const auto& [text, number] : cases) EXPECT_EQ(parseInteger<std::int64_t>(text), number) << text;
    EXPECT_EQ(parseInteger<std::size_t>("-1"), std::nullopt);
    EXPECT_EQ(parseInteger<std::uint8_t>("256"), std::nullopt);
}

}  // namespace varkel

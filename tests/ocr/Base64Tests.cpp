#include <gtest/gtest.h>

#include "ocr/Base64.h"

using varkel::decodeBase64;

TEST(Base64, DecodesWhatIsCompleteAndPadded) {
    const std::pair<const char*, std::string> cases[] = {
        {"", ""},        {"QQ==", "A"},        {"QUI=", "AB"},
        {"QUJD", "ABC"}, {"QUJDRA==", "ABCD"}, {"AP+/", std::string("\0\xff\xbf", 3)},
    };
    for (const auto& [text, bytes] : cases) EXPECT_EQ(decodeBase64(text), bytes) << text;
}

TEST(Base64, RefusesEverythingElse) {
    for (const char* text : {"Q", "QQ", "QQ=", "QUI", "QUJD=", "Q===", "====", "QQ==QQ==", "QU\nJD", " QUJD",
                             "QUJD ", "QUJD\r\n", "QU-D", "QU_D", "Q=JD", "QUJ\xc3", "=QUJ"}) {
        EXPECT_EQ(decodeBase64(text), std::nullopt) << text;
    }
}

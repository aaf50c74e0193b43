// Every record that is read from a request: any text gives a record or an error, and a record that is written
// down and read again is the same. What is JSON at all is so for another parser as well.

#include <boost/json/error.hpp>
#include <boost/json/parse.hpp>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "ax/AXActions.h"
#include "ax/ElementFilter.h"
#include "base/UnicodeText.h"
#include "fuzz/Property.h"
#include "json/JSONDecoder.h"
#include "json/JSONEncoder.h"
#include "keys/Keystrokes.h"
#include "ocr/OCR.h"
#include "routes/TreeAndOCR.h"
#include "scripts/AppleScript.h"
#include "scripts/Shortcuts.h"
#include "visual/VisualFind.h"

namespace varkel::fuzzing {
namespace {

using TextMap = std::map<std::string, std::optional<std::string>>;
using NumberMap = std::map<std::string, std::optional<std::int64_t>>;

template <class Record>
std::optional<Record> decoded(std::string_view text) {
    try {
        return decodeJSON<Record>(text);
    } catch (const DecodingError& error) {
        require(isValidUTF8(error.what()), "an error's text is UTF-8");
        return std::nullopt;
    }
}

template <class Record>
void checkRecord(std::string_view text) {
    auto record = decoded<Record>(text);
    if (!record) return;
    const auto written = encodeJSON(*record);
    require(written.has_value(), "what was read can be written");
    const auto again = decoded<Record>(*written);
    require(again.has_value(), "what was written can be read");
    require(encodeJSON(*again) == written, "a record survives being written and read");
}

/// Which texts are JSON is a matter on which another parser has to agree.
void checkGrammar(std::string_view text) {
    bool isJSON = true;
    try {
        JSONText::parse(text);
    } catch (const JSONSyntaxError&) {
        isJSON = false;
    }
    boost::json::parse_options options;
    options.max_depth = text.size();
    boost::system::error_code error;
    boost::json::parse(text, error, {}, options);
    // Boost has a limit of its own there.
    if (error == boost::json::error::exponent_overflow) return;
    require(isJSON == !error, "what is JSON for Boost is JSON");
}

template <class... Records>
void checkRecords(std::string_view text) {
    (checkRecord<Records>(text), ...);
}

}  // namespace

void check(std::string_view text) {
    checkGrammar(text);
    checkRecords<AXQuery, AXClickRequest, AXTypeRequest, AXScrollRequest, SendKeystrokesRequest,
                 TreeAndOCRRequest, OCROptions, VisualFindOptions, ShortcutRequest, AppleScriptRequest,
                 TextMap, NumberMap>(text);
}

}  // namespace varkel::fuzzing

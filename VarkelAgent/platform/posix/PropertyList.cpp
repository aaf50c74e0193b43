#include "platform/PropertyList.h"

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <type_traits>

#include "base/UnicodeText.h"

namespace varkel {

namespace {

namespace json = boost::json;

struct PlistFree {
    void operator()(plist_t node) const { plist_free(node); }
};
using Plist = std::unique_ptr<std::remove_pointer_t<plist_t>, PlistFree>;

struct TextFree {
    void operator()(char* text) const { plist_to_xml_free(text); }
};

struct MemoryFree {
    void operator()(void* memory) const { std::free(memory); }
};

bool fitsXML(std::string_view text) {
    if (!isValidUTF8(text)) return false;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        // A carriage return would be read back as a line feed.
        if (byte < 0x20 && c != '\t' && c != '\n') return false;
    }
    // U+FFFE and U+FFFF.
    return text.find("\xEF\xBF\xBE") == std::string_view::npos &&
           text.find("\xEF\xBF\xBF") == std::string_view::npos;
}

const std::string& checked(const std::string& text) {
    if (!fitsXML(text)) throw std::invalid_argument("a property list cannot hold this text's characters");
    return text;
}

Plist toPlist(const json::value& value) {
    if (const auto* text = value.if_string())
        return Plist(plist_new_string(checked(std::string(*text)).c_str()));
    if (const auto* truth = value.if_bool()) return Plist(plist_new_bool(*truth ? 1 : 0));
    if (const auto* array = value.if_array()) {
        Plist node(plist_new_array());
        for (const json::value& entry : *array) plist_array_append_item(node.get(), toPlist(entry).release());
        return node;
    }
    if (const auto* object = value.if_object()) {
        Plist node(plist_new_dict());
        for (const auto& [key, entry] : *object) {
            plist_dict_set_item(node.get(), checked(std::string(key)).c_str(), toPlist(entry).release());
        }
        return node;
    }
    throw std::invalid_argument("a property list cannot hold this kind of value");
}

std::string textOf(const char* text, std::size_t size) {
    std::string copy(text, size);
    if (!isValidUTF8(copy)) throw std::invalid_argument("the property list is not UTF-8");
    return copy;
}

json::value toJSON(plist_t node, int levelsLeft);

json::array toArray(plist_t node, int levelsLeft) {
    json::array array;
    const std::uint32_t count = plist_array_get_size(node);
    for (std::uint32_t i = 0; i < count; ++i)
        array.push_back(toJSON(plist_array_get_item(node, i), levelsLeft));
    return array;
}

json::object toObject(plist_t node, int levelsLeft) {
    json::object object;
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(node, &iterator);
    const std::unique_ptr<void, MemoryFree> owner(iterator);
    for (;;) {
        char* key = nullptr;
        plist_t entry = nullptr;
        plist_dict_next_item(node, iterator, &key, &entry);
        const std::unique_ptr<char, MemoryFree> ownedKey(key);
        if (key == nullptr || entry == nullptr) return object;
        object.insert_or_assign(textOf(key, std::char_traits<char>::length(key)), toJSON(entry, levelsLeft));
    }
}

json::value toJSON(plist_t node, int levelsLeft) {
    if (levelsLeft == 0) throw std::invalid_argument("the property list is nested too deeply");
    switch (plist_get_node_type(node)) {
        case PLIST_STRING: {
            std::uint64_t size = 0;
            const char* text = plist_get_string_ptr(node, &size);
            return text == nullptr ? json::value("") : json::value(textOf(text, size));
        }
        case PLIST_BOOLEAN: {
            std::uint8_t truth = 0;
            plist_get_bool_val(node, &truth);
            return truth != 0;
        }
        case PLIST_UINT: {
            std::uint64_t number = 0;
            plist_get_uint_val(node, &number);
            return number;
        }
        case PLIST_REAL: {
            double number = 0;
            plist_get_real_val(node, &number);
            return number;
        }
        case PLIST_ARRAY:
            return toArray(node, levelsLeft - 1);
        case PLIST_DICT:
            return toObject(node, levelsLeft - 1);
        default:
            return nullptr;
    }
}

/// The parser makes up what is missing at the end of a list that was cut off.
bool isWhole(std::string_view xml) {
    return trimmedOfWhiteSpace(xml).ends_with("</plist>");
}

}  // namespace

std::string serializePropertyList(const json::object& dictionary) {
    const Plist root = toPlist(dictionary);
    char* text = nullptr;
    std::uint32_t size = 0;
    plist_to_xml(root.get(), &text, &size);
    const std::unique_ptr<char, TextFree> owner(text);
    if (text == nullptr) throw std::invalid_argument("the property list cannot be written");
    return {text, size};
}

json::object parsePropertyList(std::string_view xml) {
    if (xml.size() > longestPropertyList) throw std::invalid_argument("the property list is too long");
    if (!isValidUTF8(xml)) throw std::invalid_argument("the property list is not UTF-8");
    if (!isWhole(xml)) throw std::invalid_argument("this is no XML property list");
    plist_t parsed = nullptr;
    plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &parsed);
    const Plist root(parsed);
    if (!root || plist_get_node_type(root.get()) != PLIST_DICT) {
        throw std::invalid_argument("this is no XML property list with a dictionary");
    }
    return toObject(root.get(), deepestPropertyList);
}

}  // namespace varkel

#include "routes/ActionDetails.h"

#include <boost/json/array.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varkel {

namespace {

class Details {
  public:
    Details& add(std::string_view key, const std::string& text) {
        fields_[key] = shorten(text);
        return *this;
    }

    template <class T>
    Details& add(std::string_view key, const std::optional<T>& value) {
        return value ? add(key, *value) : *this;
    }

    Details& add(std::string_view key, double number) {
        fields_[key] = number;
        return *this;
    }

    Details& add(std::string_view key, const std::vector<std::string>& texts) {
        boost::json::array list;
        std::size_t room = longestDetail;
        for (const std::string& text : texts) {
            if (list.size() == mostDetailedKeys || text.size() > room) {
                fields_["shortened"] = true;
                break;
            }
            room -= text.size();
            list.emplace_back(text);
        }
        fields_[key] = std::move(list);
        return *this;
    }

    boost::json::object take() { return std::move(fields_); }

  private:
    /// The text is UTF-8 and stays so.
    std::string_view shorten(std::string_view text) {
        if (text.size() <= longestDetail) return text;
        fields_["shortened"] = true;
        std::size_t end = longestDetail;
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
        return text.substr(0, end);
    }

    boost::json::object fields_;
};

}  // namespace

boost::json::object actionDetails(const AXClickRequest& request) {
    return Details().add("elementId", request.elementId).add("batch_id", request.batch_id).take();
}

boost::json::object actionDetails(const AXTypeRequest& request) {
    return Details()
        .add("elementId", request.elementId)
        .add("text", request.text)
        .add("batch_id", request.batch_id)
        .take();
}

boost::json::object actionDetails(const AXScrollRequest& request) {
    return Details()
        .add("elementId", request.elementId)
        .add("direction", request.direction)
        .add("amount", request.amount)
        .add("batch_id", request.batch_id)
        .take();
}

boost::json::object actionDetails(const SendKeystrokesRequest& request) {
    return Details()
        .add("text", request.text)
        .add("keys", request.keys)
        .add("app_bundle_id", request.app_bundle_id)
        .add("app_name", request.app_name)
        .add("mode", request.mode)
        .take();
}

boost::json::object actionDetails(const ShortcutRequest& request) {
    return Details().add("name", request.name).add("input", request.input).take();
}

boost::json::object actionDetails(const AppleScriptRequest& request) {
    return Details().add("script", request.script).take();
}

}  // namespace varkel

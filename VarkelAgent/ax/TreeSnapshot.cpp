#include "ax/TreeSnapshot.h"

#include "http/JSONEncoder.h"

namespace varkel {

const SharedBody& TreeSnapshot::json() const {
    std::call_once(encoded_, [this] {
        if (auto text = encodeJSON(response_)) json_ = std::make_shared<const std::string>(std::move(*text));
    });
    return json_;
}

}  // namespace varkel

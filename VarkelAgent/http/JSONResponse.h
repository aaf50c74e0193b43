#pragma once

#include <boost/json/object.hpp>

#include "http/HTTPMessage.h"
#include "json/JSONEncoder.h"

namespace varkel {

/// The answer with this status and this JSON text as its body, or with the fallback body when there is no
/// text. The only way in which responses are built. Any thread.
HTTPResponse jsonTextResponse(int status, std::optional<std::string> text);

/// The answer with this status and a JSON text that is already shared: no copy is made.
HTTPResponse jsonTextResponse(int status, SharedBody text);

/// The answer with a JSON object as its body.
inline HTTPResponse jsonResponse(int status, const boost::json::object& body) {
    return jsonTextResponse(status, encodeJSON(body));
}

/// The answer with a described record as its body.
template <class Record>
requires boost::describe::has_describe_members<Record>::value HTTPResponse jsonResponse(int status,
                                                                                        const Record& body) {
    return jsonTextResponse(status, encodeJSON(body));
}

}  // namespace varkel

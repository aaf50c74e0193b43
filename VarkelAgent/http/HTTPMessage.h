#pragma once

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace varkel {

/// The program that has sent a request and waits for the answer.
class RequestClient {
  public:
    virtual ~RequestClient() = default;

    /// Whether the other end of the connection has been closed, or the sending half of it: the two look the
    /// same from here. Any thread.
    virtual bool hasGone() = 0;
};

/// One parsed request. A plain value.
struct HTTPRequest {
    std::string method;
    /// As sent, query string included.
    std::string path;
    /// Names lower-cased and trimmed, values trimmed; one value per name.
    std::map<std::string, std::string, std::less<>> headers;
    std::string body;
    /// Whether it came with the credentials that the server asks for.
    bool authenticated = false;
    /// Null, or there until the request has been answered.
    RequestClient* client = nullptr;

    /// The value of a header by its lower-case name, or null.
    const std::string* header(std::string_view name) const;
};

/// Header lines in the order in which they are written.
using HTTPHeaders = std::vector<std::pair<std::string, std::string>>;

/// Immutable bytes shared by all answers that carry them, so that a cached body is never copied. Never null.
using SharedBody = std::shared_ptr<const std::string>;

/// One answer. A plain value; copies share the body.
struct HTTPResponse {
    int status = 200;
    HTTPHeaders headers;
    SharedBody body;

    /// The value of the header of this exact name, or null.
    const std::string* header(std::string_view name) const;

    /// Replaces the header of this exact name, or adds it at the end.
    void setHeader(std::string_view name, std::string_view value);
};

/// The failures that handlers throw and the server turns into answers.
class HTTPError : public std::runtime_error {
  public:
    enum class Case { invalidRequest, notFound, methodNotAllowed, badRequest, unauthorized };

    explicit HTTPError(Case errorCase) : std::runtime_error(caseName(errorCase)), case_(errorCase) {}

    Case errorCase() const { return case_; }

    /// The case's own name, such as "badRequest"; also what() of an error of that case.
    static const char* caseName(Case errorCase);

  private:
    Case case_;
};

}  // namespace varkel

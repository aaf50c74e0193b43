#include <gmock/gmock.h>
#include <sys/stat.h>
#include <yaml-cpp/yaml.h>

#include <boost/describe.hpp>
#include <boost/json.hpp>
#include <fstream>
#include <functional>
#include <map>
#include <set>

#include "ax/AXActions.h"
#include "ax/AXFind.h"
#include "json/JSONDecoder.h"
#include "keys/Keystrokes.h"
#include "ocr/OCR.h"
#include "routes/TreeAndOCR.h"
#include "scripts/AppleScript.h"
#include "scripts/Shortcuts.h"
#include "support/AgentServer.h"
#include "support/FakeToolPaths.h"
#include "support/ScriptedDesktop.h"
#include "support/ScriptedOverlay.h"
#include "support/TemporaryHome.h"
#include "visual/VisualFind.h"

namespace varkel {
namespace {

using test::AgentServer;
using test::RawResponse;
using test::ScriptedDesktop;
using test::ScriptedOverlay;
using test::statusReply;

const YAML::Node& document() {
    static const YAML::Node loaded = YAML::LoadFile(VARKEL_OPENAPI);
    return loaded;
}

/// What a "$ref" leads to; a node without one is itself.
YAML::Node resolve(const YAML::Node& node) {
    if (!node["$ref"]) return node;
    std::istringstream path(node["$ref"].as<std::string>().substr(2));
    YAML::Node at = document();
    for (std::string step; std::getline(path, step, '/');) at.reset(at[step]);
    return at;
}

YAML::Node schemaOf(const YAML::Node& responseOrBody) {
    return resolve(resolve(responseOrBody)["content"]["application/json"]["schema"]);
}

std::set<std::string> requiredOf(const YAML::Node& schema) {
    std::set<std::string> names;
    for (const auto& name : schema["required"]) names.insert(name.as<std::string>());
    return names;
}

// What the document says of a record's fields: "name: type", with a question mark when it may be left out.
using Fields = std::set<std::string>;

std::string typeOf(const YAML::Node& reference) {
    const YAML::Node schema = resolve(reference);
    const auto type = schema["type"].as<std::string>();
    return type == "array" ? "array of " + typeOf(schema["items"]) : type;
}

Fields documentedFields(const std::string& name) {
    const YAML::Node schema = document()["components"]["schemas"][name];
    const auto required = requiredOf(schema);
    Fields fields;
    for (const auto& property : schema["properties"]) {
        const auto field = property.first.as<std::string>();
        fields.insert(field + (required.contains(field) ? ": " : "?: ") + typeOf(property.second));
    }
    return fields;
}

template <class T>
struct TypeName {
    static std::string get() { return boost::describe::has_describe_members<T>::value ? "object" : "string"; }
};
template <std::integral T>
struct TypeName<T> {
    static std::string get() { return std::is_same_v<T, bool> ? "boolean" : "integer"; }
};
template <std::floating_point T>
struct TypeName<T> {
    static std::string get() { return "number"; }
};
template <class T>
struct TypeName<std::vector<T>> {
    static std::string get() { return "array of " + TypeName<T>::get(); }
};
template <class T>
struct TypeName<std::optional<T>> : TypeName<T> {};

template <class Record>
Fields fieldsOf() {
    Fields fields;
    using Members = boost::describe::describe_members<Record, boost::describe::mod_public>;
    boost::mp11::mp_for_each<Members>([&](auto descriptor) {
        using Field = std::remove_reference_t<decltype(Record().*descriptor.pointer)>;
        const bool optional = decoding::isOptional<Field>;
        fields.insert(std::string(descriptor.name) + (optional ? "?: " : ": ") + TypeName<Field>::get());
    });
    return fields;
}

TEST(OpenAPI, DescribesTheRecordsAsTheyAre) {
    EXPECT_EQ(documentedFields("AXQuery"), fieldsOf<AXQuery>());
    EXPECT_EQ(documentedFields("AXClickRequest"), fieldsOf<AXClickRequest>());
    EXPECT_EQ(documentedFields("AXTypeRequest"), fieldsOf<AXTypeRequest>());
    EXPECT_EQ(documentedFields("AXScrollRequest"), fieldsOf<AXScrollRequest>());
    EXPECT_EQ(documentedFields("SendKeystrokesRequest"), fieldsOf<SendKeystrokesRequest>());
    EXPECT_EQ(documentedFields("TreeAndOCRRequest"), fieldsOf<TreeAndOCRRequest>());
    EXPECT_EQ(documentedFields("OCROptions"), fieldsOf<OCROptions>());
    EXPECT_EQ(documentedFields("VisualFindOptions"), fieldsOf<VisualFindOptions>());
    EXPECT_EQ(documentedFields("ShortcutRequest"), fieldsOf<ShortcutRequest>());
    EXPECT_EQ(documentedFields("AppleScriptRequest"), fieldsOf<AppleScriptRequest>());
    EXPECT_EQ(documentedFields("AXFrame"), fieldsOf<AXFrame>());
    EXPECT_EQ(documentedFields("AXElementInfo"), fieldsOf<AXElementInfo>());
    EXPECT_EQ(documentedFields("OCRResult"), fieldsOf<OCRResult>());
    EXPECT_EQ(documentedFields("VisualFindResult"), fieldsOf<VisualFindResult>());
    EXPECT_EQ(documentedFields("Matches"), fieldsOf<FindResponse>());
    EXPECT_EQ(documentedFields("Lines"), fieldsOf<OCRResponse>());
    EXPECT_EQ(documentedFields("VisualMatches"), fieldsOf<VFResponse>());
}

/// Why a value is not what a schema says, or nothing. Fields that the schema does not know are a fault, too.
std::string faultOf(const boost::json::value& value, const YAML::Node& reference) {
    const YAML::Node schema = resolve(reference);
    const auto type = schema["type"].as<std::string>();
    const std::map<std::string, bool> is{{"object", value.is_object()}, {"array", value.is_array()},
                                         {"string", value.is_string()}, {"boolean", value.is_bool()},
                                         {"number", value.is_number()}, {"integer", value.is_int64()}};
    if (!is.at(type)) return boost::json::serialize(value) + " is no " + type;
    if (const auto* entries = value.if_array()) {
        for (const auto& entry : *entries) {
            if (auto fault = faultOf(entry, schema["items"]); !fault.empty()) return fault;
        }
    }
    if (const auto* object = value.if_object()) {
        for (const auto& name : requiredOf(schema)) {
            if (!object->contains(name)) return name + " is missing";
        }
        for (const auto& member : *object) {
            const YAML::Node property = schema["properties"][std::string(member.key())];
            if (!property) return std::string(member.key()) + " is not described";
            if (auto fault = faultOf(member.value(), property); !fault.empty()) return fault;
        }
    }
    return "";
}

/// The endpoints on a scripted desktop, with an overlay service that denies and tools that are shell scripts.
class OpenAPIEndpoints : public testing::Test {
  protected:
    OpenAPIEndpoints() {
        desktop.trusted = true;
        desktop.installed = {"com.apple.Terminal"};
        desktop.text = {test::line("Save", {0, 0, 0.5, 0.5})};
        desktop.barcodes.emplace_back().payloadStringValue = "Save me";
        const auto button = application->add("AXButton", "Save");
        button->actions.insert(AXAction::press);
        button->settable.insert(AXAttribute::value);
        button->setFrame({0, 0, 10, 10});
        application->add("AXUnknown", "No frame");
        Platform::current().toolPaths = std::make_unique<test::FakeToolPaths>(home / "tool");
        agent.emplace(home.clientOf(overlay));
    }

    void useTool(const std::string& script) { home.write("tool", "#!/bin/sh\n" + script + "\n", 0700); }

    RawResponse request(const std::string& path, const std::string& body) const {
        const std::string method = methodOf(path);
        const std::string consent =
            "x-varkel-mcp-consent: granted\r\nx-overlay-token: " + std::string(home.secret) + "\r\n";
        return agent->send(method, path, body, consent);
    }

    static std::string methodOf(const std::string& path) {
        const YAML::Node item = document()["paths"][path];
        return item["get"] ? "GET" : "POST";
    }

    /// An element's id, as a search for its label gives it.
    std::string idOf(const std::string& label) const {
        const auto found = boost::json::parse(request("/ax/find", R"({"label":")" + label + "\"}").body);
        return std::string(found.at("matches").at(0).at("id").as_string());
    }

    void expectDocumented(const std::string& path, const RawResponse& response) {
        const std::string method = methodOf(path) == "GET" ? "get" : "post";
        const YAML::Node responses = document()["paths"][path][method]["responses"];
        const std::string status = std::to_string(response.status());
        ASSERT_TRUE(responses[status]) << path << " answers " << status << " " << response.body;
        seen.insert(path + " " + status);
        EXPECT_EQ(faultOf(boost::json::parse(response.body), schemaOf(responses[status])), "")
            << path << " " << status << " " << response.body;
        for (const auto& header : resolve(responses[status])["headers"]) {
            const auto name = header.first.as<std::string>();
            EXPECT_TRUE(response.headers.contains(name)) << path << " " << name;
        }
    }

    ScriptedDesktop desktop;
    std::shared_ptr<test::SceneElement> application = desktop.addApplication(100, "Front");
    test::TemporaryHome home;
    ScriptedOverlay overlay{[](int) { return statusReply(423); }};
    std::optional<AgentServer> agent;
    std::set<std::string> seen;
};

TEST_F(OpenAPIEndpoints, AreAllDescribed) {
    std::set<std::string> documented;
    for (const auto& path : document()["paths"]) {
        for (const auto& method : path.second) {
            documented.insert((method.first.as<std::string>() == "get" ? "GET " : "POST ") +
                              path.first.as<std::string>());
        }
    }
    const auto routes = agent->routes();
    EXPECT_EQ(documented, std::set<std::string>(routes.begin(), routes.end()));
}

TEST_F(OpenAPIEndpoints, GiveTheAnswersThatAreDescribedAndNoOthers) {
    const std::string save = R"({"elementId":")" + idOf("Save") + '"';
    const std::string frameless = R"({"elementId":")" + idOf("No frame") + '"';
    const std::string nowhere = R"({"elementId":"0")";
    const std::string image = R"({"imageBase64":"aW1nb25l")";
    const std::function<void()> nothing = [] {};
    const auto untrusted = [&] { desktop.trusted = false; };
    const auto nobodyInFront = [&] { desktop.frontmost.reset(); };
    const auto recognitionFails = [&] { desktop.recognitionFails = true; };
    const auto toolIsMissing = [&] { std::filesystem::remove(home / "tool"); };
    const auto toolFails = [&] { useTool("exit 3"); };
    const auto toolHangs = [&] { useTool("exec sleep 60"); };
    const struct {
        const char* path;
        std::string body;
        std::function<void()> before;
    } cases[] = {
        {"/health", "", nothing},
        {"/ax/tree", "{}", nothing},
        {"/ax/tree", "[]", nothing},
        {"/ax/tree", "{}", untrusted},
        {"/ax/tree", "{}", nobodyInFront},
        {"/ax/find", R"({"role":"AXButton"})", nothing},
        {"/ax/find", "[]", nothing},
        {"/ax/find", "{}", untrusted},
        {"/ax/find", "{}", nobodyInFront},
        {"/ax/click", save + "}", nothing},
        {"/ax/click", "{}", nothing},
        {"/ax/click", save + "}", untrusted},
        {"/ax/click", nowhere + "}", nothing},
        {"/ax/click", frameless + "}", nothing},
        {"/ax/type", save + R"(,"text":"x"})", nothing},
        {"/ax/type", "{}", nothing},
        {"/ax/type", save + R"(,"text":"x"})", untrusted},
        {"/ax/type", nowhere + R"(,"text":"x"})", nothing},
        {"/ax/type", save + R"(,"text":"x"})", nobodyInFront},
        {"/ax/scroll", save + R"(,"direction":"up"})", nothing},
        {"/ax/scroll", save + R"(,"direction":"out"})", nothing},
        {"/ax/scroll", save + R"(,"direction":"up"})", untrusted},
        {"/ax/scroll", nowhere + R"(,"direction":"up"})", nothing},
        {"/ax/scroll", save + R"(,"direction":"up"})", nobodyInFront},
        {"/keystrokes", R"({"text":"a","delay_ms":1})", nothing},
        {"/keystrokes", R"({"keys":["nope"]})", nothing},
        {"/keystrokes", R"({"text":"a","app_bundle_id":"none"})", nothing},
        {"/keystrokes", R"({"text":"a","app_bundle_id":"com.apple.Terminal"})", toolFails},
        {"/ax/tree_and_ocr", image + "}", nothing},
        {"/ax/tree_and_ocr", "[]", nothing},
        {"/ax/tree_and_ocr", image + "}", untrusted},
        {"/ax/tree_and_ocr", "{}", nothing},
        {"/batch/begin", "{}", nothing},
        {"/batch/begin", "{}", untrusted},
        {"/batch/begin", "{}", nobodyInFront},
        {"/batch/end", "{}", nothing},
        {"/ocr", image + "}", nothing},
        {"/ocr", "{}", nothing},
        {"/ocr", image + R"(,"pid":1})", recognitionFails},
        {"/shortcut/list", "", nothing},
        {"/shortcut/list", "", toolFails},
        {"/shortcut/list", "", toolIsMissing},
        {"/shortcut", R"({"name":"a"})", nothing},
        {"/shortcut", "{}", nothing},
        {"/shortcut", R"({"name":"a"})", toolFails},
        {"/shortcut", R"({"name":"a"})", toolIsMissing},
        {"/shortcut", R"({"name":"a","timeoutMs":1})", toolHangs},
        {"/applescript/run", R"({"script":"return 1"})", nothing},
        {"/applescript/run", "{}", nothing},
        {"/applescript/run", R"({"script":"x"})", toolFails},
        {"/applescript/run", R"({"script":"x"})", toolIsMissing},
        {"/visual/find", image + R"(,"query":"save"})", nothing},
        {"/visual/find", "{}", nothing},
        {"/visual/find", image + R"(,"query":"save"})", recognitionFails},
    };
    for (const auto& [path, body, before] : cases) {
        desktop.trusted = true;
        desktop.frontmost = 100;
        desktop.recognitionFails = false;
        useTool("echo done");
        desktop.time += 10;  // nothing from a cache
        before();
        expectDocumented(path, request(path, body));
    }
    for (const auto& item : document()["paths"]) {
        const auto path = item.first.as<std::string>();
        if (path != "/health") expectDocumented(path, agent->sendWithoutToken(methodOf(path), path, "{}"));
    }
    for (const auto& [path, body] : {std::pair{"/ax/click", save + "}"},
                                     {"/keystrokes", std::string("{}")},
                                     {"/shortcut", R"({"name":"a"})"},
                                     {"/applescript/run", "{}"}}) {
        const RawResponse denied = agent->send("POST", path, body);
        EXPECT_EQ(denied.status(), 403) << path;
        expectDocumented(path, denied);
    }

    std::set<std::string> documented;
    for (const auto& item : document()["paths"]) {
        for (const auto& method : item.second) {
            for (const auto& response : method.second["responses"]) {
                documented.insert(item.first.as<std::string>() + " " + response.first.as<std::string>());
            }
        }
    }
    for (const auto& answer : documented) EXPECT_TRUE(seen.contains(answer)) << answer << " was never given";
}

}  // namespace
}  // namespace varkel

#include <gmock/gmock.h>
#include <yaml-cpp/yaml.h>

#include <boost/describe.hpp>
#include <boost/json.hpp>
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
    const std::map<std::string, Fields> records{
        {"AXQuery", fieldsOf<AXQuery>()},
        {"AXClickRequest", fieldsOf<AXClickRequest>()},
        {"AXTypeRequest", fieldsOf<AXTypeRequest>()},
        {"AXScrollRequest", fieldsOf<AXScrollRequest>()},
        {"SendKeystrokesRequest", fieldsOf<SendKeystrokesRequest>()},
        {"TreeAndOCRRequest", fieldsOf<TreeAndOCRRequest>()},
        {"OCROptions", fieldsOf<OCROptions>()},
        {"VisualFindOptions", fieldsOf<VisualFindOptions>()},
        {"ShortcutRequest", fieldsOf<ShortcutRequest>()},
        {"AppleScriptRequest", fieldsOf<AppleScriptRequest>()},
        {"AXFrame", fieldsOf<AXFrame>()},
        {"AXElementInfo", fieldsOf<AXElementInfo>()},
        {"OCRResult", fieldsOf<OCRResult>()},
        {"VisualFindResult", fieldsOf<VisualFindResult>()},
        {"Matches", fieldsOf<FindResponse>()},
        {"Lines", fieldsOf<OCRResponse>()},
        {"VisualMatches", fieldsOf<VFResponse>()},
    };
    for (const auto& [name, fields] : records) EXPECT_EQ(documentedFields(name), fields) << name;
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

    static std::string textOf(const RawResponse& response) {
        return std::to_string(response.status()) + " " + response.body;
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
    const std::string bad = R"(400 {"error":"bad_request"})";
    const std::string because = R"(400 {"error":"bad_request","message":")";
    const std::string invalid = R"(400 {"error":"bad_request","message":"Invalid JSON body"})";
    const std::string missing =
        R"(403 {"error":"ax_permission_missing","hint":"System Settings -> Privacy & )"
        R"(Security -> Accessibility"})";
    const std::string nobody = R"(500 {"error":"could_not_get_frontmost_app"})";
    const std::string notFound = R"(404 {"error":"element_not_found"})";
    const std::string noTool = R"(","message":"No such file or directory"})";
    const std::string batch = R"(200 {"ok":true,"batch_id":"default"})";
    // What the answer begins with.
    const struct {
        const char* path;
        std::string body, answer;
        std::function<void()> before;
    } cases[] = {
        {"/health", "", R"(200 {"ok":true,"version":)", nothing},
        {"/ax/tree", "{}", R"(200 {"tree":{"id":)", nothing},
        {"/ax/tree", R"({"root_pid":null,"other":null})", R"(200 {"tree":{"id":)", nothing},
        {"/ax/tree", R"({"root_pid":1,"root_pid":100.0})", R"(200 {"tree":{"id":)", nothing},
        {"/ax/tree", R"({"root_pid":"1"})", bad, nothing},
        {"/ax/tree", R"({"other":1.5})", bad, nothing},
        {"/ax/tree", R"({"root_pid":99999999999})", bad, nothing},
        {"/ax/tree", "{}", missing, untrusted},
        {"/ax/tree", "{}", nobody, nobodyInFront},
        {"/ax/find", R"({"role":"AXButton"})", R"(200 {"matches":[{"id":)", nothing},
        {"/ax/find", R"({"maxResults":"1"})", because + R"(the value of \"maxResults\" is a string)",
         nothing},
        {"/ax/find", "{}", missing, untrusted},
        {"/ax/find", "{}", nobody, nobodyInFront},
        {"/ax/click", save + "}", R"(200 {"ok":true,"method":"ax_press"})", nothing},
        {"/ax/click", R"({"elementId":7})", bad, nothing},
        {"/ax/click", save + "}", missing, untrusted},
        {"/ax/click", nowhere + "}", notFound, nothing},
        {"/ax/click", frameless + "}", R"(500 {"error":"action_failed")", nothing},
        {"/ax/type", save + R"(,"text":"x"})", R"(200 {"ok":true,"method":"ax_value"})", nothing},
        {"/ax/type", save + R"(,"text":null})", bad, nothing},
        {"/ax/type", save + R"(,"text":"x"})", missing, untrusted},
        {"/ax/type", nowhere + R"(,"text":"x"})", notFound, nothing},
        {"/ax/type", save + R"(,"text":"x"})", nobody, nobodyInFront},
        {"/ax/scroll", save + R"(,"direction":"up"})",
         R"(200 {"ok":true,"method":"ax_scroll","direction":"up","amount":100})", nothing},
        {"/ax/scroll", save + R"(,"direction":"out"})", R"(400 {"error":"invalid_input","hint":)", nothing},
        {"/ax/scroll", save + R"(,"direction":"up"})", missing, untrusted},
        {"/ax/scroll", nowhere + R"(,"direction":"out"})", notFound, nothing},
        {"/ax/scroll", save + R"(,"direction":"up"})", nobody, nobodyInFront},
        {"/keystrokes", R"({"text":"a","delay_ms":1})", R"(200 {"ok":true,"method":"cgevent")", nothing},
        {"/keystrokes", R"({"text":"a","delay_ms":1.5})", because, nothing},
        {"/keystrokes", R"({"keys":["nope"]})", R"(400 {"error":"unknown_key","token":"nope"})", nothing},
        {"/keystrokes", R"({"text":"a","app_bundle_id":"none"})", R"(404 {"error":"app_not_found")", nothing},
        {"/keystrokes", R"({"text":"a","app_bundle_id":"com.apple.Terminal"})",
         R"(500 {"error":"applescript_failed")", toolFails},
        {"/ax/tree_and_ocr", image + "}", R"(200 {"tree":{"id":)", nothing},
        {"/ax/tree_and_ocr", R"({"windowId":-1})", because, nothing},
        {"/ax/tree_and_ocr", image + "}", missing, untrusted},
        {"/ax/tree_and_ocr", "{}", R"(500 {"error":"internal_error","message":"badRequest"})", nothing},
        {"/ax/tree_and_ocr", image + "}", R"(500 {"error":"internal_error","message":"invalidRequest"})",
         nobodyInFront},
        {"/ax/tree_and_ocr", image + R"(,"windowId":2})",
         R"(500 {"error":"internal_error","message":"invalidRequest"})", recognitionFails},
        {"/batch/begin", "not JSON", batch, nothing},
        {"/batch/begin", R"({"batch_id":7})", batch, nothing},
        {"/batch/begin", R"({"batch_id":"mine","other":"1"})", R"(200 {"ok":true,"batch_id":"mine"})",
         nothing},
        {"/batch/begin", "{}", missing, untrusted},
        {"/batch/begin", "{}", nobody, nobodyInFront},
        {"/batch/end", "[]", batch, untrusted},
        {"/batch/end", R"({"batch_id":"mine"})", R"(200 {"ok":true,"batch_id":"mine"})", untrusted},
        {"/ocr", image + "}", R"(200 {"results":[{"text":"Save")", nothing},
        {"/ocr", "{}", because + R"(No valid image provided or could not decode image"})", nothing},
        {"/ocr", image + R"(,"pid":1})", R"(500 {"error":"ocr_failed","message":"invalidRequest"})",
         recognitionFails},
        {"/ocr", R"({"windowId":1.5})", invalid, nothing},
        {"/shortcut/list", "", R"(200 {"ok":true,"shortcuts":["done"]})", nothing},
        {"/shortcut/list", "", R"(500 {"error":"shortcut_failed","exitCode":3)", toolFails},
        {"/shortcut/list", "", R"(500 {"error":"shortcut_failed)" + noTool, toolIsMissing},
        {"/shortcut", R"({"name":"a"})", R"(200 {"ok":true,"output":"done\n"})", nothing},
        {"/shortcut", R"({"name":"a","input":5})", invalid, nothing},
        {"/shortcut", R"({"name":"a"})", R"(500 {"error":"shortcut_failed","exitCode":3)", toolFails},
        {"/shortcut", R"({"name":"a"})", R"(500 {"error":"shortcut_failed)" + noTool, toolIsMissing},
        {"/shortcut", R"({"name":"a","timeoutMs":1})", R"(504 {"error":"shortcut_timeout","name":"a")",
         toolHangs},
        {"/applescript/run", R"({"script":"return 1"})", R"(200 {"ok":true,"output":"done"})", nothing},
        {"/applescript/run", R"({"script":null})", invalid, nothing},
        {"/applescript/run", R"({"script":"x"})", R"(500 {"error":"applescript_failed","exitCode":3)",
         toolFails},
        {"/applescript/run", R"({"script":"x"})", R"(500 {"error":"applescript_failed)" + noTool,
         toolIsMissing},
        {"/visual/find", image + R"(,"query":"save"})", R"(200 {"results":[{"text":"Save")", nothing},
        {"/visual/find", R"({"query":"save"})", because + R"(No valid image provided"})", nothing},
        {"/visual/find", R"({"query":1})", invalid, nothing},
        {"/visual/find", image + R"(,"query":"save"})",
         R"(500 {"error":"visual_find_failed","message":"invalidRequest"})", recognitionFails},
    };
    for (const auto& [path, body, answer, before] : cases) {
        desktop.trusted = true;
        desktop.frontmost = 100;
        desktop.recognitionFails = false;
        useTool("echo done");
        desktop.time += 10;  // nothing from a cache
        before();
        const RawResponse response = request(path, body);
        EXPECT_THAT(textOf(response), testing::StartsWith(answer)) << path << " " << body;
        expectDocumented(path, response);
    }
    for (const auto& [path, answer] : std::map<std::string, std::string>{{"/ax/tree", bad},
                                                                         {"/ax/find", because},
                                                                         {"/ax/click", bad},
                                                                         {"/ax/type", bad},
                                                                         {"/ax/scroll", bad},
                                                                         {"/keystrokes", because},
                                                                         {"/ax/tree_and_ocr", because},
                                                                         {"/ocr", invalid},
                                                                         {"/shortcut", invalid},
                                                                         {"/applescript/run", invalid},
                                                                         {"/visual/find", invalid}}) {
        for (const char* body : {"", "{", "null", "[]", "\"text\"", "\xFF", "{} {}"}) {
            EXPECT_THAT(textOf(request(path, body)), testing::StartsWith(answer)) << path << " " << body;
        }
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

    std::set<std::string> documented, routes;
    for (const auto& item : document()["paths"]) {
        const auto path = item.first.as<std::string>();
        for (const auto& method : item.second) {
            routes.insert((method.first.as<std::string>() == "get" ? "GET " : "POST ") + path);
            for (const auto& response : method.second["responses"])
                documented.insert(path + " " + response.first.as<std::string>());
        }
    }
    for (const auto& answer : documented) EXPECT_TRUE(seen.contains(answer)) << answer << " was never given";
    const auto registered = agent->routes();
    EXPECT_EQ(routes, std::set<std::string>(registered.begin(), registered.end()));
}

}  // namespace
}  // namespace varkel

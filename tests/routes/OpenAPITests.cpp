#include <gmock/gmock.h>
#include <yaml-cpp/yaml.h>

#include <boost/core/demangle.hpp>
#include <boost/describe.hpp>
#include <boost/json.hpp>

#include "ax/AXActions.h"
#include "ax/AXFind.h"
#include "ax/ChangeCounter.h"
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

namespace varkel::test {
namespace {

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
std::string typeName() {
    if constexpr (decoding::isOptional<T>) return typeName<typename T::value_type>();
    if constexpr (std::is_same_v<T, bool>) return "boolean";
    if constexpr (std::integral<T>) return "integer";
    if constexpr (std::floating_point<T>) return "number";
    if constexpr (requires(T list) { list.emplace_back(); }) {
        return "array of " + typeName<typename T::value_type>();
    }
    return boost::describe::has_describe_members<T>::value ? "object" : "string";
}

template <class Record>
Fields fieldsOf() {
    Fields fields;
    using Members = boost::describe::describe_members<Record, boost::describe::mod_public>;
    boost::mp11::mp_for_each<Members>([&](auto descriptor) {
        using Field = std::remove_reference_t<decltype(Record().*descriptor.pointer)>;
        const bool optional = decoding::isOptional<Field>;
        fields.insert(std::string(descriptor.name) + (optional ? "?: " : ": ") + typeName<Field>());
    });
    return fields;
}

template <class Record>
void expectDescribed(const std::string& name) {
    EXPECT_EQ(documentedFields(name), fieldsOf<Record>()) << name;
}

/// Of records that have their own names in the document.
template <class... Records>
void expectDescribed() {
    const auto nameOf = [](const std::string& whole) { return whole.substr(whole.rfind(':') + 1); };
    (expectDescribed<Records>(nameOf(boost::core::demangle(typeid(Records).name()))), ...);
}

TEST(OpenAPI, DescribesTheRecordsAsTheyAre) {
    expectDescribed<AXQuery, AXClickRequest, AXTypeRequest, AXScrollRequest, SendKeystrokesRequest,
                    TreeAndOCRRequest, OCROptions, VisualFindOptions, ShortcutRequest, AppleScriptRequest,
                    AXFrame, AXElementInfo, OCRResult, VisualFindResult>();
    expectDescribed<FindResponse>("Matches");
    expectDescribed<OCRResponse>("Lines");
    expectDescribed<VFResponse>("VisualMatches");
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
        desktop.text = {line("Save", {0, 0, 0.5, 0.5})};
        desktop.barcodes.emplace_back().payloadStringValue = "Save me";
        const auto button = application->add("AXButton", "Save");
        button->actions.insert(AXAction::press);
        button->settable.insert(AXAttribute::value);
        button->setFrame({0, 0, 10, 10});
        application->add("AXUnknown", "No frame");
        Platform::current().toolPaths = std::make_unique<FakeToolPaths>(home / "tool");
        agent.emplace(home.clientOf(overlay));
    }

    void useTool(const std::string& script) { home.write("tool", "#!/bin/sh\n" + script + "\n", 0700); }

    RawResponse request(const std::string& path, const std::string& body) const {
        const std::string consent =
            "x-varkel-mcp-consent: granted\r\nx-overlay-token: " + std::string(home.secret) + "\r\n";
        return agent->send(methodOf(path) + " " + path, body, consent);
    }

    static std::string methodOf(const std::string& path) {
        return document()["paths"][path]["get"] ? "GET" : "POST";
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
    std::shared_ptr<SceneElement> application = desktop.addApplication(100, "Front");
    TemporaryHome home;
    ScriptedOverlay overlay{[](int) { return statusReply(423); }};
    std::optional<AgentServer> agent;
    std::set<std::string> seen;
};

TEST_F(OpenAPIEndpoints, GiveTheAnswersThatAreDescribedAndNoOthers) {
    const std::string save = R"({"elementId":")" + idOf("Save") + '"';
    const std::string frameless = R"({"elementId":")" + idOf("No frame") + '"';
    const std::string nowhere = R"({"elementId":"0")";
    const std::string image = R"({"imageBase64":"aW1nb25l")";
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
    // What the answer begins with. An act that fails has done nothing.
    const auto check = [&](
                           const std::string& path, const std::string& body, const std::string& answer,
                           const std::function<void()>& before = [] {}) {
        desktop.trusted = true;
        desktop.frontmost = 100;
        desktop.recognitionFails = false;
        useTool("echo done");
        desktop.time += 10;  // nothing from a cache
        before();
        desktop.forgetDone();
        const std::uint64_t changes = globalChangeCounter().value();
        const RawResponse response = request(path, body);
        EXPECT_THAT(response.statusAndBody(), testing::StartsWith(answer)) << path << " " << body;
        expectDocumented(path, response);
        if (response.status() == 200 || !path.starts_with("/ax/")) return;
        EXPECT_EQ(globalChangeCounter().value(), changes) << path << " " << body;
        EXPECT_THAT(desktop.done(), testing::IsEmpty()) << path << " " << body;
    };
    check("/health", "", R"(200 {"ok":true,"version":)");
    check("/ax/tree", "{}", R"(200 {"tree":{"id":)");
    check("/ax/tree", R"({"root_pid":null,"other":null})", R"(200 {"tree":{"id":)");
    check("/ax/tree", R"({"root_pid":1,"root_pid":100.0})", R"(200 {"tree":{"id":)");
    check("/ax/tree", R"({"root_pid":"1"})", bad);
    check("/ax/tree", R"({"other":1.5})", bad);
    check("/ax/tree", R"({"root_pid":99999999999})", bad);
    check("/ax/tree", "{}", missing, untrusted);
    check("/ax/tree", "{}", nobody, nobodyInFront);
    check("/ax/find", R"({"role":"AXButton"})", R"(200 {"matches":[{"id":)");
    check("/ax/find", R"({"maxResults":"1"})", because + R"(the value of \"maxResults\" is a string)");
    check("/ax/find", "{}", missing, untrusted);
    check("/ax/find", "{}", nobody, nobodyInFront);
    check("/ax/click", save + "}", R"(200 {"ok":true,"method":"ax_press"})");
    check("/ax/click", R"({"elementId":7})", bad);
    check("/ax/click", save + "}", missing, untrusted);
    check("/ax/click", nowhere + "}", notFound);
    check("/ax/click", frameless + "}", R"(500 {"error":"action_failed")");
    check("/ax/type", save + R"(,"text":"x"})", R"(200 {"ok":true,"method":"ax_value"})");
    check("/ax/type", save + R"(,"text":null})", bad);
    check("/ax/type", save + R"(,"text":"x"})", missing, untrusted);
    check("/ax/type", nowhere + R"(,"text":"x"})", notFound);
    check("/ax/type", save + R"(,"text":"x"})", nobody, nobodyInFront);
    check("/ax/scroll", save + R"(,"direction":"up"})",
          R"(200 {"ok":true,"method":"ax_scroll","direction":"up","amount":100})");
    check("/ax/scroll", save + R"(,"direction":"out"})",
          R"(400 {"error":"invalid_input","hint":"direction must be up, down, left, or right"})");
    check("/ax/scroll", save + R"(,"direction":"up"})", missing, untrusted);
    check("/ax/scroll", nowhere + R"(,"direction":"out"})", notFound);
    check("/ax/scroll", save + R"(,"direction":"up"})", nobody, nobodyInFront);
    check("/keystrokes", R"({"text":"a","delay_ms":1})", R"(200 {"ok":true,"method":"cgevent")");
    check("/keystrokes", R"({"text":"a","delay_ms":1.5})", because);
    check("/keystrokes", R"({"keys":["nope"]})", R"(400 {"error":"unknown_key","token":"nope"})");
    check("/keystrokes", R"({"text":"a","app_bundle_id":"none"})", R"(404 {"error":"app_not_found")");
    check("/keystrokes", R"({"text":"a","app_bundle_id":"com.apple.Terminal"})",
          R"(500 {"error":"applescript_failed")", toolFails);
    check("/ax/tree_and_ocr", image + "}", R"(200 {"tree":{"id":)");
    check("/ax/tree_and_ocr", R"({"windowId":-1})", because);
    check("/ax/tree_and_ocr", image + "}", missing, untrusted);
    check("/ax/tree_and_ocr", "{}", R"(500 {"error":"internal_error","message":"badRequest"})");
    check("/ax/tree_and_ocr", image + "}", R"(500 {"error":"internal_error","message":"invalidRequest"})",
          nobodyInFront);
    check("/ax/tree_and_ocr", image + R"(,"windowId":2})",
          R"(500 {"error":"internal_error","message":"invalidRequest"})", recognitionFails);
    check("/batch/begin", "not JSON", batch);
    check("/batch/begin", R"({"batch_id":7})", batch);
    check("/batch/begin", R"({"batch_id":"mine","other":"1"})", R"(200 {"ok":true,"batch_id":"mine"})");
    check("/batch/begin", "{}", missing, untrusted);
    check("/batch/begin", "{}", nobody, nobodyInFront);
    check("/batch/end", "[]", batch, untrusted);
    check("/batch/end", R"({"batch_id":"mine"})", R"(200 {"ok":true,"batch_id":"mine"})", untrusted);
    check("/ocr", image + "}", R"(200 {"results":[{"text":"Save")");
    check("/ocr", "{}", because + R"(No valid image provided or could not decode image"})");
    check("/ocr", image + R"(,"pid":1})", R"(500 {"error":"ocr_failed","message":"invalidRequest"})",
          recognitionFails);
    check("/ocr", R"({"windowId":1.5})", invalid);
    check("/shortcut/list", "", R"(200 {"ok":true,"shortcuts":["done"]})");
    check("/shortcut/list", "", R"(500 {"error":"shortcut_failed","exitCode":3)", toolFails);
    check("/shortcut/list", "", R"(500 {"error":"shortcut_failed)" + noTool, toolIsMissing);
    check("/shortcut", R"({"name":"a"})", R"(200 {"ok":true,"output":"done\n"})");
    check("/shortcut", R"({"name":"a","input":5})", invalid);
    check("/shortcut", R"({"name":"a"})", R"(500 {"error":"shortcut_failed","exitCode":3)", toolFails);
    check("/shortcut", R"({"name":"a"})", R"(500 {"error":"shortcut_failed)" + noTool, toolIsMissing);
    check("/shortcut", R"({"name":"a","timeoutMs":1})", R"(504 {"error":"shortcut_timeout","name":"a")",
          toolHangs);
    check("/applescript/run", R"({"script":"return 1"})", R"(200 {"ok":true,"output":"done"})");
    check("/applescript/run", R"({"script":null})", invalid);
    check("/applescript/run", R"({"script":"x"})", R"(500 {"error":"applescript_failed","exitCode":3)",
          toolFails);
    check("/applescript/run", R"({"script":"x"})", R"(500 {"error":"applescript_failed)" + noTool,
          toolIsMissing);
    check("/visual/find", image + R"(,"query":"save"})", R"(200 {"results":[{"text":"Save")");
    check("/visual/find", R"({"query":"save"})", because + R"(No valid image provided"})");
    check("/visual/find", R"({"query":1})", invalid);
    check("/visual/find", image + R"(,"query":"save"})",
          R"(500 {"error":"visual_find_failed","message":"invalidRequest"})", recognitionFails);
    const auto checkMalformed = [&](std::initializer_list<const char*> paths, const std::string& answer) {
        for (const char* path : paths) {
            for (const char* body : {"", "{", "null", "[]", "\"text\"", "\xFF", "{} {}"})
                check(path, body, answer);
        }
    };
    checkMalformed({"/ax/tree", "/ax/click", "/ax/type", "/ax/scroll"}, bad);
    checkMalformed({"/ax/find", "/keystrokes", "/ax/tree_and_ocr"}, because);
    checkMalformed({"/ocr", "/shortcut", "/applescript/run", "/visual/find"}, invalid);

    for (const auto& item : document()["paths"]) {
        const auto path = item.first.as<std::string>();
        if (path != "/health")
            expectDocumented(path, agent->sendWithoutToken(methodOf(path) + " " + path, "{}"));
    }
    for (const std::string path : {"/ax/click", "/keystrokes", "/shortcut", "/applescript/run"}) {
        const RawResponse denied = agent->send("POST " + path, R"({"name":"a","elementId":"0"})");
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
}  // namespace varkel::test

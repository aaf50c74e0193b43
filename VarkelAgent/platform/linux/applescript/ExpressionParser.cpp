#include "platform/linux/applescript/ExpressionParser.h"

#include <array>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/linux/applescript/ScriptError.h"

namespace varkel::applescript {

namespace {

using Kind = Token::Kind;

/// An operator as it is written. Longer ones come before those that they begin with.
struct Spelling {
    std::array<std::string_view, 7> words;
    BinaryOperator operation;
};

using enum BinaryOperator;

constexpr std::array logicalOrs = std::to_array<Spelling>({{{"or"}, logicalOr}});
constexpr std::array logicalAnds = std::to_array<Spelling>({{{"and"}, logicalAnd}});
constexpr std::array comparisons = std::to_array<Spelling>({
    {{"is", "not", "equal", "to"}, notEqual},
    {{"is", "equal", "to"}, equal},
    {{"is", "less", "than", "or", "equal", "to"}, lessOrEqual},
    {{"is", "less", "than"}, less},
    {{"is", "greater", "than", "or", "equal", "to"}, greaterOrEqual},
    {{"is", "greater", "than"}, greater},
    {{"is", "in"}, isIn},
    {{"is", "not"}, notEqual},
    {{"is"}, equal},
    {{"equals"}, equal},
    {{"does", "not", "equal"}, notEqual},
    {{"does", "not", "contain"}, containsNot},
    {{"contains"}, contains},
    {{"starts", "with"}, startsWith},
    {{"begins", "with"}, startsWith},
    {{"ends", "with"}, endsWith},
    {{"="}, equal},
    {{"/="}, notEqual},
    {{"<="}, lessOrEqual},
    {{">="}, greaterOrEqual},
    {{"<"}, less},
    {{">"}, greater},
});
constexpr std::array concatenations = std::to_array<Spelling>({{{"&"}, concatenate}});
constexpr std::array sums = std::to_array<Spelling>({{{"+"}, add}, {{"-"}, subtract}});
constexpr std::array products = std::to_array<Spelling>(
    {{{"*"}, multiply}, {{"/"}, divide}, {{"div"}, integerDivide}, {{"mod"}, modulo}});
constexpr std::array powers = std::to_array<Spelling>({{{"^"}, power}});

template <class Spellings>
std::optional<BinaryOperator> takeOperator(TokenReader& tokens, const Spellings& spellings) {
    for (const Spelling& spelling : spellings) {
        if (tokens.takeAll(spelling.words)) return spelling.operation;
    }
    return std::nullopt;
}

template <class Form>
ExpressionPtr make(int line, Form form) {
    auto made = std::make_unique<Expression>();
    made->line = line;
    made->form = std::move(form);
    return made;
}

}  // namespace

ExpressionPtr ExpressionParser::literal(Value value) {
    return make(tokens_.peek().line, Literal{std::move(value)});
}

template <class Spellings>
ExpressionPtr ExpressionParser::chain(const Spellings& spellings,
                                      ExpressionPtr (ExpressionParser::*operand)()) {
    const int line = tokens_.peek().line;
    ExpressionPtr first = (this->*operand)();
    Chain made;
    while (const auto operation = takeOperator(tokens_, spellings)) {
        made.rest.push_back({*operation, (this->*operand)()});
    }
    if (made.rest.empty()) return first;
    made.first = std::move(first);
    return make(line, std::move(made));
}

/// "application "X"" and "application id "X"", or nothing.
std::optional<ApplicationName> ExpressionParser::applicationName() {
    const std::size_t start = tokens_.place();
    tokens_.take("the");
    if (!tokens_.take("application") && !tokens_.take("app")) {
        tokens_.goBackTo(start);
        return std::nullopt;
    }
    ApplicationName name;
    name.isIdentifier = tokens_.take("id");
    if (tokens_.peek().kind != Kind::text) {
        throw SyntaxError(tokens_.peek().line, "expected an application's name in quotes but found " +
                                                   TokenReader::describe(tokens_.peek()));
    }
    name.text = tokens_.takeAny().value;
    return name;
}

ExpressionPtr ExpressionParser::expression() {
    const TokenReader::Level level(tokens_);
    return chain(logicalOrs, &ExpressionParser::conjunction);
}

ExpressionPtr ExpressionParser::conjunction() {
    return chain(logicalAnds, &ExpressionParser::negation);
}

ExpressionPtr ExpressionParser::negation() {
    const int line = tokens_.peek().line;
    if (!tokens_.take("not")) return comparison();
    const TokenReader::Level level(tokens_);
    return make(line, Unary{UnaryOperator::logicalNot, negation()});
}

ExpressionPtr ExpressionParser::comparison() {
    return chain(comparisons, &ExpressionParser::cast);
}

ExpressionPtr ExpressionParser::cast() {
    const int line = tokens_.peek().line;
    ExpressionPtr operand = concatenation();
    Cast made;
    while (tokens_.take("as")) made.kinds.push_back(valueKind());
    if (made.kinds.empty()) return operand;
    made.operand = std::move(operand);
    return make(line, std::move(made));
}

ValueKind ExpressionParser::valueKind() {
    if (tokens_.take("unicode", "text") || tokens_.take("text") || tokens_.take("string"))
        return ValueKind::text;
    if (tokens_.take("integer")) return ValueKind::integer;
    if (tokens_.take("real")) return ValueKind::real;
    if (tokens_.take("number")) return ValueKind::number;
    if (tokens_.take("boolean")) return ValueKind::boolean;
    tokens_.fail();
}

ExpressionPtr ExpressionParser::concatenation() {
    return chain(concatenations, &ExpressionParser::sum);
}

ExpressionPtr ExpressionParser::sum() {
    return chain(sums, &ExpressionParser::product);
}

ExpressionPtr ExpressionParser::product() {
    return chain(products, &ExpressionParser::exponentiation);
}

ExpressionPtr ExpressionParser::exponentiation() {
    return chain(powers, &ExpressionParser::sign);
}

ExpressionPtr ExpressionParser::sign() {
    const int line = tokens_.peek().line;
    if (tokens_.take("-")) {
        const TokenReader::Level level(tokens_);
        return make(line, Unary{UnaryOperator::negate, sign()});
    }
    if (tokens_.take("quoted", "form", "of")) {
        const TokenReader::Level level(tokens_);
        return make(line, Unary{UnaryOperator::quotedForm, sign()});
    }
    return primary();
}

ExpressionPtr ExpressionParser::primary() {
    const TokenReader::Level level(tokens_);
    const Token& token = tokens_.peek();
    switch (token.kind) {
        case Kind::text:
            tokens_.takeAny();
            return make(token.line, Literal{token.value});
        case Kind::number:
            tokens_.takeAny();
            return number(token);
        case Kind::symbol:
            return inParentheses();
        case Kind::word:
            return word();
        case Kind::lineEnd:
        case Kind::end:
            break;
    }
    tokens_.fail();
}

ExpressionPtr ExpressionParser::number(const Token& token) {
    Value value = parseNumber(token.value);
    if (std::holds_alternative<std::monostate>(value)) TokenReader::failAt(token);
    return make(token.line, Literal{std::move(value)});
}

ExpressionPtr ExpressionParser::inParentheses() {
    if (!tokens_.take("(")) tokens_.fail();
    ExpressionPtr inner = expression();
    tokens_.expect(")");
    return inner;
}

ExpressionPtr ExpressionParser::word() {
    const int line = tokens_.peek().line;
    if (auto application = applicationName()) {
        tokens_.expect("is");
        tokens_.expect("running");
        return make(line, IsRunning{std::move(*application)});
    }
    tokens_.take("the");
    if (auto constant = takeConstant()) return make(line, Literal{std::move(*constant)});
    if (auto command = takeCommand()) return command;
    if (auto window = takeWindow()) return window;
    // A name that has not been set further up is most often a command that is not known here.
    const Token& name = tokens_.peek();
    if (name.kind != Kind::word || !variables_.contains(name.value)) tokens_.fail();
    tokens_.takeAny();
    return make(line, Variable{name.value});
}

std::optional<Value> ExpressionParser::takeConstant() {
    if (tokens_.take("true")) return Value(true);
    if (tokens_.take("false")) return Value(false);
    if (tokens_.take("missing", "value")) return Value();
    // The original's line break is the one that shells and files here use.
    if (tokens_.take("return") || tokens_.take("linefeed")) return Value(std::string("\n"));
    if (tokens_.take("tab")) return Value(std::string("\t"));
    if (tokens_.take("space")) return Value(std::string(" "));
    if (tokens_.take("quote")) return Value(std::string("\""));
    return std::nullopt;
}

/// A command that yields a value.
ExpressionPtr ExpressionParser::takeCommand() {
    const int line = tokens_.peek().line;
    if (tokens_.take("do", "shell", "script")) return make(line, ShellScript{expression()});
    if (tokens_.take("do", "script")) {
        DoScript made{expression(), nullptr};
        if (tokens_.take("in")) made.window = expression();
        return make(line, std::move(made));
    }
    if (tokens_.take("create", "window", "with", "default", "profile")) return make(line, CreateWindow{});
    if (tokens_.take("count", "of", "windows") || tokens_.take("count", "windows") ||
        tokens_.take("number", "of", "windows"))
        return make(line, CountWindows{});
    return nullptr;
}

/// A window, or what shows its shell: where a command is run makes no difference between the two.
ExpressionPtr ExpressionParser::takeWindow() {
    const int line = tokens_.peek().line;
    const bool isPart = tokens_.take("current", "session", "of") || tokens_.take("selected", "tab", "of") ||
                        tokens_.take("current", "tab", "of");
    if (isPart) {
        const TokenReader::Level level(tokens_);
        return primary();
    }
    if (tokens_.take("front", "window") || tokens_.take("first", "window") ||
        tokens_.take("current", "window"))
        return make(line, WindowReference{literal(Value(std::int64_t{1}))});
    if (tokens_.take("window")) return make(line, WindowReference{sign()});
    return nullptr;
}

}  // namespace varkel::applescript

#include "platform/linux/applescript/Parser.h"

#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>

#include "platform/linux/applescript/Lexer.h"
#include "platform/linux/applescript/ScriptError.h"

namespace varkel::applescript {

namespace {

using Kind = Token::Kind;

constexpr int deepest = 100;

/// Words with a meaning of their own, which cannot name variables.
constexpr std::array reserved = std::to_array<std::string_view>(
    {"activate", "and",     "app",     "application", "as",    "begins", "contains", "count",  "create",
     "current",  "delay",   "display", "div",         "do",    "does",   "else",     "end",    "ends",
     "equals",   "error",   "false",   "first",       "front", "if",     "in",       "is",     "linefeed",
     "log",      "missing", "mod",     "not",         "of",    "or",     "quote",    "quoted", "return",
     "selected", "set",     "space",   "starts",      "tab",   "tell",   "the",      "then",   "to",
     "true",     "window",  "windows", "write"});

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

class Parser {
  public:
    explicit Parser(std::string_view source) : tokens_(tokensOf(source)) {}

    Script run() {
        Script script{block()};
        if (peek().kind != Kind::end) fail();
        return script;
    }

  private:
    /// Counts how deep the source nests, so that the stack cannot run out.
    class Level {
      public:
        explicit Level(Parser& parser) : parser_(parser) {
            if (++parser_.depth_ > deepest) {
                --parser_.depth_;
                throw SyntaxError(parser_.peek().line, "the script nests too deeply");
            }
        }
        Level(const Level&) = delete;
        Level& operator=(const Level&) = delete;
        ~Level() { --parser_.depth_; }

      private:
        Parser& parser_;
    };

    // Tokens.

    const Token& peek(std::size_t ahead = 0) const {
        return tokens_[std::min(at_ + ahead, tokens_.size() - 1)];
    }

    static bool is(const Token& token, std::string_view what) {
        return (token.kind == Kind::word || token.kind == Kind::symbol) && token.value == what;
    }

    bool isNext(std::string_view word) const { return is(peek(), word); }

    /// Takes the words when all of them come next. Empty ones count for nothing.
    bool takeAll(std::span<const std::string_view> words) {
        std::size_t ahead = 0;
        for (const std::string_view word : words) {
            if (!word.empty() && !is(peek(ahead++), word)) return false;
        }
        at_ += ahead;
        return true;
    }

    template <class... Words>
    bool take(Words... words) {
        return takeAll(std::array<std::string_view, sizeof...(words)>{words...});
    }

    void expect(std::string_view word) {
        if (!take(word)) fail(word);
    }

    void expectLineEnd() {
        if (peek().kind != Kind::lineEnd) fail();
        ++at_;
    }

    static std::string describe(const Token& token) {
        if (token.kind == Kind::text) return "text \"" + token.value.substr(0, 40) + "\"";
        if (token.kind == Kind::lineEnd) return "end of the line";
        if (token.kind == Kind::end) return "end of the script";
        return "\"" + token.source + "\"";
    }

    [[noreturn]] static void failAt(const Token& token) {
        const char* what = token.kind == Kind::word ? "unknown word " : "unexpected ";
        throw SyntaxError(token.line, what + describe(token));
    }

    [[noreturn]] void fail() const { failAt(peek()); }

    [[noreturn]] void fail(std::string_view wanted) const {
        throw SyntaxError(peek().line,
                          "expected \"" + std::string(wanted) + "\" but found " + describe(peek()));
    }

    // Statements.

    Block block() {
        Block statements;
        for (;;) {
            while (peek().kind == Kind::lineEnd) ++at_;
            if (peek().kind == Kind::end || isNext("end") || isNext("else")) return statements;
            statements.push_back(statement());
            expectLineEnd();
        }
    }

    /// "end", or "end tell".
    void expectEnd(std::string_view of) {
        expect("end");
        take(of);
    }

    Statement statement() {
        const Level level(*this);
        Statement made;
        made.line = peek().line;
        if (take("tell")) {
            made.form = tell();
        } else if (take("if")) {
            made.form = condition();
        } else if (take("set")) {
            made.form = assignment();
        } else if (take("activate")) {
            made.form = activate();
        } else if (isNext("return") && endsStatement(peek(1))) {
            ++at_;
            made.form = Return{};
        } else if (take("return")) {
            made.form = Return{expression()};
        } else if (take("delay")) {
            made.form = Delay{endsStatement(peek()) ? literal(Value(std::int64_t{1})) : expression()};
        } else if (take("write", "text")) {
            made.form = WriteText{expression()};
        } else if (take("display", "notification")) {
            made.form = notification();
        } else if (take("log")) {
            made.form = Log{expression()};
        } else if (take("error")) {
            made.form = raise();
        } else {
            made.form = Evaluate{expression()};
        }
        return made;
    }

    static bool endsStatement(const Token& token) {
        return token.kind == Kind::lineEnd || token.kind == Kind::end || is(token, "else");
    }

    Tell tell() {
        Tell made;
        if (auto application = applicationName()) {
            made.target = std::move(*application);
        } else {
            made.target = expression();
        }
        if (take("to")) {
            made.body.push_back(statement());
            return made;
        }
        expectLineEnd();
        made.body = block();
        expectEnd("tell");
        return made;
    }

    If condition() {
        If made;
        If::Branch first{expression(), {}};
        expect("then");
        if (peek().kind != Kind::lineEnd) {
            first.body.push_back(statement());
            made.branches.push_back(std::move(first));
            if (take("else")) made.otherwise.push_back(statement());
            return made;
        }
        first.body = block();
        made.branches.push_back(std::move(first));
        while (take("else", "if")) {
            If::Branch next{expression(), {}};
            expect("then");
            expectLineEnd();
            next.body = block();
            made.branches.push_back(std::move(next));
        }
        if (take("else")) {
            expectLineEnd();
            made.otherwise = block();
        }
        expectEnd("if");
        return made;
    }

    Set assignment() {
        take("the");
        const Token& name = peek();
        if (name.kind != Kind::word || std::ranges::find(reserved, name.value) != reserved.end()) {
            throw SyntaxError(name.line, "expected a variable's name but found " + describe(name));
        }
        ++at_;
        // "set volume 5", and the like: another command.
        if (!take("to")) failAt(name);
        Set made{name.value, expression()};
        assigned_.insert(made.name);
        return made;
    }

    Activate activate() {
        Activate made;
        if (auto application = applicationName()) made.application.push_back(std::move(*application));
        return made;
    }

    DisplayNotification notification() {
        DisplayNotification made{expression(), nullptr, nullptr, nullptr};
        for (;;) {
            if (take("with", "title") || take("title")) {
                made.title = expression();
            } else if (take("subtitle")) {
                made.subtitle = expression();
            } else if (take("sound", "name")) {
                made.sound = expression();
            } else {
                return made;
            }
        }
    }

    Raise raise() {
        Raise made;
        if (!endsStatement(peek()) && !isNext("number")) made.message = expression();
        if (take("number")) made.number = expression();
        return made;
    }

    /// "application "X"" and "application id "X"", or nothing.
    std::optional<ApplicationName> applicationName() {
        const std::size_t start = at_;
        take("the");
        if (!take("application") && !take("app")) {
            at_ = start;
            return std::nullopt;
        }
        ApplicationName name;
        name.isIdentifier = take("id");
        if (peek().kind != Kind::text) {
            throw SyntaxError(peek().line,
                              "expected an application's name in quotes but found " + describe(peek()));
        }
        name.text = tokens_[at_++].value;
        return name;
    }

    // Expressions, from the operators that bind least to those that bind most.

    template <class Form>
    ExpressionPtr make(int line, Form form) {
        auto made = std::make_unique<Expression>();
        made->line = line;
        made->form = std::move(form);
        return made;
    }

    ExpressionPtr literal(Value value) { return make(peek().line, Literal{std::move(value)}); }

    template <class Spellings>
    std::optional<BinaryOperator> takeOperator(const Spellings& spellings) {
        for (const Spelling& spelling : spellings) {
            if (takeAll(spelling.words)) return spelling.operation;
        }
        return std::nullopt;
    }

    template <class Spellings>
    ExpressionPtr chain(const Spellings& spellings, ExpressionPtr (Parser::*operand)()) {
        const int line = peek().line;
        ExpressionPtr first = (this->*operand)();
        Chain made;
        while (const auto operation = takeOperator(spellings)) {
            made.rest.push_back({*operation, (this->*operand)()});
        }
        if (made.rest.empty()) return first;
        made.first = std::move(first);
        return make(line, std::move(made));
    }

    ExpressionPtr expression() {
        const Level level(*this);
        return chain(logicalOrs, &Parser::conjunction);
    }
    ExpressionPtr conjunction() { return chain(logicalAnds, &Parser::negation); }

    ExpressionPtr negation() {
        const int line = peek().line;
        if (!take("not")) return comparison();
        const Level level(*this);
        return make(line, Unary{UnaryOperator::logicalNot, negation()});
    }

    ExpressionPtr comparison() { return chain(comparisons, &Parser::cast); }

    ExpressionPtr cast() {
        const int line = peek().line;
        ExpressionPtr operand = concatenation();
        Cast made;
        while (take("as")) made.kinds.push_back(valueKind());
        if (made.kinds.empty()) return operand;
        made.operand = std::move(operand);
        return make(line, std::move(made));
    }

    ValueKind valueKind() {
        if (take("unicode", "text") || take("text") || take("string")) return ValueKind::text;
        if (take("integer")) return ValueKind::integer;
        if (take("real")) return ValueKind::real;
        if (take("number")) return ValueKind::number;
        if (take("boolean")) return ValueKind::boolean;
        fail();
    }

    ExpressionPtr concatenation() { return chain(concatenations, &Parser::sum); }
    ExpressionPtr sum() { return chain(sums, &Parser::product); }
    ExpressionPtr product() { return chain(products, &Parser::exponentiation); }
    ExpressionPtr exponentiation() { return chain(powers, &Parser::sign); }

    ExpressionPtr sign() {
        const int line = peek().line;
        if (take("-")) {
            const Level level(*this);
            return make(line, Unary{UnaryOperator::negate, sign()});
        }
        if (take("quoted", "form", "of")) {
            const Level level(*this);
            return make(line, Unary{UnaryOperator::quotedForm, sign()});
        }
        return primary();
    }

    ExpressionPtr primary() {
        const Level level(*this);
        const Token& token = peek();
        switch (token.kind) {
            case Kind::text:
                ++at_;
                return make(token.line, Literal{token.value});
            case Kind::number:
                ++at_;
                return number(token);
            case Kind::symbol:
                return inParentheses();
            case Kind::word:
                return word();
            case Kind::lineEnd:
            case Kind::end:
                break;
        }
        fail();
    }

    ExpressionPtr number(const Token& token) {
        Value value = parseNumber(token.value);
        if (std::holds_alternative<std::monostate>(value)) failAt(token);
        return make(token.line, Literal{std::move(value)});
    }

    ExpressionPtr inParentheses() {
        if (!take("(")) fail();
        ExpressionPtr inner = expression();
        expect(")");
        return inner;
    }

    ExpressionPtr word() {
        const int line = peek().line;
        if (auto application = applicationName()) {
            expect("is");
            expect("running");
            return make(line, IsRunning{std::move(*application)});
        }
        take("the");
        if (auto constant = takeConstant()) return make(line, Literal{std::move(*constant)});
        if (auto command = takeCommand()) return command;
        if (auto window = takeWindow()) return window;
        // A name that has not been set further up is most often a command that is not known here.
        const Token& name = peek();
        if (name.kind != Kind::word || !assigned_.contains(name.value)) fail();
        ++at_;
        return make(line, Variable{name.value});
    }

    std::optional<Value> takeConstant() {
        if (take("true")) return Value(true);
        if (take("false")) return Value(false);
        if (take("missing", "value")) return Value();
        // The original's line break is the one that shells and files here use.
        if (take("return") || take("linefeed")) return Value(std::string("\n"));
        if (take("tab")) return Value(std::string("\t"));
        if (take("space")) return Value(std::string(" "));
        if (take("quote")) return Value(std::string("\""));
        return std::nullopt;
    }

    /// A command that yields a value.
    ExpressionPtr takeCommand() {
        const int line = peek().line;
        if (take("do", "shell", "script")) return make(line, ShellScript{expression()});
        if (take("do", "script")) {
            DoScript made{expression(), nullptr};
            if (take("in")) made.window = expression();
            return make(line, std::move(made));
        }
        if (take("create", "window", "with", "default", "profile")) return make(line, CreateWindow{});
        if (take("count", "of", "windows") || take("count", "windows") || take("number", "of", "windows"))
            return make(line, CountWindows{});
        return nullptr;
    }

    /// A window, or what shows its shell: where a command is run makes no difference between the two.
    ExpressionPtr takeWindow() {
        const int line = peek().line;
        const bool isPart =
            take("current", "session", "of") || take("selected", "tab", "of") || take("current", "tab", "of");
        if (isPart) {
            const Level level(*this);
            return primary();
        }
        if (take("front", "window") || take("first", "window") || take("current", "window"))
            return make(line, WindowReference{literal(Value(std::int64_t{1}))});
        if (take("window")) return make(line, WindowReference{sign()});
        return nullptr;
    }

    std::vector<Token> tokens_;
    std::size_t at_ = 0;
    int depth_ = 0;
    std::set<std::string, std::less<>> assigned_;
};

}  // namespace

Script parseScript(std::string_view source) {
    return Parser(source).run();
}

}  // namespace varkel::applescript

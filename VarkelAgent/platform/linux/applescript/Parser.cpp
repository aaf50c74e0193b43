#include "platform/linux/applescript/Parser.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/linux/applescript/ExpressionParser.h"
#include "platform/linux/applescript/ScriptError.h"
#include "platform/linux/applescript/TokenReader.h"

namespace varkel::applescript {

namespace {

using Kind = Token::Kind;

/// Words with a meaning of their own, which cannot name variables.
constexpr std::array reserved = std::to_array<std::string_view>(
    {"activate", "and",     "app",     "application", "as",    "begins", "contains", "count",  "create",
     "current",  "delay",   "display", "div",         "do",    "does",   "else",     "end",    "ends",
     "equals",   "error",   "false",   "first",       "front", "if",     "in",       "is",     "linefeed",
     "log",      "missing", "mod",     "not",         "of",    "or",     "quote",    "quoted", "return",
     "selected", "set",     "space",   "starts",      "tab",   "tell",   "the",      "then",   "to",
     "true",     "window",  "windows", "write"});

class Parser {
  public:
    explicit Parser(std::string_view source) : tokens_(source), expressions_(tokens_) {}

    Script run() {
        Script script{block()};
        if (tokens_.peek().kind != Kind::end) tokens_.fail();
        return script;
    }

  private:
    Block block() {
        Block statements;
        for (;;) {
            while (tokens_.peek().kind == Kind::lineEnd) tokens_.takeAny();
            if (tokens_.peek().kind == Kind::end || tokens_.isNext("end") || tokens_.isNext("else"))
                return statements;
            statements.push_back(statement());
            tokens_.expectLineEnd();
        }
    }

    /// "end", or "end tell".
    void expectEnd(std::string_view of) {
        tokens_.expect("end");
        tokens_.take(of);
    }

    Statement statement() {
        const TokenReader::Level level(tokens_);
        Statement made;
        made.line = tokens_.peek().line;
        if (tokens_.take("tell")) {
            made.form = tell();
        } else if (tokens_.take("if")) {
            made.form = condition();
        } else if (tokens_.take("set")) {
            made.form = assignment();
        } else if (tokens_.take("activate")) {
            made.form = activate();
        } else if (tokens_.isNext("return") && endsStatement(tokens_.peek(1))) {
            tokens_.takeAny();
            made.form = Return{};
        } else if (tokens_.take("return")) {
            made.form = Return{expressions_.expression()};
        } else if (tokens_.take("delay")) {
            made.form = Delay{endsStatement(tokens_.peek()) ? expressions_.literal(Value(std::int64_t{1}))
                                                            : expressions_.expression()};
        } else if (tokens_.take("write", "text")) {
            made.form = WriteText{expressions_.expression()};
        } else if (tokens_.take("display", "notification")) {
            made.form = notification();
        } else if (tokens_.take("log")) {
            made.form = Log{expressions_.expression()};
        } else if (tokens_.take("error")) {
            made.form = raise();
        } else {
            made.form = Evaluate{expressions_.expression()};
        }
        return made;
    }

    static bool endsStatement(const Token& token) {
        return token.kind == Kind::lineEnd || token.kind == Kind::end || TokenReader::is(token, "else");
    }

    Tell tell() {
        Tell made;
        if (auto application = expressions_.applicationName()) {
            made.target = std::move(*application);
        } else {
            made.target = expressions_.expression();
        }
        if (tokens_.take("to")) {
            made.body.push_back(statement());
            return made;
        }
        tokens_.expectLineEnd();
        made.body = block();
        expectEnd("tell");
        return made;
    }

    If condition() {
        If made;
        If::Branch first{expressions_.expression(), {}};
        tokens_.expect("then");
        if (tokens_.peek().kind != Kind::lineEnd) {
            first.body.push_back(statement());
            made.branches.push_back(std::move(first));
            if (tokens_.take("else")) made.otherwise.push_back(statement());
            return made;
        }
        first.body = block();
        made.branches.push_back(std::move(first));
        while (tokens_.take("else", "if")) {
            If::Branch next{expressions_.expression(), {}};
            tokens_.expect("then");
            tokens_.expectLineEnd();
            next.body = block();
            made.branches.push_back(std::move(next));
        }
        if (tokens_.take("else")) {
            tokens_.expectLineEnd();
            made.otherwise = block();
        }
        expectEnd("if");
        return made;
    }

    Set assignment() {
        tokens_.take("the");
        const Token& name = tokens_.peek();
        if (name.kind != Kind::word || std::ranges::find(reserved, name.value) != reserved.end()) {
            throw SyntaxError(name.line,
                              "expected a variable's name but found " + TokenReader::describe(name));
        }
        tokens_.takeAny();
        // "set volume 5", and the like: another command.
        if (!tokens_.take("to")) TokenReader::failAt(name);
        Set made{name.value, expressions_.expression()};
        expressions_.learnVariable(made.name);
        return made;
    }

    Activate activate() {
        Activate made;
        if (auto application = expressions_.applicationName())
            made.application.push_back(std::move(*application));
        return made;
    }

    DisplayNotification notification() {
        DisplayNotification made{expressions_.expression(), nullptr, nullptr, nullptr};
        for (;;) {
            if (tokens_.take("with", "title") || tokens_.take("title")) {
                made.title = expressions_.expression();
            } else if (tokens_.take("subtitle")) {
                made.subtitle = expressions_.expression();
            } else if (tokens_.take("sound", "name")) {
                made.sound = expressions_.expression();
            } else {
                return made;
            }
        }
    }

    Raise raise() {
        Raise made;
        if (!endsStatement(tokens_.peek()) && !tokens_.isNext("number"))
            made.message = expressions_.expression();
        if (tokens_.take("number")) made.number = expressions_.expression();
        return made;
    }

    TokenReader tokens_;
    ExpressionParser expressions_;
};

}  // namespace

Script parseScript(std::string_view source) {
    return Parser(source).run();
}

}  // namespace varkel::applescript

#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>

#include "platform/linux/applescript/Syntax.h"
#include "platform/linux/applescript/TokenReader.h"

namespace varkel::applescript {

/// Takes expressions off a script's tokens. What is none throws SyntaxError. Not for use from several threads
/// at once.
class ExpressionParser {
  public:
    /// The tokens must outlive the parser.
    explicit ExpressionParser(TokenReader& tokens) : tokens_(tokens) {}

    ExpressionPtr expression();

    /// A value that is not written out, at the line of the next token.
    ExpressionPtr literal(Value value);

    /// "application "X"" and "application id "X"", or nothing.
    std::optional<ApplicationName> applicationName();

    /// From here on the name is a variable's.
    void learnVariable(const std::string& name) { variables_.insert(name); }

  private:
    template <class Spellings>
    ExpressionPtr chain(const Spellings& spellings, ExpressionPtr (ExpressionParser::*operand)());

    // From the operators that bind least to those that bind most.
    ExpressionPtr conjunction();
    ExpressionPtr negation();
    ExpressionPtr comparison();
    ExpressionPtr cast();
    ValueKind valueKind();
    ExpressionPtr concatenation();
    ExpressionPtr sum();
    ExpressionPtr product();
    ExpressionPtr exponentiation();
    ExpressionPtr sign();
    ExpressionPtr primary();
    ExpressionPtr number(const Token& token);
    ExpressionPtr inParentheses();
    ExpressionPtr word();
    std::optional<Value> takeConstant();
    ExpressionPtr takeCommand();
    ExpressionPtr takeWindow();

    TokenReader& tokens_;
    std::set<std::string, std::less<>> variables_;
};

}  // namespace varkel::applescript

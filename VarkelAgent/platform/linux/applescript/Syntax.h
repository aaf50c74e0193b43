#pragma once

#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "platform/linux/applescript/Value.h"

namespace varkel::applescript {

struct Expression;
using ExpressionPtr = std::unique_ptr<Expression>;
struct Statement;
using Block = std::vector<Statement>;

// Expressions.

struct Literal {
    Value value;
};

struct Variable {
    /// In lower case: letter case does not count in names.
    std::string name;
};

enum class BinaryOperator {
    logicalOr,
    logicalAnd,
    equal,
    notEqual,
    less,
    lessOrEqual,
    greater,
    greaterOrEqual,
    contains,
    containsNot,
    startsWith,
    endsWith,
    isIn,
    concatenate,
    add,
    subtract,
    multiply,
    divide,
    integerDivide,
    modulo,
    power,
};

/// Operators of one precedence, applied from left to right. A list and no tree: a long sum must not become a
/// deep one.
struct Chain {
    struct Link {
        BinaryOperator operation;
        ExpressionPtr operand;
    };
    ExpressionPtr first;
    std::vector<Link> rest;
};

enum class UnaryOperator { negate, logicalNot, quotedForm };

struct Unary {
    UnaryOperator operation;
    ExpressionPtr operand;
};

enum class ValueKind { text, integer, real, number, boolean };

struct Cast {
    ExpressionPtr operand;
    /// One after the other.
    std::vector<ValueKind> kinds;
};

struct IsRunning {
    ApplicationName application;
};

/// How many windows the application has that is being told.
struct CountWindows {};

/// A window of that application, counted from 1, the front one first.
struct WindowReference {
    ExpressionPtr number;
};

/// "do shell script".
struct ShellScript {
    ExpressionPtr command;
};

/// "do script": has a terminal run a command, in a new window unless one is named.
struct DoScript {
    ExpressionPtr command;
    ExpressionPtr window;
};

/// "create window with default profile": a new window of a terminal.
struct CreateWindow {};

struct Expression {
    int line = 0;
    std::variant<Literal, Variable, Chain, Unary, Cast, IsRunning, CountWindows, WindowReference, ShellScript,
                 DoScript, CreateWindow>
        form;
};

// Statements.

struct Tell {
    /// An application, or else a window.
    std::variant<ApplicationName, ExpressionPtr> target;
    Block body;
};

struct Activate {
    /// Empty: the application that is being told.
    std::vector<ApplicationName> application;
};

struct Set {
    std::string name;
    ExpressionPtr value;
};

struct If {
    struct Branch {
        ExpressionPtr condition;
        Block body;
    };
    std::vector<Branch> branches;
    Block otherwise;
};

struct Return {
    /// May be null.
    ExpressionPtr value;
};

struct Evaluate {
    ExpressionPtr value;
};

struct Delay {
    ExpressionPtr seconds;
};

/// "write text": has the terminal window that is being told run a command.
struct WriteText {
    ExpressionPtr text;
};

struct DisplayNotification {
    ExpressionPtr text;
    /// These may be null.
    ExpressionPtr title;
    ExpressionPtr subtitle;
    ExpressionPtr sound;
};

struct Log {
    ExpressionPtr value;
};

struct Raise {
    /// These may be null.
    ExpressionPtr message;
    ExpressionPtr number;
};

struct Statement {
    int line = 0;
    std::variant<Tell, Activate, Set, If, Return, Evaluate, Delay, WriteText, DisplayNotification, Log, Raise>
        form;
};

struct Script {
    Block body;
};

}  // namespace varkel::applescript

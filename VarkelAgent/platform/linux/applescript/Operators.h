#pragma once

#include "platform/linux/applescript/Syntax.h"

namespace varkel::applescript {

/// Applies an operator to two values. Letter case does not count where texts are compared. Throws
/// ExecutionError. Pure.
Value apply(BinaryOperator operation, const Value& left, const Value& right);

/// Throws ExecutionError. Pure.
Value negated(const Value& value);

/// The value as one of another kind. Throws ExecutionError. Pure.
Value converted(const Value& value, ValueKind kind);

/// The text as one word for a shell. Throws ExecutionError when that is too long. Pure.
std::string quotedForm(const std::string& text);

}  // namespace varkel::applescript

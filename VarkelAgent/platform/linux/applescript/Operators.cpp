#include "platform/linux/applescript/Operators.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string_view>

#include "base/UnicodeText.h"
#include "platform/linux/applescript/ScriptError.h"

namespace varkel::applescript {

namespace {

/// A text that doubles in every line of a script must not take all memory.
constexpr std::size_t longestText = std::size_t{64} << 20;

bool isNumber(const Value& value) {
    return std::holds_alternative<std::int64_t>(value) || std::holds_alternative<double>(value);
}

bool areEqual(const Value& left, const Value& right) {
    if (isNumber(left) && isNumber(right)) return realOf(left) == realOf(right);
    const auto* leftText = std::get_if<std::string>(&left);
    const auto* rightText = std::get_if<std::string>(&right);
    if (leftText != nullptr && rightText != nullptr) return lowerCased(*leftText) == lowerCased(*rightText);
    return left == right;
}

/// Below, at or above zero.
int compare(const Value& left, const Value& right) {
    const auto* leftText = std::get_if<std::string>(&left);
    const auto* rightText = std::get_if<std::string>(&right);
    if (leftText != nullptr && rightText != nullptr)
        return lowerCased(*leftText).compare(lowerCased(*rightText));
    const double leftNumber = realOf(left);
    const double rightNumber = realOf(right);
    if (leftNumber == rightNumber) return 0;
    return leftNumber < rightNumber ? -1 : 1;
}

Value real(double number) {
    if (!std::isfinite(number)) throw ExecutionError("The result is too large.", ExecutionError::tooLarge);
    return number;
}

/// Integers stay integers as long as the result fits.
std::optional<std::int64_t> exact(BinaryOperator operation, std::int64_t left, std::int64_t right) {
    std::int64_t result = 0;
    bool overflows = true;
    if (operation == BinaryOperator::add) overflows = __builtin_add_overflow(left, right, &result);
    if (operation == BinaryOperator::subtract) overflows = __builtin_sub_overflow(left, right, &result);
    if (operation == BinaryOperator::multiply) overflows = __builtin_mul_overflow(left, right, &result);
    return overflows ? std::nullopt : std::optional(result);
}

/// The real as an integer when it fits into one.
Value integral(double number) {
    constexpr double limit = 9.2e18;
    if (std::abs(number) < limit) return static_cast<std::int64_t>(number);
    return real(number);
}

Value calculate(BinaryOperator operation, const Value& leftValue, const Value& rightValue) {
    const Value leftNumber = numberOf(leftValue);
    const Value rightNumber = numberOf(rightValue);
    const auto* leftInteger = std::get_if<std::int64_t>(&leftNumber);
    const auto* rightInteger = std::get_if<std::int64_t>(&rightNumber);
    const bool areIntegers = leftInteger != nullptr && rightInteger != nullptr;
    if (areIntegers) {
        if (const auto result = exact(operation, *leftInteger, *rightInteger)) return *result;
    }
    const double left = realOf(leftNumber);
    const double right = realOf(rightNumber);
    switch (operation) {
        case BinaryOperator::add:
            return real(left + right);
        case BinaryOperator::subtract:
            return real(left - right);
        case BinaryOperator::multiply:
            return real(left * right);
        case BinaryOperator::power:
            return real(std::pow(left, right));
        default:
            break;
    }
    if (right == 0) {
        throw ExecutionError("Can't divide " + textOf(leftNumber) + " by zero.",
                             ExecutionError::divisionByZero);
    }
    if (operation == BinaryOperator::divide) return real(left / right);
    if (operation == BinaryOperator::integerDivide) {
        const bool isExact = areIntegers && *rightInteger != -1;
        return isExact ? Value(*leftInteger / *rightInteger) : integral(left / right);
    }
    if (!areIntegers) return real(std::fmod(left, right));
    return *rightInteger == -1 ? Value(std::int64_t{0}) : Value(*leftInteger % *rightInteger);
}

void checkLength(std::size_t size) {
    if (size > longestText) throw ExecutionError("The text is too long.", ExecutionError::tooLarge);
}

Value concatenated(const Value& left, const Value& right) {
    std::string text = textOf(left) + textOf(right);
    checkLength(text.size());
    return text;
}

}  // namespace

Value apply(BinaryOperator operation, const Value& left, const Value& right) {
    const auto folded = [](const Value& value) { return lowerCased(textOf(value)); };
    switch (operation) {
        case BinaryOperator::logicalOr:
            return truthOf(left) || truthOf(right);
        case BinaryOperator::logicalAnd:
            return truthOf(left) && truthOf(right);
        case BinaryOperator::equal:
            return areEqual(left, right);
        case BinaryOperator::notEqual:
            return !areEqual(left, right);
        case BinaryOperator::less:
            return compare(left, right) < 0;
        case BinaryOperator::lessOrEqual:
            return compare(left, right) <= 0;
        case BinaryOperator::greater:
            return compare(left, right) > 0;
        case BinaryOperator::greaterOrEqual:
            return compare(left, right) >= 0;
        case BinaryOperator::contains:
            return folded(left).find(folded(right)) != std::string::npos;
        case BinaryOperator::containsNot:
            return folded(left).find(folded(right)) == std::string::npos;
        case BinaryOperator::isIn:
            return folded(right).find(folded(left)) != std::string::npos;
        case BinaryOperator::startsWith:
            return folded(left).starts_with(folded(right));
        case BinaryOperator::endsWith:
            return folded(left).ends_with(folded(right));
        case BinaryOperator::concatenate:
            return concatenated(left, right);
        case BinaryOperator::add:
        case BinaryOperator::subtract:
        case BinaryOperator::multiply:
        case BinaryOperator::divide:
        case BinaryOperator::integerDivide:
        case BinaryOperator::modulo:
        case BinaryOperator::power:
            return calculate(operation, left, right);
    }
    return {};
}

Value negated(const Value& value) {
    return calculate(BinaryOperator::subtract, std::int64_t{0}, value);
}

Value converted(const Value& value, ValueKind kind) {
    switch (kind) {
        case ValueKind::text:
            return textOf(value);
        case ValueKind::number:
            return numberOf(value);
        case ValueKind::real:
            return realOf(value);
        case ValueKind::integer: {
            Value number = numberOf(value);
            return std::holds_alternative<double>(number) ? integral(std::nearbyint(std::get<double>(number)))
                                                          : number;
        }
        case ValueKind::boolean:
            if (areEqual(value, Value("true"))) return true;
            if (areEqual(value, Value("false"))) return false;
            return truthOf(value);
    }
    return value;
}

std::string quotedForm(const std::string& text) {
    constexpr std::string_view escapedMark = "'\\''";
    const auto marks = static_cast<std::size_t>(std::ranges::count(text, '\''));
    checkLength(text.size() + marks * (escapedMark.size() - 1) + 2);
    std::string quoted = "'";
    for (const char c : text) {
        if (c == '\'') {
            quoted += escapedMark;
        } else {
            quoted += c;
        }
    }
    return quoted + "'";
}

}  // namespace varkel::applescript

#pragma once

#include <stdexcept>
#include <string>

namespace varkel::applescript {

/// The source is not a script in the language that is understood here. what() names the word that is to
/// blame.
class SyntaxError : public std::runtime_error {
  public:
    SyntaxError(int line, const std::string& message) : std::runtime_error(message), line_(line) {}

    /// Counted from 1.
    int line() const { return line_; }

  private:
    int line_;
};

/// A statement could not be carried out. The numbers are those that scripts know the errors by.
class ExecutionError : public std::runtime_error {
  public:
    static constexpr int userError = -2700;
    static constexpr int wrongKind = -1700;
    static constexpr int noSuchObject = -1728;
    static constexpr int notUnderstood = -1708;
    static constexpr int divisionByZero = -2701;
    static constexpr int tooLarge = -2702;
    static constexpr int notDefined = -2753;

    ExecutionError(const std::string& message, int number) : std::runtime_error(message), number_(number) {}

    int number() const { return number_; }

    /// Counted from 1; 0 as long as it is not known.
    int line() const { return line_; }
    void setLine(int line) { line_ = line; }

  private:
    int number_;
    int line_ = 0;
};

}  // namespace varkel::applescript

#include "platform/linux/applescript/Interpreter.h"

#include <cmath>
#include <map>
#include <string>
#include <utility>

#include "platform/linux/applescript/Operators.h"
#include "platform/linux/applescript/ScriptError.h"

namespace varkel::applescript {

namespace {

/// Whom statements are told to.
struct Target {
    std::optional<ApplicationName> application;
    std::optional<Window> window;
};

class Interpreter {
  public:
    explicit Interpreter(ScriptDesktop& desktop) : desktop_(desktop) {}

    std::optional<Value> run(const Script& script) {
        runBlock(script.body);
        return std::move(result_);
    }

  private:
    enum class Flow { next, returned };

    // Statements.

    Flow runBlock(const Block& block) {
        for (const Statement& statement : block) {
            if (runStatement(statement) == Flow::returned) return Flow::returned;
        }
        return Flow::next;
    }

    Flow runStatement(const Statement& statement) {
        try {
            return std::visit([this](const auto& form) { return execute(form); }, statement.form);
        } catch (ExecutionError& error) {
            if (error.line() == 0) error.setLine(statement.line);
            throw;
        }
    }

    Flow execute(const Tell& tell) {
        Target inner = target_;
        if (const auto* application = std::get_if<ApplicationName>(&tell.target)) {
            inner = {*application, std::nullopt};
        } else {
            inner.window = windowOf(evaluate(*std::get<ExpressionPtr>(tell.target)));
            inner.application = inner.window->application;
        }
        std::swap(target_, inner);
        const Flow flow = runBlock(tell.body);
        std::swap(target_, inner);
        return flow;
    }

    Flow execute(const Activate& activate) {
        desktop_.activate(activate.application.empty() ? application("activate")
                                                       : activate.application.front());
        return doneWithoutResult();
    }

    Flow execute(const Set& set) {
        result_ = evaluate(*set.value);
        variables_[set.name] = *result_;
        return Flow::next;
    }

    Flow execute(const If& choice) {
        for (const If::Branch& branch : choice.branches) {
            if (truthOf(evaluate(*branch.condition))) return runBlock(branch.body);
        }
        return runBlock(choice.otherwise);
    }

    Flow execute(const Return& statement) {
        result_.reset();
        if (statement.value) result_ = evaluate(*statement.value);
        return Flow::returned;
    }

    Flow execute(const Evaluate& statement) {
        result_ = evaluate(*statement.value);
        return Flow::next;
    }

    Flow execute(const Delay& delay) {
        desktop_.delay(realOf(evaluate(*delay.seconds)));
        return doneWithoutResult();
    }

    Flow execute(const WriteText& statement) {
        const std::string text = textOf(evaluate(*statement.text));
        if (!target_.window) {
            throw ExecutionError("\"write text\" must be told to a window of a terminal.",
                                 ExecutionError::notUnderstood);
        }
        desktop_.runInTerminal(*target_.window, text);
        return doneWithoutResult();
    }

    Flow execute(const DisplayNotification& statement) {
        desktop_.notify({optionalText(statement.text), optionalText(statement.title),
                         optionalText(statement.subtitle), optionalText(statement.sound)});
        return doneWithoutResult();
    }

    Flow execute(const Log& statement) {
        desktop_.log(textOf(evaluate(*statement.value)));
        return doneWithoutResult();
    }

    Flow execute(const Raise& statement) {
        const double number =
            statement.number ? realOf(evaluate(*statement.number)) : double{ExecutionError::userError};
        constexpr double largest = 1e9;
        const bool fits = std::abs(number) < largest;
        const std::string message =
            statement.message ? textOf(evaluate(*statement.message)) : "An error has occurred.";
        throw ExecutionError(message, fits ? static_cast<int>(number) : ExecutionError::userError);
    }

    Flow doneWithoutResult() {
        result_.reset();
        return Flow::next;
    }

    std::string optionalText(const ExpressionPtr& expression) {
        return expression ? textOf(evaluate(*expression)) : std::string();
    }

    const ApplicationName& application(const std::string& command) const {
        if (target_.application) return *target_.application;
        throw ExecutionError("\"" + command + "\" must be told to an application.",
                             ExecutionError::notUnderstood);
    }

    static Window windowOf(const Value& value) {
        if (const auto* window = std::get_if<Window>(&value)) return *window;
        throw ExecutionError("\"" + textOf(value).substr(0, 100) + "\" is not a window.",
                             ExecutionError::wrongKind);
    }

    // Expressions.

    Value evaluate(const Expression& expression) {
        return std::visit([this](const auto& form) { return valueOf(form); }, expression.form);
    }

    Value valueOf(const Literal& literal) { return literal.value; }

    Value valueOf(const Variable& variable) {
        const auto found = variables_.find(variable.name);
        if (found != variables_.end()) return found->second;
        throw ExecutionError("The variable " + variable.name + " is not defined.",
                             ExecutionError::notDefined);
    }

    Value valueOf(const Chain& chain) {
        Value value = evaluate(*chain.first);
        for (const Chain::Link& link : chain.rest) {
            if (isDecided(link.operation, value)) continue;
            value = apply(link.operation, value, evaluate(*link.operand));
        }
        return value;
    }

    /// Whether the rest of "and" and "or" no longer counts, and is not to be evaluated.
    static bool isDecided(BinaryOperator operation, const Value& value) {
        if (operation == BinaryOperator::logicalAnd) return !truthOf(value);
        return operation == BinaryOperator::logicalOr && truthOf(value);
    }

    Value valueOf(const Unary& unary) {
        const Value value = evaluate(*unary.operand);
        switch (unary.operation) {
            case UnaryOperator::negate:
                return negated(value);
            case UnaryOperator::logicalNot:
                return !truthOf(value);
            case UnaryOperator::quotedForm:
                return quotedForm(textOf(value));
        }
        return {};
    }

    Value valueOf(const Cast& cast) {
        Value value = evaluate(*cast.operand);
        for (const ValueKind kind : cast.kinds) value = converted(value, kind);
        return value;
    }

    Value valueOf(const IsRunning& question) { return desktop_.isRunning(question.application); }

    Value valueOf(const CountWindows&) {
        return static_cast<std::int64_t>(desktop_.countWindows(application("count of windows")));
    }

    Value valueOf(const WindowReference& reference) {
        const double number = realOf(evaluate(*reference.number));
        constexpr double most = 1e6;
        if (number < 1 || number > most || number != std::floor(number)) {
            throw ExecutionError("There is no such window.", ExecutionError::noSuchObject);
        }
        return desktop_.window(application("window"), static_cast<std::size_t>(number));
    }

    Value valueOf(const ShellScript& script) { return desktop_.runShell(textOf(evaluate(*script.command))); }

    Value valueOf(const DoScript& script) {
        const std::string command = textOf(evaluate(*script.command));
        const bool opens = !script.window;
        Window window =
            opens ? desktop_.openTerminal(application("do script")) : windowOf(evaluate(*script.window));
        // An empty command is a way to ask for a window and nothing else.
        if (!opens || !command.empty()) desktop_.runInTerminal(window, command);
        return window;
    }

    Value valueOf(const CreateWindow&) { return desktop_.openTerminal(application("create window")); }

    ScriptDesktop& desktop_;
    Target target_;
    std::map<std::string, Value, std::less<>> variables_;
    std::optional<Value> result_;
};

}  // namespace

std::optional<Value> runScript(const Script& script, ScriptDesktop& desktop) {
    return Interpreter(desktop).run(script);
}

}  // namespace varkel::applescript

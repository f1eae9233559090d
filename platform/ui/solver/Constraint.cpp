// Variables, expressions and constraints: the values a layout hands to the Solver.

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "platform/ui/solver/Solver.h"

namespace dovrel::ui::solver {

struct Variable::Data {
    std::string name;
    double value = 0.0;
};

Variable::Variable(std::string name) : data_(std::make_shared<Data>(Data{std::move(name), 0.0})) {}

const std::string& Variable::name() const {
    return data_->name;
}
double Variable::value() const {
    return data_->value;
}
void Variable::setValue(double value) {
    data_->value = value;
}

Expression operator+(Expression lhs, const Expression& rhs) {
    lhs.terms.insert(lhs.terms.end(), rhs.terms.begin(), rhs.terms.end());
    lhs.constant += rhs.constant;
    return lhs;
}

Expression operator*(Expression expression, double factor) {
    for (Term& term : expression.terms)
        term.coefficient *= factor;
    expression.constant *= factor;
    return expression;
}

Expression operator*(double factor, Expression expression) {
    return std::move(expression) * factor;
}

Expression operator-(Expression expression) {
    return std::move(expression) * -1.0;
}

Expression operator-(Expression lhs, const Expression& rhs) {
    return std::move(lhs) + (-rhs);
}

SolverError::SolverError(Kind kind, const std::string& message)
    : std::runtime_error(message), kind_(kind) {}

struct Constraint::Data {
    Expression expression;
    Relation relation;
    Priority priority;
};

namespace {

bool isValidPriority(Priority priority) {
    return std::isfinite(priority) && priority >= 1 && priority <= kRequired;
}

// Adds up the terms of one variable (keeping the first one's place) and drops those that
// cancel. Expressions hold a handful of terms, so a linear search beats any index.
void mergeLikeTerms(std::vector<Term>& terms) {
    std::size_t kept = 0;
    for (std::size_t index = 0; index < terms.size(); ++index) {
        const auto same = std::find_if(terms.begin(), terms.begin() + kept, [&](const Term& each) {
            return each.variable == terms[index].variable;
        });
        if (same == terms.begin() + kept) {
            if (kept != index)
                terms[kept] = std::move(terms[index]);
            ++kept;
        } else {
            same->coefficient += terms[index].coefficient;
        }
    }
    terms.resize(kept);
    std::erase_if(terms, [](const Term& term) { return term.coefficient == 0.0; });
}

// lhs - rhs in one vector: a layout makes thousands of constraints of two or three terms each.
Expression difference(const Expression& lhs, const Expression& rhs) {
    Expression result;
    result.constant = lhs.constant - rhs.constant;
    result.terms.reserve(lhs.terms.size() + rhs.terms.size());
    result.terms.insert(result.terms.end(), lhs.terms.begin(), lhs.terms.end());
    for (const Term& term : rhs.terms)
        result.terms.push_back(Term{term.variable, -term.coefficient});
    return result;
}

std::string formatNumber(double value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%g", value);
    return buffer;
}

}  // namespace

Constraint::Constraint(const Expression& lhs, Relation relation, const Expression& rhs,
                       Priority priority)
    : Constraint(fromDifference(difference(lhs, rhs), relation, priority)) {}

Constraint Constraint::fromDifference(Expression expression, Relation relation, Priority priority) {
    if (!isValidPriority(priority)) {
        throw SolverError(SolverError::Kind::badPriority,
                          "A priority must be between 1 and 1000, not " + formatNumber(priority));
    }
    mergeLikeTerms(expression.terms);
    bool finite = std::isfinite(expression.constant);
    for (const Term& term : expression.terms)
        finite = finite && std::isfinite(term.coefficient);
    if (!finite) {
        throw SolverError(SolverError::Kind::nonFiniteValue,
                          "A constraint's coefficients and constant must be finite numbers");
    }
    return Constraint(std::make_shared<Data>(Data{std::move(expression), relation, priority}));
}

const Expression& Constraint::expression() const {
    return data_->expression;
}
Relation Constraint::relation() const {
    return data_->relation;
}
Priority Constraint::priority() const {
    return data_->priority;
}
void Constraint::setConstant(double constant) {
    data_->expression.constant = constant;
}
void Constraint::setPriority(Priority priority) {
    data_->priority = priority;
}

std::string Constraint::description() const {
    std::string text;
    for (const Term& term : data_->expression.terms) {
        const double magnitude = std::fabs(term.coefficient);
        if (text.empty()) {
            if (term.coefficient < 0)
                text += "-";
        } else {
            text += term.coefficient < 0 ? " - " : " + ";
        }
        if (magnitude != 1.0)
            text += formatNumber(magnitude) + "*";
        text += term.variable.name().empty() ? "(unnamed)" : term.variable.name();
    }
    const double constant = data_->expression.constant;
    if (text.empty()) {
        text = formatNumber(constant);
    } else if (constant != 0.0) {
        text += (constant < 0 ? " - " : " + ") + formatNumber(std::fabs(constant));
    }
    switch (data_->relation) {
        case Relation::lessThanOrEqual:
            text += " <= 0";
            break;
        case Relation::equal:
            text += " == 0";
            break;
        case Relation::greaterThanOrEqual:
            text += " >= 0";
            break;
    }
    return text + " (priority " + formatNumber(data_->priority) + ")";
}

}  // namespace dovrel::ui::solver

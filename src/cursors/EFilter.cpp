#include "etabulon/cursors/EFilter.h"

#include "etabulon/foundation/EExpects.h"

#include <algorithm>
#include <array>
#include <utility>

namespace etabulon {

namespace {

using Test = EFilter::Test;

/// The test that is true where one of Equal to AtLeast is false.
Test Opposite(Test test) {
    constexpr std::array<std::pair<Test, Test>, 6> kOpposites = {{
        {Test::Equal, Test::Unequal},
        {Test::Unequal, Test::Equal},
        {Test::Below, Test::AtLeast},
        {Test::AtMost, Test::Above},
        {Test::Above, Test::AtMost},
        {Test::AtLeast, Test::Below},
    }};
    const auto* const found = std::find_if(kOpposites.begin(), kOpposites.end(),
                                           [test](const auto& each) { return each.first == test; });
    return found->second;
}

bool IsComparison(Test test) noexcept { return test >= Test::Equal && test <= Test::AtLeast; }

}  // namespace

EFilter EFilter::Compare(const ETabulonVariableID& variable, Test test, const EVariant& value) {
    E_EXPECTS(IsComparison(test));
    Node node;
    node.test = test;
    node.variable = variable;
    node.values.push_back(value);
    return EFilter(std::move(node));
}

EFilter EFilter::In(const ETabulonVariableID& variable, std::vector<EVariant> values) {
    Node node;
    node.test = Test::In;
    node.variable = variable;
    node.values = std::move(values);
    for (const EVariant& each : node.values) {
        node.hasMissing = node.hasMissing || each.IsMissing();
    }
    // Texts that fold case, among others, have no order that holds for all.
    node.isSorted = std::none_of(node.values.begin(), node.values.end(),
                                 [](const EVariant& each) { return TypeInfo(each.Type()).folds; });
    if (node.isSorted) {
        std::sort(node.values.begin(), node.values.end());
    }
    return EFilter(std::move(node));
}

EFilter EFilter::Between(const ETabulonVariableID& variable, const EVariant& lowest,
                         const EVariant& highest) {
    return All(
        {Compare(variable, Test::AtLeast, lowest), Compare(variable, Test::AtMost, highest)});
}

EFilter EFilter::IsMissing(const ETabulonVariableID& variable) {
    Node node;
    node.test = Test::Missing;
    node.variable = variable;
    return EFilter(std::move(node));
}

EFilter EFilter::TextTest(const ETabulonVariableID& variable, Test test, const Chaine& text) {
    Node node;
    node.test = test;
    node.variable = variable;
    node.values.emplace_back(text);
    return EFilter(std::move(node));
}

EFilter EFilter::Contains(const ETabulonVariableID& variable, const Chaine& text) {
    return TextTest(variable, Test::Contains, text);
}

EFilter EFilter::BeginsWith(const ETabulonVariableID& variable, const Chaine& text) {
    return TextTest(variable, Test::Begins, text);
}

EFilter EFilter::All(const std::vector<EFilter>& parts) {
    Node node;
    for (const EFilter& part : parts) {
        if (part.node_ != nullptr && part.node_->test == Test::All) {
            node.parts.insert(node.parts.end(), part.node_->parts.begin(), part.node_->parts.end());
        } else if (part.node_ != nullptr) {
            node.parts.push_back(part);
        }
    }
    if (node.parts.empty()) {
        return {};
    }
    if (node.parts.size() == 1) {
        return node.parts.front();
    }
    return EFilter(std::move(node));
}

EFilter EFilter::Any(std::vector<EFilter> parts) {
    if (parts.size() == 1) {
        return std::move(parts.front());
    }
    if (std::any_of(parts.begin(), parts.end(),
                    [](const EFilter& part) { return part.IsEmpty(); })) {
        return {};
    }
    Node node;
    node.test = Test::Any;
    node.parts = std::move(parts);
    return EFilter(std::move(node));
}

// Each operation of the three truths has its opposite, so that a filter needs no part that negates.
EFilter EFilter::Not(const EFilter& filter) {
    if (filter.node_ == nullptr) {
        return Any({});
    }
    Node node = *filter.node_;
    if (node.test == Test::All || node.test == Test::Any) {
        for (EFilter& part : node.parts) {
            part = Not(part);
        }
        return node.test == Test::All ? Any(std::move(node.parts)) : All(node.parts);
    }
    if (IsComparison(node.test)) {
        node.test = Opposite(node.test);
    } else {
        node.isNegated = !node.isNegated;
    }
    return EFilter(std::move(node));
}

std::vector<ETabulonVariableID> EFilter::Variables() const {
    std::vector<ETabulonVariableID> variables;
    AddVariables(variables);
    return variables;
}

void EFilter::AddVariables(std::vector<ETabulonVariableID>& variables) const {
    if (node_ == nullptr) {
        return;
    }
    for (const EFilter& part : node_->parts) {
        part.AddVariables(variables);
    }
    const bool isTest = node_->test != Test::All && node_->test != Test::Any;
    if (isTest &&
        std::find(variables.begin(), variables.end(), node_->variable) == variables.end()) {
        variables.push_back(node_->variable);
    }
}

std::vector<const EFilter::Node*> EFilter::Required() const {
    std::vector<const Node*> required;
    if (node_ == nullptr) {
        return required;
    }
    if (node_->test != Test::All) {
        required.push_back(node_.get());
        return required;
    }
    for (const EFilter& part : node_->parts) {
        required.push_back(part.node_.get());
    }
    return required;
}

}  // namespace etabulon

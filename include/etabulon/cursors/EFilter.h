#pragma once

#include "etabulon/foundation/EVariant.h"
#include "etabulon/values/ETabulonVariableID.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace etabulon {

/// A condition on the values of a record: tests of single variables, joined by and, or, and not.
/// See ETabulonCursor::SetFilter.
///
/// A test of a missing value, or with one, is neither true nor false, as in SQL; only IsMissing is
/// always one of the two. The filter accepts the records for which all of it is true. Values
/// compare by EVariant::Compare: numbers and dates by value, texts byte by byte.
///
/// Ownership  a value type; copies share one immutable condition.
/// Threads    immutable: threads may share it.
/// Example    examples/filter.cpp
class ETABULON_API EFilter {
public:
    enum class Test : std::uint8_t {
        All = 0,      // of the parts
        Any = 1,      // of the parts
        Equal = 2,    // to the value
        Unequal = 3,  // to the value
        Below = 4,
        AtMost = 5,
        Above = 6,
        AtLeast = 7,
        In = 8,  // equal to one of the values
        Missing = 9,
        Contains = 10,
        Begins = 11,
    };
    struct Node {
        Test test = Test::All;
        bool isNegated = false;  // only for In and the tests below it
        std::vector<EFilter> parts;
        ETabulonVariableID variable;
        std::vector<EVariant> values;
        bool hasMissing = false;  // among the values
        bool isSorted = false;    // the values rise
    };

    /// Accepts every record.
    EFilter() = default;
    /// Requires a test from Equal to AtLeast.
    [[nodiscard]] static EFilter Compare(const ETabulonVariableID& variable, Test test,
                                         const EVariant& value);
    [[nodiscard]] static EFilter In(const ETabulonVariableID& variable,
                                    std::vector<EVariant> values);
    /// Both ends are included.
    [[nodiscard]] static EFilter Between(const ETabulonVariableID& variable, const EVariant& lowest,
                                         const EVariant& highest);
    [[nodiscard]] static EFilter IsMissing(const ETabulonVariableID& variable);
    // The value's text is compared byte by byte.
    [[nodiscard]] static EFilter Contains(const ETabulonVariableID& variable, const Chaine& text);
    [[nodiscard]] static EFilter BeginsWith(const ETabulonVariableID& variable, const Chaine& text);

    /// Without parts it accepts every record.
    [[nodiscard]] static EFilter All(const std::vector<EFilter>& parts);
    /// Without parts it accepts no record.
    [[nodiscard]] static EFilter Any(std::vector<EFilter> parts);
    /// True where the filter is false. A record for which the filter is neither true nor false
    /// stays so.
    [[nodiscard]] static EFilter Not(const EFilter& filter);

    /// Whether it accepts every record.
    [[nodiscard]] bool IsEmpty() const noexcept { return node_ == nullptr; }
    /// Requires that it isn't empty.
    [[nodiscard]] const Node& Root() const noexcept { return *node_; }
    /// Each variable once.
    [[nodiscard]] std::vector<ETabulonVariableID> Variables() const;
    /// The conditions that must all be true, none of which is Test::All. Valid as long as a copy of
    /// the filter lives.
    [[nodiscard]] std::vector<const Node*> Required() const;

private:
    explicit EFilter(Node node) : node_(std::make_shared<const Node>(std::move(node))) {}
    [[nodiscard]] static EFilter TextTest(const ETabulonVariableID& variable, Test test,
                                          const Chaine& text);
    void AddVariables(std::vector<ETabulonVariableID>& variables) const;

    std::shared_ptr<const Node> node_;  // null: accepts every record
};

}  // namespace etabulon

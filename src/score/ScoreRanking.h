#pragma once

#include "etabulon/foundation/PTableau.h"
#include "etabulon/values/ETabulonValue.h"

#include <cstdint>
#include <span>
#include <vector>

namespace etabulon {

class ETabulonScoreCumuls;

namespace detail {

class ScoreCells;

/// The lines of a score in rising order: by their results, calculation by calculation, then by
/// their labels in the order of the sort description.
///
/// Of lines that are equal in all of these only the last is kept, at the position of the first, as
/// if the lines were put into a PUniqueT one after the other. Valid until a record is added.
class ScoreRanking {
public:
    ScoreRanking(const ETabulonScoreCumuls& desc, const ScoreCells& cells);

    [[nodiscard]] std::span<const std::uint32_t> Lines() const noexcept { return lines_; }
    /// A new array of the line's results, as they were ranked.
    [[nodiscard]] PTableau<ETabulonValue> Values(std::uint32_t line) const;

private:
    class TieBreaker;
    class Inserted;
    using LineIterator = std::vector<std::uint32_t>::iterator;

    [[nodiscard]] bool LabelsHoldTheSameLevels() const;
    void Sort();
    void InsertOneByOne();
    [[nodiscard]] int CompareResults(std::uint32_t a, std::uint32_t b) const;

    const ETabulonScoreCumuls& desc_;
    const ScoreCells& cells_;
    unsigned int calculations_;
    std::vector<ETabulonValue> results_;  // line by line
    std::vector<std::uint32_t> lines_;
};

}  // namespace detail
}  // namespace etabulon

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
    /// The line's results, into an array whose memory is reused.
    void ReadValues(std::uint32_t line, PTableau<ETabulonValue>& values) const;
    /// Prefetches what ReadValues and the line's label read first.
    void Prefetch(std::uint32_t line) const noexcept;

private:
    class TieBreaker;
    class Inserted;
    using LineIterator = std::vector<std::uint32_t>::iterator;

    [[nodiscard]] bool LabelsHoldTheSameLevels() const;
    void ReadResults();
    void MakeKeys();
    void Sort();
    void InsertOneByOne();
    [[nodiscard]] int CompareResults(std::uint32_t a, std::uint32_t b) const;

    const ETabulonScoreCumuls& desc_;
    const ScoreCells& cells_;
    unsigned int calculations_;
    std::vector<ETabulonValue> results_;  // line by line; empty where the keys tell the order
    /// By line, numbers in the order of the first calculation's results; empty if they have others.
    std::vector<std::uint64_t> keys_;
    std::vector<std::uint32_t> lines_;
};

}  // namespace detail
}  // namespace etabulon

#pragma once

#include "etabulon/foundation/EBlockBuilder.h"
#include "etabulon/foundation/EBlockSource.h"
#include "etabulon/foundation/detail/HashIndex.h"
#include "etabulon/values/ETabulonLevels.h"
#include "etabulon/values/ETabulonValue.h"
#include "foundation/EBlockComposer.h"
#include "pending/PendingFilter.h"

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace etabulon::detail {

/// How a part of a block shows a record.
enum class PendingVerdict : std::uint8_t {
    Unknown = 0,
    Same = 1,     // as in the table
    Hidden = 2,   // not at all: it is deleted, or moved out of the filter
    Changed = 3,  // with some words changed
    Single = 4,   // it ends the part, and comes by a single step
};

/// What pending changes do to the records of a block. All of it follows from a record's tag, so
/// that it is worked out once for each distinct tag to which a change may apply.
///
/// Use  for each block Mark, as PendingFilter::Ask would answer for each record; then, for each
///      part of the block, BeginPart, and Put for its changed records.
class PendingBlocks {
public:
    /// Adds the columns that make up the records' tags.
    void Want(const ETabulonLevels& levels, const EFieldSet& fields, EBlockRequest& request);
    /// Forgets the verdicts of another version of the script.
    void Mark(const ERecordBlock& block, PendingFilter& filter, std::uint64_t version);
    /// Requires Mark of its block.
    [[nodiscard]] bool IsMarked(EBlockIndex record) const noexcept { return marks_[record] != 0; }

    /// Of a marked record. Unknown for a tag that is met for the first time; the caller then sets
    /// it, at once.
    [[nodiscard]] PendingVerdict Find(const ERecordBlock& block, EBlockIndex record);
    void Set(PendingVerdict verdict);
    /// Sets the verdict on a record which the fields hold with its updates: Changed, or Single
    /// where a block can't show them.
    [[nodiscard]] PendingVerdict SetUpdated(const ERecordBlock& block,
                                            const std::vector<const EField*>& updated);

    void BeginPart() noexcept { isComposed_ = false; }
    /// Puts the changed values of the tag that was found last into the part.
    void Put(const ERecordBlock& block, EBlockIndex record);
    /// The block with what was put into the part.
    [[nodiscard]] const ERecordBlock& Part(const ERecordBlock& block);

private:
    struct Level {
        unsigned int level;
        unsigned int column;
        std::vector<std::uint32_t> hashOf;  // by number; 0: not made yet, or made again
        // Of a column without numbers, the known tags' texts.
        std::vector<std::string> texts;
        HashIndex textIndex;
    };
    /// A column of the blocks.
    struct Shown {
        const EField* field;
        std::unique_ptr<EBlockBuilder> reader;  // of the field's words; made on demand
        bool isCopied = false;                  // the part has words of its own
        std::vector<std::uint64_t> words;
        std::vector<std::uint64_t> missing;
    };
    /// A value of a tag, exactly as a block has it.
    struct TagPart {
        std::uint64_t word = 0;  // or a number
        bool isMissing = false;
        friend bool operator==(const TagPart&, const TagPart&) = default;
    };
    struct KnownTag {
        PendingVerdict verdict;
        std::uint32_t firstPatch;
        std::uint32_t patchCount;
    };
    struct Patch {
        std::size_t column;
        std::uint64_t word;
        bool isMissing;
    };
    /// More tags are forgotten, and worked out again: some megabytes at most.
    static constexpr std::size_t kMostTags = 65536;

    void Hash(Level& level, const ERecordBlock& block, std::vector<std::uint32_t>& hashes);
    void HashByNumber(Level& level, const ERecordBlock::Column& column,
                      std::span<std::uint32_t> hashes);
    /// Of the level at this index; keeps a text that is met for the first time.
    [[nodiscard]] TagPart PartOf(std::size_t index, const ERecordBlock& block, EBlockIndex record);
    [[nodiscard]] std::uint32_t HashOf(const EVariant& data);
    void ForgetTags() noexcept;
    [[nodiscard]] bool AddPatch(const ERecordBlock& block, std::size_t column,
                                const EField& updated);
    void CopyWords(const ERecordBlock& block, std::size_t column);

    std::vector<Level> levels_;  // rising
    std::vector<unsigned int> ids_;
    std::vector<std::vector<std::uint32_t>> hashes_;  // by level, of the block's records
    std::array<std::uint8_t, ERecordBlock::kMostRecords> marks_{};
    ETabulonValue value_;

    std::uint64_t version_ = 0;    // of the script
    std::vector<KnownTag> tags_;   // in order of arrival
    std::vector<TagPart> parts_;   // of each tag, one for each level
    std::vector<TagPart> sought_;  // those of the record that was asked for last
    std::vector<Patch> patches_;
    HashIndex index_;        // of tags_
    std::size_t found_ = 0;  // in tags_

    std::vector<Shown> columns_;
    EBlockComposer composer_;
    bool isComposed_ = false;
};

}  // namespace etabulon::detail

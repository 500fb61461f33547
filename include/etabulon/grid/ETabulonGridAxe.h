#pragma once

#include "etabulon/cumul/fwd.h"
#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/EIcon.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/foundation/EVariant.h"
#include "etabulon/foundation/PTableau.h"
#include "etabulon/sort/ETabulonSortKey.h"
#include "etabulon/sort/fwd.h"
#include "etabulon/values/ETabulonValue.h"
#include "etabulon/values/fwd.h"

#include <cstdint>
#include <span>
#include <utility>

namespace etabulon {

/// An axis of a cross table: a title and an ordered list of labels.
///
/// Ownership  counted; icons are not owned. A copy shares the labels until either is accessed.
/// Threads    one at a time, or the holder of the filler's cursor lock.
/// Example    examples/grid.cpp
class ETABULON_API ETabulonGridAxe : public virtual ECountedUnknown {
public:
    enum AxeType : std::int32_t {
        AxeData = 0,   // values of one sort level, whose identifier is Data()
        AxeVars = 1,   // variables; a label's data is the variable's code
        AxeFuncs = 2,  // functions; a label's data is the function's code
    };

    /// A label: a value, its icon, and the type and size of a column for the values under it.
    class ETABULON_API AxeLabel : public ETabulonValue {
    public:
        static constexpr int kNoColumnType = -1;

        AxeLabel() noexcept = default;
        AxeLabel(const ETabulonValue& value, HICON icon) : ETabulonValue(value), icon_(icon) {}
        AxeLabel(const EVariant& data, const Chaine& display, HICON icon, bool modified)
            : ETabulonValue(data, display, modified), icon_(icon) {}

        [[nodiscard]] HICON Icon() const noexcept { return icon_; }
        /// The type and size of the values under this label: kNoColumnType and 0 if the label
        /// doesn't determine them.
        [[nodiscard]] int ColumnType() const noexcept { return columnType_; }
        [[nodiscard]] unsigned int ColumnBufferSize() const noexcept { return columnBufferSize_; }
        void SetColumnTypeInfos(int type, unsigned int size) noexcept {
            columnType_ = type;
            columnBufferSize_ = size;
        }
        /// Splits the display text, or the data as text.
        void SplitCode(Chaine& first, Chaine& second, bool display) const;
        /// "SUM(AMOUNT)" gives "SUM" and "AMOUNT". A code of another form gives two empty texts.
        static void SplitCode(const Chaine& code, Chaine& first, Chaine& second);

    private:
        HICON icon_ = nullptr;  // not owned
        int columnType_ = kNoColumnType;
        unsigned int columnBufferSize_ = 0;
    };

    // Each Build returns a reference for the caller. An empty title becomes the data as text.
    [[nodiscard]] static ETabulonGridAxe* Build(AxeType type, const EVariant& data,
                                                const Chaine& displayName, HICON icon);
    /// A data axis for a level, still without labels. Requires that the level exists.
    [[nodiscard]] static ETabulonGridAxe* Build(unsigned int level, const ETabulonLevels* levels);
    /// The same as Build, held by an ERef.
    template <class... Arguments>
    [[nodiscard]] static ERef<ETabulonGridAxe> Make(Arguments&&... arguments) {
        return ERef<ETabulonGridAxe>::Adopt(Build(std::forward<Arguments>(arguments)...));
    }

    ETabulonGridAxe(const ETabulonGridAxe&) = default;
    ETabulonGridAxe& operator=(const ETabulonGridAxe&) = default;

    [[nodiscard]] AxeType Type() const noexcept { return type_; }
    /// The axis's identity: the level's identifier, "Vars" or "Funcs".
    [[nodiscard]] const EVariant& Data() const noexcept { return data_; }
    [[nodiscard]] const Chaine& DisplayName() const noexcept { return displayName_; }
    [[nodiscard]] HICON Icon() const noexcept { return icon_; }
    [[nodiscard]] unsigned int Size() const noexcept { return labels_.Size(); }
    /// Requires index < Size().
    [[nodiscard]] const AxeLabel& Label(unsigned int index) const { return labels_.At(index); }
    // Without this overload, on a non-const axis a number would convert to EVariant data.
    [[nodiscard]] const AxeLabel& Label(unsigned int index) { return labels_.At(index); }
    /// The first label with this data. Requires HasLabel(data).
    [[nodiscard]] const AxeLabel& Label(const EVariant& data) const;
    [[nodiscard]] AxeLabel& Label(const EVariant& data);
    /// The index of the first label with this data, or -1.
    [[nodiscard]] int FindLabel(const EVariant& data) const;
    [[nodiscard]] bool HasLabel(const EVariant& data) const { return FindLabel(data) >= 0; }
    /// Writes the label into the tag, at the axis's level. For data axes.
    void SetLabelInTag(ETabulonTag& tag, unsigned int index) const;

    // ----------------------------- adding; the returned label is valid until the next one is added
    /// These two append a label, even if one with this data exists.
    AxeLabel& AddLabel(const EVariant& data, const Chaine& display, HICON icon);
    AxeLabel& AddLabel(const ETabulonValue& value, HICON icon);
    // These return the existing label with this data, if there is one.
    AxeLabel& AddLabel(const ETabulonCumulFunc* function);
    AxeLabel& AddLabel(const ETabulonVariableDesc* variable);
    /// Displays the variable's header, with `headerOnly` false within "function(header)".
    AxeLabel& AddLabel(const ETabulonVariableDesc* variable, const ETabulonCumulFunc* function,
                       bool headerOnly);
    /// Inserts a label for the tag's value at the key's level, in the order of the sort
    /// description. Requires that the tag holds the level, and that the labels are in that order.
    AxeLabel& AddLabel(const ETabulonTag& tag, const ETabulonSortDesc* sortDesc,
                       const ETabulonSortKey& key);
    /// The same as adding these values one after the other. Requires an axis without labels.
    void AddLabels(std::span<const ETabulonValue* const> values, const ETabulonSortDesc* sortDesc,
                   const ETabulonSortKey& key);

protected:
    ETabulonGridAxe(AxeType type, const EVariant& data, const Chaine& displayName, HICON icon);
    ~ETabulonGridAxe() override = default;

private:
    AxeType type_;
    EVariant data_;
    Chaine displayName_;
    HICON icon_;  // not owned
    PTableau<AxeLabel> labels_;
};

}  // namespace etabulon

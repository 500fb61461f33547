#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/PTableau.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace etabulon {

/// The marks in a link path, which is `step (mark step)+` with `step := [Rubric "."] name ["[" n
/// "]"]`, without blanks. They are bytes: the right mark, written » below, is the byte 0xBB alone.
///
/// `A.x>y`  forward to the one record that a link of A points at. x is the link's name, or the
///            foreign-key variable that it starts at, where only one does.
/// `A.x»B.y`  backward to the first record of B, in the order of B's key, that points at this
///            record of A. B has to be written. x says by which link of B: it is the link's name or
///            foreign-key variable, or the variable of A that is pointed at, and then the first
///            such link of B.
///
/// The last step is the variable read. The first step has to name its rubric; a later one may, and
/// then it has to be the one reached. Names are folded. An index in front of a mark picks the
/// element of those variables of the link that are arrays. A path may follow the same link several
/// times (`Person.boss>boss>name`); it has at most 64 steps.
inline constexpr char kLinkForward = '\x3E';
inline constexpr char kLinkBackward = '\xBB';
inline constexpr std::size_t kMostLinkSteps = 64;

/// What RegisterLink makes of a path. The caller stores it and passes it back; only the engine
/// reads it.
/// Example    tests/foundation/LinkTest.cpp
struct LinkDescriptor {
    bool resolved = false;
    Chaine code;
    Chaine variable;
    PTableau<std::int32_t> steps;  // the path's nodes in the engine's trie
    std::int32_t node = 0;         // the last step's; 0 = none
};

/// Gives a link engine the buffers of records.
/// Example    src/foundation/ELinkEngine.cpp
class ETABULON_API IBufferProvider {
public:
    virtual ~IBufferProvider() = default;
    /// The buffer of the rubric of that name; null when it isn't known.
    [[nodiscard]] virtual const void* FindRubricToReport(const Chaine& name) const = 0;
};

/// A provider that knows one rubric.
/// Example    tests/foundation/LinkTest.cpp
class ETABULON_API CSingleBufferProvider : public IBufferProvider {
public:
    CSingleBufferProvider(const Chaine& name, const void* buffer) : name_(name), buffer_(buffer) {}
    [[nodiscard]] const void* FindRubricToReport(const Chaine& name) const override;

private:
    Chaine name_;
    const void* buffer_;
    mutable Chaine lastAsked_;  // equal to name_: a walk passes one body each time
};

/// Reads records reached through links. The provider's buffers have their rubrics' full layout.
/// Example    tests/foundation/LinkTest.cpp
class ETABULON_API ILinkEngine {
public:
    virtual void Release() = 0;
    /// Prepares `descriptor` for the path `code`, whose first step names its rubric. 0 when the
    /// path doesn't resolve (unknown names, over 64 steps, a bad index): such a link reads nothing.
    virtual int RegisterLink(const Chaine& code, LinkDescriptor& descriptor) = 0;
    /// Called once before links are used; drops all earlier reads. Returns 0 when the records of a
    /// rubric on the way can't be read: links through a rubric without a source find no target,
    /// links through one whose source couldn't be opened fail with the error in LastError.
    virtual int InitializeLinks() = 0;
    /// Reads the record that the provider's current record links to, and returns its buffer. Null
    /// where there is no target, and where the read fails, with the error in LastError; the buffer
    /// is blank in both cases.
    virtual const void* ResolveLink(const LinkDescriptor& descriptor,
                                    const IBufferProvider* provider) = 0;
    /// The buffer, the same for the engine's life, in which the link's target record lies; null for
    /// a path that didn't resolve or doesn't start at one of `rubrics`.
    virtual const void* FindBuffer(const LinkDescriptor& descriptor, PTableau<DRubric*>& rubrics,
                                   const IBufferProvider* provider) = 0;
    /// For a caller that may have written into the engine's buffers: the next ResolveLink reads
    /// each of them again, or blanks it. Rows cached by sources stay valid.
    virtual void ForgetBuffers() = 0;
    /// The error of the last InitializeLinks or ResolveLink: status 0 unless a read failed, and
    /// never DataEnd. A failure isn't cached as a missing record: the next ResolveLink reads again.
    [[nodiscard]] virtual const EDataError& LastError() const = 0;
    /// Changes whenever a link could give another record for a key than before.
    [[nodiscard]] virtual std::uint64_t Version() const = 0;

protected:
    virtual ~ILinkEngine() = default;
};

/// The link engine on a dictionary: a trie of path steps, each with its target's lookup, one buffer
/// for life and the last foreign key. An unchanged key reads nothing. Without a target, or with a
/// part of the key missing, the buffer is blank.
///
/// Paths that begin alike share steps. A step reads only the columns that registered paths need.
/// Threads  the walking thread only. A descriptor belongs to the engine that filled it.
/// Example    tests/foundation/LinkTest.cpp
class ETABULON_API LinkEngineEDataTable : public ILinkEngine {
public:
    /// `from` is the table that the links start at, for sources; not owned.
    explicit LinkEngineEDataTable(DDico* dico, EData* from = nullptr);
    ~LinkEngineEDataTable() override;
    LinkEngineEDataTable(const LinkEngineEDataTable&) = delete;
    LinkEngineEDataTable& operator=(const LinkEngineEDataTable&) = delete;

    void Release() override { delete this; }
    int RegisterLink(const Chaine& code, LinkDescriptor& descriptor) override;
    int InitializeLinks() override;
    const void* ResolveLink(const LinkDescriptor& descriptor,
                            const IBufferProvider* provider) override;
    const void* FindBuffer(const LinkDescriptor& descriptor, PTableau<DRubric*>& rubrics,
                           const IBufferProvider* provider) override;
    void ForgetBuffers() override;
    [[nodiscard]] const EDataError& LastError() const override;
    [[nodiscard]] std::uint64_t Version() const override;

private:
    class Step;
    struct State;
    [[nodiscard]] Step* FindStep(const LinkDescriptor& descriptor) const;
    std::unique_ptr<State> state_;
};

}  // namespace etabulon

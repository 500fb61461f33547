// Database files: any bytes as an SQLite file that is opened for reading. Its schema is read, each
// table walked, and a tree and a grid with linked levels filled, all of it twice: nothing crashes
// or hangs, what fails says why, a sound file gives the same twice, and the file stays as it is.

#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/foundation/ELinkEngine.h"
#include "etabulon/grid/ETabulonGridFiller.h"
#include "etabulon/sql/ETabulonCursorSql.h"
#include "etabulon/sqlite/ESqliteSource.h"
#include "etabulon/tree/EDataTree.h"
#include "fuzz/Choices.h"
#include "support/ResultTrace.h"
#include "support/TreeChecker.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace etabulon::fuzz {
namespace {

constexpr int kMostRecords = 300;  // of one walk: a view may have any number
constexpr std::size_t kMostTables = 4;

// ---------------------------------------------------------------------------------------- the file

constexpr std::size_t kReadVersionAt = 19;  // in the file's header; 2 = write-ahead log

/// A file in a folder of its own, in memory where there is such a file system.
class ScratchFile {
public:
    ScratchFile() {
        namespace fs = std::filesystem;
        const fs::path memory = "/dev/shm";
        std::error_code failure;
        std::string folder =
            ((fs::is_directory(memory, failure) ? memory : fs::temp_directory_path()) /
             "etabulon-fuzz-XXXXXX")
                .string();
        Require(::mkdtemp(folder.data()) != nullptr, "a folder can be made");
        folder_ = folder;
        path_ = folder_ / "test.db";
        // Open until the end: closing it would give up the locks that SQLite takes on the file.
        file_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        Require(file_ >= 0, "a file can be made");
    }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;
    ~ScratchFile() {
        ::close(file_);
        std::error_code failure;
        std::filesystem::remove_all(folder_, failure);
    }
    void Hold(std::string_view bytes) const {
        Require(::ftruncate(file_, 0) == 0 && ::pwrite(file_, bytes.data(), bytes.size(), 0) ==
                                                  static_cast<ssize_t>(bytes.size()),
                "the input can't be written");
    }
    /// Requires that the file holds these bytes still and that nothing was written beside it. The
    /// index and the empty log of a write-ahead database may stay where the file is damaged.
    void CheckUntouched(std::string_view bytes) const {
        std::string found(bytes.size() + 1, '\0');
        const ssize_t count = ::pread(file_, found.data(), found.size(), 0);
        Require(count == static_cast<ssize_t>(bytes.size()) &&
                    std::string_view(found).substr(0, bytes.size()) == bytes,
                "reading changed the file");
        for (const char* const suffix : {"-journal", "-wal", "-shm"}) {
            const std::filesystem::path beside = path_.string() + suffix;
            std::error_code failure;
            const auto size = std::filesystem::file_size(beside, failure);
            Require(failure || (bytes.size() > kReadVersionAt && bytes[kReadVersionAt] == 2 &&
                                (size == 0 || beside.string().ends_with("-shm"))),
                    "reading wrote a file beside it");
            std::filesystem::remove(beside, failure);
        }
    }
    [[nodiscard]] Chaine Path() const { return Chaine(path_.string()); }

private:
    std::filesystem::path folder_;
    std::filesystem::path path_;
    int file_ = -1;
};

/// Cancels what takes more than a second: a view in a file may be any query.
class Watchdog {
public:
    class [[nodiscard]] Watch {
    public:
        Watch(Watchdog& dog, std::function<void()> cancel) : dog_(dog) {
            dog_.Set(std::move(cancel));
        }
        Watch(const Watch&) = delete;
        Watch& operator=(const Watch&) = delete;
        ~Watch() { dog_.Set({}); }

    private:
        Watchdog& dog_;
    };
    /// Whether it had to, since the last time.
    [[nodiscard]] bool TakeBarked() {
        const std::lock_guard hold(lock_);
        return std::exchange(hasBarked_, false);
    }

private:
    void Set(std::function<void()> cancel) {
        const std::lock_guard hold(lock_);
        cancel_ = std::move(cancel);
        ++number_;
    }
    void Run(const std::stop_token& stop) {
        std::unique_lock hold(lock_);
        while (!stop.stop_requested()) {
            const std::uint64_t number = number_;
            wake_.wait_for(hold, stop, std::chrono::seconds(1), [] { return false; });
            if (cancel_ && number == number_) {
                hasBarked_ = true;
                cancel_();
            }
        }
    }

    std::mutex lock_;
    std::condition_variable_any wake_;
    std::function<void()> cancel_;  // guarded by lock_, as all here
    std::uint64_t number_ = 0;
    bool hasBarked_ = false;
    std::jthread thread_{[this](const std::stop_token& stop) { Run(stop); }};
};

/// What SQLite itself finds in the file.
bool IsSound(const Chaine& path) {
    sqlite3* database = nullptr;
    bool isSound = false;
    const auto take = [](void* answer, int, char** values, char**) {
        *static_cast<bool*>(answer) = values[0] != nullptr && std::string_view(values[0]) == "ok";
        return 0;
    };
    const Chaine location = Chaine::Format("file:%s?immutable=1", path.c_str());
    Require(sqlite3_open_v2(location.c_str(), &database, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI,
                            nullptr) == SQLITE_OK,
            "SQLite opens the file");
    const int status = sqlite3_exec(database, "PRAGMA integrity_check(1)", take, &isSound, nullptr);
    sqlite3_close(database);
    return status == SQLITE_OK && isSound;
}

// ------------------------------------------------------------------------------------- its reading

void RequireTold(std::int32_t status, const Chaine& text, std::string_view what) {
    Require(status != DataOk && !text.IsEmpty(), what);
}

void AppendFields(std::string& text, const EFieldSet& fields) {
    for (std::uint16_t index = 0; index < fields.Size(); ++index) {
        const EField& field = fields.At(index);
        text += field.IsMissing() ? "-" : field.AsChaine().c_str();
        text += '/' + std::to_string(field.IsMissing() ? 0 : field.Hash()) + ' ';
    }
}

/// Ends a walk at its last permitted record.
class Limit final : public ETabulonCursor::INotifier, public virtual ECountedUnknown {
public:
    /// A walk that was cut off before has made no grid to send.
    [[nodiscard]] bool WasReset() const noexcept { return wasReset_; }
    CursorStatus OnReset(const ETabulonTag& /*tag*/, const ETabulonCursor& /*cursor*/) override {
        wasReset_ = true;
        return StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor& /*cursor*/) override {
        return ++count_ < kMostRecords ? StatusOk : StatusEnd;
    }
    void OnDone(const ETabulonCursor& /*cursor*/) override {}
    void OnCancel(const ETabulonCursor& /*cursor*/) override {}
    void OnError(const ETabulonCursor& /*cursor*/, CursorStatus /*status*/) override {}

private:
    int count_ = 0;
    bool wasReset_ = false;
};

class Reading {
public:
    Reading(const Chaine& path, ESqliteSource& source, Watchdog& watchdog)
        : path_(path), source_(source), watchdog_(watchdog) {}

    void ReadAll() {
        bool hasLinked = false;
        for (std::size_t index = 0; index < source_.Tables().size() && index < kMostTables;
             ++index) {
            const ESqlTableInfo& info = source_.Tables()[index];
            if (const auto table = Open(info)) {
                Twice([&] { return TextOfRecords(*table); });
            }
            if (!hasLinked && !source_.Rubric(info)->Links().empty()) {
                hasLinked = true;
                ReadLinked(info);
            }
        }
    }

private:
    template <class Read>
    void Twice(Read read) {
        const std::string first = read();
        const std::string second = read();
        // In a damaged page SQLite may take what lies after it in memory for a part of a record.
        if (!watchdog_.TakeBarked() && second != first && IsSound(path_)) {
            RequireEqual(second, first, "a second reading");
        }
    }
    [[nodiscard]] std::unique_ptr<ESqlTable> Open(const ESqlTableInfo& info) {
        ESqlError error;
        std::unique_ptr<ESqlTable> table = source_.OpenTable(info.code, error);
        if (table == nullptr) {
            RequireTold(error.status, error.text, "why a table can't be opened");
        }
        return table;
    }
    [[nodiscard]] std::string TextOfRecords(ESqlTable& table) {
        table.ResetInterrupt();
        const Watchdog::Watch watch(watchdog_, [&table] { table.Interrupt(); });
        std::string text;
        int count = 0;
        EPosition at = table.GetFirst();
        for (; at != kNoPosition && ++count < kMostRecords; at = table.GetNext()) {
            AppendFields(text, table.Fields());
        }
        if (at == kNoPosition && table.status != DataEnd) {
            RequireTold(table.status, table.LastErrorText(), "why a walk ends");
        }
        return text + "status " + std::to_string(table.status);
    }
    /// The first columns, and one after each of the first links, forth and back.
    [[nodiscard]] ETabulonLevels Levels(const ESqlTableInfo& info) {
        constexpr std::size_t kMostColumns = 2;
        constexpr unsigned int kMostLevels = 5;
        ETabulonLevels levels;
        const auto add = [&levels](const Chaine& code) {
            if (levels.Size() < kMostLevels) {
                levels.AddLevel(code, ETabulonVariableID(code), nullptr, /*addRef=*/false);
            }
        };
        for (std::size_t column = 0; column < info.columns.size() && column < kMostColumns;
             ++column) {
            add(info.columns[column].code);
        }
        const DRubric& rubric = *source_.Rubric(info);
        for (const DLink& link : rubric.Links()) {
            const ESqlTableInfo* const target = source_.FindTable(link.target->Name());
            if (target == nullptr) {
                Fail("a link leads to no table");
            }
            Chaine path = link.name;
            path.Append(kLinkForward);
            path += target->columns.back().code;
            add(path);
        }
        for (const ESqlTableInfo& other : source_.Tables()) {
            for (const DLink& link : source_.Rubric(other)->Links()) {
                if (link.target == &rubric) {
                    Chaine path = link.name;
                    path.Append(kLinkBackward);
                    path += other.code;
                    path.Append('.');
                    path += other.columns.back().code;
                    add(path);
                }
            }
        }
        return levels;
    }
    void ReadLinked(const ESqlTableInfo& info) {
        std::unique_ptr<ESqlTable> table = Open(info);
        if (table == nullptr) {
            return;
        }
        const ETabulonLevels levels = Levels(info);
        ETabulonCursorSql cursor;
        cursor.Init(levels, table.release(), /*ownsTable=*/true);
        const auto cancel = [&cursor] { cursor.Cancel(); };
        Twice([&] {
            const Watchdog::Watch watch(watchdog_, cancel);
            return TextOfTree(cursor);
        });
        Twice([&] {
            const Watchdog::Watch watch(watchdog_, cancel);
            return TextOfGrid(cursor);
        });
    }
    [[nodiscard]] static std::string TextOf(const ETabulonCursorSql& cursor, CursorStatus status) {
        if (status != StatusOk && status != StatusCancelled) {
            RequireTold(static_cast<std::int32_t>(status), cursor.Table()->LastErrorText(),
                        "why a filling ends");
        }
        return " status " + std::to_string(status);
    }
    [[nodiscard]] static std::string TextOfTree(ETabulonCursorSql& cursor) {
        Limit limit;
        const ECursorListening listening(cursor, limit);
        EDataTree tree(&cursor, "all", nullptr);
        ETabulonSortDesc::SortKeyArray keys;
        for (unsigned int level = cursor.Levels().Size(); level-- > 0;) {
            keys.Add({level, /*reverse=*/false, 0});
        }
        tree.SetSortLevels(keys);
        const CursorStatus status = tree.Fill();
        RequireEqual(test::CheckTree(*tree.Root()), "", "a tree");
        return test::TreeText(*tree.Root()) + TextOf(cursor, status);
    }
    [[nodiscard]] static std::string TextOfGrid(ETabulonCursorSql& cursor) {
        Limit limit;
        const ECursorListening listening(cursor, limit);
        const ETabulonLevels& levels = cursor.Levels();
        ETabulonSortDesc sort(levels);
        ETabulonSortDesc::SortKeyArray keys;
        keys.Add({levels.Size() - 1, /*reverse=*/false, 0});
        sort.SetSortLevels(keys);
        ETabulonCumulFuncOnVarCollection calculations;
        const ETabulonVariableID id = levels.GetLevel(0).DataID();
        calculations.AddCalculation("COUNT", id, TYPE_INT64, 0, "count");
        calculations.AddCalculation("MAX", id, TYPE_INT64, 0, "max");
        const auto filler =
            ERef<ETabulonGridFiller>::Adopt(ETabulonGridFiller::Build(&cursor, nullptr));
        filler->SetParams(&calculations, /*axesCount=*/2, &sort);
        CursorStatus status = StatusOk;
        {
            const ECursorListening filling(cursor, *filler);
            status = cursor.Browse(ETabulonTag::Null);
        }
        test::GridTrace view;
        if (limit.WasReset()) {
            filler->SendTo(&view);
        }
        return view.Take() + TextOf(cursor, status);
    }

    const Chaine& path_;
    ESqliteSource& source_;
    Watchdog& watchdog_;
};

void ReadFile(const Chaine& path, Watchdog& watchdog) {
    ESqlError error;
    const auto source = ESqliteSource::Open(path, ESqlOpenMode::ReadOnly, error);
    if (source == nullptr) {
        RequireTold(error.status, error.text, "why a file can't be opened");
        return;
    }
    Reading(path, *source, watchdog).ReadAll();
}

}  // namespace
}  // namespace etabulon::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace etabulon::fuzz;
    static const ScratchFile file;
    static Watchdog watchdog;
    const std::string_view input(reinterpret_cast<const char*>(bytes), size);
    file.Hold(input);
    ReadFile(file.Path(), watchdog);
    file.CheckUntouched(input);
    return 0;
}

#ifdef ETABULON_FUZZ
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* bytes, std::size_t size, std::size_t most);

/// Leaves the header alone most of the time: a file with a bad one is refused at once.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* bytes, std::size_t size,
                                               std::size_t most, unsigned int seed) {
    constexpr std::size_t kHeader = 100;
    if (size <= kHeader || seed % 16 == 0) {
        return LLVMFuzzerMutate(bytes, size, most);
    }
    return kHeader + LLVMFuzzerMutate(bytes + kHeader, size - kHeader, most - kHeader);
}
#endif

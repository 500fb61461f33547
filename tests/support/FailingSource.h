#pragma once

#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/EData.h"

#include <memory>
#include <utility>
#include <vector>

namespace etabulon::test {

/// Stands before the source of a rubric, counts what its lookups are asked, and fails where it is
/// told to. Not owned: the inner source, which a memory table keeps.
class FailingSource : public IRecordSource {
public:
    explicit FailingSource(IRecordSource& source) : inner(&source) {}
    /// Puts one before the rubric's source.
    static std::shared_ptr<FailingSource> Before(DRubric& rubric) {
        auto source = std::make_shared<FailingSource>(*rubric.Source());
        rubric.SetSource(source);
        return source;
    }

    std::unique_ptr<IRecordLookup> OpenLookup(const DRubric& rubric,
                                              std::span<const unsigned int> keyVariables,
                                              std::span<const unsigned int> wanted, EData* from,
                                              EDataError& error) override {
        columns.assign(wanted.begin(), wanted.end());
        if (openFailure.status != DataOk) {
            error = openFailure;
            return nullptr;
        }
        auto lookup = inner->OpenLookup(rubric, keyVariables, wanted, from, error);
        return std::make_unique<Lookup>(*this, std::move(lookup));
    }
    /// The `count`-th read from here (from 1) fails so, and that one only.
    void FailAt(int count, std::int32_t status) {
        failingRead_ = reads + count;
        failure_ = {status, 0, "linked table can't be read"};
    }

    int reads = 0;
    int forgotten = 0;
    EDataError openFailure;             // status 0: lookups can be opened
    std::vector<unsigned int> columns;  // of the lookup opened last
    IRecordSource* inner;

private:
    class Lookup : public IRecordLookup {
    public:
        Lookup(FailingSource& source, std::unique_ptr<IRecordLookup> inner)
            : source_(source), inner_(std::move(inner)) {}
        ERecordRead Read(const EFieldKey& values, void* record) override {
            const bool fails = ++source_.reads == source_.failingRead_;
            const EFieldKey none;
            const ERecordRead read = inner_->Read(fails ? none : values, record);
            return fails ? ERecordRead::Failed : read;
        }
        void Forget() override {
            ++source_.forgotten;
            inner_->Forget();
        }
        std::uint64_t Version() const override { return inner_->Version(); }
        EDataError LastError() const override { return source_.failure_; }

    private:
        FailingSource& source_;
        std::unique_ptr<IRecordLookup> inner_;
    };
    int failingRead_ = 0;
    EDataError failure_;
};

}  // namespace etabulon::test

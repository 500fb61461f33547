#pragma once

#include "etabulon/foundation/DDico.h"
#include "etabulon/sql/ESqlSource.h"

namespace etabulon {

/// Looks up the records of one table as targets of links.
class ESqlLinkSource final : public IRecordSource {
public:
    ESqlLinkSource(ESqlSource& source, const ESqlTableInfo& info)
        : source_(source), core_(*source.Core()), info_(info) {}
    std::unique_ptr<IRecordLookup> OpenLookup(const DRubric& rubric,
                                              std::span<const unsigned int> keyVariables,
                                              std::span<const unsigned int> columns, EData* from,
                                              EDataError& error) override;

private:
    ESqlSource& source_;                 // may have gone: core_.isOpen tells
    const detail::SqlSourceCore& core_;  // holds the dictionary that owns this
    const ESqlTableInfo& info_;
};

}  // namespace etabulon

#include "etabulon/foundation/EData.h"

#include "etabulon/foundation/EExpects.h"

#include <vector>

namespace etabulon {

EData::EData(const EFieldSet& fields) : fields_(fields), buffer_(fields.Buffer()) {}

EData::~EData() = default;

bool EData::DeleteLoop() {
    // Collects the positions first: a table may lose its position when its current record is
    // deleted.
    std::vector<EPosition> range;
    for (EPosition at = GetFirst(); at != kNoPosition; at = GetNext()) {
        range.push_back(at);
    }
    if (status != DataEnd) {
        return false;
    }
    for (const EPosition at : range) {
        if (!DeleteOne(at)) {
            return false;
        }
    }
    status = DataOk;
    return true;
}

std::int32_t EData::Lock(EPosition where, bool) {
    status = where == kNoPosition && position == kNoPosition ? DataNoCurrent : DataOk;
    return status;
}

bool EData::LoadBuffer() {
    if (position != kNoPosition) {
        return true;
    }
    fields_.SetNull();
    return false;
}

void EData::AttachBuffer(void* buffer, [[maybe_unused]] int size) {
    E_EXPECTS(size >= 0 && static_cast<std::size_t>(size) >= fields_.RecordSize());
    fields_.ChangeBuffer(buffer, /*takeOwnership=*/false);
    buffer_ = buffer;
}

}  // namespace etabulon

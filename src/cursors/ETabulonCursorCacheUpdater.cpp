#include "cursors/ETabulonCursorCacheUpdater.h"

#include "etabulon/foundation/EData.h"

namespace etabulon::detail {

namespace {

constexpr auto kNoHolder = static_cast<CursorStatus>(DataReadOnly);

}  // namespace

bool CacheUpdater::Hold() {
    if (!updater_) {
        updater_ = ERef<ETabulonCursor::IUpdater>::Adopt(source_.Updater());
    }
    holders_ += updater_ ? 1 : 0;
    return static_cast<bool>(updater_);
}

std::int32_t CacheUpdater::Release() {
    holders_ -= holders_ > 0 ? 1 : 0;
    if (holders_ == 0) {
        updater_ = {};
    }
    return holders_;
}

CursorStatus CacheUpdater::StartInsert(const ETabulonTag& tag) {
    started_ = StatusOk;
    return updater_ ? updater_->StartInsert(tag) : kNoHolder;
}

CursorStatus CacheUpdater::StartUpdate(const ETabulonPrimaryKey& key, const ETabulonTag& tag) {
    started_ = updater_ ? target_.MoveForUpdate(key, tag) : kNoHolder;
    if (started_ == StatusOk) {
        started_ = updater_->StartUpdate(key, tag);
    }
    return started_;
}

CursorStatus CacheUpdater::Save() {
    // After a failed StartUpdate the table may stand on any record.
    if (started_ != StatusOk) {
        return started_;
    }
    return updater_ ? updater_->Save() : kNoHolder;
}

CursorStatus CacheUpdater::Delete(const ETabulonPrimaryKey& key, const ETabulonTag& tag) {
    const CursorStatus status = updater_ ? target_.MoveForDelete(key, tag) : kNoHolder;
    return status == StatusOk ? updater_->Delete(key, tag) : status;
}

CursorStatus CacheUpdater::SetValue(const ETabulonVariableID& id, const ETabulonValue& value) {
    return updater_ ? updater_->SetValue(id, value) : kNoHolder;
}

CursorStatus CacheUpdater::SetBuffer(const EExtract& record) {
    return updater_ ? updater_->SetBuffer(record) : kNoHolder;
}

}  // namespace etabulon::detail

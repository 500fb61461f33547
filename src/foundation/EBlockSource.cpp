#include "etabulon/foundation/EBlockSource.h"

#include <atomic>
#include <cstdlib>
#include <string_view>

namespace etabulon {

namespace {

bool IsEnabledByEnvironment() noexcept {
    const char* const setting = std::getenv("ETABULON_BLOCKS");
    return setting == nullptr || std::string_view(setting) != "0";
}

std::atomic<bool>& Enabled() noexcept {
    static std::atomic<bool> enabled{IsEnabledByEnvironment()};
    return enabled;
}

}  // namespace

unsigned int EBlockRequest::Add(const EField& field, bool numbers, bool values) {
    unsigned int index = 0;
    while (index < columns.size() && columns[index].field->Address() != field.Address()) {
        ++index;
    }
    if (index == columns.size()) {
        columns.push_back({&field, false, false});
    }
    Column& column = columns[index];
    column.numbers = column.numbers || numbers;
    column.values = column.values || values;
    return index;
}

int EBlockSource::FindField(const EFieldSet& fields, const EField& field) noexcept {
    for (std::uint16_t index = 0; index < fields.Size(); ++index) {
        const EField& own = fields.At(index);
        if (own.Address() == field.Address() && own.Desc().IsSameAs(field.Desc())) {
            return field.Address() != nullptr ? index : -1;
        }
    }
    return -1;
}

bool EBlockSource::AreEnabled() noexcept { return Enabled().load(std::memory_order_relaxed); }

void EBlockSource::SetEnabled(bool enabled) noexcept {
    Enabled().store(enabled, std::memory_order_relaxed);
}

}  // namespace etabulon

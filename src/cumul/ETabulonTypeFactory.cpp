#include "etabulon/cumul/ETabulonTypeFactory.h"

#include "etabulon/cumul/ETabulonTypeDateTime.h"
#include "etabulon/cumul/ETabulonTypeNumeric.h"
#include "etabulon/cumul/ETabulonTypeText.h"

#include <mutex>

namespace etabulon {
namespace {

constexpr unsigned short kUnknownIcon = 16807;
constexpr GenericType kKnown[] = {GenericNumeric, GenericText, GenericDateTime, GenericMedia,
                                  GenericUnknown};

}  // namespace

class ETabulonTypeFactory::CAutoDeleteMap : public FSortedMap<GenericType, ETabulonType*> {
public:
    CAutoDeleteMap() = default;
    CAutoDeleteMap(const CAutoDeleteMap&) = delete;
    CAutoDeleteMap& operator=(const CAutoDeleteMap&) = delete;
    ~CAutoDeleteMap() override {
        for (const auto& entry : *this) {
            delete entry.value;
        }
    }
};

struct ETabulonTypeFactory::Families {
    Families() {
        for (const GenericType family : kKnown) {
            types[family] = Make(family);
        }
    }

    std::mutex lock;
    CAutoDeleteMap types;  // guarded by lock: lookups of new families add them
};

ETabulonTypeFactory::Families& ETabulonTypeFactory::AllFamilies() {
    static Families families;
    return families;
}

ETabulonType* ETabulonTypeFactory::Make(GenericType family) {
    switch (family) {
        case GenericNumeric:
            return new ETabulonTypeNumeric;
        case GenericText:
            return new ETabulonTypeText;
        case GenericDateTime:
            return new ETabulonTypeDateTime;
        default:
            // Deliberate: one object for each other number, all of the unknown family, media
            // included. EveryOtherFamilyIsUnknown holds it.
            return new ETabulonType(ETabulonType::LateIcon{kUnknownIcon, kUnknownIcon},
                                    GenericUnknown);
    }
}

const ETabulonType* ETabulonTypeFactory::Get(GenericType family) {
    Families& families = AllFamilies();
    const std::lock_guard hold(families.lock);
    ETabulonType*& type = families.types[family];
    if (type == nullptr) {
        type = Make(family);
    }
    return type;
}

const ETabulonType* ETabulonTypeFactory::Get(int dataType) { return Get(FamilyOf(dataType)); }

namespace {

// The families exist before main.
[[maybe_unused]] const ETabulonType* const early = ETabulonTypeFactory::Get(GenericUnknown);

}  // namespace

}  // namespace etabulon

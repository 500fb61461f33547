#include "apps/etabulon/CliApp.h"

#ifdef ETABULON_WITH_ICU
#include "etabulon/icu/EIcuLocaleOrder.h"
#endif

int main(int argc, char** argv) {
#ifdef ETABULON_WITH_ICU
    constexpr etabulon::CliInstallLocale kInstallLocale = &etabulon::InstallIcuLocaleOrder;
#else
    constexpr etabulon::CliInstallLocale kInstallLocale = nullptr;
#endif
    return etabulon::RunEtabulon(argc, argv, kInstallLocale);
}

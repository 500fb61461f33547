#include "apps/etabulon/commands/CliApp.h"
#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/request/CliFailure.h"

#include <unistd.h>

#include <exception>
#include <new>

#ifdef ETABULON_WITH_ICU
#include "etabulon/icu/EIcuLocaleOrder.h"
#endif

namespace {

std::terminate_handler formerHandler = nullptr;

/// Ends the program with the usual message if memory runs out where no handler can catch it.
void EndWithoutMemory() {
    try {
        if (const std::exception_ptr error = std::current_exception()) {
            std::rethrow_exception(error);
        }
    } catch (const std::bad_alloc&) {
        etabulon::WriteError("etabulon: there isn't enough memory\n");
        _exit(static_cast<int>(etabulon::CliExit::Failed));
    } catch (...) {
        formerHandler();
    }
    formerHandler();
}

/// Runs before the static objects of the program and its libraries are constructed.
__attribute__((constructor(101))) void InstallHandler() {
    formerHandler = std::set_terminate(&EndWithoutMemory);
}

}  // namespace

int main(int argc, char** argv) {
#ifdef ETABULON_WITH_ICU
    constexpr etabulon::CliInstallLocale kInstallLocale = &etabulon::InstallIcuLocaleOrder;
#else
    constexpr etabulon::CliInstallLocale kInstallLocale = nullptr;
#endif
    return etabulon::RunEtabulon(argc, argv, kInstallLocale);
}

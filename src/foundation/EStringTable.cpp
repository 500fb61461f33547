#include "etabulon/foundation/EStringTable.h"

#include <array>

namespace etabulon {
namespace {

constexpr unsigned int kFirstID = 10700;
constexpr std::array<std::string_view, 13> kTexts = {
    "Min.",                                // 10700
    "Max.",                                // 10701
    "Moyenne",                             // 10702
    "Somme",                               // 10703
    "Nombre d'éléments",                   // 10704
    "Dernier élément",                     // 10705
    "Valeur commune",                      // 10706
    "Variables",                           // 10707
    "Fonctions",                           // 10708
    "Elément Min.",                        // 10709
    "Elément Max.",                        // 10710
    "Calculs",                             // 10711
    "Préparation de l'arbre en cours...",  // 10712
};

}  // namespace

std::string_view StringTableText(unsigned int stringID) noexcept {
    const unsigned int index = stringID - kFirstID;  // wraps below the first
    return index < kTexts.size() ? kTexts[index] : std::string_view();
}

}  // namespace etabulon

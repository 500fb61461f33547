#include "etabulon/foundation/EExpects.h"

int main(int argc, char**) {
    E_EXPECTS(argc > 0);
    return 0;
}

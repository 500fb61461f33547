#include "apps/etabulon/CliApp.h"

int main(int argc, char** argv) { return etabulon::RunEtabulon(argc, argv); }

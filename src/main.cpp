#include "uci/uci.h"

int main(int argc, char** argv) { return runEngine(argc, argv); }

#include "embedded_network.h"
#include "eval/default_network.h"
#include "uci/uci.h"

int main(int argc, char** argv) {
    builtInNetwork = embeddedNetwork();
    return runEngine(argc, argv);
}

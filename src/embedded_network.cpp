// The default network as bytes of the engine executable itself, so that the
// engine plays wherever it is started from. The build passes the file's path.
#include "embedded_network.h"

#ifdef EMBEDDED_NET_PATH
#include "embedded_network_id.h"

#ifdef _WIN32
#define QUORVANE_RODATA ".section .rdata,\"dr\"\n"
#else
#define QUORVANE_RODATA ".section .rodata\n"
#endif
// The assembler copies the file; the compiler never sees its 25 MB.
asm(QUORVANE_RODATA
    ".balign 64\n"
    "quorvaneEmbeddedNet:\n"
    ".incbin \"" EMBEDDED_NET_PATH
    "\"\n"
    "quorvaneEmbeddedNetEnd:\n"
    ".balign 8\n"
    "quorvaneEmbeddedNetSize:\n"
    ".quad quorvaneEmbeddedNetEnd - quorvaneEmbeddedNet\n"
    ".global quorvaneEmbeddedNetStart\n"
    ".set quorvaneEmbeddedNetStart, quorvaneEmbeddedNet\n"
    ".global quorvaneEmbeddedNetLength\n"
    ".set quorvaneEmbeddedNetLength, quorvaneEmbeddedNetSize\n"
    ".text\n");

extern "C" const char quorvaneEmbeddedNetStart[];
extern "C" const unsigned long long quorvaneEmbeddedNetLength;

std::string_view embeddedNetwork() { return {quorvaneEmbeddedNetStart, size_t(quorvaneEmbeddedNetLength)}; }
#else
std::string_view embeddedNetwork() { return {}; }
#endif

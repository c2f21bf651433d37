#include "search/numa.h"

// This build runs where processor groups do not exist: threads stay where the
// system puts them.
void bindThisThread(int) {}
int nodeForThread(int) { return -1; }

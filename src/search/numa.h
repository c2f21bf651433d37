// Placement of search threads on processor groups and NUMA nodes.
#pragma once

// Binds the calling thread to the node chosen for thread `index`; does
// nothing where the system offers no such binding.
void bindThisThread(int index);
// The NUMA node for a thread index, or -1 to leave the thread unbound.
int nodeForThread(int index);

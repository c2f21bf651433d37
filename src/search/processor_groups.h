// Which NUMA node each search thread runs on, and binding the calling thread
// to that node's processors.
#pragma once

#include <vector>

struct ProcessorTopology {
    int nodes = 0;              // NUMA nodes
    int cores = 0;              // physical cores
    int logicalProcessors = 0;  // hardware threads
};

// Threads fill the physical cores node by node, then the extra logical
// processors round-robin over the nodes; entry i is the node of thread i.
std::vector<int> buildNodeTable(const ProcessorTopology& topology);

// The node for a thread index, or -1 when the index is beyond the table.
int nodeFromTable(const std::vector<int>& table, unsigned index);

// The node a thread is bound to: the forced node (option value - 1) when the
// option is set, else the table's node; -1 means "leave the thread alone".
int nodeToBind(const std::vector<int>& table, unsigned index, int forcedNodeOption);

// The topology as the operating system describes it (zeros when unknown).
ProcessorTopology systemTopology();

// nodeFromTable over the system's table (built once).
int nodeForThread(unsigned index);

// Binds the calling thread to the node chosen for `index` (see nodeToBind,
// with the WindowsNumaNode option); any failure leaves the thread where it is.
void bindThisThread(unsigned index);

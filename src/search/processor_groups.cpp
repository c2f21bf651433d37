#include "search/processor_groups.h"

#include "uci/options.h"

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#include <cstdlib>
#elif defined(__linux__)
#include <dirent.h>
#include <pthread.h>
#include <sched.h>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#endif

#include <mutex>

std::vector<int> buildNodeTable(const ProcessorTopology& t) {
    std::vector<int> table;
    if (t.nodes > 0) {
        int perNode = t.cores / t.nodes;
        for (int node = 0; node < t.nodes; ++node)
            for (int i = 0; i < perNode; ++i) table.push_back(node);
    }
    int extra = t.logicalProcessors - t.cores;
    if (extra >= 1 && t.nodes > 0)
        for (int j = 0; j < extra; ++j) table.push_back(j % t.nodes);
    return table;
}

int nodeFromTable(const std::vector<int>& table, unsigned index) { return index < table.size() ? table[index] : -1; }

int nodeToBind(const std::vector<int>& table, unsigned index, int forcedNodeOption) {
    if (forcedNodeOption != 0) return forcedNodeOption - 1;
    return nodeFromTable(table, index);
}

namespace {

std::once_flag tableOnce;
std::vector<int> systemTable;

const std::vector<int>& nodeTable() {
    std::call_once(tableOnce, [] { systemTable = buildNodeTable(systemTopology()); });
    return systemTable;
}

#ifdef _WIN32

using InfoExFn = BOOL(WINAPI*)(LOGICAL_PROCESSOR_RELATIONSHIP, PSYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX, PDWORD);
using NodeMaskFn = BOOL(WINAPI*)(USHORT, PGROUP_AFFINITY);
using GroupAffinityFn = BOOL(WINAPI*)(HANDLE, const GROUP_AFFINITY*, PGROUP_AFFINITY);

// The three calls are looked up at run time so that the program still starts
// on systems that lack them.
FARPROC kernelFunction(const char* name) {
    HMODULE kernel = GetModuleHandleA("Kernel32.dll");
    return kernel ? GetProcAddress(kernel, name) : nullptr;
}

void bindToNode(int node) {
    auto nodeMask = reinterpret_cast<NodeMaskFn>(reinterpret_cast<void*>(kernelFunction("GetNumaNodeProcessorMaskEx")));
    auto setAffinity =
        reinterpret_cast<GroupAffinityFn>(reinterpret_cast<void*>(kernelFunction("SetThreadGroupAffinity")));
    if (!nodeMask || !setAffinity) return;
    GROUP_AFFINITY affinity;
    if (!nodeMask(USHORT(node), &affinity)) return;
    setAffinity(GetCurrentThread(), &affinity, nullptr);
}

#elif defined(__linux__)

// "0-3,8-11" style lists of processor numbers.
std::vector<int> parseCpuList(const std::string& text) {
    std::vector<int> cpus;
    std::stringstream ss(text);
    std::string range;
    while (std::getline(ss, range, ',')) {
        if (range.empty()) continue;
        size_t dash = range.find('-');
        try {
            int first = std::stoi(range.substr(0, dash));
            int last = dash == std::string::npos ? first : std::stoi(range.substr(dash + 1));
            for (int c = first; c <= last && c - first < 4096; ++c) cpus.push_back(c);
        } catch (...) {
            return {};
        }
    }
    return cpus;
}

std::string readFirstLine(const std::string& path) {
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    return line;
}

std::vector<int> nodeCpus(int node) {
    return parseCpuList(readFirstLine("/sys/devices/system/node/node" + std::to_string(node) + "/cpulist"));
}

int countNodes() {
    int nodes = 0;
    while (!nodeCpus(nodes).empty()) ++nodes;
    return nodes;
}

void bindToNode(int node) {
    std::vector<int> cpus = nodeCpus(node);
    if (cpus.empty()) return;
    cpu_set_t set;
    CPU_ZERO(&set);
    for (int c : cpus)
        if (c < CPU_SETSIZE) CPU_SET(c, &set);
    pthread_setaffinity_np(pthread_self(), sizeof set, &set);
}

#else

void bindToNode(int) {}

#endif

}  // namespace

ProcessorTopology systemTopology() {
    ProcessorTopology t;
#ifdef _WIN32
    auto infoEx =
        reinterpret_cast<InfoExFn>(reinterpret_cast<void*>(kernelFunction("GetLogicalProcessorInformationEx")));
    if (!infoEx) return t;
    DWORD length = 0;
    if (infoEx(RelationAll, nullptr, &length) || GetLastError() != ERROR_INSUFFICIENT_BUFFER) return t;
    char* buffer = static_cast<char*>(std::malloc(length));
    if (!buffer) return t;
    if (!infoEx(RelationAll, reinterpret_cast<PSYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX>(buffer), &length)) {
        std::free(buffer);
        return t;
    }
    for (DWORD offset = 0; offset < length;) {
        auto* record = reinterpret_cast<PSYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX>(buffer + offset);
        if (record->Relationship == RelationNumaNode) ++t.nodes;
        if (record->Relationship == RelationProcessorCore) {
            ++t.cores;
            t.logicalProcessors += record->Processor.Flags == LTP_PC_SMT ? 2 : 1;
        }
        if (record->Size == 0) break;
        offset += record->Size;
    }
    std::free(buffer);
#elif defined(__linux__)
    t.nodes = countNodes();
    std::set<std::pair<int, int> > cores;
    for (int cpu = 0;; ++cpu) {
        std::string base = "/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/topology/";
        std::string package = readFirstLine(base + "physical_package_id");
        std::string core = readFirstLine(base + "core_id");
        if (package.empty() || core.empty()) break;
        ++t.logicalProcessors;
        try {
            cores.insert({std::stoi(package), std::stoi(core)});
        } catch (...) {
            return ProcessorTopology{};
        }
    }
    t.cores = int(cores.size());
#endif
    return t;
}

int nodeForThread(unsigned index) { return nodeFromTable(nodeTable(), index); }

void bindThisThread(unsigned index) {
    int node = nodeToBind(nodeTable(), index, optionNumaNode);
    if (node >= 0) bindToNode(node);
}

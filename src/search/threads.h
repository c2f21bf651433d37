// The pool of search threads.
#pragma once

// Rebuilds the pool with n threads (none when n < 1).
void setThreadCount(int n);
// Sets the stop flag and waits until no thread searches.
void stopAndWait();
// Zeroes every thread's history tables.
void clearSearchTables();

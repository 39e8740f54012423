// A lock in a process that has never had a second thread: the system's own is cheaper there.
#include "Locks.h"

void bench::ask() { locks("lock", 1); }

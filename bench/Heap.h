// What a piece of work needs of the heap, for programs that link bench_heap.
#pragma once

#include <functional>

namespace bench {

// The most that lay on the heap at one time while `work` ran, beyond what lay there before.
double heapPeakOf(const std::function<void()>& work);

}  // namespace bench

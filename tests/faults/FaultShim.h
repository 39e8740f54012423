/* Makes calls into the C library fail on request: linked in front of it, or preloaded into any program. Use n of
   a call is the n-th since the fault was set; allocations of every kind are uses of "malloc", and "any" stands
   for all calls but those. calls.py has the calls, and the errors that fit each of them.

     TVK_FAULT=CALL:N:ERROR    the N-th use fails, with "N+" all from there on. CALL may hold wildcards.
                               ERROR is the name of an error number; SHORT halves what is read or
                               written, KILL ends the process instead.
     TVK_FAULT_BYTES=N         all that is written together has N bytes of room; then ENOSPC
     TVK_FAULT_COUNTS=PATH     at the end of the process: faultCounts() */
#ifndef TVK_TESTS_FAULT_SHIM_H
#define TVK_TESTS_FAULT_SHIM_H

#ifdef __cplusplus
extern "C" {
#endif

/* Sets the fault, counting anew; null for none, and no more counting. What cannot be read as one ends the process. */
void faultSet(const char* fault);

/* A line "CALL COUNT" for each call that was used, "any COUNT", and "fired COUNT": how many failed, or were cut short. */
const char* faultCounts(void);

/* Allocations not freed yet. */
long faultLiveBlocks(void);

#ifdef __cplusplus
}
#endif

#endif

/* Makes calls into the C library fail on request: linked in front of it, or preloaded into any program. Use n of
   a call is the n-th since the fault was set; allocations of every kind are uses of "malloc", and "any" stands
   for all calls but those.

     TVK_FAULT=CALL:N:ERROR    the N-th use fails, with "N+" all from there on. ERROR is the name of an error
                               number; SHORT halves what is read or written, KILL ends the process instead.
     TVK_FAULT_BYTES=N         all that is written together has N bytes of room; then ENOSPC
     TVK_FAULT_COUNTS=PATH     at the end of the process: a line "CALL COUNT" for each call that was used and "any",
                               and "fired COUNT" */
#ifndef TVK_TESTS_FAULT_SHIM_H
#define TVK_TESTS_FAULT_SHIM_H

#ifdef __cplusplus
extern "C" {
#endif

/* The calls by number, from 0, and the errors that fit each one, between blanks; null behind the last one. */
const char* faultCall(int call);
const char* faultErrors(int call);

/* Sets the fault, counting anew; null for none. What cannot be read as one ends the process. */
void faultSet(const char* fault);

/* How many calls failed, or were cut short, since the fault was set, and the uses of a call. */
long faultsFired(void);
long faultUses(int call);

/* Allocations not freed yet. */
long faultLiveBlocks(void);

#ifdef __cplusplus
}
#endif

#endif

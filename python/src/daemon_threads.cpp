// Threads that the interpreter ends while it is ending itself.
//
// A daemon thread that wants the interpreter's lock by then is ended with pthread_exit, from within
// whatever Python code a host function, a conversion or a finalizer runs. That unwinds the stack,
// through the frames of this extension, the host and the module that runs. Nothing there may be
// cleaned up: the destructors of references need the lock, which the thread will never have again,
// and one that runs Python code is itself unwound, which ends the process. So the thread is held
// for ever at the first frame of this extension that would clean up, as later versions of Python
// hold it at the lock; it ends with the process. The host stays claimed by its call.
//
// Frames ask the personality routine of C++ what there is to clean up. The linker hands the ones of
// this extension to the routine below (--wrap).
#include <unistd.h>
#include <unwind.h>

#include <cstdint>

// The names are the linker's. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

_Unwind_Reason_Code __real___gxx_personality_v0(int version, _Unwind_Action actions,
                                                std::uint64_t exceptionClass,
                                                _Unwind_Exception* exception,
                                                _Unwind_Context* context);

_Unwind_Reason_Code __wrap___gxx_personality_v0(int version, _Unwind_Action actions,
                                                std::uint64_t exceptionClass,
                                                _Unwind_Exception* exception,
                                                _Unwind_Context* context) {
  if ((actions & _UA_FORCE_UNWIND) != 0) {
    for (;;) pause();
  }
  return __real___gxx_personality_v0(version, actions, exceptionClass, exception, context);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

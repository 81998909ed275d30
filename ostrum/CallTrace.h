/// @file
/// The call trace: every public method opens a _CallEntry; each thread keeps its own stack of
/// open entries in a fixed array, so an entry costs a few stores and never allocates. The crash
/// handler writes the crashing thread's stack into the global log.
#pragma once

#include <cstddef>

struct _CallStack {
    enum { k_Capacity = 256 };
    struct Frame {
        const char* text;
        const char* file;
        int line;
    };
    Frame frames[k_Capacity];
    unsigned depth; ///< may exceed k_Capacity: deeper entries are counted, not stored
};

/// initial-exec: the stack is reached with one offset from the thread pointer instead of a call
/// to __tls_get_addr. The library is linked, never dlopen'ed late, so this model is allowed.
extern thread_local _CallStack t_CallStack __attribute__((tls_model("initial-exec")));

class _CallEntry {
public:
    _CallEntry(const char* text, const char* file, int line) noexcept {
        _CallStack& s = t_CallStack;
        if (s.depth < _CallStack::k_Capacity) s.frames[s.depth] = {text, file, line};
        ++s.depth;
    }
    ~_CallEntry() { --t_CallStack.depth; }
    _CallEntry(const _CallEntry&) = delete;
    _CallEntry& operator=(const _CallEntry&) = delete;

    /// The current thread's open entries, innermost last.
    static unsigned Depth() { return t_CallStack.depth; }
    static const _CallStack::Frame* At(unsigned index) {
        return index < t_CallStack.depth && index < _CallStack::k_Capacity
                   ? &t_CallStack.frames[index]
                   : nullptr;
    }
    /// Writes the current thread's trace to a file descriptor using only async-signal-safe
    /// calls (the crash handler runs this).
    static void WriteTrace(int fd) noexcept;
    /// Installs handlers for SIGSEGV, SIGABRT, SIGBUS and SIGFPE that write the crashing
    /// thread's trace into the global log, then let the process die by the same signal.
    static void InstallCrashHandler();
};

#define OSTRUM_CONCAT2(a, b) a##b
#define OSTRUM_CONCAT(a, b) OSTRUM_CONCAT2(a, b)
// Opens a call-trace entry for the rest of the enclosing scope.
#define CALL_ENTRY(text) _CallEntry OSTRUM_CONCAT(_callEntry_, __LINE__)(text, __FILE__, __LINE__)

/// @file
/// Library start and clean-up hooks. An object derived from LibStatic is called back once with
/// OnLibCleanup when its library is cleaned up (CleanupAll, run at the latest when the
/// foundation library is unloaded), in the reverse order of construction.
#pragma once

#include <ostrum/String.h>

/// A library-lifetime object: OnLibCleanup is called once when its library is cleaned up.
/// @ingroup ostrum
class LibStatic {
public:
    explicit LibStatic(const String& name);
    virtual ~LibStatic();
    LibStatic(const LibStatic&) = delete;
    LibStatic& operator=(const LibStatic&) = delete;

    const String& GetLibStaticName() const { return m_Name; }
    virtual void OnLibCleanup() = 0;

    /// Calls OnLibCleanup of every registered object (newest first) and forgets them; the
    /// callee may delete itself. With a name, only objects of that name.
    static void CleanupAll();
    static void Cleanup(const String& name);
    static size_t Count();

private:
    String m_Name;
};

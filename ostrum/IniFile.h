/// @file
/// Ini files: sections of "key=value" lines; the unnamed section (name "") comes first and has
/// no header. Section and key names compare without regard to case. Comments, blank lines and
/// lines the parser does not understand are kept in place and written back. A value with a line
/// break, surrounding blanks or a leading double quote is written quoted with C escapes.
///
/// Thread safety: every call takes the file's RWLock (read or write). InsertSection and the
/// two-argument SetValue share a current section, so a caller doing both holds the write lock
/// across them (GetRWLock()); the writer may take the lock again.
#pragma once

#include <ostrum/File.h>
#include <ostrum/Lock.h>

#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <vector>

/// A file of `key = value` lines in sections, with typed reads, a current section for
/// writes, an RWLock for threads, and atomic saving (a crash leaves the old or the new file whole).
/// @ingroup ostrum
class IniFile : public File {
public:
    IniFile() = default;
    explicit IniFile(const Path& name) : File(name, k_FileRead) {}

    /// Reads the file named by SetFilename/the constructor. mustExist: a missing file throws
    /// Exception* (k_ErrNotFound), otherwise it reads as empty. replace: forget the current
    /// content first, otherwise the file's keys are merged over it. Read errors throw.
    void Load(bool mustExist = true, bool replace = true);
    /// Parses text as file content (same rules as Load). Never throws: odd lines are kept raw.
    void LoadFromString(const String& text, bool replace = true);
    /// Writes the whole content to the file name, crash-safely. Throws Exception* on failure.
    void Save();
    String ToString() const;

    /// Makes the section current, creating it at the end when missing.
    void InsertSection(const String& section);
    const String& GetCurrentSection() const { return m_Current; }
    bool HasSection(const String& section) const;
    bool HasKey(const String& section, const String& key) const;
    std::vector<String> GetSections() const;
    std::vector<String> GetKeys(const String& section) const;

    /// In the current section. Throws Exception* (k_ErrArgument) for a key that cannot be
    /// written back as a key (empty, with '=' or a line break, or starting with '[', ';', '#').
    void SetValue(const String& key, const String& value);
    void SetValue(const String& key, int value) { SetValue(key, String::FromInt(value)); }
    /// In the named section, created when missing; the current section is left alone.
    void SetValue(const String& section, const String& key, const String& value);

    String GetValue(const String& section, const String& key, const String& def) const;
    String GetValue(const String& section, const String& key, const char* def) const {
        return GetValue(section, key, String(def));
    }
    /// True for k_Yes, "1", "true" (any case); anything else is false; absent gives def.
    bool GetValue(const String& section, const String& key, bool def) const;
    /// A value that is not a whole number gives def.
    int GetValue(const String& section, const String& key, int def) const;
    long GetValue(const String& section, const String& key, long def) const;
    double GetValue(const String& section, const String& key, double def) const;

    /// Removes every key of the section (comments stay); the section itself remains.
    void ClearSection(const String& section);
    bool RemoveKey(const String& section, const String& key);
    void RemoveSection(const String& section);
    void Clear();

    bool IsModified() const;
    RWLock* GetRWLock() const { return &m_Lock; }

protected:
    /// Called after every change, with the caller's locks (if any) still held.
    virtual void OnChanged() {}

private:
    struct Line {
        String raw; // the text as read (kept for comments and unknown lines)
        String key; // empty for a non-key line
        String value;
        bool isKey = false;
    };
    struct Section {
        String name;
        std::vector<Line> lines;
        std::map<String, size_t, String::ciless> index; // key -> line
        bool created = false; // made by a call, not read: gets a blank line before it
        void Reindex();
    };

    Section* Find(const String& name);
    const Section* Find(const String& name) const;
    Section& Ensure(const String& name);
    const Line* FindLine(const String& section, const String& key) const;
    void Set(Section& s, const String& key, const String& value);
    void ParseInto(const String& text);
    static void CheckKey(const String& key);
    // A typed read found a value it cannot take: a warning naming section and key, once.
    void Rejected(const String& section, const String& key, const String& value,
                  const char* wanted) const;

    mutable RWLock m_Lock;
    std::vector<Section> m_Sections{Section()}; // [0] is the unnamed section
    std::map<String, size_t, String::ciless> m_SectionIndex;
    String m_Current;
    // Changes and saves are counted, so a save that raced with a change does not hide it.
    std::atomic<uint64_t> m_Generation{0};
    std::atomic<uint64_t> m_SavedGeneration{0};
    mutable std::mutex m_RejectedMutex;
    mutable std::set<String> m_Rejected;
};

/// The application's options file: written through after each change unless a pause is
/// active. Pauses nest; the outermost end writes once if anything changed.
class OptionsFile : public IniFile {
public:
    OptionsFile() = default;
    explicit OptionsFile(const Path& name) : IniFile(name) {}
    ~OptionsFile() override;

    void PauseAutoWrite(bool pause);
    bool IsAutoWritePaused() const;
    /// Writes the file if it changed since the last load or save. A failure is logged and
    /// reported as false; nothing is thrown (widgets write settings and must not fail).
    bool WriteOut();

    /// Holds back the automatic writing while it lives (nested pauses count); the outermost
    /// one writes the file on its end if anything changed.
    class Pause {
    public:
        explicit Pause(OptionsFile* file) : m_File(file) {
            if (m_File) m_File->PauseAutoWrite(true);
        }
        ~Pause() {
            if (m_File) m_File->PauseAutoWrite(false);
        }
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;

    private:
        OptionsFile* m_File;
    };

protected:
    void OnChanged() override;

private:
    mutable std::mutex m_PauseMutex;
    int m_Pauses = 0;
    String m_LastError; // the failure last reported (under m_PauseMutex)
};

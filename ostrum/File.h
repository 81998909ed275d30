/// @file
/// Paths, files and output streams.
#pragma once

#include <ostrum/String.h>

#include <cstdint>

/// Writes all of data to fd, retrying partial and interrupted writes (one write call for a
/// short record, so log lines of different threads never mix); false on an error.
bool WriteAllFd(int fd, const char* data, size_t size);

/// A file system path as text: its folder (Branch), its last component (Leaf) and joining (/).
/// @ingroup ostrum
class Path {
public:
    Path() = default;
    Path(const String& text) : m_Text(text) {}
    Path(const char* text) : m_Text(text) {}

    const String& ToString() const { return m_Text; }
    const char* c_str() const { return m_Text.c_str(); }
    bool IsEmpty() const { return m_Text.empty(); }
    bool IsAbsolute() const { return !m_Text.empty() && m_Text[0] == '/'; }

    /// The folder part. With isDirectory the path itself names a folder and is returned whole;
    /// otherwise its parent ("" for a bare name, "/" for a file in the root). With normalize,
    /// doubled separators and "." components are dropped and no trailing separator remains.
    Path Branch(bool isDirectory = false, bool normalize = true) const;
    /// The last component ("" for the root or an empty path).
    String Leaf() const;

    /// Appends one or more components with a single separator between.
    Path& operator/=(const String& name);
    Path operator/(const String& name) const {
        Path p(*this);
        p /= name;
        return p;
    }
    bool operator==(const Path& other) const { return m_Text == other.m_Text; }
    bool operator!=(const Path& other) const { return m_Text != other.m_Text; }

private:
    String m_Text;
};

/// Open modes: bits that OutFile understands. The usual "create or truncate for writing" is 22.
enum : int {
    k_FileRead = 1,
    k_FileWrite = 2,
    k_FileCreate = 4,
    k_FileAppend = 8,
    k_FileTruncate = 16,
    k_FileWriteNew = k_FileWrite | k_FileCreate | k_FileTruncate, ///< 22
};

/// A file by path and mode, and the user folder of the suite (GetUserDir).
/// @ingroup ostrum
class File {
public:
    File() = default;
    explicit File(const Path& name, int mode = k_FileRead) : m_Name(name), m_Mode(mode) {}
    virtual ~File() = default;

    void SetFilename(const Path& name, int mode = k_FileWriteNew) {
        m_Name = name;
        m_Mode = mode;
    }
    const Path& GetFilename() const { return m_Name; }
    int GetMode() const { return m_Mode; }

    static bool Exists(const Path& path);
    static bool IsDirectory(const Path& path);
    /// Creates the folder and its parents; throws Exception* on failure.
    static void CreateDirectories(const Path& path);
    /// The per-user folder ($XDG_CONFIG_HOME/taviro, else $HOME/.config/taviro), created when
    /// missing. Throws Exception* "No User Folder available" (0x20000003) when there is none.
    static String GetUserDir();
    /// The whole content; throws Exception* when the file cannot be read, is not a regular file
    /// (a FIFO or a device would block or never end) or is larger than maxSize bytes.
    static String ReadAll(const Path& path, uint64_t maxSize = UINT64_MAX);
    /// Replaces the file so that a crash at any moment leaves the old or the new content whole:
    /// a temporary file in the same folder, fsync, rename over the old one, fsync of the folder.
    /// Keeps the old file's permissions. Throws Exception* on failure; the old file is intact.
    /// A read-only file (no write bit) is not replaced: that throws k_ErrReadOnly. A symbolic
    /// link is written through: its final target is replaced and the link stays.
    /// Temporaries that earlier saves of the same file left when their process died are removed.
    static void AtomicWrite(const Path& path, const String& content);

private:
    Path m_Name;
    int m_Mode = k_FileRead;
};

/// Something that can be closed; the base of the output streams.
/// @ingroup ostrum
class Stream {
public:
    virtual ~Stream() = default;
    virtual void Close() = 0;
};

enum EOLType { k_EOLDefault = 0, k_EOLUnix = 1, k_EOLDos = 2 };

/// Text output with the platform's or a chosen end of line; OutFile writes it to a file.
/// @ingroup ostrum
class OutStream : public Stream {
public:
    virtual void Put(const char* data, size_t size) = 0;
    void Put(const String& text) { Put(text.data(), text.size()); }
    void Put(const char* text) { Put(String(text)); }
    /// The platform end of line unless another type is asked for.
    void PutEOL(EOLType type = k_EOLDefault);
};

/// A buffered file writer. Errors throw Exception*.
class OutFile : public OutStream {
public:
    /// mode: k_File* bits (22 creates or truncates); append forces appending; syncOnClose
    /// fsyncs before closing; permissions -1 means 0666 less the umask.
    OutFile(const Path& path, int mode = k_FileWriteNew, bool append = false,
            bool syncOnClose = false, int permissions = -1);
    ~OutFile() override;
    using OutStream::Put;
    void Put(const char* data, size_t size) override;
    void Flush();
    void Close() override;
    const Path& GetPath() const { return m_Path; }

private:
    Path m_Path;
    int m_Fd = -1;
    bool m_Sync;
    String m_Buffer;
};

namespace Platform {
String GetCurrentUserName();
}

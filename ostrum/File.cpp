#include <ostrum/Exception.h>
#include <ostrum/File.h>

#include <cerrno>
#include <cstdlib>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <filesystem>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

bool WriteAllFd(int fd, const char* data, size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        size -= (size_t)n;
    }
    return true;
}

namespace {
String Errno() {
    return String(strerror(errno));
}

// The umask as the process started (read before any thread exists), for systems without
// /proc; reading it this way sets it, which later on would race with other threads.
const mode_t g_StartUmask = [] {
    const mode_t mask = ::umask(022);
    ::umask(mask);
    return mask;
}();

// The process's umask, read without changing it.
mode_t CurrentUmask() {
    const int fd = ::open("/proc/self/status", O_RDONLY | O_CLOEXEC);
    if (fd < 0) return g_StartUmask;
    char buf[4096];
    const ssize_t n = ::read(fd, buf, sizeof buf - 1);
    ::close(fd);
    if (n <= 0) return g_StartUmask;
    buf[n] = '\0';
    const char* line = strstr(buf, "\nUmask:");
    return line ? (mode_t)strtoul(line + 7, nullptr, 8) : g_StartUmask;
}

// Follows symbolic links to the file they finally name (even one that does not exist yet), so
// that a save replaces the target and the link stays a link.
Path FinalTarget(const Path& path) {
    namespace fs = std::filesystem;
    fs::path p(path.c_str());
    std::error_code ec;
    for (int hops = 0; hops < 40 && fs::is_symlink(fs::symlink_status(p, ec)); ++hops) {
        const fs::path target = fs::read_symlink(p, ec);
        if (ec) break;
        p = target.is_absolute() ? target : p.parent_path() / target;
    }
    return Path(String(p.string()));
}

// A save's temporary file is "LEAF.tmp-PID-XXXXXX" next to the file it replaces.
String TempPrefix(const String& leaf) {
    return leaf + ".tmp-";
}

// Removes the temporaries that saves of this file left behind when their process died mid-save
// (kill -9, power loss). Only files whose writer is gone: another live process, or another
// thread of this one, may be writing its own right now.
void RemoveStaleTemporaries(const String& folder, const String& leaf) {
    DIR* d = ::opendir(folder.c_str());
    if (!d) return;
    const String prefix = TempPrefix(leaf);
    const long self = (long)::getpid();
    while (dirent* e = ::readdir(d)) {
        const String name = e->d_name;
        if (name.size() <= prefix.size() || !name.StartsWith(prefix)) continue;
        const String rest = name.substr(prefix.size());
        const size_t dash = rest.find('-');
        if (dash == String::npos) continue;
        bool ok = false;
        const long pid = rest.substr(0, dash).ToLong(0, &ok);
        if (!ok || pid <= 0 || pid == self) continue;
        if (::kill((pid_t)pid, 0) == 0 || errno != ESRCH) continue; // alive, or not ours to judge
        ::unlinkat(::dirfd(d), name.c_str(), 0);
    }
    ::closedir(d);
}
} // namespace

// ---- Path ----

Path Path::Branch(bool isDirectory, bool normalize) const {
    String t = m_Text;
    if (normalize) {
        String out;
        out.reserve(t.size());
        size_t i = 0;
        while (i < t.size()) {
            if (t[i] == '/') {
                if (out.empty() || out.back() != '/') out.push_back('/');
                ++i;
                continue;
            }
            size_t j = t.find('/', i);
            if (j == String::npos) j = t.size();
            const String part = t.substr(i, j - i);
            if (part != ".")
                out += part;
            else if (j < t.size())
                ++j; // drop "./"
            i = j;
        }
        while (out.size() > 1 && out.back() == '/')
            out.pop_back();
        t = out;
    }
    if (isDirectory) return Path(t);
    while (t.size() > 1 && t.back() == '/')
        t.pop_back();
    const size_t slash = t.rfind('/');
    if (slash == String::npos) return Path(String());
    if (slash == 0) return Path(String("/"));
    return Path(t.substr(0, slash));
}

String Path::Leaf() const {
    String t = m_Text;
    while (t.size() > 1 && t.back() == '/')
        t.pop_back();
    if (t == "/") return String();
    const size_t slash = t.rfind('/');
    return slash == String::npos ? t : t.substr(slash + 1);
}

Path& Path::operator/=(const String& name) {
    if (name.empty()) return *this;
    if (m_Text.empty()) {
        m_Text = name;
        return *this;
    }
    // Exactly one separator at the join, however many either side brings.
    size_t from = 0;
    while (from < name.size() && name[from] == '/')
        ++from;
    const bool root = m_Text.find_first_not_of('/') == String::npos;
    while (m_Text.size() > 1 && m_Text.back() == '/')
        m_Text.pop_back();
    if (root) m_Text = "/";
    if (m_Text.back() != '/') m_Text.push_back('/');
    m_Text += name.substr(from);
    return *this;
}

// ---- File ----

bool File::Exists(const Path& path) {
    struct stat st;
    return !path.IsEmpty() && ::stat(path.c_str(), &st) == 0;
}

bool File::IsDirectory(const Path& path) {
    struct stat st;
    return !path.IsEmpty() && ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

void File::CreateDirectories(const Path& path) {
    const String& t = path.ToString();
    if (t.empty()) throw new Exception(k_ErrArgument, "Cannot create folder", "empty path");
    for (size_t i = 1; i <= t.size(); ++i) {
        if (i < t.size() && t[i] != '/') continue;
        const String part = t.substr(0, i);
        if (::mkdir(part.c_str(), 0755) != 0 && errno != EEXIST)
            throw new Exception(k_ErrIO, "Cannot create folder", part + ": " + Errno());
    }
    if (!IsDirectory(path))
        throw new Exception(k_ErrIO, "Cannot create folder", t + ": not a folder");
}

String File::GetUserDir() {
    String base;
    const char* xdg = getenv("XDG_CONFIG_HOME");
    const char* home = getenv("HOME");
    if (xdg && *xdg == '/')
        base = xdg;
    else if (home && *home)
        base = String(home) + "/.config";
    if (base.empty())
        throw new Exception(k_ErrNoUserDir, "No User Folder available",
                            "neither XDG_CONFIG_HOME nor HOME is set");
    const String dir = base + "/taviro";
    try {
        CreateDirectories(dir);
    } catch (Exception* e) {
        const String detail = e->Format();
        delete e;
        throw new Exception(k_ErrNoUserDir, "No User Folder available", detail);
    }
    return dir;
}

String File::ReadAll(const Path& path, uint64_t maxSize) {
    // Non-blocking open: a FIFO under the name would otherwise wait for a writer forever.
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        const uint32_t code = errno == ENOENT ? k_ErrNotFound : k_ErrIO;
        throw new Exception(code, "Cannot open file", path.ToString() + ": " + Errno());
    }
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        throw new Exception(k_ErrIO, "Cannot read file", path.ToString() + ": not a regular file");
    }
    auto tooLarge = [&] {
        ::close(fd);
        throw new Exception(
            k_ErrIO, "Cannot read file",
            SFormat("%s: larger than %llu bytes", path.c_str(), (unsigned long long)maxSize));
    };
    if ((uint64_t)st.st_size > maxSize) tooLarge();
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    String out;
    char buf[65536];
    for (;;) {
        const ssize_t n = ::read(fd, buf, sizeof buf);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            const String err = Errno();
            ::close(fd);
            throw new Exception(k_ErrIO, "Cannot read file", path.ToString() + ": " + err);
        }
        if (n == 0) break;
        out.append(buf, (size_t)n);
        if (out.size() > maxSize) tooLarge(); // grew while being read
    }
    ::close(fd);
    return out;
}

void File::AtomicWrite(const Path& pathGiven, const String& content) {
    if (pathGiven.IsEmpty()) throw new Exception(k_ErrArgument, "Cannot save file", "no file name");
    const Path path = FinalTarget(pathGiven);
    struct stat st;
    const bool exists = ::stat(path.c_str(), &st) == 0;
    if (exists && (st.st_mode & 0222) == 0)
        throw new Exception(k_ErrReadOnly, "Cannot save file", path.ToString() + ": read-only");
    const Path folder = path.Branch(false, false);
    const String folderText = folder.IsEmpty() ? String(".") : folder.ToString();
    const String leaf = path.Leaf();
    String tmpl = (folder.IsEmpty() ? String() : folderText + "/") + TempPrefix(leaf) +
                  String::FromInt((long long)::getpid()) + "-XXXXXX";
    std::vector<char> name(tmpl.begin(), tmpl.end());
    name.push_back('\0');
    const int fd = ::mkstemp(name.data());
    if (fd < 0) throw new Exception(k_ErrIO, "Cannot save file", path.ToString() + ": " + Errno());
    const String tmp(name.data());
    auto fail = [&](const char* what) {
        const String err = Errno();
        ::close(fd);
        ::unlink(tmp.c_str());
        throw new Exception(k_ErrIO, "Cannot save file",
                            path.ToString() + ": " + what + ": " + err);
    };
    // mkstemp makes 0600; keep what the old file had, else the usual 0666 less umask.
    const mode_t mode = exists ? (st.st_mode & 07777) : (0666 & ~CurrentUmask());
    if (::fchmod(fd, mode) != 0) fail("chmod");
    if (!WriteAllFd(fd, content.data(), content.size())) fail("write");
    if (::fsync(fd) != 0) fail("fsync");
    if (::close(fd) != 0) {
        ::unlink(tmp.c_str());
        throw new Exception(k_ErrIO, "Cannot save file", path.ToString() + ": close: " + Errno());
    }
    if (::rename(tmp.c_str(), path.c_str()) != 0) {
        const String err = Errno();
        ::unlink(tmp.c_str());
        throw new Exception(k_ErrIO, "Cannot save file", path.ToString() + ": rename: " + err);
    }
    // The rename itself must reach the disk too.
    const int dfd = ::open(folderText.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dfd >= 0) {
        ::fsync(dfd);
        ::close(dfd);
    }
    RemoveStaleTemporaries(folderText, leaf);
}

// ---- streams ----

void OutStream::PutEOL(EOLType type) {
    if (type == k_EOLDos)
        Put("\r\n", 2);
    else
        Put("\n", 1);
}

OutFile::OutFile(const Path& path, int mode, bool append, bool syncOnClose, int permissions)
    : m_Path(path), m_Sync(syncOnClose) {
    int flags = O_WRONLY | O_CLOEXEC;
    if (mode & k_FileCreate) flags |= O_CREAT;
    if ((mode & k_FileAppend) || append)
        flags |= O_APPEND;
    else if (mode & k_FileTruncate)
        flags |= O_TRUNC;
    m_Fd = ::open(path.c_str(), flags, permissions < 0 ? 0666 : permissions);
    if (m_Fd < 0)
        throw new Exception(k_ErrIO, "Cannot open file for writing",
                            path.ToString() + ": " + Errno());
    m_Buffer.reserve(65536);
}

OutFile::~OutFile() {
    try {
        Close();
    } catch (Exception* e) {
        delete e; // a destructor must not throw; Close() reports to callers who ask
    }
}

void OutFile::Put(const char* data, size_t size) {
    if (m_Fd < 0) throw new Exception(k_ErrIO, "Write to a closed file", m_Path.ToString());
    if (m_Buffer.size() + size > 65536) Flush();
    if (size >= 65536) {
        if (!WriteAllFd(m_Fd, data, size))
            throw new Exception(k_ErrIO, "Cannot write file", m_Path.ToString() + ": " + Errno());
        return;
    }
    m_Buffer.append(data, size);
}

void OutFile::Flush() {
    if (m_Fd < 0 || m_Buffer.empty()) return;
    const bool ok = WriteAllFd(m_Fd, m_Buffer.data(), m_Buffer.size());
    m_Buffer.clear();
    if (!ok) throw new Exception(k_ErrIO, "Cannot write file", m_Path.ToString() + ": " + Errno());
}

void OutFile::Close() {
    if (m_Fd < 0) return;
    String error;
    try {
        Flush();
    } catch (Exception* e) {
        error = e->GetDetail();
        delete e;
    }
    if (m_Sync && error.empty() && ::fsync(m_Fd) != 0) error = m_Path.ToString() + ": " + Errno();
    if (::close(m_Fd) != 0 && error.empty()) error = m_Path.ToString() + ": " + Errno();
    m_Fd = -1;
    if (!error.empty()) throw new Exception(k_ErrIO, "Cannot write file", error);
}

// ---- Platform ----

String Platform::GetCurrentUserName() {
    struct passwd pw;
    struct passwd* found = nullptr;
    std::vector<char> buf(16384);
    if (getpwuid_r(geteuid(), &pw, buf.data(), buf.size(), &found) == 0 && found && found->pw_name)
        return String(found->pw_name);
    const char* user = getenv("USER");
    return user ? String(user) : String::FromInt((long long)geteuid());
}

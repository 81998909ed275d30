#include <ostrum/Exception.h>
#include <ostrum/IniFile.h>
#include <ostrum/Log.h>

namespace {
inline bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

String TrimBlanks(const String& s, size_t b, size_t e) {
    while (b < e && IsBlank(s[b]))
        ++b;
    while (e > b && IsBlank(s[e - 1]))
        --e;
    return s.substr(b, e - b);
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

String Unquote(const String& v) {
    String out;
    out.reserve(v.size());
    for (size_t i = 1; i + 1 < v.size(); ++i) {
        char c = v[i];
        if (c == '\\' && i + 2 < v.size()) {
            const char n = v[++i];
            switch (n) {
            case 'n':
                c = '\n';
                break;
            case 'r':
                c = '\r';
                break;
            case 't':
                c = '\t';
                break;
            case 'x':
                if (i + 3 < v.size() && HexDigit(v[i + 1]) >= 0 && HexDigit(v[i + 2]) >= 0) {
                    c = (char)(HexDigit(v[i + 1]) * 16 + HexDigit(v[i + 2]));
                    i += 2;
                } else
                    c = 'x';
                break;
            default:
                c = n;
            }
        }
        out.push_back(c);
    }
    return out;
}

bool NeedsQuotes(const String& v) {
    if (v.empty()) return false;
    if (IsBlank(v.front()) || IsBlank(v.back()) || v.front() == '"') return true;
    for (char c : v)
        if (c == '\n' || c == '\r') return true;
    return false;
}

String Quote(const String& v) {
    String out("\"");
    for (unsigned char c : v) {
        switch (c) {
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '"':
            out += "\\\"";
            break;
        default:
            if (c < 0x20)
                out += SFormat("\\x%02x", c);
            else
                out.push_back((char)c);
        }
    }
    out.push_back('"');
    return out;
}

String ParseValue(const String& v) {
    if (v.size() >= 2 && v.front() == '"' && v.back() == '"') return Unquote(v);
    return v;
}
} // namespace

// ---- sections ----

void IniFile::Section::Reindex() {
    index.clear();
    for (size_t i = 0; i < lines.size(); ++i)
        if (lines[i].isKey) index[lines[i].key] = i;
}

IniFile::Section* IniFile::Find(const String& name) {
    if (name.empty()) return &m_Sections[0];
    auto it = m_SectionIndex.find(name);
    return it == m_SectionIndex.end() ? nullptr : &m_Sections[it->second];
}

const IniFile::Section* IniFile::Find(const String& name) const {
    return const_cast<IniFile*>(this)->Find(name);
}

IniFile::Section& IniFile::Ensure(const String& name) {
    if (Section* s = Find(name)) return *s;
    // A name must read back as itself: no line breaks, no blanks at its ends.
    bool bad = IsBlank(name.front()) || IsBlank(name.back());
    for (char c : name)
        bad = bad || c == '\n' || c == '\r';
    if (bad) throw new Exception(k_ErrArgument, "Invalid section name", name);
    m_Sections.emplace_back();
    m_Sections.back().name = name;
    m_Sections.back().created = true;
    m_SectionIndex[name] = m_Sections.size() - 1;
    return m_Sections.back();
}

const IniFile::Line* IniFile::FindLine(const String& section, const String& key) const {
    const Section* s = Find(section);
    if (!s) return nullptr;
    auto it = s->index.find(key);
    return it == s->index.end() ? nullptr : &s->lines[it->second];
}

void IniFile::CheckKey(const String& key) {
    bool bad = key.empty() || key[0] == '[' || key[0] == ';' || key[0] == '#' ||
               IsBlank(key.front()) || IsBlank(key.back());
    for (char c : key)
        bad = bad || c == '=' || c == '\n' || c == '\r';
    if (bad) throw new Exception(k_ErrArgument, "Invalid ini key", key);
}

void IniFile::Set(Section& s, const String& key, const String& value) {
    auto it = s.index.find(key);
    if (it != s.index.end()) {
        Line& l = s.lines[it->second];
        if (l.value == value) return;
        l.value = value;
        l.raw.clear(); // regenerated on save
    } else {
        Line l;
        l.key = key;
        l.value = value;
        l.isKey = true;
        s.lines.push_back(std::move(l));
        s.index[key] = s.lines.size() - 1;
    }
    ++m_Generation;
}

// ---- parsing and writing ----

void IniFile::ParseInto(const String& text) {
    size_t current = 0;
    // An editor's UTF-8 byte-order mark would otherwise hide the first section's header.
    size_t pos = text.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
    while (pos < text.size()) {
        size_t end = text.find('\n', pos);
        if (end == String::npos) end = text.size();
        size_t lineEnd = end;
        while (lineEnd > pos && text[lineEnd - 1] == '\r')
            --lineEnd; // CRLF, or worse
        const String raw = text.substr(pos, lineEnd - pos);
        pos = end + 1;

        const String t = TrimBlanks(raw, 0, raw.size());
        Line line;
        line.raw = raw;
        if (!t.empty() && t.front() == '[' && t.back() == ']' && t.size() > 2) {
            const String name = TrimBlanks(t, 1, t.size() - 1);
            if (!name.empty() && name.find('\r') == String::npos) {
                // A repeated section continues the first one.
                Ensure(name).created = false;
                current = m_SectionIndex[name];
                continue;
            }
        }
        const size_t eq = t.find('=');
        if (!t.empty() && t[0] != ';' && t[0] != '#' && eq != String::npos) {
            const String key = TrimBlanks(t, 0, eq);
            bool good = !key.empty() && key[0] != '[';
            if (good) {
                Section& s = m_Sections[current];
                const String value = ParseValue(TrimBlanks(t, eq + 1, t.size()));
                auto it = s.index.find(key);
                if (it != s.index.end()) { // a repeated key: the later value wins
                    s.lines[it->second].value = value;
                    s.lines[it->second].raw = raw;
                    continue;
                }
                line.key = key;
                line.value = value;
                line.isKey = true;
                s.lines.push_back(std::move(line));
                s.index[key] = s.lines.size() - 1;
                continue;
            }
        }
        m_Sections[current].lines.push_back(std::move(line)); // comment, blank or unknown
    }
}

String IniFile::ToString() const {
    RWLock::ReadGuard g(m_Lock);
    String out;
    for (size_t si = 0; si < m_Sections.size(); ++si) {
        const Section& s = m_Sections[si];
        if (si > 0) {
            if (s.created && !out.empty() && out.size() >= 2 &&
                out.compare(out.size() - 2, 2, "\n\n") != 0)
                out += "\n";
            out += "[" + s.name + "]\n";
        }
        for (const Line& l : s.lines) {
            if (!l.isKey || !l.raw.empty())
                out += l.raw;
            else
                out += l.key + "=" + (NeedsQuotes(l.value) ? Quote(l.value) : l.value);
            out += "\n";
        }
    }
    // Reading drops one leading byte-order mark: a text of ours that starts with one keeps it.
    if (out.compare(0, 3, "\xEF\xBB\xBF") == 0) out.insert(0, "\xEF\xBB\xBF");
    return out;
}

void IniFile::Load(bool mustExist, bool replace) {
    String text;
    try {
        // Settings are small: a huge file is somebody else's, not read (and not written over).
        text = File::ReadAll(GetFilename(), uint64_t(16) << 20);
    } catch (Exception* e) {
        if (e->GetCode() != k_ErrNotFound)
            GlobalLog(LL_Warning, "Settings file skipped: " + e->Format());
        if (mustExist || e->GetCode() != k_ErrNotFound) throw;
        delete e;
    }
    LoadFromString(text, replace);
}

void IniFile::LoadFromString(const String& text, bool replace) {
    {
        RWLock::WriteGuard g(m_Lock);
        if (replace) {
            m_Sections.assign(1, Section());
            m_SectionIndex.clear();
            m_Current.clear();
        }
        ParseInto(text);
        if (replace)
            m_SavedGeneration = m_Generation.load();
        else
            ++m_Generation;
    }
    if (!replace) OnChanged();
}

void IniFile::Save() {
    // Readers may save at the same time, but they write the same content; no change can slip
    // in between the snapshot and the rename.
    RWLock::ReadGuard g(m_Lock);
    const uint64_t gen = m_Generation.load();
    File::AtomicWrite(GetFilename(), ToString());
    uint64_t saved = m_SavedGeneration.load();
    while (saved < gen && !m_SavedGeneration.compare_exchange_weak(saved, gen)) {
    }
}

// ---- access ----

void IniFile::InsertSection(const String& section) {
    {
        RWLock::WriteGuard g(m_Lock);
        const bool existed = Find(section) != nullptr;
        Ensure(section);
        m_Current = section;
        if (existed) return;
        ++m_Generation;
    }
    OnChanged();
}

bool IniFile::HasSection(const String& section) const {
    RWLock::ReadGuard g(m_Lock);
    return Find(section) != nullptr;
}

bool IniFile::HasKey(const String& section, const String& key) const {
    RWLock::ReadGuard g(m_Lock);
    return FindLine(section, key) != nullptr;
}

std::vector<String> IniFile::GetSections() const {
    RWLock::ReadGuard g(m_Lock);
    std::vector<String> out;
    for (const Section& s : m_Sections)
        out.push_back(s.name);
    return out;
}

std::vector<String> IniFile::GetKeys(const String& section) const {
    RWLock::ReadGuard g(m_Lock);
    std::vector<String> out;
    if (const Section* s = Find(section))
        for (const Line& l : s->lines)
            if (l.isKey) out.push_back(l.key);
    return out;
}

void IniFile::SetValue(const String& key, const String& value) {
    CheckKey(key);
    {
        RWLock::WriteGuard g(m_Lock);
        const uint64_t before = m_Generation;
        Set(Ensure(m_Current), key, value);
        if (before == m_Generation) return;
    }
    OnChanged();
}

void IniFile::SetValue(const String& section, const String& key, const String& value) {
    CheckKey(key);
    {
        RWLock::WriteGuard g(m_Lock);
        const uint64_t before = m_Generation;
        const bool existed = Find(section) != nullptr;
        Set(Ensure(section), key, value);
        if (!existed) ++m_Generation;
        if (before == m_Generation) return;
    }
    OnChanged();
}

String IniFile::GetValue(const String& section, const String& key, const String& def) const {
    RWLock::ReadGuard g(m_Lock);
    const Line* l = FindLine(section, key);
    return l ? l->value : def;
}

void IniFile::Rejected(const String& section, const String& key, const String& value,
                       const char* wanted) const {
    // Once per value: settings are read again and again (at every paint, some of them).
    {
        std::lock_guard<std::mutex> l(m_RejectedMutex);
        if (!m_Rejected.insert(section + "\n" + key + "\n" + value).second) return;
    }
    const String shown = value.size() > 60 ? value.substr(0, 60) + "..." : value;
    GlobalLog(LL_Warning, SFormat("Settings: [%s] %s = '%s' is not %s; the default is used",
                                  section.c_str(), key.c_str(), shown.c_str(), wanted));
}

bool IniFile::GetValue(const String& section, const String& key, bool def) const {
    RWLock::ReadGuard g(m_Lock);
    const Line* l = FindLine(section, key);
    if (!l) return def;
    const String t = l->value.Trimmed();
    // Only the known texts are quiet; anything else still reads false, as the rule says.
    if (!l->value.ToBool() && t.CompareNoCase(k_No) != 0 && t != "0" &&
        t.CompareNoCase("false") != 0)
        Rejected(section, key, l->value, "a yes/no value");
    return l->value.ToBool();
}

int IniFile::GetValue(const String& section, const String& key, int def) const {
    RWLock::ReadGuard g(m_Lock);
    const Line* l = FindLine(section, key);
    if (!l) return def;
    bool ok = false;
    const int v = l->value.ToInt(def, &ok);
    if (!ok) Rejected(section, key, l->value, "a whole number");
    return v;
}

long IniFile::GetValue(const String& section, const String& key, long def) const {
    RWLock::ReadGuard g(m_Lock);
    const Line* l = FindLine(section, key);
    if (!l) return def;
    bool ok = false;
    const long v = l->value.ToLong(def, &ok);
    if (!ok) Rejected(section, key, l->value, "a whole number");
    return v;
}

double IniFile::GetValue(const String& section, const String& key, double def) const {
    RWLock::ReadGuard g(m_Lock);
    const Line* l = FindLine(section, key);
    if (!l) return def;
    bool ok = false;
    const double v = l->value.ToDouble(def, &ok);
    if (!ok) Rejected(section, key, l->value, "a number");
    return v;
}

void IniFile::ClearSection(const String& section) {
    {
        RWLock::WriteGuard g(m_Lock);
        Section* s = Find(section);
        if (!s || s->index.empty()) return;
        std::vector<Line> kept;
        for (Line& l : s->lines)
            if (!l.isKey) kept.push_back(std::move(l));
        s->lines.swap(kept);
        s->Reindex();
        ++m_Generation;
    }
    OnChanged();
}

bool IniFile::RemoveKey(const String& section, const String& key) {
    {
        RWLock::WriteGuard g(m_Lock);
        Section* s = Find(section);
        if (!s) return false;
        auto it = s->index.find(key);
        if (it == s->index.end()) return false;
        s->lines.erase(s->lines.begin() + (long)it->second);
        s->Reindex();
        ++m_Generation;
    }
    OnChanged();
    return true;
}

void IniFile::RemoveSection(const String& section) {
    {
        RWLock::WriteGuard g(m_Lock);
        if (section.empty()) {
            m_Sections[0] = Section();
        } else {
            auto it = m_SectionIndex.find(section);
            if (it == m_SectionIndex.end()) return;
            m_Sections.erase(m_Sections.begin() + (long)it->second);
            m_SectionIndex.clear();
            for (size_t i = 1; i < m_Sections.size(); ++i)
                m_SectionIndex[m_Sections[i].name] = i;
            if (m_Current.CompareNoCase(section) == 0) m_Current.clear();
        }
        ++m_Generation;
    }
    OnChanged();
}

void IniFile::Clear() {
    {
        RWLock::WriteGuard g(m_Lock);
        m_Sections.assign(1, Section());
        m_SectionIndex.clear();
        m_Current.clear();
        ++m_Generation;
    }
    OnChanged();
}

bool IniFile::IsModified() const {
    return m_Generation.load() != m_SavedGeneration.load();
}

// ---- OptionsFile ----

// Changes still held back by a pause are written rather than lost.
OptionsFile::~OptionsFile() {
    WriteOut();
}

void OptionsFile::PauseAutoWrite(bool pause) {
    bool write = false;
    {
        std::lock_guard<std::mutex> l(m_PauseMutex);
        if (pause)
            ++m_Pauses;
        else if (m_Pauses > 0)
            write = --m_Pauses == 0;
    }
    if (write) WriteOut();
}

bool OptionsFile::IsAutoWritePaused() const {
    std::lock_guard<std::mutex> l(m_PauseMutex);
    return m_Pauses > 0;
}

bool OptionsFile::WriteOut() {
    if (!IsModified() || GetFilename().IsEmpty()) return true;
    try {
        Save();
        std::lock_guard<std::mutex> l(m_PauseMutex);
        m_LastError.clear();
        return true;
    } catch (Exception* e) {
        const String why = e->Format();
        const bool readOnly = e->GetCode() == k_ErrReadOnly;
        delete e;
        // Said once for the same cause, not after every change and every pause that ends.
        {
            std::lock_guard<std::mutex> l(m_PauseMutex);
            if (why == m_LastError) return false;
            m_LastError = why;
        }
        if (readOnly)
            GlobalLog(LL_Warning, "The options file " + GetFilename().ToString() +
                                      " is read-only: changes to the options are not saved");
        else
            GlobalLog(LL_Error, "Cannot write options file: " + why);
        return false;
    }
}

void OptionsFile::OnChanged() {
    if (!IsAutoWritePaused()) WriteOut();
}

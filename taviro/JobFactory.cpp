#include <taviro/Job.h>
#include <taviro/JobFactory.h>

#include <ostrum/Exception.h>
#include <ostrum/File.h>
#include <ostrum/Log.h>
#include <ostrum/StringTokenizer.h>

#include <algorithm>
#include <dirent.h>

JobFactory JobFactory::s_JobFactory;

namespace {
// A module describes one job type in a few lines; anything near this size is not a module,
// and reading it whole would stall the start-up.
const uint64_t k_MaxModuleSize = 1 << 20;
} // namespace

// ---- CommandInfo ----

String CommandInfo::Itemize(const Job& job) const {
    if (!items.empty()) return items;
    if (itemsFrom.empty()) return String();
    // Plain ','-separated values: quotes and backslashes in them are text, not syntax.
    StringTokenizer values(job.GetParameter(itemsFrom, true), ",", true, 0, 0);
    std::vector<String> list;
    for (const String& v : values.GetTokens()) {
        const String t = v.Trimmed();
        if (!t.empty()) list.push_back(t);
    }
    return StringTokenizer::Join(list, ';');
}

const CommandInfo* JobTypeInfo::FindCommand(const String& command) const {
    for (const CommandInfo& c : commands)
        if (!c.IsSeparator() && c.name == command) return &c;
    return nullptr;
}

// ---- parsing ----

namespace {
struct _ParseError {
    int line;
    String reason;
};

std::vector<String> SplitFields(const String& text) {
    std::vector<String> out;
    size_t start = 0;
    for (;;) {
        const size_t bar = text.find('|', start);
        out.push_back(
            text.substr(start, bar == String::npos ? String::npos : bar - start).Trimmed());
        if (bar == String::npos) break;
        start = bar + 1;
    }
    return out;
}

JobTypeInfo Parse(const String& text) {
    JobTypeInfo info;
    bool haveId = false, haveHide = false;
    int lineNo = 0;
    StringTokenizer lines(text, "\n", false, 0, 0);
    std::vector<String> all = lines.GetTokens();
    if (!all.empty() && all.back().empty()) all.pop_back(); // the end of the last line
    for (String raw : all) {
        ++lineNo;
        while (!raw.empty() && raw.back() == '\r')
            raw.pop_back();
        const String line = raw.Trimmed();
        if (line.empty() || line[0] == '#') continue;
        const size_t sp = line.find_first_of(" \t");
        const String keyword = line.substr(0, sp);
        const String rest = sp == String::npos ? String() : line.substr(sp + 1).Trimmed();
        if (keyword != "type" && info.name.empty())
            throw _ParseError{lineNo, "the first entry must be 'type NAME'"};
        if (keyword == "type") {
            if (!info.name.empty()) throw _ParseError{lineNo, "a second 'type' line"};
            if (rest.empty()) throw _ParseError{lineNo, "the type has no name"};
            info.name = rest;
        } else if (keyword == "id" || keyword == "hide-id") {
            UID id(rest, false);
            if (id.IsNull()) throw _ParseError{lineNo, "'" + rest + "' is not an identifier"};
            if (keyword == "id") {
                info.id = id;
                haveId = true;
            } else {
                info.hideId = id;
                haveHide = true;
            }
        } else if (keyword == "separator") {
            if (!rest.empty()) throw _ParseError{lineNo, "a separator takes nothing"};
            CommandInfo c;
            c.flags = -1;
            info.commands.push_back(c);
        } else if (keyword == "command") {
            const std::vector<String> f = SplitFields(rest);
            if (f.size() < 3 || f.size() > 4)
                throw _ParseError{lineNo, "expected 'command NAME | FLAGS | HELP [| items...]'"};
            CommandInfo c;
            c.name = f[0];
            bool ok = false;
            c.flags = f[1].ToInt(0, &ok);
            if (c.name.empty()) throw _ParseError{lineNo, "the command has no name"};
            if (!ok || c.flags < 0)
                throw _ParseError{lineNo, "flags '" + f[1] + "' are not a number >= 0"};
            c.help = f[2];
            if (f.size() == 4) {
                if (f[3].StartsWith("items:"))
                    c.items = f[3].substr(6).Trimmed();
                else if (f[3].StartsWith("items-from:"))
                    c.itemsFrom = f[3].substr(11).Trimmed();
                else
                    throw _ParseError{lineNo, "expected 'items:' or 'items-from:'"};
                if (c.items.empty() && c.itemsFrom.empty())
                    throw _ParseError{lineNo, "empty item list"};
            }
            info.commands.push_back(c);
        } else {
            throw _ParseError{lineNo, "unknown entry '" + keyword + "'"};
        }
    }
    lineNo = std::max(lineNo, 1);
    if (info.name.empty()) throw _ParseError{lineNo, "no 'type' line"};
    if (!haveId) throw _ParseError{lineNo, "no 'id' line"};
    if (!haveHide) info.hideId = info.id;
    return info;
}
} // namespace

// ---- JobFactory ----

bool JobFactory::AddModule(const String& text, const String& fileName) {
    JobTypeInfo info;
    try {
        info = Parse(text);
    } catch (const _ParseError& e) {
        GlobalLog(LL_Error, SFormat("Job module %s line %d: %s; module skipped", fileName.c_str(),
                                    e.line, e.reason.c_str()));
        return false;
    }
    info.file = fileName;
    std::lock_guard<std::mutex> l(m_Mutex);
    for (auto& t : m_Types)
        if (t->id == info.id) {
            GlobalLog(LL_Error, "Job module " + fileName + ": type identifier " +
                                    info.id.ToString() + " already used by " + t->file +
                                    "; module skipped");
            return false;
        }
    m_Types.push_back(std::make_shared<const JobTypeInfo>(std::move(info)));
    return true;
}

size_t JobFactory::LoadModules(const String& folder) {
    Clear();
    std::vector<String> files;
    if (DIR* d = opendir(folder.c_str())) {
        while (dirent* e = readdir(d)) {
            const String name = e->d_name;
            if (name.size() > 4 && name.compare(name.size() - 4, 4, ".tjm") == 0)
                files.push_back(name);
        }
        closedir(d);
    } else {
        LogInfo("No job module folder at '" + folder + "'");
    }
    std::sort(files.begin(), files.end());
    for (const String& f : files) {
        const String path = (Path(folder) / f).ToString();
        try {
            AddModule(File::ReadAll(path, k_MaxModuleSize), path);
        } catch (Exception* e) {
            GlobalLog(LL_Error, "Job module " + path + ": " + e->Format() + "; module skipped");
            delete e;
        }
    }
    LogInfo(SFormat("Loaded %zu job module(s) from '%s'", Count(), folder.c_str()));
    return Count();
}

void JobFactory::Clear() {
    std::lock_guard<std::mutex> l(m_Mutex);
    m_Retired.insert(m_Retired.end(), m_Types.begin(), m_Types.end());
    m_Types.clear();
}

std::vector<UID> JobFactory::ListTypes() const {
    std::lock_guard<std::mutex> l(m_Mutex);
    std::vector<UID> out;
    for (auto& t : m_Types)
        out.push_back(t->id);
    return out;
}

const JobTypeInfo& JobFactory::GetTypeInfo(const UID& type, bool mustExist) const {
    static const JobTypeInfo s_Empty;
    std::lock_guard<std::mutex> l(m_Mutex);
    for (auto& t : m_Types)
        if (t->id == type) return *t;
    if (mustExist) throw new Exception(k_ErrNotFound, "Unknown job type", type.ToString());
    return s_Empty;
}

size_t JobFactory::Count() const {
    std::lock_guard<std::mutex> l(m_Mutex);
    return m_Types.size();
}

#include <ostrum/CommandLine.h>
#include <ostrum/Exception.h>

#include <algorithm>

CommandLine::CommandLine(int argc, const char* const* argv) {
    if (argc > 0 && argv && argv[0]) m_Program = argv[0];
    for (int i = 1; i < argc; ++i)
        m_Args.push_back(argv[i] ? argv[i] : "");
    m_Positional = m_Args;
}

CommandLine::CommandLine(const std::vector<String>& args) {
    if (!args.empty()) m_Program = args[0];
    m_Args.assign(args.begin() + (args.empty() ? 0 : 1), args.end());
    m_Positional = m_Args;
}

String CommandLine::GetProgramName() const {
    const size_t slash = m_Program.rfind('/');
    return slash == String::npos ? m_Program : m_Program.substr(slash + 1);
}

void CommandLine::ParseOptions(const std::vector<String>& valueNames,
                               const std::vector<String>& flagNames) {
    auto has = [](const std::vector<String>& v, const String& n) {
        return std::find(v.begin(), v.end(), n) != v.end();
    };
    std::map<String, String> options;
    std::vector<String> positional;
    for (size_t i = 0; i < m_Args.size(); ++i) {
        const String& a = m_Args[i];
        if (a == "--") {
            positional.insert(positional.end(), m_Args.begin() + (long)i + 1, m_Args.end());
            break;
        }
        if (a.size() < 3 || a[0] != '-' || a[1] != '-') {
            // "-5" is a number, not an option.
            const bool number =
                a.size() > 1 && a.find_first_not_of("0123456789.", 1) == String::npos;
            if (a.size() > 1 && a[0] == '-' && !number)
                throw new Exception(k_ErrArgument, "Unknown option", a);
            positional.push_back(a);
            continue;
        }
        const size_t eq = a.find('=');
        const String name = a.substr(2, eq == String::npos ? String::npos : eq - 2);
        if (has(valueNames, name)) {
            if (eq != String::npos)
                options[name] = a.substr(eq + 1);
            else if (i + 1 < m_Args.size() && !m_Args[i + 1].StartsWith("--"))
                options[name] = m_Args[++i];
            else
                throw new Exception(k_ErrArgument, "Option needs a value", "--" + name);
        } else if (has(flagNames, name)) {
            if (eq != String::npos) throw new Exception(k_ErrArgument, "Option takes no value", a);
            options[name] = "1";
        } else {
            throw new Exception(k_ErrArgument, "Unknown option", "--" + name);
        }
    }
    m_Options.swap(options);
    m_Positional.swap(positional);
}

String CommandLine::GetOption(const String& name, const String& def) const {
    auto it = m_Options.find(name);
    return it == m_Options.end() ? def : it->second;
}

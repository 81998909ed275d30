/// @file
/// The program's arguments: the program path, options ("--name value", "--name=value",
/// "--flag") and positional arguments ("--" ends the options).
#pragma once

#include <ostrum/String.h>

#include <map>
#include <vector>

/// A program's arguments split into options and positional arguments.
/// @ingroup ostrum
class CommandLine {
public:
    CommandLine() = default;
    CommandLine(int argc, const char* const* argv);
    explicit CommandLine(const std::vector<String>& args); ///< args[0] is the program

    const String& GetProgram() const { return m_Program; }
    /// The file name of the program, without its folder.
    String GetProgramName() const;
    const std::vector<String>& GetArguments() const { return m_Args; }

    /// Takes every "--name" from the arguments. Names in valueNames consume a value (the next
    /// argument, or the text after "="); names in flagNames take none. Throws Exception*
    /// (k_ErrArgument) naming the option for an unknown name, a missing value or a value given
    /// to a flag. The parsed options replace earlier ones; the rest become positional.
    void ParseOptions(const std::vector<String>& valueNames, const std::vector<String>& flagNames);
    bool HasOption(const String& name) const { return m_Options.count(name) > 0; }
    String GetOption(const String& name, const String& def = String()) const;
    const std::vector<String>& GetPositional() const { return m_Positional; }

private:
    String m_Program;
    std::vector<String> m_Args;
    std::map<String, String> m_Options;
    std::vector<String> m_Positional;
};

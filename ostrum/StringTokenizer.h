/// @file
/// Splits text at delimiter characters. Text between quote characters is taken literally
/// (delimiters included) and the quotes are dropped; the escape character makes the next
/// character literal. skipEmpty drops empty tokens; otherwise "a,,b" gives "a", "", "b" and
/// "a," gives "a", "". Empty text gives no token at all.
#pragma once

#include <ostrum/String.h>

#include <vector>

/// Splits text into tokens (see the file comment for quotes, escapes and empty tokens).
/// @ingroup ostrum
class StringTokenizer {
public:
    StringTokenizer(const String& text, const String& delimiters, bool skipEmpty = false,
                    char quote = '"', char escape = '\\');

    bool HasMoreTokens() const { return m_Next < m_Tokens.size(); }
    String NextToken() { return HasMoreTokens() ? m_Tokens[m_Next++] : String(); }
    size_t CountTokens() const { return m_Tokens.size(); }
    const std::vector<String>& GetTokens() const { return m_Tokens; }

    /// The reverse: joins items with the delimiter, quoting items that hold it, a quote or
    /// the escape character, so that a tokenizer with the same characters gets them back.
    static String Join(const std::vector<String>& items, char delimiter, char quote = '"',
                       char escape = '\\');

private:
    std::vector<String> m_Tokens;
    size_t m_Next = 0;
};

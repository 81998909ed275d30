#include <ostrum/StringTokenizer.h>

StringTokenizer::StringTokenizer(const String& text, const String& delimiters, bool skipEmpty,
                                 char quote, char escape) {
    if (text.empty()) return;
    String token;
    bool inQuote = false;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (escape && c == escape && i + 1 < text.size()) {
            token.push_back(text[++i]);
        } else if (quote && c == quote) {
            inQuote = !inQuote;
        } else if (!inQuote && delimiters.find(c) != String::npos) {
            if (!skipEmpty || !token.empty()) m_Tokens.push_back(token);
            token.clear();
        } else {
            token.push_back(c);
        }
    }
    // An unclosed quote runs to the end of the text.
    if (!skipEmpty || !token.empty()) m_Tokens.push_back(token);
}

String StringTokenizer::Join(const std::vector<String>& items, char delimiter, char quote,
                             char escape) {
    String out;
    for (size_t i = 0; i < items.size(); ++i) {
        if (i) out.push_back(delimiter);
        const String& item = items[i];
        // A lone empty item is quoted: bare, it would be empty text, which gives no token.
        const bool special =
            item.find(delimiter) != String::npos || (items.size() == 1 && item.empty());
        if (special) out.push_back(quote);
        for (char c : item) {
            if (c == quote || c == escape) out.push_back(escape);
            out.push_back(c);
        }
        if (special) out.push_back(quote);
    }
    return out;
}

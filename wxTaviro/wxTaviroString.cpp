// Text conversion at the toolkit boundary.
#include <wxTaviro/wxTaviroString.h>

String wxToString(const wxString& text) {
    const wxCharBuffer local = text.mb_str(*wxConvCurrent);
    if (local.length() > 0 || text.empty()) return String(local.data(), local.length());
    const wxScopedCharBuffer utf8 = text.utf8_str();
    return String(utf8.data(), utf8.length());
}

wxString wxFromString(const String& text) {
    wxString w(text.c_str(), *wxConvCurrent, text.size());
    if (w.empty() && !text.empty()) w = wxString::FromUTF8(text.c_str(), text.size());
    return w;
}

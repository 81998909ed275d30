// Fuzzes the ini parser: any bytes must load; what is written back must load to the same
// keys and values (and write the same text again).
#include <ostrum/Exception.h>
#include <ostrum/IniFile.h>
#include <ostrum/StringTokenizer.h>

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const String text((const char*)data, size);
    IniFile a;
    a.LoadFromString(text);
    const String first = a.ToString();
    IniFile b;
    b.LoadFromString(first);
    if (b.ToString() != first) abort();
    for (const String& section : a.GetSections())
        for (const String& key : a.GetKeys(section))
            if (a.GetValue(section, key, "") != b.GetValue(section, key, "\x01")) abort();
    // Values set through the API come back exactly, whatever bytes they hold.
    try {
        a.SetValue("fuzz section", "fuzz key", text.substr(0, 256));
        IniFile c;
        c.LoadFromString(a.ToString());
        if (c.GetValue("fuzz section", "fuzz key", "") != text.substr(0, 256)) abort();
    } catch (Exception* e) {
        delete e;
    }
    StringTokenizer t(text, ",;", false, '"', '\\');
    (void)t.CountTokens();
    return 0;
}

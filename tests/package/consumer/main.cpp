#include <ostrum/IniFile.h>
#include <taviro/JobFactory.h>
#include <wxTaviro/wxTaviro.h>

#include <cstdio>

int main() {
    IniFile ini;
    ini.LoadFromString("[a]\nkey=value\n");
    const bool ok = ini.GetValue("a", "key", "") == "value" &&
                    JobFactory::s_JobFactory.Count() == 0 &&
                    OpenWindows::_this->GetEntries().empty();
    printf("consumer %s\n", ok ? "ok" : "FAILED");
    return ok ? 0 : 1;
}

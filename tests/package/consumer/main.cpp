#include <ostrum/IniFile.h>
#include <taviro/JobFactory.h>

#include <cstdio>

int main() {
    IniFile ini;
    ini.LoadFromString("[a]\nkey=value\n");
    const bool ok = ini.GetValue("a", "key", "") == "value" && JobFactory::s_JobFactory.Count() == 0;
    printf("consumer %s\n", ok ? "ok" : "FAILED");
    return ok ? 0 : 1;
}
